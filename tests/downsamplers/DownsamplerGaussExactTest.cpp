#include "downsamplers/DownsamplerGauss.h"

#include "gaussfixtures.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

// The judge is a convolution of the whole raster in double precision, then plain loops.

using namespace downsamplergausstest;

namespace {

using Values = std::vector<double>;

int roundHalfAway(double value)
{
    return static_cast<int>(std::round(value));
}

/// A tile along one axis: where its samples lie, and where its results belong.
struct Extent
{
    int from;
    int readFrom; ///< the tile with its margin: results that would be sampled beyond have no sample
    int readTo;
    int outFrom;
    int results;

    Extent(int tileFrom, int tileTo, int size, int margin, double factor)
        : from(tileFrom), readFrom(std::max(0, tileFrom - margin)), readTo(std::min(size, tileTo + margin)),
          outFrom(roundHalfAway(tileFrom / factor)),
          results(
              std::max(roundHalfAway((tileTo - tileFrom) / factor), roundHalfAway(tileTo / factor) - outFrom))
    {}

    /// The pixel of the raster that is sampled for a result.
    int sample(int result, double factor) const
    {
        return readFrom + static_cast<int>(std::floor((result + 0.5) * factor + (from - readFrom)));
    }
};

/// Samples one band of one tile into the output.
void sampleTile(Eigen::MatrixXd& out, const Raster& raster, std::size_t band, const Eigen::MatrixXd& smooth,
                const Extent& rows, const Extent& columns, double factor)
{
    const std::size_t last = raster.bands.size() - 1;
    for (int i = 0; i < rows.results && rows.outFrom + i < out.rows(); ++i)
        for (int j = 0; j < columns.results && columns.outFrom + j < out.cols(); ++j) {
            const int r = rows.sample(i, factor);
            const int c = columns.sample(j, factor);
            double& cell = out(rows.outFrom + i, columns.outFrom + j);
            if (r >= rows.readTo || c >= columns.readTo)
                cell = kNoData;
            else if (raster.hasAlpha && band == last)
                cell = smooth(r, c) > 127.5 ? 255.0 : 0.0;
            else if (raster.bands[band](r, c) < -9999.999f ||
                     (raster.hasAlpha && raster.bands[last](r, c) == 0.0f))
                cell = kNoData;
            else
                cell = smooth(r, c);
        }
}

struct ExactCase
{
    const char* name;
    int width;
    int height;
    int tileWidth;
    int tileHeight;
    double requested;
    double factor;     ///< at which the first tile's width is a whole number of output pixels
    double halfFactor; ///< k of sqrt(3.37 k)
    int margin;
};

class DownsamplerGaussExact : public testing::TestWithParam<ExactCase>
{
protected:
    /// Downsamples some bands, and judges each result by the convolution.
    void check(int bands, const Manner& manner)
    {
        const ExactCase& row = GetParam();
        const TempFolder folder;
        const Raster raster = randomRaster(row.width, row.height, row.tileWidth, row.tileHeight, bands,
                                           manner.alpha == ImageAlphaType::LastBand);
        downsampling::makeTiles(folder / "in.tif",
                                downsampling::mapped(row.width, row.height, GDT_Float32, bands),
                                row.tileWidth, row.tileHeight, raster.value());
        {
            Job job(folder / "in.tif", folder / "out.tif", row.requested, manner);
            EXPECT_EQ(job.factor, row.factor);
            EXPECT_TRUE(downsampling::run(job));
        }
        for (int band = 1; band <= bands; ++band) {
            SCOPED_TRACE("band " + std::to_string(band));
            expectNear(raster, static_cast<std::size_t>(band - 1),
                       rasters::pixels(folder / "out_1_1.tif", band));
        }
    }

private:
    // The output's pixels are rounded to units of 1e-5, of which the input's have 100000. Rounded up, the last
    // column or row does not fit any more.
    static int outputSize(int size)
    {
        return static_cast<int>(std::int64_t{100000} * size / std::llround(100000 * GetParam().factor));
    }

    /// What downsampling one band of the raster gives, tile after tile, where the blur gives `smooth`.
    static Eigen::MatrixXd expected(const Raster& raster, std::size_t band, const Eigen::MatrixXd& smooth)
    {
        const ExactCase& row = GetParam();
        Eigen::MatrixXd out =
            Eigen::MatrixXd::Constant(outputSize(row.height), outputSize(row.width), kNoData);
        for (int x = 0; x < raster.width; x += raster.tileWidth)
            for (int y = 0; y < raster.height; y += raster.tileHeight)
                sampleTile(out, raster, band, smooth,
                           Extent(y, std::min(y + raster.tileHeight, raster.height), raster.height,
                                  row.margin, row.factor),
                           Extent(x, std::min(x + raster.tileWidth, raster.width), raster.width, row.margin,
                                  row.factor),
                           row.factor);
        return out;
    }

    /// Of alpha, what the convolution leaves undecided next to the threshold may be either.
    static void expectNear(const Raster& raster, std::size_t band, const Values& results)
    {
        const bool isAlphaBand = raster.hasAlpha && band + 1 == raster.bands.size();
        // Sums of floats: relative to the largest difference and the largest magnitude in a window.
        const double tolerance = isAlphaBand ? 0.05 : 1e-5 * (255.0 - kNoData) + 1e-6 * -kNoData;
        const Eigen::MatrixXd smooth =
            direct(raster.bands[band], std::sqrt(3.37 * GetParam().halfFactor), GetParam().margin);
        const Eigen::MatrixXd lowest = expected(raster, band, smooth.array() - tolerance);
        const Eigen::MatrixXd highest = expected(raster, band, smooth.array() + tolerance);
        ASSERT_EQ(static_cast<Eigen::Index>(results.size()), lowest.size());
        for (Eigen::Index k = 0; k < lowest.size(); ++k) {
            const Eigen::Index y = k / lowest.cols();
            const Eigen::Index x = k % lowest.cols();
            ASSERT_GE(results[static_cast<std::size_t>(k)], lowest(y, x)) << "row " << y << ", column " << x;
            ASSERT_LE(results[static_cast<std::size_t>(k)], highest(y, x)) << "row " << y << ", column " << x;
        }
    }
};

TEST_P(DownsamplerGaussExact, BlursAndSamplesTheCentres)
{
    check(2, kTiles);
}

TEST_P(DownsamplerGaussExact, WithAlphaDoesTheSameWhereItIsNotZero)
{
    check(3, kTilesWithAlpha);
}

TEST_P(DownsamplerGaussExact, OnlyBandThatIsAlphaIsBlurredAndCut)
{
    check(1, kTilesWithAlpha);
}

INSTANTIATE_TEST_SUITE_P(
    Factors, DownsamplerGaussExact,
    testing::Values(ExactCase{"One", 40, 30, 20, 30, 1, 1, 1, 9},
                    ExactCase{"Two", 64, 48, 32, 16, 2, 2, 1, 9},
                    ExactCase{"Three", 96, 60, 24, 30, 3, 3, 1, 9},
                    ExactCase{"Four", 96, 96, 32, 48, 4, 4, 2, 13},
                    ExactCase{"Eight", 128, 128, 64, 64, 8, 8, 4, 18},
                    ExactCase{"Sixteen", 192, 128, 64, 64, 16, 16, 8, 26},
                    ExactCase{"SmallerLastTiles", 70, 50, 32, 16, 2, 2, 1, 9},
                    ExactCase{"FractionalFactor", 100, 90, 50, 30, 2.994, 50.0 / 17, 1, 9},
                    ExactCase{"SeamsShortOfARow", 50, 240, 50, 30, 2.994, 50.0 / 17, 1, 9},
                    ExactCase{"SeamsThatOverlap", 50, 224, 50, 32, 2.994, 50.0 / 17, 1, 9},
                    ExactCase{"TilesNarrowerThanTheMargin", 24, 20, 4, 5, 2, 2, 1, 9}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
