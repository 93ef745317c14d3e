#include "downsamplers/missingvalues.h"

#include "companion/pixelvalues.h"

#include <cmath>
#include <limits>

namespace vexel {

namespace {

/// What reading makes of a value: one beyond the floats is infinite, but for those that round to the last of them.
float asRead(double value)
{
    using Float = std::numeric_limits<float>;
    constexpr double largest = Float::max();
    constexpr double firstInfinite = largest * (1.0 + 0x1p-25);
    if (std::isnan(value) || std::abs(value) <= largest)
        return static_cast<float>(value);
    const float magnitude = std::abs(value) < firstInfinite ? Float::max() : Float::infinity();
    return value < 0.0 ? -magnitude : magnitude;
}

void markNaN(float* pixels, std::ptrdiff_t count)
{
    for (std::ptrdiff_t x = 0; x < count; ++x)
        pixels[x] = std::isnan(pixels[x]) ? noData : pixels[x];
}

void markValue(float* pixels, std::ptrdiff_t count, float value)
{
    for (std::ptrdiff_t x = 0; x < count; ++x)
        pixels[x] = pixels[x] == value ? noData : pixels[x];
}

} // namespace

void markMissingValues(float* pixels, std::ptrdiff_t count, const std::vector<double>& values)
{
    for (const double value : values)
        if (std::isnan(value))
            markNaN(pixels, count);
        else
            markValue(pixels, count, asRead(value));
}

void markTransparent(float* pixels, const float* alpha, std::ptrdiff_t count)
{
    for (std::ptrdiff_t x = 0; x < count; ++x)
        pixels[x] = alpha[x] == 0.0f ? noData : pixels[x];
}

} // namespace vexel
