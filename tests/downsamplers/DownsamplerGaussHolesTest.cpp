#include "costfixtures.h"
#include "downsamplers/DownsamplerFactory.h"
#include "gaussfixtures.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// The Gaussian that leaves holes out. The judge is a sum of weighted valid pixels, and one of their weights, in double
// precision over the whole raster.

using namespace downsamplergausstest;

namespace {

using Values = std::vector<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

/// Downsamples with holes left out.
void downsampleValid(const QString& in, const QString& out, double resolution, const Manner& manner = {},
                     std::optional<double> missing = {})
{
    Job job(in, out, resolution, manner);
    job.leaveHolesOut(true);
    if (missing)
        job.treatAsNoData(*missing);
    EXPECT_TRUE(downsampling::run(job));
}

/// What one band of a raster becomes by factor 2 with holes left out.
Values blurredBand(const rasters::Description& description, const rasters::PixelValue& value,
                   const Manner& manner = {}, int band = 1, std::optional<double> missing = {})
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", description, value);
    downsampleValid(folder / "in.tif", folder / "out.tif", 2.0, manner, missing);
    return rasters::pixels(folder / "out.tif", band);
}

/// Large holes and single pixels.
bool isHole(int x, int y)
{
    return rasters::noise(x / 7, y / 5, 9) < 0.3 || rasters::noise(x, y, 8) < 0.1;
}

double grayValue(int x, int y, int band)
{
    return std::floor(rasters::noise(x, y, band) * 256.0);
}

// ---- Each result against the reference

struct HolesCase
{
    const char* name;
    GDALDataType type;
    ImageAlphaType alpha;
    std::optional<double> missing; ///< what holes are made of; -10000 by default
    int factor;
    double halfFactor; ///< k of sqrt(3.37 k)
    int margin;
};

class DownsamplerGaussHoles : public testing::TestWithParam<HolesCase>
{
protected:
    static constexpr int width = 96;
    static constexpr int height = 72;
    static constexpr int bands = 2;

    static bool hasAlpha() { return GetParam().alpha == ImageAlphaType::LastBand; }

    /// Transparent pixels have colours of their own, so that these are seen if they leak.
    static double valueAt(int x, int y, int band)
    {
        if (hasAlpha() && band == bands)
            return isHole(x, y) ? 0.0 : 1.0 + std::floor(rasters::noise(x, y, band) * 255.0);
        if (isHole(x, y) && !hasAlpha())
            return GetParam().missing.value_or(kNoData);
        return 1.0 + std::floor(rasters::noise(x, y, band) * 255.0);
    }

    /// The valid pixels of the window round a place, from the lowest to the highest.
    static std::pair<double, double> rangeAround(const Image& image, const Image& valid, Eigen::Index row,
                                                 Eigen::Index column)
    {
        std::pair<double, double> range(infinity, -infinity);
        const Eigen::Index margin = GetParam().margin;
        for (Eigen::Index y = std::max<Eigen::Index>(0, row - margin);
             y <= std::min(row + margin, image.rows() - 1); ++y)
            for (Eigen::Index x = std::max<Eigen::Index>(0, column - margin);
                 x <= std::min(column + margin, image.cols() - 1); ++x)
                if (valid(y, x) != 0.0f)
                    range = {std::min<double>(range.first, image(y, x)),
                             std::max<double>(range.second, image(y, x))};
        return range;
    }

    /// @param rounding what the type of the output adds.
    static void expectNear(const Values& results, int band, double rounding)
    {
        const int factor = GetParam().factor;
        const Image image = Image::NullaryExpr(height, width, [&](Eigen::Index y, Eigen::Index x) {
            return static_cast<float>(valueAt(static_cast<int>(x), static_cast<int>(y), band));
        });
        const Image valid = Image::NullaryExpr(height, width, [&](Eigen::Index y, Eigen::Index x) {
            return isHole(static_cast<int>(x), static_cast<int>(y)) ? 0.0f : 1.0f;
        });
        const double sigma = std::sqrt(3.37 * GetParam().halfFactor);
        const Eigen::MatrixXd sums =
            direct((valid.array() != 0.0f).select(image, 0.0f), sigma, GetParam().margin);
        const Eigen::MatrixXd weights = direct(valid, sigma, GetParam().margin);
        const double invalid = rounding > 0.0 ? 0.0 : kNoData; // -10000 as a byte or an unsigned number
        ASSERT_EQ(results.size(), static_cast<std::size_t>((width / factor) * (height / factor)));
        for (std::size_t k = 0; k < results.size(); ++k) {
            const auto y = static_cast<Eigen::Index>(k) / (width / factor) * factor + factor / 2;
            const auto x = static_cast<Eigen::Index>(k) % (width / factor) * factor + factor / 2;
            SCOPED_TRACE("row " + std::to_string(y) + ", column " + std::to_string(x));
            if (valid(y, x) == 0.0f) {
                ASSERT_EQ(results[k], invalid);
                continue;
            }
            const auto [lowest, highest] = rangeAround(image, valid, y, x);
            // Sums of floats: relative to the largest difference and the largest magnitude of the valid pixels.
            const double tolerance = rounding > 0.0 ? 0.05 : 1e-5 * (highest - lowest) + 1e-6 * highest;
            ASSERT_NEAR(results[k], sums(y, x) / weights(y, x), rounding + tolerance);
            ASSERT_GE(results[k], lowest);
            ASSERT_LE(results[k], highest);
        }
    }
};

TEST_P(DownsamplerGaussHoles, LeaveTheWeightedMeanOfTheValidPixels)
{
    const HolesCase& row = GetParam();
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(width, height, row.type, bands), valueAt);
    downsampleValid(folder / "in.tif", folder / "out.tif", row.factor, {row.alpha, GdalFileType::SingleFile},
                    row.missing);
    for (int band = 1; band <= (hasAlpha() ? bands - 1 : bands); ++band) {
        SCOPED_TRACE("band " + std::to_string(band));
        expectNear(rasters::pixels(folder / "out.tif", band), band, row.type == GDT_Float32 ? 0.0 : 0.5);
    }
}

TEST_P(DownsamplerGaussHoles, AreNoDataInTheSameResultsAndTheAlphaBandIsTheSame)
{
    const HolesCase& row = GetParam();
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(width, height, row.type, bands), valueAt);
    const Manner manner{row.alpha, GdalFileType::SingleFile};
    downsampleValid(folder / "in.tif", folder / "out.tif", row.factor, manner, row.missing);
    {
        Job job(folder / "in.tif", folder / "without.tif", row.factor, manner);
        if (row.missing)
            job.treatAsNoData(*row.missing);
        EXPECT_TRUE(downsampling::run(job));
    }
    const Values with = rasters::pixels(folder / "out.tif");
    const Values without = rasters::pixels(folder / "without.tif");
    EXPECT_NE(with, without);
    for (std::size_t k = 0; k < with.size() && row.type == GDT_Float32; ++k)
        ASSERT_EQ(with[k] == kNoData, without[k] == kNoData) << k;
    if (hasAlpha()) {
        EXPECT_EQ(rasters::pixels(folder / "out.tif", bands), rasters::pixels(folder / "without.tif", bands));
    }
}

constexpr ImageAlphaType noAlpha = ImageAlphaType::NoAlpha;
constexpr ImageAlphaType lastBand = ImageAlphaType::LastBand;

INSTANTIATE_TEST_SUITE_P(
    Rasters, DownsamplerGaussHoles,
    testing::Values(HolesCase{"Floats", GDT_Float32, noAlpha, {}, 2, 1, 9},
                    HolesCase{"FloatsByThree", GDT_Float32, noAlpha, {}, 3, 1, 9},
                    HolesCase{"FloatsByFour", GDT_Float32, noAlpha, {}, 4, 2, 13},
                    HolesCase{"FloatsByEight", GDT_Float32, noAlpha, {}, 8, 4, 18},
                    HolesCase{"FloatsWithAlpha", GDT_Float32, lastBand, {}, 2, 1, 9},
                    HolesCase{"FloatsOfAnotherValue", GDT_Float32, noAlpha, -32767, 4, 2, 13},
                    HolesCase{"FloatsOfNan", GDT_Float32, noAlpha, nan, 4, 2, 13},
                    HolesCase{"FloatsOfMinusInfinity", GDT_Float32, noAlpha, -infinity, 2, 1, 9},
                    HolesCase{"Bytes", GDT_Byte, noAlpha, 0, 2, 1, 9},
                    HolesCase{"BytesWithAlpha", GDT_Byte, lastBand, {}, 2, 1, 9},
                    HolesCase{"BytesWithAlphaByThree", GDT_Byte, lastBand, {}, 3, 1, 9},
                    HolesCase{"BytesWithAlphaByEight", GDT_Byte, lastBand, {}, 8, 4, 18},
                    HolesCase{"BytesWithAlphaAndAValue", GDT_Byte, lastBand, 300, 4, 2, 13},
                    HolesCase{"ShortsWithAlpha", GDT_UInt16, lastBand, {}, 4, 2, 13}),
    [](const auto& row) { return std::string(row.param.name); });

// ---- What counts as a hole

double cellOrHole(int x, int y, int band, double hole)
{
    return isHole(x, y) ? hole : grayValue(x, y, band);
}

const rasters::Description floats = downsampling::mapped(48, 40, GDT_Float32);

TEST(DownsamplerGaussHoleValues, AreAllBelowTheThresholdAlike)
{
    // Holes that no result is sampled at, so that it is the blur that tells.
    const auto with = [](double hole) {
        return blurredBand(floats, [hole](int x, int y, int band) {
            return x % 2 == 0 && isHole(x, y) ? hole : grayValue(x, y, band);
        });
    };
    const float threshold = -9999.999f;
    const Values expected = with(-10000);
    EXPECT_GE(*std::min_element(expected.begin(), expected.end()), 0.0);
    EXPECT_EQ(with(std::nextafterf(threshold, -1e6f)), expected);
    EXPECT_EQ(with(-1e30), expected);
    EXPECT_EQ(with(-infinity), expected);
    const Values valid = with(threshold);
    EXPECT_LT(*std::min_element(valid.begin(), valid.end()), -1000.0);
}

TEST(DownsamplerGaussHoleValues, ThatAreTreatedAsNoDataAreHoles)
{
    const auto with = [](double hole, std::optional<double> missing) {
        return blurredBand(
            floats, [hole](int x, int y, int band) { return cellOrHole(x, y, band, hole); }, {}, 1, missing);
    };
    const Values expected = with(-10000, {});
    EXPECT_EQ(with(-500, -500), expected);
    EXPECT_EQ(with(1e30, 1e30), expected);
    EXPECT_EQ(with(infinity, infinity), expected);
    EXPECT_EQ(with(nan, nan), expected);
}

/// The results of factor 2 whose window has a pixel.
bool seesPixel(std::size_t result, int x, int y)
{
    const int column = static_cast<int>(result) % (floats.width / 2) * 2 + 1;
    const int row = static_cast<int>(result) / (floats.width / 2) * 2 + 1;
    return std::abs(column - x) <= 9 && std::abs(row - y) <= 9;
}

TEST(DownsamplerGaussHoleValues, AreNotNanAndInfinityWhichSpoilTheirWindows)
{
    constexpr int spoiltX = 12;
    constexpr int spoiltY = 14;
    const auto with = [](double spoilt) {
        return blurredBand(floats, [spoilt](int x, int y, int band) {
            return x == spoiltX && y == spoiltY ? spoilt : cellOrHole(x, y, band, kNoData);
        });
    };
    const Values plain = with(7);
    for (const double spoilt : {nan, infinity}) {
        const Values out = with(spoilt);
        for (std::size_t k = 0; k < out.size(); ++k) {
            const bool isSpoilt = seesPixel(k, spoiltX, spoiltY) && plain[k] != kNoData;
            const double expected = isSpoilt ? spoilt : plain[k];
            EXPECT_TRUE(std::isnan(expected) ? std::isnan(out[k]) : out[k] == expected)
                << k << ": " << out[k];
        }
    }
}

TEST(DownsamplerGaussHoleValues, AreLeftOutOfTheirOwnBandOnly)
{
    rasters::Description twoBands = floats;
    twoBands.bands = 2;
    const auto value = [](int x, int y, int band) {
        return cellOrHole(band == 1 ? x : floats.width - x, y, band, kNoData);
    };
    const auto onlySecond = [&](int x, int y, int) { return value(x, y, 2); };
    EXPECT_EQ(blurredBand(twoBands, value, {}, 1), blurredBand(floats, value));
    EXPECT_EQ(blurredBand(twoBands, value, {}, 2), blurredBand(floats, onlySecond));
}

TEST(DownsamplerGaussHoleValues, AreAlphasWhoseLowByteIsZero)
{
    rasters::Description twoBands = floats;
    twoBands.bands = 2;
    const auto with = [&](double transparent) {
        const auto value = [transparent](int x, int y, int band) {
            return band == 1 ? grayValue(x, y, band) : isHole(x, y) ? transparent : 255.0;
        };
        return blurredBand(twoBands, value, kWithAlpha);
    };
    const Values expected = with(0);
    for (const double transparent : {0.5, -0.5, 256.0, -512.0, nan})
        EXPECT_EQ(with(transparent), expected) << transparent;
    EXPECT_NE(with(1), expected);
}

// ---- What results are made of

TEST(DownsamplerGaussHoleResults, OfAConstantAreThatConstant)
{
    using Float = std::numeric_limits<float>;
    for (const float constant :
         {0.1f, -9999.0f, 1e-3f, Float::denorm_min(), Float::max(), Float::infinity()}) {
        const Values out =
            blurredBand(floats, [constant](int x, int y, int) { return isHole(x, y) ? kNoData : constant; });
        for (std::size_t k = 0; k < out.size(); ++k)
            ASSERT_TRUE(out[k] == kNoData || out[k] == static_cast<double>(constant))
                << out[k] << " at " << k;
        EXPECT_GT(std::count(out.begin(), out.end(), static_cast<double>(constant)), 100);
        EXPECT_GT(std::count(out.begin(), out.end(), double{kNoData}), 100);
    }
}

TEST(DownsamplerGaussHoleResults, StayInTheRangeOfTheirWindow)
{
    // Two plateaus, the higher one from column 24 on: windows up to column 14 see the lower one only.
    const double low = 0.1f;
    const double high = 0.7f;
    const auto value = [&](int x, int y, int) { return isHole(x, y) ? kNoData : x < 24 ? low : high; };
    const Values out = blurredBand(floats, value);
    for (std::size_t k = 0; k < out.size(); ++k) {
        const int column = static_cast<int>(k) % (floats.width / 2) * 2 + 1;
        if (out[k] == kNoData)
            continue;
        ASSERT_GE(out[k], column > 24 + 9 - 1 ? high : low) << k;
        ASSERT_LE(out[k], column < 24 - 9 ? low : high) << k;
    }
}

TEST(DownsamplerGaussHoleResults, OfAPixelAmongHolesAreThatPixel)
{
    // Every 20th pixel, and windows reach 9 pixels far.
    const auto value = [](int x, int y, int band) {
        return x % 20 == 11 && y % 20 == 11 ? grayValue(x, y, band) + 0.3 : kNoData;
    };
    const Values out = blurredBand(floats, value);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 24; ++x)
            EXPECT_EQ(out[static_cast<std::size_t>(24 * y + x)],
                      static_cast<double>(static_cast<float>(value(2 * x + 1, 2 * y + 1, 1))));
}

TEST(DownsamplerGaussHoleResults, DoNotDependOnColoursBelowTransparentPixels)
{
    for (const GDALDataType type : {GDT_Byte, GDT_UInt16, GDT_Float32}) {
        rasters::Description colours = downsampling::mapped(48, 40, type, 4);
        const auto bandsOn = [&](double ground) {
            const TempFolder folder;
            rasters::make(folder / "in.tif", colours, [ground](int x, int y, int band) {
                if (band == 4)
                    return isHole(x, y) ? 0.0 : 255.0;
                return isHole(x, y) ? ground : grayValue(x, y, band);
            });
            downsampleValid(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
            std::vector<Values> bands;
            for (int band = 1; band <= 4; ++band)
                bands.push_back(rasters::pixels(folder / "out.tif", band));
            return bands;
        };
        const std::vector<Values> expected = bandsOn(0);
        const std::vector<double> grounds =
            type == GDT_Float32 ? Values{255, 1e30, -10000, infinity, nan} : Values{255, 100};
        for (const double ground : grounds)
            EXPECT_EQ(bandsOn(ground), expected) << GDALGetDataTypeName(type) << ", " << ground;
    }
}

// ---- By default

TEST(DownsamplerGaussHoleOption, IsOffUnlessAskedFor)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", floats,
                  [](int x, int y, int band) { return cellOrHole(x, y, band, kNoData); });
    downsample(folder / "in.tif", folder / "default.tif", 2.0);
    {
        Job job(folder / "in.tif", folder / "off.tif", 2.0);
        job.leaveHolesOut(true);
        job.leaveHolesOut(false);
        EXPECT_TRUE(downsampling::run(job));
    }
    downsampleValid(folder / "in.tif", folder / "on.tif", 2.0);
    const Values byDefault = rasters::pixels(folder / "default.tif");
    EXPECT_EQ(rasters::pixels(folder / "off.tif"), byDefault);
    EXPECT_NE(rasters::pixels(folder / "on.tif"), byDefault);
    EXPECT_GT(std::count_if(byDefault.begin(), byDefault.end(),
                            [](double v) { return v != kNoData && v < -1000.0; }),
              20)
        << "holes are blurred as they are";
}

TEST(DownsamplerGaussHoleOption, IsOffForColoursBelowTransparentPixelsToo)
{
    for (const GDALDataType type : {GDT_Byte, GDT_Float32}) {
        const TempFolder folder;
        rasters::make(folder / "in.tif", downsampling::mapped(48, 40, type, 2), [](int x, int y, int band) {
            return band == 1 ? grayValue(x, y, band) : isHole(x, y) ? 0.0 : 255.0;
        });
        downsample(folder / "in.tif", folder / "masked.tif", 2.0, kWithAlpha);
        downsample(folder / "in.tif", folder / "plain.tif", 2.0);
        const Values masked = rasters::pixels(folder / "masked.tif");
        const Values plain = rasters::pixels(folder / "plain.tif");
        ASSERT_EQ(masked.size(), plain.size());
        for (std::size_t k = 0; k < masked.size(); ++k) {
            const int x = static_cast<int>(k) % 24 * 2 + 1;
            const int y = static_cast<int>(k) / 24 * 2 + 1;
            const double invalid = type == GDT_Byte ? 0.0 : kNoData;
            ASSERT_EQ(masked[k], isHole(x, y) ? invalid : plain[k]) << GDALGetDataTypeName(type) << ", " << k;
        }
    }
}

struct StrategyCase
{
    const char* name;
    vexel::DownsamplingStrategy strategy;
};

class DownsamplerHoleOption : public testing::TestWithParam<StrategyCase>
{};

TEST_P(DownsamplerHoleOption, ChangesNothingOfOtherStrategies)
{
    const TempFolder folder;
    rasters::Description colours = downsampling::mapped(48, 40, GDT_Float32, 2);
    rasters::make(folder / "in.tif", colours, [](int x, int y, int band) {
        return band == 2 ? (isHole(y, x) ? 0.0 : 255.0) : cellOrHole(x, y, band, kNoData);
    });
    const auto run = [&](const char* out, bool leaveHolesOut) {
        const std::shared_ptr<vexel::DownsamplerBase> job = vexel::DownsamplerFactory::createDownsampler(
            GetParam().strategy, folder / "in.tif", folder / out, QString(), 2.0, ImageAlphaType::LastBand,
            GdalFileType::SingleFile);
        job->leaveHolesOut(leaveHolesOut);
        EXPECT_TRUE(downsampling::run(*job));
    };
    run("with.tif", true);
    run("without.tif", false);
    for (int band = 1; band <= 2; ++band)
        EXPECT_EQ(rasters::pixels(folder / "with.tif", band), rasters::pixels(folder / "without.tif", band));
}

INSTANTIATE_TEST_SUITE_P(Strategies, DownsamplerHoleOption,
                         testing::Values(StrategyCase{"Average", vexel::DownsamplingStrategy::Average},
                                         StrategyCase{"Median", vexel::DownsamplingStrategy::Median},
                                         StrategyCase{"Percentile75",
                                                      vexel::DownsamplingStrategy::Percentile75},
                                         StrategyCase{"Min", vexel::DownsamplingStrategy::Min},
                                         StrategyCase{"Max", vexel::DownsamplingStrategy::Max},
                                         StrategyCase{"Warp", vexel::DownsamplingStrategy::Warp}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerHoleOptionOfTheFactory, HoldsForBothNumbersOfTheGaussian)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", floats,
                  [](int x, int y, int band) { return cellOrHole(x, y, band, kNoData); });
    downsampleValid(folder / "in.tif", folder / "expected.tif", 2.0);
    for (const auto strategy :
         {vexel::DownsamplingStrategy::Gauss, vexel::DownsamplingStrategy::GaussAlias}) {
        std::shared_ptr<vexel::DownsamplerBase> job =
            vexel::DownsamplerFactory::createDownsampler(strategy, folder / "in.tif", folder / "out.tif",
                                                         QString(), 2.0, noAlpha, GdalFileType::SingleFile);
        job->leaveHolesOut(true);
        EXPECT_TRUE(downsampling::run(*job));
        job.reset();
        EXPECT_EQ(rasters::pixels(folder / "out.tif"), rasters::pixels(folder / "expected.tif"));
    }
}

// ---- Seams of tiles and of strips

void expectSameBands(const TempFolder& folder)
{
    for (int band = 1; band <= 4; ++band)
        EXPECT_EQ(rasters::pixels(folder / "out.tif", band), rasters::pixels(folder / "out_1_1.tif", band))
            << "band " << band;
}

struct SeamCase
{
    const char* name;
    int width;
    int height;
    int tileWidth;
    int tileHeight;
    GDALDataType type;
    ImageAlphaType alpha;
    double factor;
};

class DownsamplerGaussHoleSeams : public testing::TestWithParam<SeamCase>
{};

TEST_P(DownsamplerGaussHoleSeams, HaveTheBitsOfTheSingleFile)
{
    const SeamCase& row = GetParam();
    const TempFolder folder;
    const rasters::Description whole = downsampling::mapped(row.width, row.height, row.type, 4);
    const auto value = [&](int x, int y, int band) {
        if (band == 4 && row.alpha == lastBand)
            return isHole(y / 3, x / 3) ? 0.0 : 255.0;
        return cellOrHole(x, y, band, kNoData);
    };
    rasters::make(folder / "in.tif", whole, value);
    downsampling::makeTiles(folder / "set.tif", whole, row.tileWidth, row.tileHeight, value);
    downsampleValid(folder / "in.tif", folder / "out.tif", row.factor, {row.alpha, GdalFileType::SingleFile});
    downsampleValid(folder / "set.tif", folder / "out.tif", row.factor, {row.alpha, GdalFileType::TileSet});
    expectSameBands(folder);
}

INSTANTIATE_TEST_SUITE_P(
    Rasters, DownsamplerGaussHoleSeams,
    testing::Values(SeamCase{"Floats", 96, 72, 24, 36, GDT_Float32, noAlpha, 4},
                    SeamCase{"FloatsWithAlpha", 96, 72, 24, 36, GDT_Float32, lastBand, 4},
                    SeamCase{"BytesWithAlpha", 96, 72, 24, 36, GDT_Byte, lastBand, 3},
                    SeamCase{"TilesNarrowerThanTheMargin", 24, 20, 4, 4, GDT_Float32, lastBand, 2}),
    [](const auto& row) { return std::string(row.param.name); });

struct StripCase
{
    const char* name;
    int width;
    int height;
    int block; ///< edge of the file's blocks
    int tile;  ///< edge of the small tiles, a multiple of the factor
    double factor;
    std::optional<double> missing;
};

class DownsamplerGaussHoleStrips : public testing::TestWithParam<StripCase>
{};

TEST_P(DownsamplerGaussHoleStrips, HaveTheBitsOfSmallTiles)
{
    const StripCase& row = GetParam();
    const TempFolder folder;
    const std::string block = std::to_string(row.block);
    downsampling::makeCells(folder / "in.tif", row.width, row.height, 4,
                            {"TILED=YES", "BLOCKXSIZE=" + block, "BLOCKYSIZE=" + block, "COMPRESS=LZW"});
    downsampling::makeTiles(folder / "set.tif", downsampling::mapped(row.width, row.height, GDT_Byte, 4),
                            row.tile, row.tile, downsampling::cellValue);
    const auto run = [&](const char* in, const Manner& manner) {
        Job job(folder / in, folder / "out.tif", row.factor, manner);
        job.leaveHolesOut(true);
        if (row.missing)
            job.treatAsNoData(*row.missing);
        const auto pieces = downsampling::countPieces(job);
        EXPECT_TRUE(downsampling::run(job));
        return *pieces;
    };
    EXPECT_GT(run("in.tif", kWithAlpha), downsampling::mostPiecesOfAStrip);
    run("set.tif", kTilesWithAlpha);
    expectSameBands(folder);
}

// Cells of 0 in the alpha band are holes, and those of the value: with it, pixels are read as floats.
INSTANTIATE_TEST_SUITE_P(Rasters, DownsamplerGaussHoleStrips,
                         testing::Values(StripCase{"OfFloats", 1200, 2400, 256, 600, 3, 101.0},
                                         StripCase{"ColumnsOfFloats", 6000, 1200, 1024, 1200, 4, 101.0},
                                         StripCase{"OfBytes", 2400, 4800, 256, 1200, 4, {}}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
