#ifndef VEXEL_DOWNSAMPLERS_MISSINGVALUES_H
#define VEXEL_DOWNSAMPLERS_MISSINGVALUES_H

#include <cstddef>
#include <vector>

namespace vexel {

/// Makes -10000 of the pixels, `count` of them in a row, that are of one of the values; NaN is a value like any other.
void markMissingValues(float* pixels, std::ptrdiff_t count, const std::vector<double>& values);

/// Makes -10000 of the pixels whose alpha is 0.
void markTransparent(float* pixels, const float* alpha, std::ptrdiff_t count);

} // namespace vexel

#endif
