#ifndef VEXEL_WORKSPACE_ARITHMETIC_H
#define VEXEL_WORKSPACE_ARITHMETIC_H

#include <cstdint>
#include <limits>

/// Integer arithmetic that is defined for every operand: coordinates come from files, and a corrupt one must
/// not bring undefined behaviour.
namespace vexel::arithmetic {

inline std::int64_t wrapAdd(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

inline std::int64_t wrapSub(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

inline std::int64_t wrapMul(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

/// The low 32 bits.
inline std::int32_t narrow(std::int64_t value)
{
    return static_cast<std::int32_t>(value);
}

/// Truncates toward zero; saturates outside 64 bits, NaN gives 0.
inline std::int64_t truncate(double value)
{
    // 2^63 itself is a double, 2^63 - 1 is not: the upper comparison has to include equality.
    constexpr double limit = 9223372036854775808.0;
    if (value >= limit)
        return std::numeric_limits<std::int64_t>::max();
    if (value < -limit)
        return std::numeric_limits<std::int64_t>::min();
    return value == value ? static_cast<std::int64_t>(value) : 0;
}

/// Rounds half away from zero, by adding a half and truncating; saturates and treats NaN as `truncate` does.
///
/// The sum is rounded to a double, so the number just below a half gives 1.
inline std::int64_t roundHalfAway(double value)
{
    return truncate(value < 0.0 ? value - 0.5 : value + 0.5);
}

/// The nearest value of 32 bits.
inline std::int32_t saturate32(std::int64_t value)
{
    constexpr std::int64_t lowest = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t largest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(value < lowest ? lowest : value > largest ? largest : value);
}

} // namespace vexel::arithmetic

#endif
