#ifndef VEXEL_UTILITIES_WEBMERCATORARGUMENTS_H
#define VEXEL_UTILITIES_WEBMERCATORARGUMENTS_H

#include "companion/CommandOptions.h"

#include <QString>

namespace vexel::gdal {

/// Appends what GDAL's warp utility is told to reproject a raster between the spatial references that the two
/// files hold.
void appendWebMercatorArguments(CommandOptions& arguments, const QString& sourceSrsFile,
                                const QString& targetSrsFile);

} // namespace vexel::gdal

#endif
