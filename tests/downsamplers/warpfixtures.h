#ifndef VEXEL_TESTS_DOWNSAMPLERS_WARPFIXTURES_H
#define VEXEL_TESTS_DOWNSAMPLERS_WARPFIXTURES_H

#include "downsamplers/DownsamplerFactory.h"
#include "downsamplers/DownsamplerWarp.h"
#include "support/downsampling.h"
#include "support/gdalhandlers.h"

#include <limits>
#include <memory>

/// What the tests of the warp share.
namespace downsamplerwarptest {

using downsampling::doStep;
using vexel::GdalFileType;
using vexel::ImageAlphaType;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

inline std::shared_ptr<vexel::DownsamplerBase>
create(const QString& in, const QString& out, double resolution, GdalFileType type = GdalFileType::SingleFile)
{
    return vexel::DownsamplerFactory::createDownsampler(vexel::DownsamplingStrategy::Warp, in, out, QString(),
                                                        resolution, ImageAlphaType::NoAlpha, type);
}

inline bool warp(const QString& in, const QString& out, double resolution)
{
    const QuietGdal quiet;
    return doStep(*create(in, out, resolution));
}

inline double slope(int x, int y, int)
{
    return 3 * x + 2 * y;
}

} // namespace downsamplerwarptest

#endif
