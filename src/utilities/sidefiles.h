#ifndef VEXEL_UTILITIES_SIDEFILES_H
#define VEXEL_UTILITIES_SIDEFILES_H

#include "../export.h"

#include <QString>

namespace vexel {
class Workspace;
}

/// @file
/// The small files that georeference a raster beside it. Each is written in one go; false means that it could
/// not be written, and nothing is logged. No lock is taken. Written rasters get them by themselves.

namespace vexel::gdal {

/// Writes a world file: six lines with pixel size, rotation (none) and the north-west corner of the box in
/// map units, fixed notation with twelve decimals. The corner is that of the box, not the centre of the first
/// pixel. Of the extent, `res()`, `minx()` and `miny()` count; y points north in the file.
VEXEL_EXPORT bool saveTFW(const Workspace& workspace, const QString& path);

/// Writes a projection file: the text as it is, in UTF-8. The text comes first and the path second.
VEXEL_EXPORT bool savePRJ(const QString& wkt, const QString& path);

} // namespace vexel::gdal

#endif
