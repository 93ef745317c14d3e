#include "downsamplers/DownsamplerOp.h"

#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/reducers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using Choice = std::function<const float&(const float&, const float&)>;
using Op = DirectReducer<vexel::DownsamplerOp<Choice>>;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

Choice smaller()
{
    return [](const float& a, const float& b) -> const float& { return a > b ? b : a; };
}

Choice larger()
{
    return [](const float& a, const float& b) -> const float& { return b > a ? b : a; };
}

TEST(DownsamplerOp, IsADownsampler)
{
    EXPECT_TRUE((std::is_base_of_v<vexel::DownsamplerBase, vexel::DownsamplerOp<Choice>>));
}

TEST(DownsamplerOp, FoldsTheValidPixels)
{
    EXPECT_EQ(Op(smaller())({5, 3, 4}), 3.0f);
    EXPECT_EQ(Op(larger())({3, 5, 4}), 5.0f);
    EXPECT_EQ(Op(smaller())({3, -10000, 4}), 3.0f);
}

TEST(DownsamplerOp, FirstPixelStaysInTheFoldEvenIfItIsNoData)
{
    EXPECT_EQ(Op(smaller())({-10000, 3, 4}), -10000.0f);
    EXPECT_EQ(Op(larger())({-10000, 3, 4}), 4.0f);
}

TEST(DownsamplerOp, OfNothingValidIsTheFirstPixel)
{
    EXPECT_EQ(Op(smaller())({-10000, -10000}), -10000.0f);
    EXPECT_EQ(Op(larger())({-20000, -10000}), -20000.0f);
    EXPECT_EQ(Op(smaller())({-10000, -20000}), -10000.0f);
}

TEST(DownsamplerOp, ThresholdIsComparedInDouble)
{
    // The float nearest to -9999.999 lies below it.
    EXPECT_EQ(Op(smaller())({3, -9999.9990234375f}), 3.0f);
    const float justAbove = std::nextafter(-9999.9990234375f, 0.0f);
    EXPECT_EQ(Op(smaller())({3, justAbove}), justAbove);
}

TEST(DownsamplerOp, NanIsValid)
{
    // A NaN that comes first is never given up, one that comes later is never taken.
    EXPECT_TRUE(std::isnan(Op(smaller())({kNan, 3, 4})));
    EXPECT_TRUE(std::isnan(Op(larger())({kNan, 3, 4})));
    EXPECT_EQ(Op(smaller())({5, kNan, 4}), 4.0f);
    EXPECT_EQ(Op(larger())({3, kNan, 4}), 4.0f);
}

TEST(DownsamplerOp, HandsOverAccumulatorAndPixelInOrder)
{
    std::vector<float> accumulators;
    std::vector<float> pixels;
    const Op op(Choice([&](const float& accumulator, const float& pixel) -> const float& {
        accumulators.push_back(accumulator);
        pixels.push_back(pixel);
        return pixel;
    }));
    vexel::PixelMatrix<float> block(2, 3);
    block << 1, 2, -10000, 3, 4, 5;
    EXPECT_EQ(op(block), 5.0f);
    EXPECT_EQ(pixels, (std::vector<float>{1, 2, 3, 4, 5})) << "row by row, the first one included";
    EXPECT_EQ(accumulators, (std::vector<float>{1, 1, 2, 3, 4}));
}

TEST(DownsamplerOp, TakesTheValueThatTheReferenceDesignates)
{
    static const float constant = 42.0f;
    EXPECT_EQ(Op(Choice([](const float&, const float&) -> const float& { return constant; }))({1, 2}), 42.0f);
}

TEST(DownsamplerOp, EmptyOperationThrowsAtTheFirstValidPixel)
{
    const Op op{Choice()};
    EXPECT_THROW(op({1, 2}), std::bad_function_call);
    EXPECT_THROW(op({-10000, 2}), std::bad_function_call);
    EXPECT_EQ(op({-10000, -20000}), -10000.0f);
}

TEST(DownsamplerOp, EmptyOperationEndsAStepWithTheException)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(400, 300, GDT_Float32),
                  [](int, int, int) { return 1.0; });
    vexel::DownsamplerOp<Choice> job(folder / "in.tif", folder / "out.tif", QString(), 2.0,
                                     vexel::ImageAlphaType::NoAlpha, vexel::GdalFileType::SingleFile,
                                     Choice());
    EXPECT_THROW(downsampling::run(job), std::bad_function_call);
}

TEST(DownsamplerOp, StaysInsideTheBlockOfAWiderMatrix)
{
    vexel::PixelMatrix<float> matrix = vexel::PixelMatrix<float>::Constant(5, 6, 1e6f);
    matrix.block(1, 2, 2, 3) << 1, 2, 7, 4, 5, 6;
    EXPECT_EQ(Op(larger())(matrix, 1, 2, 2, 3), 7.0f);
}

} // namespace
