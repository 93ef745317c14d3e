#include "downsamplers/tilestep.h"

#include "support/boxes.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

using namespace vexel;

TEST(TileStepPlan, TileAtTheCornerReadsAMarginOnlyInside)
{
    const TileStep step = planTileStep(box(0, 0, 1001, 500), box(0, 0, 3000, 3000), 2.0, 0);
    EXPECT_EQ(boxText(step.readBox), "(0, 0)-(1002, 501)");
    EXPECT_EQ(step.xOffset, 0);
    EXPECT_EQ(step.yOffset, 0);
    EXPECT_EQ(step.blocks.size, 2);
    EXPECT_EQ(step.columns, 500) << "the last column of the tile falls in no block";
    EXPECT_EQ(step.rows, 250);
    EXPECT_EQ(boxText(step.outBox), "(0, 0)-(500, 250)");
}

TEST(TileStepPlan, MarginIsHalfAFactorRoundedHalfAway)
{
    const TileStep step = planTileStep(box(100, 200, 200, 300), box(0, 0, 1000, 1000), 3.0, 0);
    EXPECT_EQ(boxText(step.readBox), "(98, 198)-(202, 302)") << "1.5 rounds to 2";
    EXPECT_EQ(step.xOffset, 2);
    EXPECT_EQ(step.yOffset, 2);
}

TEST(TileStepPlan, BorderWidensMarginAndBlock)
{
    const TileStep step = planTileStep(box(100, 100, 200, 200), box(0, 0, 1000, 1000), 4.0, 3);
    EXPECT_EQ(boxText(step.readBox), "(95, 95)-(205, 205)");
    EXPECT_EQ(step.blocks.size, 10);
    EXPECT_EQ(step.columns, 25);
}

TEST(TileStepPlan, OutputBoxThatIsLargerByOneGetsItsColumnAndRow)
{
    // 300 / 7 = 42.86 and 600 / 7 = 85.71: 43 output pixels, though only 42 whole blocks fit.
    const TileStep step = planTileStep(box(300, 300, 600, 600), box(0, 0, 900, 900), 7.0, 0);
    EXPECT_EQ(boxText(step.outBox), "(42, 42)-(85, 85)");
    EXPECT_EQ(step.columns, 43);
    EXPECT_EQ(step.rows, 43);
}

TEST(TileStepPlan, TilesLeaveNoSeamWhateverTheFactor)
{
    for (const double factor : {0.5, 1.0, 1.37, 2.0, 2.994, 3.0, 3.3, 7.77, 300.0, 4000.0}) {
        int next = 0;
        for (int x = 0; x < 3000; x += 300) {
            const TileStep step = planTileStep(box(x, x, x + 300, x + 300), box(0, 0, 3000, 3000), factor, 0);
            EXPECT_EQ(step.outBox.min_corner().x(), next) << factor;
            next = step.outBox.max_corner().x();
            EXPECT_GE(step.columns, next - step.outBox.min_corner().x()) << factor;
            EXPECT_EQ(step.rows, step.columns) << factor;
        }
        EXPECT_EQ(next, static_cast<int>(std::trunc(3000 / factor))) << factor;
    }
}

TEST(TileStepPlan, IsDefinedForHugeFactors)
{
    const TileStep step = planTileStep(box(0, 0, 100, 100), box(0, 0, 100, 100), 1e300, INT_MAX);
    EXPECT_EQ(boxText(step.readBox), "(0, 0)-(100, 100)");
    EXPECT_EQ(step.rows, 0);
    EXPECT_EQ(step.blocks.size, INT_MAX);
}

TEST(TileStepBlocks, StartAtMultiplesOfTheFactorTruncated)
{
    EXPECT_EQ(blockStart(0, 2.5, 3), 3);
    EXPECT_EQ(blockStart(1, 2.5, 3), 5);
    EXPECT_EQ(blockStart(2, 2.5, 3), 8);
    EXPECT_EQ(blockStart(3, 2.5, 3), 10);
}

TEST(TileStepBlocks, AreCutByWhatWasRead)
{
    const auto inside = blockSpan(1, {4.0, 0, 4}, 2, 100);
    ASSERT_TRUE(inside);
    EXPECT_EQ(inside->start, 6);
    EXPECT_EQ(inside->length, 4);
    const auto cut = blockSpan(1, {4.0, 0, 4}, 2, 8);
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->length, 2);
    EXPECT_FALSE(blockSpan(1, {4.0, 0, 4}, 2, 6));
    EXPECT_FALSE(blockSpan(1, {4.0, 0, 4}, 2, 5));
}

TEST(TileStepBlocks, WithABorderStartEarlierButNotBeforeTheFirstPixel)
{
    const auto first = blockSpan(0, {4.0, 2, 8}, 1, 100);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->start, 0);
    EXPECT_EQ(first->length, 8);
    EXPECT_EQ(blockSpan(1, {4.0, 2, 8}, 1, 100)->start, 3);
    EXPECT_FALSE(blockSpan(0, {4.0, -3, -2}, 1, 100)) << "a negative border may leave nothing";
}

TEST(TileStepAlignment, GivesAWholeNumberOfOutputPixels)
{
    EXPECT_EQ(factorAlignedToTile(5000, 3.0), 5000.0 / 1667.0);
    EXPECT_EQ(factorAlignedToTile(5000, 4.0), 4.0);
    EXPECT_EQ(factorAlignedToTile(10, 4.0), 10.0 / 3.0) << "2.5 rounds to 3";
    EXPECT_TRUE(std::isinf(factorAlignedToTile(10, 21.0)));
    EXPECT_EQ(factorAlignedToTile(10, 20.0), 10.0);
}
