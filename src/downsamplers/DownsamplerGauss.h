#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLERGAUSS_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLERGAUSS_H

#include "DownsamplerBase.h"

namespace vexel {

/// Downsamples by a Gaussian blur, and then takes the pixel at the centre of each block.
///
/// The standard deviation of the blur is sqrt(3.37 k) input pixels, where k is the whole part of half the factor plus
/// 1/4, and at least 1. The blur uses the values as they are stored, so a valid pixel next to no-data is blurred
/// together with the no-data value, unless you call `leaveHolesOut`. Only the pixel that is sampled decides whether
/// the result of its block is no-data. The factor is changed so that the first tile spans a whole number of output
/// pixels.
///
/// A result is the sum of the pixels within five standard deviations of the sampled one, weighted by the Gaussian.
/// The pixels can belong to other tiles too. Beyond the edge of the raster its last pixel is repeated. A result has
/// the same bits however the raster is cut into tiles and strips, on any number of threads and any processor.
///
/// In addition to the rules of `DownsamplerBase`, a step fails if a band cannot be read, and an error is logged. Only
/// pixels of an alpha band that cannot be read count as zeros.
class VEXEL_EXPORT DownsamplerGauss : public DownsamplerBase
{
public:
    /// Opens the input and creates the output. Arguments and errors are the same as for
    /// `DownsamplerFactory::createDownsampler`.
    DownsamplerGauss(const QString& inputPath, const QString& outputPath, const QString& wkt,
                     double resolution, ImageAlphaType alphaType, GdalFileType fileType);
    /// Completes the output, unless the job was completed or discarded. Keeps the GDAL lock throughout.
    ~DownsamplerGauss() override;

private:
    bool do_step(std::size_t step) override;
    float representativeValue(const Block& block) const override;
};

} // namespace vexel

#endif
