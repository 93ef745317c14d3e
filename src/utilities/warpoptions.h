#ifndef VEXEL_UTILITIES_WARPOPTIONS_H
#define VEXEL_UTILITIES_WARPOPTIONS_H

#include "companion/CommandOptions.h"

#include <gdal_utils.h>

#include <memory>

namespace vexel::gdal {

struct FreeWarpOptions
{
    void operator()(GDALWarpAppOptions* options) const { GDALWarpAppOptionsFree(options); }
};
using WarpOptions = std::unique_ptr<GDALWarpAppOptions, FreeWarpOptions>;

/// What GDAL's warp utility makes of its arguments. Null if it refuses them: do not warp then, because GDAL would copy
/// the raster as it is, and report no error.
inline WarpOptions warpOptions(const CommandOptions& arguments)
{
    return WarpOptions(GDALWarpAppOptionsNew(arguments.options(), nullptr));
}

} // namespace vexel::gdal

#endif
