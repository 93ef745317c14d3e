#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLINGSTRATEGY_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLINGSTRATEGY_H

#include <cstdint>

namespace vexel {

/// How a block of pixels becomes one pixel of the coarser raster.
enum class DownsamplingStrategy : std::int32_t
{
    Gauss = 0,        ///< Gaussian smoothing, then the pixel at the block's centre
    GaussAlias = 1,   ///< the same as `Gauss`
    Average = 2,      ///< mean of the valid pixels
    Median = 3,       ///< median of the valid pixels, the upper one of an even number
    Percentile75 = 4, ///< upper quartile of the valid pixels
    Min = 5,          ///< smallest pixel
    Max = 6,          ///< largest pixel
    Warp = 7          ///< cubic-spline resampling by GDAL's warp utility
};

} // namespace vexel

#endif
