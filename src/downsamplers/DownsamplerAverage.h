#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLERAVERAGE_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLERAVERAGE_H

#include "downsamplers/DownsamplerArguments.h"
#include "downsamplers/DownsamplerBase.h"

namespace vexel {

/// Downsamples by the mean of each block's valid pixels.
class DownsamplerAverage : public DownsamplerBase
{
public:
    explicit DownsamplerAverage(const DownsamplerArguments& arguments);
    DownsamplerAverage(const QString& inputPath, const QString& outputPath, const QString& wkt,
                       double resolution, ImageAlphaType alphaType, GdalFileType fileType)
        : DownsamplerAverage(
              DownsamplerArguments{inputPath, outputPath, wkt, resolution, alphaType, fileType})
    {}

protected:
    DownsamplerAverage() = default;

    /// Running mean in double, in row-major order; no-data for a block without valid pixels. NaN is valid.
    float representativeValue(const Block& block) const override;
};

} // namespace vexel

#endif
