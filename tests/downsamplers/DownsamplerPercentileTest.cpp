#include "downsamplers/DownsamplerPercentile.h"

#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/rasters.h"
#include "support/reducers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using Percentile = DirectReducer<vexel::DownsamplerPercentile>;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(DownsamplerPercentile, IsADownsampler)
{
    EXPECT_TRUE((std::is_base_of_v<vexel::DownsamplerBase, vexel::DownsamplerPercentile>));
}

TEST(DownsamplerPercentile, MedianOfAnEvenCountIsTheUpperOne)
{
    const Percentile median(0.5);
    EXPECT_EQ(median({7, 9}), 9.0f);
    EXPECT_EQ(median({4, 1, 3, 2}), 3.0f);
}

TEST(DownsamplerPercentile, MedianOfAnOddCountRoundsItsIndexUp)
{
    const Percentile median(0.5);
    // Index round(1.5) = 2 of three values, round(2.5) = 3 of five.
    EXPECT_EQ(median({3, 1, 2}), 3.0f);
    EXPECT_EQ(median({50, 10, 40, 20, 30}), 40.0f);
}

TEST(DownsamplerPercentile, UpperQuartileTakesTheRoundedIndex)
{
    const Percentile quartile(0.75);
    EXPECT_EQ(quartile({8, 1, 7, 2, 6, 3, 5, 4}), 7.0f);
    EXPECT_EQ(quartile({30, 10, 20}), 30.0f);                 // round(2.25) = 2
    EXPECT_EQ(quartile({40, 10, 30, 20}), 40.0f);             // 3
    EXPECT_EQ(quartile({50, 10, 40, 20, 30}), 50.0f);         // round(3.75) = 4
    EXPECT_EQ(quartile({60, 10, 50, 20, 40, 30}), 60.0f);     // round(4.5) = 5
    EXPECT_EQ(quartile({70, 10, 60, 20, 50, 30, 40}), 60.0f); // round(5.25) = 5
}

TEST(DownsamplerPercentile, UpperQuartileOfTwoIsTheLarger)
{
    const Percentile quartile(0.75);
    EXPECT_EQ(quartile({3, 5}), 5.0f);
    EXPECT_EQ(quartile({5, -10000, 3}), 5.0f);
}

TEST(DownsamplerPercentile, BoundsOfTheFractionGiveSmallestAndLargest)
{
    const Percentile smallest(0.0);
    const Percentile largest(1.0);
    EXPECT_EQ(smallest({4, 2, 9, 5}), 2.0f);
    EXPECT_EQ(largest({4, 2, 9, 5}), 9.0f);
}

TEST(DownsamplerPercentile, FewerThanTwoValidPixelsAreNoData)
{
    const Percentile median(0.5);
    const Percentile quartile(0.75);
    EXPECT_EQ(median({7}), -10000.0f);
    EXPECT_EQ(quartile({-10000, 7, -10000}), -10000.0f);
    EXPECT_EQ(median({-10000, -20000}), -10000.0f);
    vexel::PixelMatrix<float> empty(0, 0);
    EXPECT_EQ(median(empty), -10000.0f);
}

TEST(DownsamplerPercentile, LeavesNoDataOut)
{
    const Percentile median(0.5);
    EXPECT_EQ(median({-10000, 1, 2, -10000, 3, 4}), 3.0f);
}

TEST(DownsamplerPercentile, ThresholdIsComparedInFloat)
{
    // The float nearest to -9999.999 is the threshold itself, so not below it.
    EXPECT_EQ(Percentile(0.5)({-9999.9990234375f, 5}), 5.0f);
    EXPECT_EQ(Percentile(0.0)({5, -9999.9990234375f}), -9999.9990234375f);
    EXPECT_EQ(Percentile(0.0)({5, std::nextafter(-9999.9990234375f, -20000.0f)}), -10000.0f);
}

TEST(DownsamplerPercentile, NanIsValidAndOrdersAfterAllNumbers)
{
    const Percentile median(0.5);
    const Percentile quartile(0.75);
    EXPECT_EQ(median({kNan, 1, 2, 3, 4}), 4.0f);         // index 3 of 1, 2, 3, 4, NaN
    EXPECT_TRUE(std::isnan(median({2, kNan, 1, kNan}))); // index 2 of 1, 2, NaN, NaN
    EXPECT_EQ(Percentile(0.25)({kNan, 9, kNan, 5}), 9.0f);
    EXPECT_EQ(Percentile(0.0)({kNan, 1}), 1.0f);
    EXPECT_TRUE(std::isnan(median({1, kNan})));
    EXPECT_TRUE(std::isnan(quartile({kNan, 5}))) << "the largest of two";
    EXPECT_EQ(quartile({kNan, std::numeric_limits<float>::infinity(), 1, 2, 3, 4, 5, 6}),
              std::numeric_limits<float>::infinity());
}

TEST(DownsamplerPercentile, SelectsFromManyValues)
{
    const Percentile quartile(0.75);
    vexel::PixelMatrix<float> block(23, 41);
    std::vector<float> ordered;
    for (Eigen::Index y = 0; y < block.rows(); ++y)
        for (Eigen::Index x = 0; x < block.cols(); ++x) {
            block(y, x) = static_cast<float>(rasters::noise(static_cast<int>(x), static_cast<int>(y), 1));
            ordered.push_back(block(y, x));
        }
    std::sort(ordered.begin(), ordered.end());
    EXPECT_EQ(quartile(block), ordered[707]); // 943 values: round(707.25)
}

TEST(DownsamplerPercentile, StaysInsideTheBlockOfAWiderMatrix)
{
    const Percentile median(0.5);
    vexel::PixelMatrix<float> matrix = vexel::PixelMatrix<float>::Constant(5, 6, 1e6f);
    matrix.block(1, 2, 2, 3) << 6, 2, 3, 4, 5, 1;
    EXPECT_EQ(median(matrix, 1, 2, 2, 3), 4.0f);
}

TEST(DownsamplerPercentile, LeavesTheBlockAsItIs)
{
    const Percentile median(0.5);
    vexel::PixelMatrix<float> block(2, 2);
    block << 4, 3, 2, 1;
    const vexel::PixelMatrix<float> before = block;
    median(block);
    EXPECT_EQ(block, before);
}

TEST(DownsamplerPercentile, OfARasterIsTheOneAskedFor)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(2, 2, GDT_Float32),
                  [](int x, int y, int) { return 2 * y + x + 1; });
    {
        vexel::DownsamplerPercentile job(folder / "in.tif", folder / "out.tif", QString(), 2.0,
                                         vexel::ImageAlphaType::NoAlpha, vexel::GdalFileType::SingleFile,
                                         0.75);
        EXPECT_TRUE(downsampling::run(job));
    }
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), std::vector<double>{4});
}

} // namespace
