#ifndef VEXEL_UTILITIES_PROBING_H
#define VEXEL_UTILITIES_PROBING_H

#include "../companion/ImageInfo.h"
#include "../export.h"
#include "../streaming/GDALStreamer.h"

#include <QString>

#include <functional>

/// @file
/// Finds out whether there is a raster at a path, and describes it. Pixels are not read. Each file is opened once,
/// under the GDAL lock.

namespace vexel {

namespace gdal {

/// Returns true if `path` can be opened for reading, as one file or else as the set of tile files named from it.
///
/// @code
/// vexel::gdal::doesExistValidFileAt(path, [](const GDALStreamer& set) { std::cout << set.workspace() << std::endl; });
/// @endcode
///
/// The set is closed afterwards.
///
/// @param path    a raster file, or the path that the tile files of a set are named from.
/// @param onValid called once with the open set, before that is closed. It is not called if opening failed, and you can
///                pass an empty function. If it throws, the set is closed and the exception leaves this function. The
///                GDAL lock is free while it runs.
VEXEL_EXPORT bool doesExistValidFileAt(const QString& path, std::function<void(const GDALStreamer&)> onValid);

} // namespace gdal

/// Describes an open set: size in pixels, pixel type, number of bands, and number of pages of its first file. Takes no
/// lock.
VEXEL_EXPORT void imageInfoWithGDAL(const GDALStreamer& set, ImageInfo& info);

/// Describes the raster file `path`. You cannot use it for a set of tile files.
///
/// @param path a raster file.
/// @param info receives size, pixel type, and the number of bands and the number of pages.
/// @return false if the file cannot be described. For an empty path `info` is reset to its defaults, and nothing is
///         logged. If the file cannot be opened, `info` is unchanged, and a warning is logged. If opening throws a
///         standard exception, `info` is unchanged, and nothing is logged. Exceptions of other types leave this
///         function.
VEXEL_EXPORT bool imageInfoWithGDAL(const QString& path, ImageInfo& info);

} // namespace vexel

#endif
