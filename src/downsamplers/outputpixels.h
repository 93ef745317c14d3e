#ifndef VEXEL_DOWNSAMPLERS_OUTPUTPIXELS_H
#define VEXEL_DOWNSAMPLERS_OUTPUTPIXELS_H

#include "companion/pixelvalues.h"
#include "streaming/GDALStreamer.h"
#include "workspace/geometry.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace vexel {

/// The alpha of a result.
inline float opaqueOrTransparent(float alpha)
{
    return static_cast<double>(alpha) > opaqueAbove ? 255.0f : 0.0f;
}

/// What GDAL makes of a float that is written to a raster of bytes: halves are rounded up, values beyond the
/// bytes are cut, and NaN is 0. Results that are bytes already take a quarter of the memory on their way.
inline unsigned char byteOf(float value)
{
    const float rounded = value + 0.5f;
    const float notBelow = rounded > 0.0f ? rounded : 0.0f; // NaN compares false
    return static_cast<unsigned char>(notBelow < 255.0f ? notBelow : 255.0f);
}

/// Turns results into pixels of the output.
inline void toOutput(const float* results, std::ptrdiff_t count, unsigned char* out)
{
    std::transform(results, results + count, out, byteOf);
}

inline void toOutput(const float* results, std::ptrdiff_t count, float* out)
{
    std::copy_n(results, count, out);
}

/// Writes one value into each band of a box, a few rows at a time. False if that fails.
///
/// @param values for all bands.
bool writeConstant(GDALStreamer& output, const PixelBox& box, const std::vector<float>& values);

} // namespace vexel

#endif
