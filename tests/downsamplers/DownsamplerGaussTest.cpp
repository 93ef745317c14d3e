#include "downsamplers/DownsamplerGauss.h"

#include "companion/gaussblur.h"
#include "downsamplers/DownsamplerFactory.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using vexel::GdalFileType;
using vexel::ImageAlphaType;
using Image = vexel::PixelMatrix<float>;
using Values = std::vector<double>;
constexpr float kNoData = -10000.0f;
/// Of a constant image of 50: the recursion sums to 1 to float rounding, of which 50 has units of 4e-6. A wrong
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

bool doStep(vexel::Worker& job, std::size_t step)
{
    return job.do_step(step);
}

void downsample(const QString& in, const QString& out, double resolution, const Manner& manner = {})
{
    Job job(in, out, resolution, manner);
    EXPECT_TRUE(downsampling::run(job));
}

/// True if `text` is what the C library says to some error.
bool isErrnoText(const std::string& text)
{
    for (int error = 0; error < 200; ++error)
        if (text == std::strerror(error))
            return true;
    return false;
}

// ---- The judge: the blur over what a tile reads, then plain loops

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

/// A blur of what is read for a tile.
using Blur = std::function<Image(const Image& image, double sigma)>;

/// The library's own, which shows that the job does nothing but blur and sample, to the bit.
Image recursive(const Image& image, double sigma)
{
    Image smooth = image;
    vexel::gauss_iir2d(smooth, static_cast<float>(sigma), 4);
    return smooth;
}

/// Each row of `image` convolved with the Gaussian sampled at whole pixels out to six sigma and scaled to sum
/// 1. Beyond the border the edge pixels go on.
Eigen::MatrixXd convolvedRows(const Eigen::MatrixXd& image, double sigma)
{
    const auto reach = static_cast<Eigen::Index>(std::ceil(6.0 * sigma));
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

/// The Gaussian itself, which the recursion approximates.
Image direct(const Image& image, double sigma)
{
    const Eigen::MatrixXd rows = convolvedRows(image.cast<double>(), sigma);
    return convolvedRows(rows.transpose(), sigma).transpose().cast<float>();
}

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

/// Values of 0 to 255 with holes, and whole and zero alpha in the last band if it is alpha.
Raster randomRaster(int width, int height, int tileWidth, int tileHeight, int bands, bool hasAlpha)
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

// ---- Class and factory

TEST(DownsamplerGauss, IsADownsampler)
{
    EXPECT_TRUE((std::is_base_of_v<vexel::DownsamplerBase, vexel::DownsamplerGauss>));
}

TEST(DownsamplerGauss, ReducesEveryBlockToZero)
{
    struct Reachable : vexel::DownsamplerBase
    {
        using DownsamplerBase::Block;
        static float reduce(const DownsamplerBase& job, const Block& block)
        {
            return (job.*(&Reachable::representativeValue))(block);
        }
    };
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), [](int, int, int) { return 7.0; });
    const Job job(folder / "in.tif", folder / "out.tif", 2.0);
    Image block = Image::Constant(2, 2, 7.0f);
    EXPECT_EQ(Reachable::reduce(job, block), 0.0f);
}

TEST(DownsamplerGauss, IsWhatTheFactoryMakesForBothOfItsValues)
{
    const TempFolder folder;
    const Raster raster = randomRaster(60, 44, 60, 44, 3, /*hasAlpha=*/true);
    rasters::make(folder / "in.tif", downsampling::mapped(60, 44, GDT_Float32, 3), raster.value());
    downsample(folder / "in.tif", folder / "direct.tif", 3.0, kWithAlpha);
    for (const int strategy : {0, 1}) {
        auto job = vexel::DownsamplerFactory::createDownsampler(
            static_cast<vexel::DownsamplingStrategy>(strategy), folder / "in.tif", folder / "made.tif",
            QString(), 3.0, ImageAlphaType::LastBand, GdalFileType::SingleFile);
        EXPECT_TRUE(std::dynamic_pointer_cast<vexel::DownsamplerGauss>(job));
        EXPECT_TRUE(downsampling::run(*job));
        job.reset();
        EXPECT_EQ(fileText(folder / "made.tif"), fileText(folder / "direct.tif"));
    }
}

TEST(DownsamplerGauss, HandsTheProjectionOn)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), [](int, int, int) { return 7.0; });
    {
        vexel::DownsamplerGauss job(folder / "in.tif", folder / "out.tif",
                                    QString::fromStdString(rasters::wkt(32632)), 2.0, ImageAlphaType::NoAlpha,
                                    GdalFileType::SingleFile);
        EXPECT_TRUE(downsampling::run(job));
    }
    EXPECT_NE(std::string(rasters::open(folder / "out.tif")->GetProjectionRef()).find("zone 32N"),
              std::string::npos);
}

TEST(DownsamplerGauss, FactorIsAlignedToTheFirstTile)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(150, 40, GDT_Byte), 100, 40,
                            [](int, int, int) { return 7.0; });
    const Job job(folder / "in.tif", folder / "out.tif", 3.0, kTiles);
    EXPECT_EQ(job.factor, 100.0 / 33.0);
    EXPECT_EQ(job.output.res(), 303030);
}

TEST(DownsamplerGauss, MissingFilesThrow)
{
    const TempFolder folder;
    const LogCapture quiet;
    try {
        const Job job(folder / "none.tif", folder / "out.tif", 2.0);
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Unable to open input file '" + (folder / "none.tif").toStdString() + "'");
    }
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Byte), [](int, int, int) { return 7.0; });
    EXPECT_THROW(Job(folder / "in.tif", folder / "in.tif", 2.0), std::runtime_error);
    EXPECT_THROW(Job(folder / "in.tif", folder / "out.tif", 9.0), std::runtime_error)
        << "the tile is narrower than half an output pixel";
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(DownsamplerGauss, StepThatThereIsNotFails)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), [](int, int, int) { return 7.0; });
    Job job(folder / "in.tif", folder / "out.tif", 2.0);
    EXPECT_FALSE(doStep(job, 1));
    EXPECT_FALSE(doStep(job, std::numeric_limits<std::size_t>::max()));
}

TEST(DownsamplerGauss, StepsMayComeInAnyOrder)
{
    const TempFolder folder;
    const Raster raster = randomRaster(96, 64, 32, 32, 3, /*hasAlpha=*/true);
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(96, 64, GDT_Float32, 3), 32, 32,
                            raster.value());
    downsample(folder / "in.tif", folder / "forward.tif", 4.0, kTilesWithAlpha);
    {
        Job job(folder / "in.tif", folder / "backward.tif", 4.0, kTilesWithAlpha);
        for (std::size_t step = 6; step-- > 0;)
            EXPECT_TRUE(doStep(job, step));
    }
    for (int band = 1; band <= 3; ++band)
        EXPECT_EQ(rasters::pixels(folder / "forward_1_1.tif", band),
                  rasters::pixels(folder / "backward_1_1.tif", band));
}

// ---- Missing pixels

/// Downsamples 8 by 8 floats by 2, so that rows and columns 1, 3, 5 and 7 are sampled.
Values sampled(const rasters::PixelValue& value, int bands = 1, const Manner& manner = {}, int band = 1)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Float32, bands), value);
    downsample(folder / "in.tif", folder / "out.tif", 2.0, manner);
    return rasters::pixels(folder / "out.tif", band);
}

TEST(DownsamplerGaussMissing, ThresholdIsBelowMinus9999Point999AsFloat)
{
    const float threshold = -9999.999f;
    const float below = std::nextafterf(threshold, -1e6f);
    const Values out = sampled([&](int x, int y, int) {
        return x == 3 && y == 1 ? threshold : x == 3 && y == 5 ? below : 0.0f;
    });
    EXPECT_GT(out[1], -9000.0) << "valid, and blurred with its neighbours";
    EXPECT_LT(out[1], 0.0);
    EXPECT_EQ(out[9], -10000.0);
    EXPECT_EQ(std::count(out.begin(), out.end(), -10000.0), 1);
}

TEST(DownsamplerGaussMissing, OnlyTheSampledPixelDecides)
{
    const Values out = sampled([](int x, int y, int) { return x == 4 && y == 4 ? -10000.0 : 100.0; });
    EXPECT_EQ(std::count(out.begin(), out.end(), -10000.0), 0);
    EXPECT_LT(out[10], -100.0) << "the hole is blurred into its neighbours as it is";
}

TEST(DownsamplerGaussMissing, NanIsValidAndSpoilsWhatItIsBlurredInto)
{
    const Values out = sampled([](int x, int y, int) {
        return x == 4 && y == 4   ? std::numeric_limits<double>::quiet_NaN()
               : x == 1 && y == 1 ? -10000.0
                                  : 100.0;
    });
    EXPECT_EQ(out[0], -10000.0);
    EXPECT_EQ(std::count_if(out.begin(), out.end(), [](double v) { return std::isnan(v); }), 15);
}

TEST(DownsamplerGaussMissing, ValueToTreatAsNoDataIsBlurredAsNoData)
{
    const TempFolder folder;
    const auto withHole = [](double hole) {
        return [hole](int x, int y, int) { return (x == 5 && y == 3) || (x == 0 && y == 7) ? hole : 100.0; };
    };
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Float32), withHole(-32767));
    rasters::make(folder / "same.tif", downsampling::mapped(8, 8, GDT_Float32), withHole(-10000));
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0);
        job.treatAsNoData(-32767);
        EXPECT_TRUE(downsampling::run(job));
    }
    downsample(folder / "same.tif", folder / "expected.tif", 2.0);
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), rasters::pixels(folder / "expected.tif"));
    EXPECT_EQ(rasters::pixels(folder / "out.tif")[6], -10000.0);
}

// ---- Alpha

struct MaskCase
{
    const char* name;
    double alpha;
    bool valid;
};

class DownsamplerGaussMask : public testing::TestWithParam<MaskCase>
{};

TEST_P(DownsamplerGaussMask, IsTheLowByteOfTheTruncatedAlpha)
{
    const Values out = sampled(
        [](int x, int y, int band) { return band == 1          ? 50.0
                                            : x == 3 && y == 5 ? GetParam().alpha
                                                               : 200.0; },
        2, kWithAlpha);
    EXPECT_EQ(std::count(out.begin(), out.end(), -10000.0), GetParam().valid ? 0 : 1);
    if (GetParam().valid)
        EXPECT_NEAR(out[9], 50.0, kRounding);
    else
        EXPECT_EQ(out[9], -10000.0);
}

INSTANTIATE_TEST_SUITE_P(Alphas, DownsamplerGaussMask,
                         testing::Values(MaskCase{"Zero", 0, false}, MaskCase{"Half", 0.5, false},
                                         MaskCase{"JustBelowOne", 0.999, false}, MaskCase{"One", 1, true},
                                         MaskCase{"Opaque", 255, true}, MaskCase{"OneByteMore", 256, false},
                                         MaskCase{"OneByteMoreAndAHalf", 256.5, false},
                                         MaskCase{"AboveAByte", 300, true},
                                         MaskCase{"MinusHalf", -0.5, false}, MaskCase{"MinusOne", -1, true},
                                         MaskCase{"NoData", -10000, true},
                                         MaskCase{"LowByteOfNegative", -512, false},
                                         MaskCase{"Huge", 4294967296.0, false},
                                         MaskCase{"Nan", std::numeric_limits<double>::quiet_NaN(), false}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerGaussAlpha, MissingDataIsMissingWhateverTheAlpha)
{
    const Values out =
        sampled([](int x, int y, int band) { return band == 2          ? 255.0
                                                    : x == 3 && y == 5 ? -10000.0
                                                                       : 50.0; },
                2, kWithAlpha);
    EXPECT_EQ(out[9], -10000.0);
    EXPECT_EQ(std::count(out.begin(), out.end(), -10000.0), 1);
}

struct AlphaCase
{
    const char* name;
    double alpha;
    double result;
};

class DownsamplerGaussAlphaThreshold : public testing::TestWithParam<AlphaCase>
{};

TEST_P(DownsamplerGaussAlphaThreshold, IsAboveHalf)
{
    const auto value = [](int, int, int band) { return band == 2 ? GetParam().alpha : 50.0; };
    EXPECT_EQ(sampled(value, 2, kWithAlpha, 2), Values(16, GetParam().result));
    const auto alphaAlone = [](int, int, int) { return GetParam().alpha; };
    EXPECT_EQ(sampled(alphaAlone, 1, kWithAlpha), Values(16, GetParam().result));
}

// A constant image comes out equal to a few roundings, which are 8e-6 at 127.5: a thousandth from the threshold
// it is decided.
INSTANTIATE_TEST_SUITE_P(Alphas, DownsamplerGaussAlphaThreshold,
                         testing::Values(AlphaCase{"Zero", 0, 0}, AlphaCase{"JustBelow", 127.499, 0},
                                         AlphaCase{"JustAbove", 127.501, 255}, AlphaCase{"Opaque", 255, 255},
                                         AlphaCase{"Low", 1, 0}, AlphaCase{"NoData", -10000, 0},
                                         AlphaCase{"Large", 60000, 255}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerGaussAlpha, IsBlurredBeforeItIsCut)
{
    // Opaque from column 3 on: the blurred edge passes the threshold between columns 2 and 3.
    const auto edge = [](int x, int, int band) { return band == 2 ? (x >= 3 ? 255.0 : 0.0) : 50.0; };
    const Values row = {0, 255, 255, 255};
    const Values out = sampled(edge, 2, kWithAlpha, 2);
    for (std::size_t k = 0; k < out.size(); ++k)
        EXPECT_EQ(out[k], row[k % 4]);
    // A single transparent pixel that is sampled is blurred away, but leaves its hole in the other band.
    const auto point = [](int x, int y, int band) {
        return band == 2 ? (x == 3 && y == 3 ? 0.0 : 255.0) : 50.0;
    };
    EXPECT_EQ(sampled(point, 2, kWithAlpha, 2), Values(16, 255.0));
    EXPECT_EQ(sampled(point, 2, kWithAlpha, 1)[5], -10000.0);
}

TEST(DownsamplerGaussAlpha, IsABandAsAnyOtherWithoutTheAlphaType)
{
    const auto value = [](int, int, int band) { return band == 2 ? 0.0 : 50.0; };
    for (const int type : {0, 2, -1}) {
        const Manner manner{static_cast<ImageAlphaType>(type), GdalFileType::SingleFile};
        EXPECT_NEAR(sampled(value, 2, manner, 1)[5], 50.0, kRounding) << type;
        EXPECT_EQ(sampled(value, 2, manner, 2), Values(16, 0.0)) << type;
    }
}

// ---- Output

class DownsamplerGaussPixelTypes : public testing::TestWithParam<GDALDataType>
{};

TEST_P(DownsamplerGaussPixelTypes, AreKeptAndRoundedByGdal)
{
    const TempFolder folder;
    const Raster raster = randomRaster(32, 24, 32, 24, 2, /*hasAlpha=*/true);
    const auto whole = [&](int x, int y, int band) {
        return std::max(0.0, std::floor(raster.value()(x, y, band)));
    };
    rasters::make(folder / "in.tif", downsampling::mapped(32, 24, GetParam(), 2), whole);
    rasters::make(folder / "float.tif", downsampling::mapped(32, 24, GDT_Float32, 2), whole);
    downsample(folder / "in.tif", folder / "out.tif", 4.0, kWithAlpha);
    downsample(folder / "float.tif", folder / "exact.tif", 4.0, kWithAlpha);
    EXPECT_EQ(rasters::open(folder / "out.tif")->GetRasterBand(1)->GetRasterDataType(), GetParam());
    for (int band = 1; band <= 2; ++band) {
        const Values exact = rasters::pixels(folder / "exact.tif", band);
        EXPECT_EQ(downsampling::difference(
                      downsampling::stored(std::vector<float>(exact.begin(), exact.end()), GetParam()),
                      rasters::pixels(folder / "out.tif", band), 8),
                  "")
            << "band " << band;
    }
}

std::string typeName(const testing::TestParamInfo<GDALDataType>& row)
{
    return GDALGetDataTypeName(row.param);
}

INSTANTIATE_TEST_SUITE_P(Types, DownsamplerGaussPixelTypes,
                         testing::Values(GDT_Byte, GDT_UInt16, GDT_Int16, GDT_UInt32, GDT_Int32, GDT_Float32,
                                         GDT_Float64),
                         typeName);

/// A raster in pixel units, whose output resolution is rounded to a whole number of pixels.
rasters::Description inPixelUnits(int width, int height, GDALDataType type)
{
    rasters::Description description = downsampling::mapped(width, height, type, 3);
    description.geotransform.reset();
    return description;
}

class DownsamplerGaussUncomputed : public testing::TestWithParam<GDALDataType>
{};

TEST_P(DownsamplerGaussUncomputed, CellsAreNoDataOrZero)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", inPixelUnits(12, 6, GetParam()), [](int, int, int) { return 50.0; });
    downsample(folder / "in.tif", folder / "out.tif", 2.4e-5);
    // A pixel is 2 units for a factor of 2.4: 5 of 6 columns are computed. A third row is, but its sample
    // would lie in row 6 of 6.
    const double missing = GetParam() == GDT_Byte || GetParam() == GDT_UInt16 ? 0.0 : -10000.0;
    for (int band = 1; band <= 3; ++band) {
        const Values out = rasters::pixels(folder / "out.tif", band);
        ASSERT_EQ(out.size(), 18u);
        for (std::size_t k = 0; k < out.size(); ++k)
            if (k % 6 < 5 && k / 6 < 2)
                EXPECT_NEAR(out[k], 50.0, kRounding) << k;
            else
                EXPECT_EQ(out[k], missing) << "band " << band << ", " << k;
    }
}

INSTANTIATE_TEST_SUITE_P(Types, DownsamplerGaussUncomputed,
                         testing::Values(GDT_Byte, GDT_UInt16, GDT_Int16, GDT_Float32, GDT_Float64),
                         typeName);

TEST(DownsamplerGaussOutput, ResultsBeyondItAreCut)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", inPixelUnits(8, 8, GDT_Float32),
                  [](int x, int y, int band) { return 100 * band + x + 10 * y; });
    rasters::make(folder / "wide.tif", downsampling::mapped(8, 8, GDT_Float32, 3),
                  [](int x, int y, int band) { return 100 * band + x + 10 * y; });
    // 1.6 units are rounded to 2: the output is 4 pixels wide, though there are 5 results.
    downsample(folder / "in.tif", folder / "out.tif", 1.6e-5);
    downsample(folder / "wide.tif", folder / "whole.tif", 1.6);
    for (int band = 1; band <= 3; ++band) {
        const Values whole = rasters::pixels(folder / "whole.tif", band);
        ASSERT_EQ(whole.size(), 25u);
        Values expected;
        for (std::size_t i = 0; i < 4; ++i)
            expected.insert(expected.end(), whole.begin() + 5 * static_cast<std::ptrdiff_t>(i),
                            whole.begin() + 5 * static_cast<std::ptrdiff_t>(i) + 4);
        EXPECT_EQ(rasters::pixels(folder / "out.tif", band), expected);
    }
}

// ---- Seams between tiles

struct SeamCase
{
    const char* name;
    int width;
    int height;
    int tileWidth;
    int tileHeight;
    double factor;
};

class DownsamplerGaussSeams : public testing::TestWithParam<SeamCase>
{};

TEST_P(DownsamplerGaussSeams, LeaveNoPixelUnwritten)
{
    const SeamCase& row = GetParam();
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(row.width, row.height, GDT_Float32, 2),
                            row.tileWidth, row.tileHeight,
                            [](int x, int y, int band) { return band == 1 ? x : y; });
    {
        Job job(folder / "in.tif", folder / "out.tif", row.factor, kTiles);
        job.factor = row.factor; // aligned, the first row's would be 3
        EXPECT_TRUE(downsampling::run(job));
    }
    const rasters::Dataset out = rasters::open(folder / "out_1_1.tif");
    const int columns = out->GetRasterXSize();
    const Values xs = rasters::pixels(folder / "out_1_1.tif", 1);
    const Values ys = rasters::pixels(folder / "out_1_1.tif", 2);
    // Results lie up to one output pixel off their place, by the fractions that tiles leave, and the blur
    // draws those at the raster's edge inward.
    const double off = row.factor + 2.0;
    for (int k = 0; k < static_cast<int>(xs.size()); ++k) {
        const auto index = static_cast<std::size_t>(k);
        ASSERT_NEAR(xs[index], (k % columns + 0.5) * row.factor, off) << "row " << k / columns;
        ASSERT_NEAR(ys[index], (k / columns + 0.5) * row.factor, off) << "column " << k % columns;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, DownsamplerGaussSeams,
                         testing::Values(SeamCase{"ShortOfColumns", 1200, 300, 300, 300, 2.994},
                                         SeamCase{"ShortOfRows", 50, 240, 50, 30, 50.0 / 17},
                                         SeamCase{"Overlapping", 100, 320, 50, 32, 50.0 / 17},
                                         SeamCase{"LargeFactor", 146, 330, 73, 33, 7.3},
                                         SeamCase{"TilesOfAFewPixels", 48, 45, 6, 3, 2}),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- Failures during a step

std::string readFailure(const QString& path)
{
    return "Unable to read tile " + path.toStdString() + "': ";
}

TEST(DownsamplerGaussFailure, ClosedInputIsLogged)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 3),
                  [](int, int, int) { return 7.0; });
    for (const Manner& manner : {Manner{}, kWithAlpha}) {
        Job job(folder / "in.tif", folder / "out.tif", 2.0, manner);
        job.input.close();
        const LogCapture log;
        errno = EACCES;
        EXPECT_FALSE(doStep(job, 0));
        ASSERT_EQ(log.messages().size(), 1u) << log.text();
        EXPECT_EQ(log.messages()[0].level, 7);
        EXPECT_EQ(log.messages()[0].category, "");
        EXPECT_EQ(log.messages()[0].text, readFailure(folder / "in.tif") + std::strerror(EACCES));
    }
}

TEST(DownsamplerGaussFailure, ClosedInputOfAlphaAloneLeavesNoData)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Float32),
                  [](int, int, int) { return 255.0; });
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
        job.input.close();
        const LogCapture log;
        EXPECT_TRUE(doStep(job, 0));
        EXPECT_EQ(log.text(), "");
    }
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), Values(16, -10000.0));
}

TEST(DownsamplerGaussFailure, LostInputIsLoggedOnce)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 3),
                  [](int, int, int) { return 7.0; });
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
        std::filesystem::remove((folder / "in.tif").toStdString());
        const LogCapture log;
        EXPECT_FALSE(doStep(job, 0));
        ASSERT_EQ(log.messages().size(), 1u) << log.text();
        EXPECT_EQ(log.messages()[0].level, 7);
        const std::string start = readFailure(folder / "in.tif");
        const std::string text = log.messages()[0].text;
        EXPECT_EQ(text.substr(0, start.size()), start);
        EXPECT_TRUE(isErrnoText(text.substr(start.size()))) << text;
    }
    EXPECT_EQ(folder.listing(), "") << "nothing was written";
}

TEST(DownsamplerGaussFailure, LostTileFailsTheStepsThatReachIt)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(96, 32, GDT_Float32), 32, 32,
                            [](int, int, int) { return 7.0; });
    Job job(folder / "in.tif", folder / "out.tif", 2.0, kTiles);
    std::filesystem::remove((folder / "in_3_1.tif").toStdString());
    const LogCapture log;
    EXPECT_TRUE(doStep(job, 0));
    EXPECT_EQ(log.text(), "");
    EXPECT_FALSE(doStep(job, 1)) << "its margin reaches into the third tile";
    EXPECT_FALSE(doStep(job, 2));
    EXPECT_EQ(log.messages().size(), 2u);
    EXPECT_EQ(log.messages()[0].text.find(readFailure(folder / "in.tif")), 0u) << "the set's path";
}

TEST(DownsamplerGaussFailure, AlphaThatCannotBeReadIsNone)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Float32),
                  [](int, int, int) { return 255.0; });
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
        std::filesystem::remove((folder / "in.tif").toStdString());
        const LogCapture log;
        EXPECT_TRUE(doStep(job, 0));
        EXPECT_EQ(log.text(), "");
    }
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), Values(16, 0.0));
}

TEST(DownsamplerGaussFailure, WriteIsLoggedWithItsBox)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(96, 64, GDT_Float32, 2), 32, 32,
                            [](int, int, int) { return 7.0; });
    Job job(folder / "in.tif", folder / "out.tif", 4.0, kTiles);
    job.output.close();
    const LogCapture log;
    EXPECT_FALSE(doStep(job, 0));
    EXPECT_FALSE(doStep(job, 5));
    ASSERT_EQ(log.messages().size(), 2u) << "a step ends with its first band: " << log.text();
    const char* boxes[] = {"RECT{POINT(0, 0), POINT(8, 8)}", "RECT{POINT(16, 8), POINT(24, 16)}"};
    for (std::size_t k = 0; k < 2; ++k) {
        EXPECT_EQ(log.messages()[k].level, 7);
        EXPECT_EQ(log.messages()[k].category, "");
        const std::string text = log.messages()[k].text;
        const std::string start = std::string("Unable to write tile ") + boxes[k] + " to '" +
                                  (folder / "out.tif").toStdString() + "': ";
        EXPECT_EQ(text.substr(0, start.size()), start);
        EXPECT_TRUE(isErrnoText(text.substr(start.size()))) << text;
    }
}

TEST(DownsamplerGaussFailure, JobIsUsableAfterIt)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Float32, 2),
                  [](int, int, int band) { return band == 1 ? 50.0 : 255.0; });
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
        std::filesystem::rename((folder / "in.tif").toStdString(), (folder / "aside.tif").toStdString());
        {
            const LogCapture quiet;
            EXPECT_FALSE(doStep(job, 0));
        }
        std::filesystem::rename((folder / "aside.tif").toStdString(), (folder / "in.tif").toStdString());
        EXPECT_TRUE(doStep(job, 0));
    }
    EXPECT_NEAR(rasters::pixels(folder / "out.tif", 1)[5], 50.0, kRounding);
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), Values(16, 255.0));
}

// ---- Progress

TEST(DownsamplerGaussProgress, IsReportedBandByBand)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 4),
                  [](int, int, int) { return 7.0; });
    Job job(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
    Values shares;
    job.setProgress([&](double share) {
        shares.push_back(share);
        return true;
    });
    EXPECT_TRUE(doStep(job, 0));
    EXPECT_EQ(shares, (Values{0.25, 0.5, 0.75, 1.0}));
}

TEST(DownsamplerGaussProgress, StopEndsTheStepAndDiscardLeavesNothing)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 4),
                  [](int, int, int) { return 7.0; });
    const LogCapture log;
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0);
        int calls = 0;
        job.setProgress([&](double) { return ++calls < 2; });
        EXPECT_FALSE(doStep(job, 0));
        EXPECT_EQ(calls, 2);
        job.discard();
    }
    EXPECT_EQ(folder.listing(), "in.tif");
    EXPECT_EQ(log.text(), "");
}

} // namespace
