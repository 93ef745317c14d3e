#ifndef VEXEL_COMPANION_SIDEPATHS_H
#define VEXEL_COMPANION_SIDEPATHS_H

#include "../export.h"

#include <QString>

/// @file
/// Names of the files that georeference a raster beside it.

namespace vexel::gdal {

/// The world file that belongs beside a raster: the extension's first and last letter and a "w" (".tif" gives
/// ".tfw", ".jpeg" ".jgw"). A name without extension, or with one of a single or two letters, gets a "w"
/// appended.
VEXEL_EXPORT QString path2tfw(const QString& path);

/// The projection file that belongs beside a raster: its extension replaced by ".prj".
VEXEL_EXPORT QString path2prj(const QString& path);

} // namespace vexel::gdal

#endif
