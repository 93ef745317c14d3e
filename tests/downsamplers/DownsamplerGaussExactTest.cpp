#include "downsamplers/DownsamplerGauss.h"

#include "companion/gaussblur.h"
#include "gaussfixtures.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// The judge is the blur over what a tile reads, then plain loops.

using namespace downsamplergausstest;

namespace {

using Values = std::vector<double>;

int roundHalfAway(double value)
{
    return static_cast<int>(std::round(value));
}

/// Part of a raster along one axis: the tile, what is read for it, and where its results belong.
struct Extent
{
    int from;
    int readFrom;
    int readTo;
    int outFrom;
    int results;

    Extent(int tileFrom, int tileTo, int size, int margin, double factor)
        : from(tileFrom), readFrom(std::max(0, tileFrom - margin)), readTo(std::min(size, tileTo + margin)),
          outFrom(roundHalfAway(tileFrom / factor)),
          results(
              std::max(roundHalfAway((tileTo - tileFrom) / factor), roundHalfAway(tileTo / factor) - outFrom))
    {}

    /// The pixel sampled for a result, counted from where reading starts.
    int sample(int result, double factor) const
    {
        return static_cast<int>(std::floor((result + 0.5) * factor + (from - readFrom)));
    }
};

/// The library's own, which shows that the job does nothing but blur and sample, to the bit.
Image recursive(const Image& image, double sigma)
{
    Image smooth = image;
    vexel::gauss_iir2d(smooth, static_cast<float>(sigma), 4);
    return smooth;
}

/// A blur of what is read for a tile.
using Blur = std::function<Image(const Image& image, double sigma)>;

/// Samples one band of one tile into the output.
void sampleTile(Image& out, const Raster& raster, std::size_t band, const Extent& rows, const Extent& columns,
                double factor, double sigma, const Blur& blur)
{
    const auto read = [&](std::size_t which) -> Image {
        return raster.bands[which].block(rows.readFrom, columns.readFrom, rows.readTo - rows.readFrom,
                                         columns.readTo - columns.readFrom);
    };
    const std::size_t last = raster.bands.size() - 1;
    const bool isAlphaBand = raster.hasAlpha && band == last;
    const Image original = read(band);
    const Image smooth = blur(original, sigma);
    for (int i = 0; i < rows.results && rows.outFrom + i < out.rows(); ++i)
        for (int j = 0; j < columns.results && columns.outFrom + j < out.cols(); ++j) {
            const int r = rows.sample(i, factor);
            const int c = columns.sample(j, factor);
            float& cell = out(rows.outFrom + i, columns.outFrom + j);
            if (r >= original.rows() || c >= original.cols())
                cell = kNoData;
            else if (isAlphaBand)
                cell = smooth(r, c) > 127.5f ? 255.0f : 0.0f;
            else if (original(r, c) < -9999.999f || (raster.hasAlpha && read(last)(r, c) == 0.0f))
                cell = kNoData;
            else
                cell = smooth(r, c);
        }
}

/// What downsampling one band of the raster gives, tile after tile.
Image expectedBand(const Raster& raster, std::size_t band, double factor, double sigma, int margin, int rows,
                   int columns, const Blur& blur)
{
    Image out = Image::Constant(rows, columns, kNoData);
    for (int x = 0; x < raster.width; x += raster.tileWidth)
        for (int y = 0; y < raster.height; y += raster.tileHeight)
            sampleTile(
                out, raster, band,
                Extent(y, std::min(y + raster.tileHeight, raster.height), raster.height, margin, factor),
                Extent(x, std::min(x + raster.tileWidth, raster.width), raster.width, margin, factor), factor,
                sigma, blur);
    return out;
}

Values valuesOf(const Image& image)
{
    return Values(image.data(), image.data() + image.size());
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
    /// Downsamples some bands, and judges each result by the blur and by the convolution.
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
            const Values results = rasters::pixels(folder / "out_1_1.tif", band);
            const auto index = static_cast<std::size_t>(band - 1);
            EXPECT_EQ(downsampling::difference(expected(raster, index, recursive), results, columns()), "");
            expectNearTheConvolution(raster, index, results);
        }
    }

private:
    // The output's pixels are rounded to units of 1e-5, of which the input's have 100000. Rounded up, the last
    // column or row does not fit any more.
    static int outputSize(int size)
    {
        return static_cast<int>(std::int64_t{100000} * size / std::llround(100000 * GetParam().factor));
    }

    static int columns() { return outputSize(GetParam().width); }

    static Values expected(const Raster& raster, std::size_t band, const Blur& blur)
    {
        const ExactCase& row = GetParam();
        return valuesOf(expectedBand(raster, band, row.factor, std::sqrt(3.37 * row.halfFactor), row.margin,
                                     outputSize(row.height), columns(), blur));
    }

    /// Of alpha, what the convolution leaves undecided next to the threshold may be either.
    static void expectNearTheConvolution(const Raster& raster, std::size_t band, const Values& results)
    {
        // Measured for these sigmas, the response of order 4 along an axis differs from the Gaussian by at most
        // 6.0e-4, summed over its pixels (4.9e-3 for order 3). As both sum to 1, a line that spans `range`
        // differs by at most half of that times `range`, and two axes add up.
        const bool isAlphaBand = raster.hasAlpha && band + 1 == raster.bands.size();
        const float range = isAlphaBand ? 255.0f : 255.0f - kNoData;
        const float tolerance = 6.1e-4f * range;
        const auto shifted = [](float by) {
            return
                [by](const Image& image, double sigma) -> Image { return direct(image, sigma).array() + by; };
        };
        const Values lowest = expected(raster, band, shifted(-tolerance));
        const Values highest = expected(raster, band, shifted(tolerance));
        ASSERT_EQ(results.size(), lowest.size());
        for (std::size_t k = 0; k < results.size(); ++k) {
            ASSERT_GE(results[k], lowest[k]) << "result " << k;
            ASSERT_LE(results[k], highest[k]) << "result " << k;
        }
    }
};

TEST_P(DownsamplerGaussExact, BlursWhatIsReadAndSamplesTheCentres)
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
