#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLERGAUSS_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLERGAUSS_H

#include "DownsamplerBase.h"

namespace vexel {

struct GaussPart;
struct GaussStep;

/// Downsamples by a Gaussian blur, then the pixel at the centre of each block.
///
/// The blur has a standard deviation of sqrt(3.37 k) input pixels, k half the factor, at least 1. It runs
/// over the values as they are: a valid pixel beside a hole is blurred together with the no-data value that
/// stands there. Only the pixel that is sampled decides whether its block is no-data. The factor is changed
/// so that the first tile spans a whole number of output pixels.
///
/// A tile is blurred as a whole while that takes at most 1 GiB. A larger one is cut into parts that reach
/// seven and a half standard deviations beyond what they sample; values in the range of bytes differ by less
/// than 0.02 from those of the whole.
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

protected:
    /// Memory that the pixels of a step may take.
    double workingSetBytes = 1024.0 * 1024 * 1024;

private:
    struct Samples;
    template <class Out>
    struct Results;
    struct Share;

    bool do_step(std::size_t step) override;
    float representativeValue(const Block& block) const override;

    template <class T, class Out>
    bool downsampleTile(const GaussStep& plan);
    template <class T, class Out>
    bool downsamplePart(StripReader<T>& pixels, const GaussStep& plan, const GaussPart& columns,
                        const GaussPart& rows, const Share& share);
    template <class T>
    bool isRead(std::size_t band, const StripReader<T>& pixels) const;
    template <class T>
    void noteUnreadAlpha(StripReader<T>& pixels);
    template <class T>
    void blurImage(std::size_t band, StripReader<T>& pixels, const Samples& samples, double sigma,
                   float* data);
    template <class T, class Out>
    void subSample(std::size_t band, StripReader<T>& pixels, const Samples& samples, double sigma,
                   const float* data, const Results<Out>& results);
    template <class T>
    void finishRow(std::size_t band, StripReader<T>& pixels, const Samples& samples, Eigen::Index i,
                   float* cells);
    template <class Out>
    bool writeData(std::size_t noBands, const GaussStep& plan, const PixelBox& outBox,
                   const Results<Out>& results);

    bool leaveEmpty(const GaussStep& plan) const;
    bool isAlphaBand(std::size_t band) const;
    void markMissing(StripReader<unsigned char>& pixels, Eigen::Index firstNewRow) const;
    void markMissing(StripReader<float>& pixels, Eigen::Index firstNewRow) const;
};

} // namespace vexel

#endif
