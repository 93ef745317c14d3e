#ifndef VEXEL_UTILITIES_SIDEFILES_H
#define VEXEL_UTILITIES_SIDEFILES_H

#include "../export.h"

#include <QString>

namespace vexel {
class Workspace;
}

/// @file
/// Writes the world file and the projection file of a raster, the small files that contain its georeference.
///
/// You need these functions only for other rasters, because `GDALStreamer` writes both files automatically next to the
/// GeoTIFF files that it completes. Each file is written in one go. The result is false if it could not be written, and
/// nothing is logged. No lock is taken.

namespace vexel::gdal {

/// Writes a world file: six lines with the pixel size, the rotation (always 0) and the north-west corner of the extent.
///
/// Numbers are in map units with y pointing north, in fixed notation with twelve decimals. The corner is the corner of
/// the box, not the centre of the first pixel.
///
/// @param workspace the extent. Only `res()`, `minx()` and `miny()` are used.
/// @param path      the path of the world file: see `path2tfw`.
/// @return false if the file could not be written.
VEXEL_EXPORT bool saveTFW(const Workspace& workspace, const QString& path);

/// Writes a projection file. Mind the order of the arguments: the text comes first. It stays first, because
/// calls in the other order would still compile.
///
/// @param wkt  written unchanged, in UTF-8.
/// @param path the path of the projection file: see `path2prj`.
/// @return false if the file could not be written.
VEXEL_EXPORT bool savePRJ(const QString& wkt, const QString& path);

} // namespace vexel::gdal

#endif
