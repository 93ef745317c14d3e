#ifndef VEXEL_TESTS_DOWNSAMPLERS_GAUSSFIXTURES_H
#define VEXEL_TESTS_DOWNSAMPLERS_GAUSSFIXTURES_H

#include "downsamplers/DownsamplerGauss.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

/// What the tests of the Gaussian downsampler share.
namespace downsamplergausstest {

using vexel::GdalFileType;
using vexel::ImageAlphaType;
using Image = vexel::PixelMatrix<float>;

constexpr float kNoData = -10000.0f;
/// Of a constant image of 50: the weights sum to 1 to float rounding, of which 50 has units of 4e-6. A wrong
/// weight or a neighbour that leaks in shows by far more.
constexpr double kRounding = 1e-3;

struct Manner
{
    ImageAlphaType alpha = ImageAlphaType::NoAlpha;
    GdalFileType type = GdalFileType::SingleFile;
};
constexpr Manner kWithAlpha{ImageAlphaType::LastBand, GdalFileType::SingleFile};
constexpr Manner kTiles{ImageAlphaType::NoAlpha, GdalFileType::TileSet};
constexpr Manner kTilesWithAlpha{ImageAlphaType::LastBand, GdalFileType::TileSet};

/// A Gaussian downsampler with its sets within reach.
class Job : public vexel::DownsamplerGauss
{
public:
    Job(const QString& in, const QString& out, double resolution, const Manner& manner = {})
        : DownsamplerGauss(in, out, QString(), resolution, manner.alpha, manner.type)
    {}

    using DownsamplerBase::factor;
    using DownsamplerBase::input;
    using DownsamplerBase::output;
};

inline void downsample(const QString& in, const QString& out, double resolution, const Manner& manner = {})
{
    Job job(in, out, resolution, manner);
    EXPECT_TRUE(downsampling::run(job));
}

/// A raster in memory, cut into tiles.
struct Raster
{
    int width;
    int height;
    int tileWidth;
    int tileHeight;
    bool hasAlpha;
    std::vector<Image> bands;

    rasters::PixelValue value() const
    {
        return [this](int x, int y, int band) {
            return static_cast<double>(bands[static_cast<std::size_t>(band - 1)](y, x));
        };
    }
};

/// Each row of `image` convolved with the Gaussian sampled at whole pixels out to `reach` and scaled to sum 1. Beyond the
/// border the edge pixels go on.
inline Eigen::MatrixXd convolvedRows(const Eigen::MatrixXd& image, double sigma, Eigen::Index reach)
{
    const auto x =
        Eigen::ArrayXd::LinSpaced(2 * reach + 1, -static_cast<double>(reach), static_cast<double>(reach));
    Eigen::ArrayXd weights = (-0.5 * x.square() / (sigma * sigma)).exp();
    weights /= weights.sum();
    Eigen::MatrixXd sums = Eigen::MatrixXd::Zero(image.rows(), image.cols());
    for (Eigen::Index i = -reach; i <= reach; ++i)
        for (Eigen::Index column = 0; column < image.cols(); ++column)
            sums.col(column) +=
                weights[i + reach] * image.col(std::clamp<Eigen::Index>(column + i, 0, image.cols() - 1));
    return sums;
}

/// The blur itself, in double precision.
inline Eigen::MatrixXd direct(const Image& image, double sigma, Eigen::Index reach)
{
    const Eigen::MatrixXd rows = convolvedRows(image.cast<double>(), sigma, reach);
    return convolvedRows(rows.transpose(), sigma, reach).transpose();
}

/// Values of 0 to 255 with holes, and whole and zero alpha in the last band if it is alpha.
inline Raster randomRaster(int width, int height, int tileWidth, int tileHeight, int bands, bool hasAlpha)
{
    Raster raster{width, height, tileWidth, tileHeight, hasAlpha, {}};
    for (int band = 1; band <= bands; ++band)
        raster.bands.push_back(Image::NullaryExpr(height, width, [&](Eigen::Index row, Eigen::Index column) {
            const int y = static_cast<int>(row);
            const int x = static_cast<int>(column);
            const double value = rasters::noise(x, y, band);
            if (hasAlpha && band == bands)
                return value < 0.4 ? 0.0f : static_cast<float>(std::ceil(value * 255.0));
            return rasters::noise(x, y, band, 1) < 0.1 ? kNoData : static_cast<float>(value * 255.0);
        }));
    return raster;
}

} // namespace downsamplergausstest

#endif
