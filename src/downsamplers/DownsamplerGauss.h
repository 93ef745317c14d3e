#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLERGAUSS_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLERGAUSS_H

#include "DownsamplerBase.h"

namespace vexel {

/// Downsamples by a Gaussian blur, then the pixel at the centre of each block.
///
/// The blur has a standard deviation of sqrt(3.37 k) input pixels, k half the factor, at least 1. It runs
/// over the values as they are: a valid pixel beside a hole is blurred together with the no-data value that
/// stands there. Only the pixel that is sampled decides whether its block is no-data. The factor is changed
/// so that the first tile spans a whole number of output pixels.
///
/// Besides the rules of `DownsamplerBase`, a band that cannot be read makes a step fail, with an error
/// logged. Keeps the pixels of one band, the alpha band and a mask of a whole tile with its margin from step
/// to step.
class VEXEL_EXPORT DownsamplerGauss : public DownsamplerBase
{
public:
    /// Arguments and errors are those of `DownsamplerFactory::createDownsampler`.
    DownsamplerGauss(const QString& inputPath, const QString& outputPath, const QString& wkt,
                     double resolution, ImageAlphaType alphaType, GdalFileType fileType);
    ~DownsamplerGauss() override;

private:
    bool do_step(std::size_t step) override;
    float representativeValue(const Block& block) const override;

    bool downsampleBand(std::size_t band, const PixelBox& tileBox, const PixelBox& readBox, double sigma);
    bool readData(std::size_t band, const PixelBox& readBox);
    bool blurImage(double sigma, int n);
    bool subSample(std::size_t band, const PixelBox& tileBox, const PixelBox& readBox);
    bool writeData(std::size_t band, const PixelBox& tileBox);

    bool isAlphaBand(std::size_t band) const;
    void maskInvalid();
    void sampleAlphaRow(Eigen::Index i, Eigen::Index row, int xOffset);
    void sampleRow(Eigen::Index i, Eigen::Index row, int xOffset);

    PixelMatrix<float> data;
    PixelMatrix<float> alphaBand;
    PixelMatrix<float> result;
    PixelMatrix<unsigned char> mask;
    int rows = 0;
    int cols = 0;
};

} // namespace vexel

#endif
