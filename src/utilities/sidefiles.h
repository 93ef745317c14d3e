#ifndef VEXEL_UTILITIES_SIDEFILES_H
#define VEXEL_UTILITIES_SIDEFILES_H

#include "../export.h"

#include <QString>

namespace vexel {
class Workspace;
}

/// The small files that georeference a raster beside it. Each is written in one go; false means that it could
/// not be written, and nothing is logged.
namespace vexel::gdal {

/// Writes a world file: six lines with pixel size, rotation (none) and the north-west corner of the box in
/// map units, fixed notation with twelve decimals. The corner is that of the box, not the centre of the first
/// pixel.
VEXEL_EXPORT bool saveTFW(const Workspace& workspace, const QString& path);

/// Writes a projection file: the text as it is. The text comes first and the path second.
VEXEL_EXPORT bool savePRJ(const QString& wkt, const QString& path);

} // namespace vexel::gdal

#endif
