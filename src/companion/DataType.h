#ifndef VEXEL_COMPANION_DATATYPE_H
#define VEXEL_COMPANION_DATATYPE_H

#include "../export.h"

#include <cstdint>
#include <utility>

namespace vexel {

/// Pixel type of a raster, and for the two colour values its band count as well.
///
/// An open file reports one of `UInt8` to `UInt32`; `RGB` and `RGBA` are only asked for when a file is
/// written.
enum class DataType : std::int32_t
{
    Unknown = 0,     ///< no supported type: an open fails, creation is refused
    RGB = 1,         ///< three bands of 8 bits
    RGBA = 2,        ///< four bands of 8 bits, the last one alpha
    UInt8 = 3,       ///< 8-bit unsigned
    Int16 = 4,       ///< 16-bit signed
    Int32 = 5,       ///< 32-bit signed
    Float32 = 6,     ///< 32-bit float
    Float64 = 7,     ///< 64-bit float
    UInt16 = 8,      ///< 16-bit unsigned
    UInt32 = 9,      ///< 32-bit unsigned
    UInt16Other = 10 ///< a further 16-bit unsigned kind, stored like `UInt16`
};

/// Smallest and largest value that a pixel of `type` holds, for the floating types the finite ones; (0, 0) for
/// `Unknown` and for undefined values.
VEXEL_EXPORT std::pair<double, double> minMaxForPixelType(DataType type);

} // namespace vexel

#endif
