#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLINGSTRATEGY_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLINGSTRATEGY_H

#include <cstdint>

namespace vexel {

/// How a block of input pixels becomes one pixel of the coarser raster. Valid pixels are neither no-data nor
/// transparent.
enum class DownsamplingStrategy : std::int32_t
{
    Gauss = 0,        ///< Gaussian blur, then the pixel at the centre of the block: see `DownsamplerGauss`
    GaussAlias = 1,   ///< the same as `Gauss`
    Average = 2,      ///< mean of the valid pixels
    Median = 3,       ///< median of the valid pixels (upper one of an even number), no-data if fewer than two
    Percentile75 = 4, ///< upper quartile of the valid pixels, no-data if fewer than two
    Min = 5,          ///< smallest valid pixel, but no-data if the first pixel of the block is invalid
    Max = 6,          ///< largest valid pixel
    Warp = 7          ///< cubic-spline resampling by GDAL's warp utility
};

} // namespace vexel

#endif
