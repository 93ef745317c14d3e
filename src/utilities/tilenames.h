#ifndef VEXEL_UTILITIES_TILENAMES_H
#define VEXEL_UTILITIES_TILENAMES_H

#include "../export.h"

#include <QString>

/// @file
/// Names of tile files: the raster's path without extension, "_x_y", and the extension. The tile of
/// dir/ortho.tif in the third column and seventh row is dir/ortho_3_7.tif. Numbers are one-based, plain
/// decimal, without padding.

namespace vexel::gdal {

/// The name of tile (`x`, `y`) of the raster `path`. Writes exactly the numbers given, one-based by
/// convention.
/// @code
/// const QString name = vexel::gdal::tile2path("dir/ortho.tif", 3, 7); // dir/ortho_3_7.tif
/// @endcode
VEXEL_EXPORT QString tile2path(const QString& path, int x, int y);

/// Takes the name of a tile file apart.
///
/// @param path of a file, which need not exist.
/// @param base the raster's name, that is `path` without the indices; may be the same object as `path`.
/// @param x,y  zero-based column and row.
/// @return false if `path` is no tile name as `tile2path` writes it; the outputs are then unspecified.
///         Indices that are no numbers are logged as a notice, other rejections are silent.
///
/// Never throws for a malformed name and takes no lock.
VEXEL_EXPORT bool path2tile(const QString& path, QString& base, int& x, int& y);

} // namespace vexel::gdal

#endif
