#include "downsamplers/DownsamplerGauss.h"

#include "gaussfixtures.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

using namespace downsamplergausstest;

namespace {

using Values = std::vector<double>;

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

} // namespace
