#include "downsamplers/gaussstep.h"

#include "support/boxes.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace vexel;

// ---- Width of the blur and margin

struct WidthCase
{
    const char* name;
    double factor;
    double halfFactor; ///< k of sqrt(3.37 k)
    int margin;
};

class GaussStepWidth : public testing::TestWithParam<WidthCase>
{};

TEST_P(GaussStepWidth, FollowsHalfTheFactor)
{
    const WidthCase& row = GetParam();
    EXPECT_DOUBLE_EQ(gaussSigma(row.factor), std::sqrt(3.37 * row.halfFactor));
    const GaussStep step = planGaussStep(box(200, 300, 264, 364), box(0, 0, 1000, 1000), row.factor);
    EXPECT_EQ(step.sigma, gaussSigma(row.factor));
    EXPECT_EQ(step.xOffset, row.margin);
    EXPECT_EQ(step.yOffset, row.margin);
    EXPECT_EQ(step.margin, row.margin);
    EXPECT_EQ(step.readBox.min_corner().x(), 200 - row.margin);
    EXPECT_EQ(step.readBox.min_corner().y(), 300 - row.margin);
}

INSTANTIATE_TEST_SUITE_P(Factors, GaussStepWidth,
                         testing::Values(WidthCase{"OneHalf", 0.5, 1, 9}, WidthCase{"One", 1, 1, 9},
                                         WidthCase{"Two", 2, 1, 9}, WidthCase{"Three", 3, 1, 9},
                                         WidthCase{"JustBelowTwoHalves", 3.49, 1, 9},
                                         WidthCase{"ThreeAndAHalf", 3.5, 2, 13}, WidthCase{"Four", 4, 2, 13},
                                         WidthCase{"Five", 5, 2, 13}, WidthCase{"FiveAndAHalf", 5.5, 3, 16},
                                         WidthCase{"Eight", 8, 4, 18}, WidthCase{"Sixteen", 16, 8, 26},
                                         WidthCase{"Thirty", 30, 15, 36}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(GaussStepWidth, HasTheDocumentedValues)
{
    // They are given with four decimals.
    EXPECT_NEAR(gaussSigma(2), 1.8358, 5e-5);
    EXPECT_NEAR(gaussSigma(4), 2.5962, 5e-5);
    EXPECT_NEAR(gaussSigma(8), 3.6715, 5e-5);
    EXPECT_NEAR(gaussSigma(16), 5.1923, 5e-5);
}

TEST(GaussStepPlan, MarginIsCutAtTheRastersEdge)
{
    const GaussStep corner = planGaussStep(box(0, 0, 40, 20), box(0, 0, 45, 60), 4);
    EXPECT_EQ(textOf(corner.readBox), "RECT{POINT(0, 0), POINT(45, 32)}") << "the last row is sampled at 18";
    EXPECT_EQ(corner.xOffset, 0);
    EXPECT_EQ(corner.yOffset, 0);

    const GaussStep near = planGaussStep(box(12, 14, 40, 40), box(0, 0, 40, 40), 4);
    EXPECT_EQ(textOf(near.readBox), "RECT{POINT(0, 1), POINT(40, 40)}");
    EXPECT_EQ(near.xOffset, 12);
    EXPECT_EQ(near.yOffset, 13);
}

// ---- Size and place of the result

struct ResultCase
{
    const char* name;
    double factor;
    int from; ///< the tile, along both axes
    int to;
    int outFrom;
    int outTo;
};

class GaussStepResult : public testing::TestWithParam<ResultCase>
{};

TEST_P(GaussStepResult, IsRoundedByItself)
{
    const ResultCase& row = GetParam();
    const PixelBox bounds = box(0, 0, 3000, 3000);
    const GaussStep step = planGaussStep(box(row.from, row.from, row.to, row.to), bounds, row.factor);
    EXPECT_EQ(static_cast<int>(step.rows.samples.size()), row.outTo - row.outFrom);
    EXPECT_EQ(static_cast<int>(step.columns.samples.size()), row.outTo - row.outFrom);
    EXPECT_EQ(textOf(step.outBox), textOf(box(row.outFrom, row.outFrom, row.outTo, row.outTo)));
}

// 300 / 2.994 is 100.2, so that tiles start at 0, 100, 200 and 301: the third one is short of a row.
// 300 / 2.982 is 100.6, so that tiles start at 0, 101 and 201: the second one is 101 rows all the same.
INSTANTIATE_TEST_SUITE_P(Tiles, GaussStepResult,
                         testing::Values(ResultCase{"Whole", 2, 512, 1024, 256, 512},
                                         ResultCase{"RoundsDown", 2.994, 0, 300, 0, 100},
                                         ResultCase{"ContinuesToTheNextTile", 2.994, 600, 900, 200, 301},
                                         ResultCase{"AfterIt", 2.994, 900, 1200, 301, 401},
                                         ResultCase{"RoundsUp", 2.982, 0, 300, 0, 101},
                                         ResultCase{"OverlapsTheNextTile", 2.982, 300, 600, 101, 202},
                                         ResultCase{"HalfRoundsUp", 2, 10, 15, 5, 8},
                                         ResultCase{"HalfOfAPlaceRoundsUp", 2, 5, 15, 3, 8},
                                         ResultCase{"LessThanHalfAPixel", 16, 48, 55, 3, 3},
                                         ResultCase{"HalfAPixel", 16, 48, 56, 3, 4}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(GaussStepPlan, AxesAreIndependent)
{
    const GaussStep step = planGaussStep(box(8, 100, 24, 140), box(0, 0, 200, 300), 4);
    EXPECT_EQ(step.columns.samples.size(), 4u);
    EXPECT_EQ(step.rows.samples.size(), 10u);
    EXPECT_EQ(step.xOffset, 8);
    EXPECT_EQ(step.yOffset, 13);
    EXPECT_EQ(textOf(step.outBox), "RECT{POINT(2, 25), POINT(6, 35)}");
}

TEST(GaussStepPlan, TilesLeaveNoGapWhateverTheFactor)
{
    for (const double factor : {0.5, 1.0, 1.37, 2.0, 2.982, 2.994, 3.0, 3.3, 7.77, 299.0, 700.0, 4000.0}) {
        std::int64_t reached = 0;
        for (int x = 0; x < 6000; x += 300) {
            const GaussStep step = planGaussStep(box(x, x, x + 300, x + 300), box(0, 0, 6000, 6000), factor);
            EXPECT_LE(step.outBox.min_corner().x(), reached) << "factor " << factor << ", column " << x;
            EXPECT_GE(step.outBox.min_corner().x(), reached - 1) << "factor " << factor << ", column " << x;
            reached = step.outBox.max_corner().x();
            EXPECT_EQ(step.outBox.max_corner().y(), reached);
        }
        EXPECT_GE(reached, std::floor(6000 / factor)) << "factor " << factor;
    }
}

TEST(GaussStepPlan, IsDefinedForLargeRastersAndFactors)
{
    const PixelBox tile = box(INT_MAX - 10, INT_MAX - 10, INT_MAX, INT_MAX);
    for (const double factor : {0.5, 1e300, std::numeric_limits<double>::infinity()}) {
        const GaussStep step = planGaussStep(tile, box(0, 0, INT_MAX, INT_MAX), factor);
        EXPECT_LE(step.rows.samples.size(), 20u);
        EXPECT_GE(step.outBox.max_corner().x(), step.outBox.min_corner().x());
    }
}

// ---- Samples

/// Pixels of the raster that the results of a tile along one axis are sampled at, where the other axis is the same.
std::vector<std::ptrdiff_t> samplesOf(int from, int to, int size, double factor)
{
    const GaussStep step = planGaussStep(box(from, from, to, to), box(0, 0, size, size), factor);
    EXPECT_EQ(step.rows.samples, step.columns.samples);
    std::vector<std::ptrdiff_t> samples = step.rows.samples;
    for (std::ptrdiff_t& sample : samples)
        sample += step.readBox.min_corner().x();
    return samples;
}

TEST(GaussStepSample, IsTheCentreOfTheBlock)
{
    using Samples = std::vector<std::ptrdiff_t>;
    EXPECT_EQ(samplesOf(0, 4, 100, 2), (Samples{1, 3}));
    EXPECT_EQ(samplesOf(9, 15, 100, 3), (Samples{10, 13}));
    EXPECT_EQ(samplesOf(12, 20, 100, 4), (Samples{14, 18}));
    EXPECT_EQ(samplesOf(48, 80, 100, 16), (Samples{56, 72}));
    EXPECT_EQ(samplesOf(0, 3, 100, 1), (Samples{0, 1, 2}));
    EXPECT_EQ(samplesOf(0, 10, 100, 2.5), (Samples{1, 3, 6, 8})) << "1.25, 3.75, 6.25 and 8.75";
}

TEST(GaussStepSample, BeyondTheMarginHasNoResult)
{
    // A raster of 6 rows by 2.4: the third result is to be sampled in row 6 of 6.
    EXPECT_EQ(samplesOf(0, 6, 6, 2.4), (std::vector<std::ptrdiff_t>{1, 3}));
}

// ---- Windows

TEST(GaussStepWindow, ReachesTheMarginOnEitherSideAndIsCutAtTheRastersEdge)
{
    const GaussStep step = planGaussStep(box(0, 40, 40, 80), box(0, 0, 60, 80), 4); // a margin of 13
    ASSERT_EQ(step.columns.windows.size(), 10u);
    EXPECT_EQ(step.columns.windows[0].start, 0) << "sampled at 2";
    EXPECT_EQ(step.columns.windows[0].length, 16);
    EXPECT_EQ(step.columns.windows[3].start, 1) << "sampled at 14";
    EXPECT_EQ(step.columns.windows[3].length, 27);
    ASSERT_EQ(step.rows.windows.size(), 10u);
    EXPECT_EQ(step.readBox.min_corner().y(), 27);
    EXPECT_EQ(step.rows.windows[0].start, 42 - 13 - 27);
    EXPECT_EQ(step.rows.windows[9].start, 78 - 13 - 27);
    EXPECT_EQ(step.rows.windows[9].length, 15) << "up to row 80";
}

TEST(GaussStepWindow, TakesPixelsBeyondTheMarginOfTheTile)
{
    // Tiles of 300 start at 200 and 301 of the output: 101 results of 2.994, of which the last one is sampled 0.9 pixels
    // beyond the tile.
    const GaussStep step = planGaussStep(box(600, 600, 900, 900), box(0, 0, 3000, 3000), 2.994);
    ASSERT_EQ(step.rows.samples.size(), 101u);
    EXPECT_EQ(step.rows.samples.back() + step.readBox.min_corner().y(), 900);
    EXPECT_EQ(step.rows.windows.back().length, 19);
    EXPECT_EQ(step.readBox.max_corner().y(), 910) << "where the tile with its margin ends at 909";
}

// ---- Text

TEST(GaussStepText, TellsBothCorners)
{
    EXPECT_EQ(textOf(box(0, 0, 512, 512)), "RECT{POINT(0, 0), POINT(512, 512)}");
    EXPECT_EQ(textOf(box(-1, 20, 1234567, -2147483647 - 1)),
              "RECT{POINT(-1, 20), POINT(1234567, -2147483648)}");
}

} // namespace
