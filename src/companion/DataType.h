#ifndef VEXEL_COMPANION_DATATYPE_H
#define VEXEL_COMPANION_DATATYPE_H

#include "../export.h"

#include <cstdint>
#include <utility>

namespace vexel {

/// Pixel type of a raster. The two colour values also state the number of bands.
///
/// An open file reports one of `UInt8` to `UInt32`. You can use `RGB` and `RGBA` only for files that you write.
enum class DataType : std::int32_t
{
    Unknown = 0,     ///< no supported type: opening fails, and creation is refused
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

/// Returns the smallest and the largest value that a pixel of `type` can have.
///
/// For the floating types these are the finite limits. The result is (0, 0) for `Unknown` and for values that the
/// enumeration does not define.
VEXEL_EXPORT std::pair<double, double> minMaxForPixelType(DataType type);

} // namespace vexel

#endif
