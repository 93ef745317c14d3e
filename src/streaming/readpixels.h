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

/// Changes how pixels are read. By default they are read at full size, and pixels that no file covers are 0.
class ReadOptions
{
public:
    /// Sets the number of result pixels per raster pixel along each axis, above 0. If it is not 1, the nearest pixel
    /// is taken.
    ReadOptions& scale(double scale)
    {
        m_scale = scale;
        return *this;
    }
    /// Sets the value of pixels that no file covers, in the unit of the band. For integer pixels it is cut to the
    /// range of the type and loses its fraction, and NaN becomes 0.
    ReadOptions& fill(double value)
    {
        m_fill = value;
        return *this;
    }

    /// Returns the number of result pixels per raster pixel, 1 if it was not set.
    double scale() const { return m_scale; }
    /// Returns the value of pixels that no file covers, 0 if it was not set.
    double fill() const { return m_fill; }

private:
    double m_scale = 1.0;
    double m_fill = 0.0;
};

namespace detail {

/// Returns the fill value as a pixel. For an integer type it is cut to the range and loses its fraction, and NaN
/// becomes 0.
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

/// Reads one band of a box into a new matrix.
///
/// @code
/// if (const auto heights = readPixels<float>(dem, 1, PixelBox({0, 0}, {512, 256})))
///     std::cout << heights->maxCoeff() << std::endl; // of 256 rows and 512 columns
/// @endcode
///
/// @tparam T       element type, as for `GDALStreamer::read`.
/// @param  set     the raster to read from.
/// @param  band    counted from 1.
/// @param  box     in pixels of the whole raster, half-open. It can reach beyond the raster. A box without width or
///                 height means the whole raster.
/// @param  options scale and fill value, for example `ReadOptions().fill(-10000)`.
/// @return the pixels, row 0 northernmost. Empty if they cannot be read, and `set.lastError()` has the reason.
/// @throws std::bad_alloc if the pixels do not fit into memory.
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

/// Reads a box as colours: packed pixels 0xAARRGGBB, opaque if the raster has no alpha. See `GDALStreamer::readRGBA`.
///
/// @param set     the raster to read from.
/// @param box     in pixels of the whole raster, half-open. It can reach beyond the raster. A box without width or
///                height means the whole raster.
/// @param options scale and fill value. Pixels that no file covers are 0, which is transparent black, unless you set
///                another value.
/// @return the pixels, row 0 northernmost. Empty if they cannot be read, and `set.lastError()` has the reason.
/// @throws std::bad_alloc if the pixels do not fit into memory.
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
