#ifndef VEXEL_COMPANION_PIXELVALUES_H
#define VEXEL_COMPANION_PIXELVALUES_H

namespace vexel {

/// What pixels without data are made of.
inline constexpr float noData = -10000.0f;

/// Pixels below it are no-data, a little above that value so that what a format has rounded counts, too.
///
/// The two differ on exactly one float, -9999.9990234375, the nearest one to -9999.999: it is below the double, but not
/// below the float. That pixel is no-data for the mean, the minimum and the maximum, which compare as doubles, and
/// valid for percentiles and the Gaussian, which compare as floats. Such pixels stay what they are, so both are kept:
/// results are the same to the bit from one version to the next. NaN is below neither, and valid.
inline constexpr double firstValidDouble = -9999.999;
inline constexpr float firstValidFloat = static_cast<float>(firstValidDouble);

/// The alpha of a block is opaque above it, and transparent elsewhere.
inline constexpr double opaqueAbove = 127.5;

} // namespace vexel

#endif
