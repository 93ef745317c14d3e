#ifndef VEXEL_STREAMING_GEOREFERENCE_H
#define VEXEL_STREAMING_GEOREFERENCE_H

#include "workspace/Workspace.h"

#include <array>

namespace vexel {

/// GDAL's six coefficients: x of the origin, pixel width, rotation, y of the origin, rotation, pixel height.
using Geotransform = std::array<double, 6>;

/// The extent of a raster of `columns` by `rows` pixels. The pixel width becomes the resolution, the pixel
/// height only sets the height of the box; rotation is ignored.
Workspace workspaceOfGeotransform(const Geotransform& geotransform, int columns, int rows);

/// How far the corners of a raster of that size lie at most from where its extent has them, which drops rotation,
/// rounds the pixel size and makes pixels square: in pixels of the raster's pixel width. Infinite or NaN where
/// that makes no sense.
double lossOfGeotransform(const Geotransform& geotransform, const Workspace& extent, int columns, int rows);

/// True when the signed ratio of pixel width to pixel height exceeds 1 (within 1e-5). North-up rasters, whose
/// pixel height is negative, never do.
bool hasSuspiciousPixelShape(const Geotransform& geotransform);

/// The geotransform of an extent: square pixels, north up.
Geotransform geotransformOfWorkspace(const Workspace& workspace);

} // namespace vexel

#endif
