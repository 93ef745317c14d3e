#ifndef VEXEL_UTILITIES_WEBMERCATOR_H
#define VEXEL_UTILITIES_WEBMERCATOR_H

#include "../export.h"

#include <QString>

/// @file
/// Rasters for web maps.

namespace vexel::gdal {

/// Reprojects a raster file into the spherical Mercator projection of web maps.
///
/// The output has eastings and northings in metres on a sphere of radius 6378137, in that order with every version of
/// GDAL. GDAL's warp utility chooses extent, pixel size, kernel (nearest pixel) and format by default. In later
/// versions of GDAL the format follows the extension of `output`.
///
/// The files "<output without extension>_src.prj" and "…_dst.prj" exist while the function runs. You must not have
/// files of these names because they are overwritten and removed.
///
/// @param input     a raster that GDAL opens. You should check it before, because GDAL makes no output if it cannot
///                  open the input, and the result does not show this.
/// @param output    replaced if it exists. It must not be a file that GDAL needs for the input: see the result.
/// @param sourceSrs spatial reference of the input as WKT or PROJ.4 text, which is used instead of the reference in the
///                  file. Whatever order of axes it states, the input's x is the easting or longitude.
/// @return false in the following cases:
///         - GDAL reads one of the files that would be replaced for the input: as the file itself, next to it, or as a
///           source of a virtual raster. No file has been touched.
///         - GDAL refuses `sourceSrs`. `output` has not been touched.
///         - One of the two files above could not be removed. The warp can be complete nevertheless.
///         - An exception ended the warp. The two files are left behind.
///
/// Nothing is logged, except by GDAL's own error handler. The function takes the GDAL lock for its whole duration. GDAL
/// starts another thread, which reads while it computes.
VEXEL_EXPORT bool warpToGoogle(const QString& input, const QString& output, const QString& sourceSrs);

} // namespace vexel::gdal

#endif
