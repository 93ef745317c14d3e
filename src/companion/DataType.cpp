#include "companion/DataType.h"

#include <limits>

namespace vexel {

namespace {

template <class T>
std::pair<double, double> rangeOf()
{
    return {static_cast<double>(std::numeric_limits<T>::lowest()),
            static_cast<double>(std::numeric_limits<T>::max())};
}

} // namespace

std::pair<double, double> minMaxForPixelType(DataType type)
{
    switch (type) {
    case DataType::RGB:
    case DataType::RGBA:
    case DataType::UInt8:
        return rangeOf<std::uint8_t>();
    case DataType::Int16:
        return rangeOf<std::int16_t>();
    case DataType::Int32:
        return rangeOf<std::int32_t>();
    case DataType::Float32:
        return rangeOf<float>();
    case DataType::Float64:
        return rangeOf<double>();
    case DataType::UInt16:
    case DataType::UInt16Other:
        return rangeOf<std::uint16_t>();
    case DataType::UInt32:
        return rangeOf<std::uint32_t>();
    case DataType::Unknown:
        break;
    }
    return {0.0, 0.0};
}

} // namespace vexel
