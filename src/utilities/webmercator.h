#ifndef VEXEL_UTILITIES_WEBMERCATOR_H
#define VEXEL_UTILITIES_WEBMERCATOR_H

#include "../export.h"

#include <QString>

/// @file
/// Rasters for web maps.

namespace vexel::gdal {

/// Reprojects a raster file into the spherical Mercator projection of web maps: eastings and northings in
/// metres on a sphere of radius 6378137, in that order with every version of GDAL.
///
/// Extent, pixel size and kernel (nearest pixel) are what GDAL's warp utility chooses by default; so is the
/// format, in later versions by the ending of `output`. The files "<output without extension>_src.prj" and
/// "…_dst.prj" exist while it runs, and files of these names are lost.
///
/// @param input     a raster that GDAL opens. One that it cannot open makes no output, which the result does
///                  not tell: probe it before.
/// @param output    replaced if it exists, which must not cost the input a file: see the result.
/// @param sourceSrs spatial reference of the input as WKT or PROJ.4 text, used instead of the one in the
///                  file. Whatever order of axes it states, the input's x is its easting or longitude.
/// @return false, and nothing has been touched, if GDAL reads one of the files that would be replaced for the
///         input: as the file itself, beside it, or as a source of a virtual raster. False if GDAL refuses
///         `sourceSrs`, without touching `output`, or if one of the two files could not be removed, which may be
///         after a complete warp. False too, the two files being left behind, if an exception ends the warp.
///         Nothing is logged but by GDAL's own error handler.
///
/// Holds the GDAL lock from beginning to end; GDAL adds a thread of its own, which reads while it computes.
VEXEL_EXPORT bool warpToGoogle(const QString& input, const QString& output, const QString& sourceSrs);

} // namespace vexel::gdal

#endif
