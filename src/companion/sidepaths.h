#ifndef VEXEL_COMPANION_SIDEPATHS_H
#define VEXEL_COMPANION_SIDEPATHS_H

#include "../export.h"

#include <QString>

/// @file
/// Names of the world file and the projection file of a raster, which are next to it. No file is opened.

namespace vexel::gdal {

/// Returns the path of the world file of a raster.
///
/// Its extension is the first and the last letter of the raster's extension and a "w": ".tif" gives ".tfw", and ".jpeg"
/// gives ".jgw". If the extension has only one or two letters, or if there is no extension, a "w" is appended to the
/// path.
VEXEL_EXPORT QString path2tfw(const QString& path);

/// Returns the path of the projection file of a raster: the extension is replaced by ".prj".
VEXEL_EXPORT QString path2prj(const QString& path);

} // namespace vexel::gdal

#endif
