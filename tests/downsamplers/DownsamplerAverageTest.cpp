#include "downsamplers/DownsamplerAverage.h"

#include "support/TempFolder.h"
#include "support/Threads.h"
#include "support/downsampling.h"
#include "support/reducers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using Average = DirectReducer<vexel::DownsamplerAverage>;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(DownsamplerAverage, IsADownsampler)
{
    EXPECT_TRUE((std::is_base_of_v<vexel::DownsamplerBase, vexel::DownsamplerAverage>));
}

TEST(DownsamplerAverage, LeavesNoDataOut)
{
    const Average average;
    EXPECT_EQ(average({1, 2, -10000, 3}), 2.0f);
    EXPECT_EQ(average({-10000, 7}), 7.0f);
}

TEST(DownsamplerAverage, OfNothingValidIsNoData)
{
    const Average average;
    EXPECT_EQ(average({-10000, -10000}), -10000.0f);
    EXPECT_EQ(average({-20000}), -10000.0f);
    EXPECT_EQ(average({-std::numeric_limits<float>::infinity()}), -10000.0f);
}

TEST(DownsamplerAverage, OfABlockWithoutPixelsIsNoData)
{
    const Average average;
    vexel::PixelMatrix<float> noRows(0, 3);
    vexel::PixelMatrix<float> noColumns(3, 0);
    EXPECT_EQ(average(noRows), -10000.0f);
    EXPECT_EQ(average(noColumns), -10000.0f);
}

TEST(DownsamplerAverage, ThresholdIsComparedInDouble)
{
    const Average average;
    // The float nearest to -9999.999 lies below it.
    EXPECT_EQ(average({-9999.9990234375f, 5}), 5.0f);
    const float justAbove = std::nextafter(-9999.9990234375f, 0.0f);
    EXPECT_EQ(average({justAbove}), justAbove);
}

TEST(DownsamplerAverage, OfASingleValidPixelIsThatPixel)
{
    const Average average;
    EXPECT_EQ(average({7}), 7.0f);
}

TEST(DownsamplerAverage, NanCountsAsValid)
{
    const Average average;
    EXPECT_TRUE(std::isnan(average({1, kNan, 3})));
    EXPECT_TRUE(std::isnan(average({kNan})));
}

TEST(DownsamplerAverage, RunsAMeanInsteadOfDividingASum)
{
    const Average average;
    // The exact mean 12582915.5 lies halfway between two floats and would round up to the even one; the
    // running mean ends at 12582915.499999998.
    EXPECT_EQ(average({5, 16777218, 33554436, 3}), 12582915.0f);
    // The same for 13981017.5, and for 16777233, which rounds down while the running mean ends above it.
    EXPECT_EQ(average({33554436, 3, 7, 33554436, 16777220, 3}), 13981017.0f);
    EXPECT_EQ(average({33554436, 33554436, 100, 33554440, 16777216, 2, 1}), 16777234.0f);
}

TEST(DownsamplerAverage, GoesThroughTheBlockRowByRow)
{
    const Average average;
    vexel::PixelMatrix<float> block(2, 2);
    block << 5, 16777218, 33554436, 3;
    EXPECT_EQ(average(block), 12582915.0f);
}

TEST(DownsamplerAverage, DoesNotOverflowBetweenLargePixels)
{
    const Average average;
    const float largest = std::numeric_limits<float>::max();
    EXPECT_EQ(average({largest, largest, largest}), largest);
}

TEST(DownsamplerAverage, StaysInsideTheBlockOfAWiderMatrix)
{
    const Average average;
    vexel::PixelMatrix<float> matrix = vexel::PixelMatrix<float>::Constant(5, 6, 1e6f);
    matrix.block(1, 2, 2, 3) << 1, 2, 3, 4, 5, 9;
    EXPECT_EQ(average(matrix, 1, 2, 2, 3), 4.0f);
}

#ifdef _OPENMP
std::vector<double> averagedWithThreads(const TempFolder& folder, int threads)
{
    const Threads team(threads);
    const QString output = folder / QString("out%1.tif").arg(threads);
    {
        vexel::DownsamplerAverage job(folder / "in.tif", output, QString(), 2.3,
                                      vexel::ImageAlphaType::LastBand, vexel::GdalFileType::SingleFile);
        EXPECT_TRUE(downsampling::run(job));
    }
    return rasters::pixels(output, 1);
}

TEST(DownsamplerAverage, DoesNotDependOnTheNumberOfThreads)
{
    // Enough pixels for a team: those of a strip take more than 4 ms.
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(2300, 2000, GDT_Float32, 2),
                  [](int x, int y, int band) {
                      return band == 2 ? std::floor(rasters::noise(x, y, band) * 3.0)
                                       : rasters::noise(x, y, band) * 1000.0;
                  });
    EXPECT_EQ(downsampling::difference(averagedWithThreads(folder, 1), averagedWithThreads(folder, 4), 1000),
              "");
}
#endif

} // namespace
