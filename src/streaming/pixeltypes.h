#ifndef VEXEL_STREAMING_PIXELTYPES_H
#define VEXEL_STREAMING_PIXELTYPES_H

#include "companion/DataType.h"

#include <gdal.h>

#include <cstdint>
#include <type_traits>

namespace vexel {

/// The GDAL type of files of a pixel type; `GDT_Unknown` if there is none.
inline GDALDataType gdalTypeOf(DataType type)
{
    switch (type) {
    case DataType::RGB:
    case DataType::RGBA:
    case DataType::UInt8:
        return GDT_Byte;
    case DataType::Int16:
        return GDT_Int16;
    case DataType::Int32:
        return GDT_Int32;
    case DataType::Float32:
        return GDT_Float32;
    case DataType::Float64:
        return GDT_Float64;
    case DataType::UInt16:
    case DataType::UInt16Other:
        return GDT_UInt16;
    case DataType::UInt32:
        return GDT_UInt32;
    case DataType::Unknown:
        break;
    }
    return GDT_Unknown;
}

/// Number of bands that a file of a pixel type gets which is to have `noBands`.
inline std::uint64_t bandsToCreate(DataType type, std::uint64_t noBands)
{
    return type == DataType::RGB ? 3 : type == DataType::RGBA ? 4 : noBands;
}

/// Does `DO(type)` for each type that a matrix can have.
#define VEXEL_FOR_EACH_PIXEL_TYPE(DO)                                                                        \
    DO(signed char)                                                                                          \
    DO(unsigned char) DO(short) DO(unsigned short) DO(int) DO(unsigned int) DO(float) DO(double)

/// The GDAL type of a matrix element. Signed and unsigned char are both bytes: their bits are transferred
/// unchanged.
template <class T>
constexpr GDALDataType gdalBufferType()
{
    if constexpr (std::is_same_v<T, signed char> || std::is_same_v<T, unsigned char>)
        return GDT_Byte;
    else if constexpr (std::is_same_v<T, short>)
        return GDT_Int16;
    else if constexpr (std::is_same_v<T, unsigned short>)
        return GDT_UInt16;
    else if constexpr (std::is_same_v<T, int>)
        return GDT_Int32;
    else if constexpr (std::is_same_v<T, unsigned int>)
        return GDT_UInt32;
    else if constexpr (std::is_same_v<T, float>)
        return GDT_Float32;
    else {
        static_assert(std::is_same_v<T, double>, "no GDAL type for this element type");
        return GDT_Float64;
    }
}

} // namespace vexel

#endif
