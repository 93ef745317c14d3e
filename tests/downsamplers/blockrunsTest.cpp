#include "downsamplers/blockruns.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

using namespace vexel;

namespace {

/// Blocks of `factor` pixels that start at pixel `offset` of `available`, without border.
BlockAxis blocksOf(double factor, std::int64_t noBlocks, int offset, std::int64_t available)
{
    return BlockAxis(noBlocks, {factor, 0, static_cast<std::int64_t>(factor + 0.5)}, offset, available);
}

std::string text(const std::vector<BlockRun>& runs)
{
    std::string lines;
    for (const BlockRun& run : runs)
        lines += std::to_string(run.firstBlock) + "-" + std::to_string(run.endBlock) + " needs " +
                 std::to_string(run.firstPixel) + "-" + std::to_string(run.endPixel) + " reads to " +
                 std::to_string(run.readEnd) + "\n";
    return lines;
}

} // namespace

TEST(BlockAxis, HoldsTheSpansOfItsBlocks)
{
    const BlockAxis axis(3, {2.5, 0, 3}, 1, 100);
    ASSERT_EQ(axis.noBlocks(), 3);
    EXPECT_EQ(axis.first(0), 1);
    EXPECT_EQ(axis.end(0), 4);
    EXPECT_EQ(axis.first(1), 3);
    EXPECT_EQ(axis.first(2), 6);
    EXPECT_EQ(axis.end(2), 9);
}

TEST(BlockAxis, LeavesOutBlocksBeyondWhatIsAvailable)
{
    const BlockAxis axis = blocksOf(4, 10, 0, 10);
    ASSERT_EQ(axis.noBlocks(), 3);
    EXPECT_EQ(axis.end(2), 10) << "the last one is cut";
}

TEST(BlockAxis, CountsTheFirstBlocksThatFollowEachOther)
{
    EXPECT_EQ(blocksOf(4, 25, 0, 100).noRegular(), 25);
    EXPECT_EQ(blocksOf(4, 25, 3, 200).noRegular(), 25);
    EXPECT_EQ(blocksOf(4, 3, 0, 10).noRegular(), 2) << "the last one is cut";
    EXPECT_EQ(blocksOf(4, 1, 0, 3).noRegular(), 1);
    EXPECT_EQ(blocksOf(4, 0, 0, 100).noRegular(), 0);
    // At 0, 2, 4 and 7, of 2 pixels.
    EXPECT_EQ(blocksOf(2.4, 4, 0, 100).noRegular(), 3) << "a gap";
    // At 0, 2, 5 and 7, of 3 pixels.
    EXPECT_EQ(blocksOf(2.5, 4, 0, 100).noRegular(), 1) << "an overlap";
    // At 0, 2, 5, 8, 11, of 3 pixels, where only the first is out of step.
    EXPECT_EQ(blocksOf(2.9, 5, 0, 100).noRegular(), 1) << "later ones do not count";
    EXPECT_EQ(BlockAxis(5, {4, 1, 6}, 2, 100).noRegular(), 1) << "borders overlap";
}

TEST(BlockAxis, RegularBlocksLieWhereTheCountSays)
{
    std::mt19937 random(5);
    for (int round = 0; round < 2000; ++round) {
        const double factor = 0.5 + static_cast<double>(random() % 400) / (round % 2 ? 100.0 : 50.0);
        const int border = static_cast<int>(random() % 3);
        const BlockSpacing blocks{factor, border, static_cast<std::int64_t>(factor + 2 * border + 0.5)};
        const BlockAxis axis(random() % 60, blocks, static_cast<int>(random() % 5), random() % 200 + 1);
        std::int64_t regular = 0;
        while (regular < axis.noBlocks() && axis.span(regular).length == axis.span(0).length &&
               axis.first(regular) == axis.first(0) + regular * axis.span(0).length)
            ++regular;
        ASSERT_EQ(axis.noRegular(), regular) << "factor " << factor << ", border " << border;
    }
}

TEST(BoundaryBefore, IsTheLastOfTheGrid)
{
    EXPECT_EQ(boundaryBefore(0, 16, 0), 0);
    EXPECT_EQ(boundaryBefore(15, 16, 0), 0);
    EXPECT_EQ(boundaryBefore(16, 16, 0), 16);
    EXPECT_EQ(boundaryBefore(100, 16, 0), 96);
    EXPECT_EQ(boundaryBefore(-1, 16, 0), -16);
    EXPECT_EQ(boundaryBefore(-16, 16, 0), -16);
    EXPECT_EQ(boundaryBefore(-17, 16, 0), -32);
    EXPECT_EQ(boundaryBefore(7, 1, 3), 7);
}

TEST(BoundaryBefore, CountsFromTheOrigin)
{
    EXPECT_EQ(boundaryBefore(3, 16, 3), 3);
    EXPECT_EQ(boundaryBefore(18, 16, 3), 3);
    EXPECT_EQ(boundaryBefore(19, 16, 3), 19);
    EXPECT_EQ(boundaryBefore(2, 16, 3), -13);
    EXPECT_EQ(boundaryBefore(0, 16, 40), -8);
    for (std::int64_t pixel = -50; pixel < 50; ++pixel)
        for (const std::int64_t unit : {1, 2, 7, 16})
            for (const std::int64_t origin : {-9, 0, 5, 40}) {
                const std::int64_t boundary = boundaryBefore(pixel, unit, origin);
                EXPECT_EQ((boundary - origin) % unit, 0);
                EXPECT_LE(boundary, pixel);
                EXPECT_GT(boundary + unit, pixel);
            }
}

TEST(BlockRuns, OneIsEnoughForWhatFits)
{
    EXPECT_EQ(text(cutIntoRuns(blocksOf(4, 25, 0, 100), 1000, 16, 0)), "0-25 needs 0-100 reads to 100\n");
}

TEST(BlockRuns, EndAtBoundariesOfTheFile)
{
    EXPECT_EQ(text(cutIntoRuns(blocksOf(4, 25, 0, 100), 40, 16, 0)), "0-8 needs 0-32 reads to 32\n"
                                                                     "8-16 needs 32-64 reads to 64\n"
                                                                     "16-24 needs 64-96 reads to 96\n"
                                                                     "24-25 needs 96-100 reads to 100\n");
}

TEST(BlockRuns, ReadOnToTheBoundaryWhereABlockStraddlesIt)
{
    EXPECT_EQ(text(cutIntoRuns(blocksOf(5, 10, 0, 50), 16, 16, 0)), "0-3 needs 0-15 reads to 16\n"
                                                                    "3-6 needs 15-30 reads to 32\n"
                                                                    "6-9 needs 30-45 reads to 48\n"
                                                                    "9-10 needs 45-50 reads to 50\n");
}

TEST(BlockRuns, HoldABlockHoweverLittleIsAllowed)
{
    EXPECT_EQ(text(cutIntoRuns(blocksOf(40, 3, 0, 120), 1, 16, 0)), "0-1 needs 0-40 reads to 48\n"
                                                                    "1-2 needs 40-80 reads to 80\n"
                                                                    "2-3 needs 80-120 reads to 120\n");
}

TEST(BlockRuns, CountTheFilesBlocksFromTheirOrigin)
{
    EXPECT_EQ(text(cutIntoRuns(blocksOf(4, 8, 3, 40), 20, 16, 3)), "0-4 needs 3-19 reads to 19\n"
                                                                   "4-8 needs 19-35 reads to 35\n");
}

TEST(BlockRuns, OfNoBlocksAreNone)
{
    EXPECT_TRUE(cutIntoRuns(blocksOf(4, 0, 0, 100), 40, 16, 0).empty());
}

TEST(BlockRuns, CoverEachBlockOnceAndNeverGoBack)
{
    std::mt19937 random(11);
    const auto number = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    for (int round = 0; round < 2000; ++round) {
        const double factor = 0.5 + number(0, 1000) / 100.0;
        const std::int64_t available = number(1, 300);
        const int border = number(0, 3);
        const BlockSpacing blocks{factor, border, static_cast<std::int64_t>(factor + 2 * border + 0.5)};
        const BlockAxis axis(number(0, 200), blocks, number(0, 5), available);
        const std::int64_t fileBlock = number(0, 40);
        const std::int64_t most = number(0, 100);
        std::int64_t nextBlock = 0;
        std::int64_t formerReadEnd = axis.noBlocks() > 0 ? axis.first(0) : 0;
        for (const BlockRun& run : cutIntoRuns(axis, most, fileBlock, 0)) {
            ASSERT_EQ(run.firstBlock, nextBlock);
            ASSERT_GT(run.endBlock, run.firstBlock);
            for (std::int64_t i = run.firstBlock; i < run.endBlock; ++i) {
                ASSERT_GE(axis.first(i), run.firstPixel);
                ASSERT_LE(axis.end(i), run.endPixel);
            }
            ASSERT_LE(run.endPixel, run.readEnd);
            ASSERT_LE(run.readEnd, available);
            ASSERT_GE(run.readEnd, formerReadEnd);
            nextBlock = run.endBlock;
            formerReadEnd = run.readEnd;
        }
        ASSERT_EQ(nextBlock, axis.noBlocks());
    }
}
