#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLERWARP_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLERWARP_H

#include "downsamplers/DownsamplerBase.h"

#include "utilities/WarpOutput.h"

#include <QStringList>

#include <optional>

namespace vexel {

/// Downsamples a single file by one call of GDAL's warp utility, with cubic-spline interpolation. Opens no
/// raster sets: the job has one step, which reports GDAL's own progress.
///
/// Takes no GDAL lock: GDAL opens both files for itself, and no other thread can reach them through a set.
class DownsamplerWarp : public DownsamplerBase
{
public:
    /// Takes no spatial reference: the output has the input's.
    DownsamplerWarp(const QString& inputPath, const QString& outputPath, const QString& wkt,
                    double resolution, ImageAlphaType alphaType);

    /// What GDAL's warp utility is called with.
    ///
    /// @param noDataValue of the input; the output's is always -10000.
    static QStringList arguments(double resolution, double noDataValue);

private:
    bool do_init(std::size_t& steps) override;

    /// False if GDAL does not accept the arguments, if it was asked to stop, and, with nothing touched, if
    /// output and input are the same file or the resolution is not a positive finite number.
    bool do_step(std::size_t step) override;
    float representativeValue(const Block& block) const override;

    bool isPossible() const;
    StreamError answer() const;

    QString m_inputPath;
    QString m_outputPath;
    double m_resolution;
    QString m_failure = "No step was run";    ///< why there is no result; empty if there is
    std::optional<gdal::WarpOutput> m_output; ///< as it was before the first warp, once there was one
};

} // namespace vexel

#endif
