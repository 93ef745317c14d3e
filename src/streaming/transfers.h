#ifndef VEXEL_STREAMING_TRANSFERS_H
#define VEXEL_STREAMING_TRANSFERS_H

#include "GDALStreamer.h"

#include <type_traits>

namespace vexel {

namespace detail {

/// Whether a matrix can have elements of this type.
template <class T>
constexpr bool isPixelType =
    std::is_same_v<T, signed char> || std::is_same_v<T, unsigned char> || std::is_same_v<T, short> ||
    std::is_same_v<T, unsigned short> || std::is_same_v<T, int> || std::is_same_v<T, unsigned int> ||
    std::is_same_v<T, float> || std::is_same_v<T, double>;

} // namespace detail

template <class T>
bool GDALStreamer::read(PixelMatrix<T>& out, std::size_t band, const PixelBox& box, double scale, bool fill,
                        std::common_type_t<T> fillValue) const
{
    static_assert(detail::isPixelType<T>, "pixels are integers of 8, 16 or 32 bits, float or double");
    return readOneBand<T>(out, band, box, scale, fill ? &fillValue : nullptr);
}

template <class T>
bool GDALStreamer::write(const PixelMatrix<T>& in, std::size_t band, const PixelBox& box) const
{
    static_assert(detail::isPixelType<T>, "pixels are integers of 8, 16 or 32 bits, float or double");
    return writeOneBand<T>(in, band, box);
}

} // namespace vexel

#endif
