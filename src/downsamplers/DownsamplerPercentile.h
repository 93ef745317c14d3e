#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLERPERCENTILE_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLERPERCENTILE_H

#include "downsamplers/DownsamplerArguments.h"
#include "downsamplers/DownsamplerBase.h"

namespace vexel {

/// Downsamples by an order statistic of each block's valid pixels.
class DownsamplerPercentile : public DownsamplerBase
{
public:
    /// @param percentile from 0 to 1; 0.5 is the median.
    DownsamplerPercentile(const DownsamplerArguments& arguments, double percentile);
    DownsamplerPercentile(const QString& inputPath, const QString& outputPath, const QString& wkt,
                          double resolution, ImageAlphaType alphaType, GdalFileType fileType,
                          double percentile)
        : DownsamplerPercentile(
              DownsamplerArguments{inputPath, outputPath, wkt, resolution, alphaType, fileType}, percentile)
    {}

protected:
    explicit DownsamplerPercentile(double percentile);

    /// Of n valid pixels the one at index n times `percentile`, rounded half up, in ascending order; the
    /// largest if that is beyond the end. No-data for a block with fewer than two valid pixels. NaN is valid
    /// and the largest.
    float representativeValue(const Block& block) const override;

private:
    double m_percentile;
};

} // namespace vexel

#endif
