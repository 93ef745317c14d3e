#ifndef VEXEL_DOWNSAMPLERS_IMAGEALPHATYPE_H
#define VEXEL_DOWNSAMPLERS_IMAGEALPHATYPE_H

#include <cstdint>

namespace vexel {

/// Whether the last band of a raster is alpha. Any value other than 1 means no alpha band.
enum class ImageAlphaType : std::int32_t
{
    NoAlpha = 0, ///< no alpha band
    LastBand = 1 ///< the last band is alpha, 0 where a pixel is transparent
};

} // namespace vexel

#endif
