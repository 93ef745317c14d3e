#include "downsamplers/gaussstep.h"

#include "companion/gaussrecursion.h"
#include "support/boxes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <random>
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
    EXPECT_EQ(textOf(step.readBox),
              textOf(box(200 - row.margin, 300 - row.margin, 264 + row.margin, 364 + row.margin)));
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
    EXPECT_EQ(textOf(corner.readBox), "RECT{POINT(0, 0), POINT(45, 33)}");
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
    EXPECT_EQ(step.rows, row.outTo - row.outFrom);
    EXPECT_EQ(step.columns, row.outTo - row.outFrom);
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
    EXPECT_EQ(step.columns, 4);
    EXPECT_EQ(step.rows, 10);
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
        EXPECT_GE(step.rows, 0);
        EXPECT_GE(step.outBox.max_corner().x(), step.outBox.min_corner().x());
    }
}

// ---- Samples

TEST(GaussStepSample, IsTheCentreOfTheBlock)
{
    EXPECT_EQ(samplePosition(0, 2, 0), 1);
    EXPECT_EQ(samplePosition(1, 2, 0), 3);
    EXPECT_EQ(samplePosition(0, 3, 9), 10);
    EXPECT_EQ(samplePosition(0, 4, 13), 15);
    EXPECT_EQ(samplePosition(7, 16, 26), 146);
    EXPECT_EQ(samplePosition(0, 1, 0), 0);
    // 1.25, 3.75, 6.25 and 8.75
    EXPECT_EQ(samplePosition(0, 2.5, 0), 1);
    EXPECT_EQ(samplePosition(1, 2.5, 0), 3);
    EXPECT_EQ(samplePosition(2, 2.5, 0), 6);
    EXPECT_EQ(samplePosition(3, 2.5, 0), 8);
}

// ---- Parts

std::int64_t widthOf(const PixelBox& boxRead)
{
    return std::int64_t{boxRead.max_corner().x()} - boxRead.min_corner().x();
}

std::int64_t heightOf(const PixelBox& boxRead)
{
    return std::int64_t{boxRead.max_corner().y()} - boxRead.min_corner().y();
}

/// What a part of so many pixels takes by the class comment: the pixels of all bands, one band at the rows
/// that are sampled, the results of all bands.
double bytesOf(double pixels, double bands, double sampleBytes, double factor)
{
    return pixels * bands * sampleBytes + pixels / factor * 4 +
           pixels / (factor * factor) * bands * sampleBytes;
}

TEST(GaussParts, AreTheTileWhereItFits)
{
    const GaussStep step = planGaussStep(box(0, 0, 400, 300), box(0, 0, 400, 300), 4);
    const double bytes = bytesOf(400 * 300, 3, 1, 4);
    const GaussParts parts = cutIntoParts(step, 3, 1, 16, bytes + 100);
    ASSERT_EQ(parts.rows.size(), 1u);
    ASSERT_EQ(parts.columns.size(), 1u);
    EXPECT_EQ(parts.rows[0].firstResult, 0);
    EXPECT_EQ(parts.rows[0].endResult, 75);
    EXPECT_EQ(parts.rows[0].firstPixel, 0);
    EXPECT_EQ(parts.rows[0].endPixel, 300);
    EXPECT_EQ(parts.columns[0].endResult, 100);
    EXPECT_EQ(parts.columns[0].endPixel, 400);
    EXPECT_GT(cutIntoParts(step, 3, 1, 16, bytes - 100).rows.size(), 1u) << "one row of pixels less";
    EXPECT_EQ(cutIntoParts(step, 3, 1, 16, bytes - 100).columns.size(), 1u);
}

TEST(GaussParts, AreRowsBeforeTheyAreColumns)
{
    // 13 pixels of margin, of which parts reach 20: below 160 rows, with the file's blocks 176, they become
    // narrower instead.
    const GaussStep step = planGaussStep(box(0, 0, 1000, 2000), box(0, 0, 1000, 2000), 4);
    ASSERT_EQ(step.margin, 13);
    const double row = bytesOf(1000, 1, 1, 4);
    EXPECT_EQ(cutIntoParts(step, 1, 1, 16, 177 * row).columns.size(), 1u);
    EXPECT_GT(cutIntoParts(step, 1, 1, 16, 177 * row).rows.size(), 10u);
    EXPECT_EQ(cutIntoParts(step, 1, 1, 16, 175 * row).columns.size(), 2u);
}

/// Every result belongs to one part, which reaches the margin beyond what it samples, as far as there are
/// pixels.
void expectCovered(const std::vector<GaussPart>& parts, std::int64_t results, std::int64_t pixels, int offset,
                   const GaussStep& step)
{
    std::int64_t next = 0;
    for (const GaussPart& part : parts) {
        ASSERT_EQ(part.firstResult, next);
        ASSERT_GT(part.endResult, part.firstResult);
        next = part.endResult;
        ASSERT_GE(part.firstPixel, 0);
        ASSERT_LE(part.endPixel, pixels);
        ASSERT_LT(part.firstPixel, part.endPixel);
        const std::int64_t first = samplePosition(part.firstResult, step.factor, offset);
        const std::int64_t last = samplePosition(part.endResult - 1, step.factor, offset);
        ASSERT_LE(part.firstPixel, std::max<std::int64_t>(0, first - step.margin));
        ASSERT_GE(part.endPixel, std::min(pixels, last + 1 + step.margin));
    }
    ASSERT_EQ(next, results);
    if (parts.empty())
        return;
    // Pixels that no part samples count at the raster's edge.
    EXPECT_EQ(parts.front().firstPixel, 0);
    EXPECT_EQ(parts.back().endPixel, pixels);
}

std::int64_t longestOf(const std::vector<GaussPart>& parts)
{
    std::int64_t longest = 0;
    for (const GaussPart& part : parts)
        longest = std::max(longest, part.endPixel - part.firstPixel);
    return longest;
}

TEST(GaussParts, CoverEachResultOnceWithItsMarginWithinTheBudget)
{
    std::mt19937 random(37);
    const auto number = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    int cut = 0;
    for (int round = 0; round < 3000; ++round) {
        const double factor = round % 2 ? number(1, 20) : 0.5 + number(0, 2000) / 100.0;
        const PixelBox bounds = box(0, 0, number(1, 6000), number(1, 6000));
        const int x0 = number(0, bounds.max_corner().x() - 1);
        const int y0 = number(0, bounds.max_corner().y() - 1);
        const GaussStep step = planGaussStep(
            box(x0, y0, number(x0 + 1, bounds.max_corner().x()), number(y0 + 1, bounds.max_corner().y())),
            bounds, factor);
        const auto noBands = static_cast<std::size_t>(number(1, 5));
        const std::size_t sampleBytes = number(0, 1) == 0 ? 1 : 4;
        const std::int64_t blockHeight = number(1, 300);
        // From what a part takes that is as low as parts become, and as wide as eight margins, to 100 of it.
        const double smallest =
            bytesOf(static_cast<double>((8 * step.margin + blockHeight) * 8 * step.margin),
                    static_cast<double>(noBands), static_cast<double>(sampleBytes), factor);
        const double budget = smallest * number(10, 1000) / 10.0;
        const GaussParts parts = cutIntoParts(step, noBands, sampleBytes, blockHeight, budget);
        SCOPED_TRACE(testing::Message() << "round " << round);
        expectCovered(parts.rows, step.rows, heightOf(step.readBox), step.yOffset, step);
        expectCovered(parts.columns, step.columns, widthOf(step.readBox), step.xOffset, step);
        if (HasFatalFailure())
            return;
        // With the rows that are read on to the end of the file's blocks. Parts are cut at results, of which
        // the longest may have one more than its share.
        const bool isWhole = parts.rows.size() <= 1 && parts.columns.size() <= 1;
        cut += isWhole ? 0 : 1;
        const double rows =
            static_cast<double>(longestOf(parts.rows) + (parts.rows.size() > 1 ? blockHeight : 0)) -
            (parts.rows.size() > 1 ? 2 * factor + 2 : 0);
        const double columns =
            static_cast<double>(longestOf(parts.columns)) - (parts.columns.size() > 1 ? 2 * factor + 2 : 0);
        EXPECT_LE(bytesOf(std::max(rows, 0.0) * std::max(columns, 0.0), static_cast<double>(noBands),
                          static_cast<double>(sampleBytes), factor),
                  budget * (1 + 1e-9))
            << "factor " << factor << ", " << parts.rows.size() << " rows of " << longestOf(parts.rows)
            << ", " << parts.columns.size() << " columns of " << longestOf(parts.columns) << ", blocks of "
            << blockHeight << ", margin " << step.margin;
    }
    EXPECT_GT(cut, 300);
}

TEST(GaussParts, AreDefinedHoweverLittleIsAllowed)
{
    const GaussStep step = planGaussStep(box(0, 0, 5000, 4000), box(0, 0, 5000, 4000), 4);
    for (const double bytes : {0.0, 1.0, 1000.0}) {
        const GaussParts parts = cutIntoParts(step, 4, 4, 512, bytes);
        expectCovered(parts.rows, step.rows, 4000, 0, step);
        expectCovered(parts.columns, step.columns, 5000, 0, step);
        EXPECT_GE(longestOf(parts.rows), 2 * step.margin) << "not margins alone";
    }
}

/// How much of a result along one axis comes from beyond the margin, on one side: what a part that ends there
/// leaves out.
double weightBeyondMargin(double factor)
{
    const GaussStep step = planGaussStep(box(0, 0, 2000, 1), box(0, 0, 2000, 1), factor);
    const std::ptrdiff_t sample = 1000;
    const std::ptrdiff_t end = sample + 1 + step.margin;
    std::vector<float> line(2000, 0.0f);
    std::fill(line.begin() + end, line.end(), 1.0f);
    const GaussRecursion recursion(static_cast<float>(step.sigma), 4);
    float whole = 0.0f;
    float part = 0.0f;
    recursion.filterRows({line.data(), 1, 2000, 2000}, {sample}, {&whole, 1, 1, 1});
    recursion.filterRows({line.data(), 1, end, end}, {sample}, {&part, 1, 1, 1});
    return std::abs(static_cast<double>(whole) - static_cast<double>(part));
}

TEST(GaussParts, LeaveAwayLessThanATenThousandth)
{
    // The Gaussian itself has 3e-7 of its weight beyond five sigma on one side. The response of order 4, which
    // oscillates where it fades, was measured to sum to 8e-5 there, that of order 3 to 3.5e-4.
    for (const double factor : {0.5, 1.0, 2.0, 3.5, 4.0, 5.5, 7.5, 8.0, 10.0, 12.0, 16.0, 20.0, 32.0, 64.0}) {
        EXPECT_LT(weightBeyondMargin(factor), 1e-4) << "factor " << factor;
        EXPECT_GT(weightBeyondMargin(factor), 0.0) << "factor " << factor;
    }
}

// ---- Text

TEST(GaussStepText, TellsBothCorners)
{
    EXPECT_EQ(textOf(box(0, 0, 512, 512)), "RECT{POINT(0, 0), POINT(512, 512)}");
    EXPECT_EQ(textOf(box(-1, 20, 1234567, -2147483647 - 1)),
              "RECT{POINT(-1, 20), POINT(1234567, -2147483648)}");
}

} // namespace
