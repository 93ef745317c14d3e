#include "downsamplers/StripPlan.h"

#include "support/boxes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

using namespace vexel;

namespace {

constexpr double mebi = 1024.0 * 1024.0;

/// A raster that is read from its corner, in blocks of a whole factor.
StripLayout layoutOf(int width, int height, int factor)
{
    const BlockSpacing blocks{static_cast<double>(factor), 0, factor};
    return {box(0, 0, width, height),
            0,
            0,
            factor,
            BlockAxis(height / factor, blocks, 0, height),
            BlockAxis(width / factor, blocks, 0, width)};
}

/// Bytes of so many bands, reduced to bytes.
StripCost bytesOf(double bands, double factor)
{
    return {bands, 2.0 * bands, factor * factor};
}

TEST(StripPlan, IsOneStripWhereItFits)
{
    const StripPlan plan(layoutOf(2000, 1000, 4), 256, 256, bytesOf(4, 4));
    ASSERT_EQ(plan.strips().size(), 1u);
    const StripPlace& strip = plan.strips()[0];
    EXPECT_EQ(strip.columns.noBlocks(), 500);
    EXPECT_EQ(strip.rows.noBlocks(), 250);
    EXPECT_TRUE(strip.isFirstOfColumn);
    EXPECT_EQ(strip.keptColumns, 0);
    EXPECT_EQ(plan.mostPixels(), 2000 * 1000);
}

TEST(StripPlan, TwoStripsAndWhatOneBecomesShareTheMemory)
{
    // Four bands: 8 bytes for a pixel of two strips, and half a byte for its share of a result, twice: as it is, and as
    // GDAL takes it. So a strip has at most 7.89 million pixels, which are 3 rows of blocks of 256 by 10000.
    const StripPlan plan(layoutOf(10000, 10000, 4), 256, 256, bytesOf(4, 4));
    ASSERT_EQ(plan.strips().size(), 14u);
    for (std::size_t k = 0; k + 1 < plan.strips().size(); ++k) {
        EXPECT_EQ(plan.strips()[k].rows.firstPixel, static_cast<std::int64_t>(k) * 768);
        EXPECT_EQ(plan.strips()[k].rows.readLength(), 768);
        EXPECT_EQ(plan.strips()[k].isFirstOfColumn, k == 0);
    }
}

TEST(StripPlan, TakesARowOfBlocksThatIsTooWideInColumns)
{
    const StripPlan plan(layoutOf(100000, 2048, 4), 1024, 1024, bytesOf(4, 4));
    std::int64_t columns = 0;
    for (const StripPlace& strip : plan.strips())
        columns += strip.isFirstOfColumn ? 1 : 0;
    EXPECT_GT(columns, 5);
    EXPECT_LE(static_cast<double>(plan.mostPixels()) * 8.5, 64.0 * mebi);
}

/// Pixels that two columns of strips share.
std::int64_t sharedBefore(const std::vector<StripPlace>& strips, std::size_t k)
{
    return strips[k - 1].columns.readEnd - strips[k].columns.firstPixel;
}

TEST(StripPlan, KeepsWhatColumnsShareUnlessThatIsTooMuch)
{
    // Windows of 37 pixels, every 8: neighbouring columns share about 29 of them. For a height of 60000 and four
    // bands that are 2 * 4 * 37 * 60000 bytes, 17 million, of which an eighth of the memory holds 8.
    for (const int height : {20000, 60000}) {
        SCOPED_TRACE(height);
        std::vector<BlockSpan> windows;
        for (std::int64_t start = 0; start + 37 <= 60000; start += 8)
            windows.push_back({start, 37});
        std::vector<BlockSpan> rows;
        for (std::int64_t start = 0; start + 37 <= height; start += 8)
            rows.push_back({start, 37});
        const StripPlan plan({box(0, 0, 60000, height), 0, 0, 37, BlockAxis(rows), BlockAxis(windows)}, 512,
                             512, bytesOf(4, 8));
        int seams = 0;
        for (std::size_t k = 1; k < plan.strips().size(); ++k) {
            if (!plan.strips()[k].isFirstOfColumn)
                continue;
            ++seams;
            EXPECT_EQ(plan.strips()[k - 1].keptColumns, height == 20000 ? sharedBefore(plan.strips(), k) : 0);
            EXPECT_GT(sharedBefore(plan.strips(), k), 20);
        }
        EXPECT_GT(seams, 2);
    }
}

/// What the strips take at once: two of them, what one becomes, and the columns that are kept for the next column and
/// from the one before.
double bytesTaken(const StripPlan& plan, const StripCost& cost)
{
    std::int64_t kept = 0;
    for (const StripPlace& strip : plan.strips())
        kept = std::max(kept, strip.keptColumns);
    return static_cast<double>(plan.mostPixels()) *
               (2.0 * cost.bytesPerPixel + cost.bytesPerResult / cost.pixelsPerResult) +
           2.0 * static_cast<double>(kept * plan.height()) * cost.bytesPerPixel;
}

TEST(StripPlan, HoldsEachBlockOnceWithinTheMemory)
{
    std::mt19937 random(11);
    const auto number = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        const int factor = number(1, 20);
        const int width = number(factor, 40000);
        const int height = number(factor, 20000);
        const StripCost cost = bytesOf(number(1, 5), factor);
        const int block = 16 * number(1, 40);
        const StripPlan plan(layoutOf(width, height, factor), block, block, cost);
        std::int64_t blocks = 0;
        for (const StripPlace& strip : plan.strips())
            blocks += strip.columns.noBlocks() * strip.rows.noBlocks();
        EXPECT_EQ(blocks, std::int64_t{width / factor} * (height / factor));
        EXPECT_LE(bytesTaken(plan, cost), 64.0 * mebi);
    }
}

TEST(StripPlan, IsEmptyWithoutBlocks)
{
    const StripPlan plan(layoutOf(10, 10, 20), 256, 256, bytesOf(1, 20));
    EXPECT_TRUE(plan.strips().empty());
    EXPECT_EQ(plan.mostPixels(), 0);
}

} // namespace
