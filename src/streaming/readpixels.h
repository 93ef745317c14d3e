#ifndef VEXEL_STREAMING_READPIXELS_H
#define VEXEL_STREAMING_READPIXELS_H

#include "../companion/PixelMatrix.h"
#include "../workspace/geometry.h"
#include "GDALStreamer.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <type_traits>
#include <utility>

namespace vexel {

/// How pixels are read, where the usual is not wanted: at full size, and 0 where no file covers the box.
class ReadOptions
{
public:
    /// Pixels of the result for each pixel of the raster along an axis, above 0; other than 1 takes the nearest pixel.
    ReadOptions& scale(double scale)
    {
        m_scale = scale;
        return *this;
    }
    /// What pixels are that no file covers, in the unit of the band.
    ReadOptions& fill(double value)
    {
        m_fill = value;
        return *this;
    }

    double scale() const { return m_scale; }
    double fill() const { return m_fill; }

private:
    double m_scale = 1.0;
    double m_fill = 0.0;
};

namespace detail {

/// The fill value as a pixel: the nearest one that the type holds, 0 for NaN in an integer type.
template <class T>
T fillOf(double value)
{
    using Limits = std::numeric_limits<T>;
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(value);
    } else {
        if (!(value > static_cast<double>(Limits::lowest())))
            return std::isnan(value) ? T(0) : Limits::lowest();
        return value < static_cast<double>(Limits::max()) ? static_cast<T>(value) : Limits::max();
    }
}

} // namespace detail

/// Reads one band of a box into a matrix of its own. Empty if that fails: `set.lastError()` has the reason.
///
/// @tparam T    as for `GDALStreamer::read`.
/// @param  band counted from 1.
/// @param  box  in pixels of the whole raster, half-open; one without width or height stands for all of it.
///
/// @code
/// if (const auto heights = readPixels<float>(dem, 1, PixelBox({0, 0}, {512, 256})))
///     std::cout << heights->maxCoeff() << std::endl; // of 256 rows and 512 columns
/// @endcode
template <class T>
[[nodiscard]] std::optional<PixelMatrix<T>> readPixels(const GDALStreamer& set, std::size_t band,
                                                       const PixelBox& box,
                                                       const ReadOptions& options = ReadOptions())
{
    std::optional<PixelMatrix<T>> pixels(std::in_place);
    if (!set.read<T>(*pixels, band, box, options.scale(), /*fill=*/true, detail::fillOf<T>(options.fill())))
        pixels.reset();
    return pixels;
}

/// The same for colour: packed pixels 0xAARRGGBB, opaque where the raster has no alpha. See `GDALStreamer::readRGBA`.
/// Pixels that no file covers are 0, transparent black, if the options do not say otherwise.
[[nodiscard]] inline std::optional<PixelMatrix<unsigned int>>
readColours(const GDALStreamer& set, const PixelBox& box, const ReadOptions& options = ReadOptions())
{
    std::optional<PixelMatrix<unsigned int>> pixels(std::in_place);
    if (!set.readRGBA(*pixels, box, options.scale(), /*fill=*/true,
                      detail::fillOf<unsigned int>(options.fill())))
        pixels.reset();
    return pixels;
}

} // namespace vexel

#endif
