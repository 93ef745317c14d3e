#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLERGAUSS_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLERGAUSS_H

#include "DownsamplerBase.h"

namespace vexel {

/// Downsamples by a Gaussian blur, then the pixel at the centre of each block.
///
/// The blur has a standard deviation of sqrt(3.37 k) input pixels, k half the factor, at least 1. It runs
/// over the values as they are, so a valid pixel next to a hole is blurred together with the no-data value of the
/// hole, unless `leaveHolesOut` was called. Only the pixel that is sampled decides whether its block is no-data. The
/// factor is changed so that the first tile spans a whole number of output pixels.
///
/// A result is the sum of the pixels within five standard deviations of the sampled one, weighted by the Gaussian. It
/// takes real pixels wherever the raster has them, those of other tiles too, and repeats the last one beyond its edge. It
/// has the same bits however the raster is cut into tiles and strips, on any number of threads and any processor.
///
/// Besides the rules of `DownsamplerBase`, a band that cannot be read makes a step fail, with an error
/// logged. Only the pixels of an alpha band that cannot be read count as zeros.
class VEXEL_EXPORT DownsamplerGauss : public DownsamplerBase
{
public:
    /// Arguments and errors are those of `DownsamplerFactory::createDownsampler`.
    DownsamplerGauss(const QString& inputPath, const QString& outputPath, const QString& wkt,
                     double resolution, ImageAlphaType alphaType, GdalFileType fileType);
    /// As that of `DownsamplerBase`.
    ~DownsamplerGauss() override;

private:
    bool do_step(std::size_t step) override;
    float representativeValue(const Block& block) const override;
};

} // namespace vexel

#endif
