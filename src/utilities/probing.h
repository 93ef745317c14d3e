#ifndef VEXEL_UTILITIES_PROBING_H
#define VEXEL_UTILITIES_PROBING_H

#include "../companion/ImageInfo.h"
#include "../export.h"
#include "../streaming/GDALStreamer.h"

#include <QString>

#include <functional>

/// @file
/// Whether a raster is at a path, and what it is. Pixels are not read; each file is opened once, under the
/// GDAL lock.

namespace vexel {

namespace gdal {

/// True when `path` opens for reading: as one file, or else as the set of tile files named from it. Leaves it
/// closed.
///
/// @param path    a raster file, or the path that a set of tile files is named from.
/// @param onValid called once with the open set before it is closed, unless it is empty or the open failed.
///                What it throws comes out of here, after the set was closed. The GDAL lock is not held while
///                it runs.
///
/// @code
/// vexel::gdal::doesExistValidFileAt(path, [](const GDALStreamer& set) { std::cout << set.workspace() << std::endl; });
/// @endcode
VEXEL_EXPORT bool doesExistValidFileAt(const QString& path, std::function<void(const GDALStreamer&)> onValid);

} // namespace gdal

/// Describes a set that is open: size in pixels, pixel type, bands, and pages of its first file. Takes no lock.
VEXEL_EXPORT void imageInfoWithGDAL(const GDALStreamer& set, ImageInfo& info);

/// Describes the raster file `path`; a set of tile files is none.
///
/// @return false for an empty path, with `info` set to its defaults and nothing logged; false with a warning
///         logged for a file that cannot be opened, and in silence if opening it throws a standard exception,
///         `info` being left as it was. Exceptions of other types come out.
VEXEL_EXPORT bool imageInfoWithGDAL(const QString& path, ImageInfo& info);

} // namespace vexel

#endif
