#ifndef VEXEL_DOWNSAMPLERS_ORDERSTATISTIC_H
#define VEXEL_DOWNSAMPLERS_ORDERSTATISTIC_H

#include "workspace/arithmetic.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

/// What the percentile of a block is, for whoever computes it.
namespace vexel::orderstatistic {

/// Index of the percentile among `n` ascending values: the largest one if it would be beyond the end.
///
/// @param n not 0.
inline std::size_t rankOf(double percentile, std::size_t n)
{
    const std::int64_t k = arithmetic::roundHalfAway(static_cast<double>(n) * percentile);
    return std::min(static_cast<std::size_t>(k), n - 1);
}

/// Ascending with NaN last: a strict order, which a plain comparison is not when there are NaNs.
inline bool ascending(float a, float b)
{
    return a < b || (std::isnan(b) && !std::isnan(a));
}

/// The value of that rank in `ascending` order; the values are reordered. The zeros of either sign are equal in that
/// order, and so are all NaNs: which of them is taken depends on the sequence of the values.
inline float select(float* values, std::size_t n, std::size_t rank)
{
    std::nth_element(values, values + rank, values + n, ascending);
    return values[rank];
}

} // namespace vexel::orderstatistic

#endif
