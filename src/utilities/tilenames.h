#ifndef VEXEL_UTILITIES_TILENAMES_H
#define VEXEL_UTILITIES_TILENAMES_H

#include "../export.h"

#include <QString>

/// @file
/// Names of tile files.
///
/// A name consists of the raster's path without extension, "_x_y", and the extension. For example, the tile of
/// dir/ortho.tif in the third column and the seventh row is dir/ortho_3_7.tif. The numbers count from 1 and are plain
/// decimal, without padding.

namespace vexel::gdal {

/// Returns the name of a tile file.
///
/// @code
/// const QString name = vexel::gdal::tile2path("dir/ortho.tif", 3, 7); // dir/ortho_3_7.tif
/// @endcode
///
/// @param path the raster's name, without the numbers.
/// @param x,y  column and row, which should count from 1. They are written exactly as you pass them.
VEXEL_EXPORT QString tile2path(const QString& path, int x, int y);

/// Takes the name of a tile file apart.
///
/// @param path a name, whose file need not exist.
/// @param base receives the raster's name, which is `path` without the numbers. It can be the same object as `path`.
/// @param x,y  receive column and row, counted from 0 (in the name they count from 1).
/// @return false if `tile2path` does not write such a name, and `base`, `x` and `y` are then unspecified. If the last
///         two parts are not numbers, a notice is logged. In the other cases nothing is logged.
///
/// Never throws because of a malformed name, and takes no lock.
VEXEL_EXPORT bool path2tile(const QString& path, QString& base, int& x, int& y);

} // namespace vexel::gdal

#endif
