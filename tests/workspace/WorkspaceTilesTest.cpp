#include "workspace/Workspace.h"

#include "workspacefixtures.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>
#include <vector>

using namespace workspacetest;
using namespace vexel;

TEST(WorkspaceTiles, AreNumberedColumnByColumn)
{
    Workspace ws(0, 0, 1000, 700, 1);
    ASSERT_TRUE(ws.createTiles(512, 512));
    ASSERT_EQ(ws.noTiles(), 4u);
    EXPECT_EQ(corners(ws.itile(0)), (Corners{0, 0, 512, 512}));
    EXPECT_EQ(corners(ws.itile(1)), (Corners{0, 512, 512, 700}));
    EXPECT_EQ(corners(ws.itile(2)), (Corners{512, 0, 1000, 512}));
    EXPECT_EQ(corners(ws.itile(3)), (Corners{512, 512, 1000, 700}));
    EXPECT_EQ(place(ws.gtile(0)), (Place{0, 0}));
    EXPECT_EQ(place(ws.gtile(1)), (Place{0, 1}));
    EXPECT_EQ(place(ws.gtile(2)), (Place{1, 0}));
    EXPECT_EQ(place(ws.gtile(3)), (Place{1, 1}));
}

TEST(WorkspaceTiles, HaveMapBoxesInTheFrameOfTheWorkspace)
{
    expectTilesOfTiledWorkspace(tiledWorkspace());
}

TEST(WorkspaceTiles, AreWorkspacesOfTheirOwn)
{
    const Workspace tile = tiledWorkspace().tile(3);
    EXPECT_EQ(extent(tile), (Extent{130, -180, 140, -170, 10}));
    expectNoTiles(tile);
}

TEST(WorkspaceTiles, BeyondTheListAreZeros)
{
    const Workspace ws = tiledWorkspace();
    for (const std::uint64_t i : {std::uint64_t{4}, std::numeric_limits<std::uint64_t>::max()}) {
        EXPECT_EQ(corners(ws.mtile(i)), (Corners{0, 0, 0, 0}));
        EXPECT_EQ(corners(ws.itile(i)), (Corners{0, 0, 0, 0}));
        EXPECT_EQ(place(ws.gtile(i)), (Place{0, 0}));
        EXPECT_EQ(extent(ws.tile(i)), (Extent{0, 0, 0, 0, 10}));
    }
}

TEST(WorkspaceTiles, OneTileTakesAllWhenItIsLargeEnough)
{
    for (const int size : {5, 6, largestInt}) {
        Workspace ws(0, 0, 50, 50, 10);
        ASSERT_TRUE(ws.createTiles(size, size));
        ASSERT_EQ(ws.noTiles(), 1u);
        EXPECT_EQ(corners(ws.itile(0)), (Corners{0, 0, 5, 5}));
        EXPECT_EQ(corners(ws.mtile(0)), (Corners{0, 0, 50, 50}));
    }
}

TEST(WorkspaceTiles, CoverOnlyWholePixels)
{
    Workspace ws(0, 0, 59, 41, 10);
    ASSERT_TRUE(ws.createTiles(4, 4));
    ASSERT_EQ(ws.noTiles(), 2u);
    EXPECT_EQ(corners(ws.itile(1)), (Corners{4, 0, 5, 4}));
    EXPECT_EQ(corners(ws.mtile(1)), (Corners{40, 0, 50, 40}));
}

TEST(WorkspaceTiles, ReachTheLastOf32Bits)
{
    Workspace ws(0, 0, largestInt, 2, 1);
    ASSERT_TRUE(ws.createTiles(1 << 30, 2));
    ASSERT_EQ(ws.noTiles(), 2u);
    EXPECT_EQ(corners(ws.itile(0)), (Corners{0, 0, 1 << 30, 2}));
    EXPECT_EQ(corners(ws.itile(1)), (Corners{1 << 30, 0, largestInt, 2}));

    Workspace tall(0, 0, 2, largestInt, 1);
    ASSERT_TRUE(tall.createTiles(2, 1 << 30));
    ASSERT_EQ(tall.noTiles(), 2u);
    EXPECT_EQ(corners(tall.itile(1)), (Corners{0, 1 << 30, 2, largestInt}));
}

TEST(WorkspaceTiles, NewGridReplacesTheOld)
{
    Workspace ws = tiledWorkspace();
    ASSERT_TRUE(ws.createTiles(4, 3));
    ASSERT_EQ(ws.noTiles(), 1u);
    EXPECT_EQ(corners(ws.itile(0)), (Corners{0, 0, 4, 3}));
    EXPECT_EQ(corners(ws.mtile(0)), (Corners{100, -200, 140, -170}));
    EXPECT_EQ(place(ws.gtile(0)), (Place{0, 0}));
}

TEST(WorkspaceTiles, AreDroppedByClear)
{
    Workspace ws = tiledWorkspace();
    ws.clearTiles();
    expectNoTiles(ws);
    EXPECT_EQ(extent(ws), (Extent{100, -200, 140, -170, 10}));
    ASSERT_TRUE(ws.createTiles(3, 2));
    expectTilesOfTiledWorkspace(ws);
}

TEST(WorkspaceTiles, NoneWithoutPixels)
{
    EXPECT_FALSE(Workspace().createTiles(256, 256));
    for (Workspace ws : {Workspace(), Workspace(0, 0, 99, 1000, 100), Workspace(0, 0, 1000, 99, 100),
                         Workspace(0, 0, 2147483648, 10, 1), Workspace(0, 0, 10, 2147483648, 1),
                         Workspace(lowest, lowest, largest, largest, 1)}) {
        EXPECT_FALSE(ws.createTiles(256, 256)) << ws;
        expectNoTiles(ws);
        EXPECT_FALSE(ws.createTiles(1, 1)) << ws;
        expectNoTiles(ws);
    }
}

TEST(WorkspaceTiles, NoneForATileSizeBelowOne)
{
    for (const int size : {0, -1, lowestInt}) {
        Workspace ws = tiledWorkspace();
        EXPECT_FALSE(ws.createTiles(size, 2));
        expectNoTiles(ws);
        ws = tiledWorkspace();
        EXPECT_FALSE(ws.createTiles(2, size));
        expectNoTiles(ws);
    }
}

TEST(WorkspaceTiles, GridThatFitsNoMemoryLeavesNone)
{
    Workspace ws(0, 0, largestInt, largestInt, 1);
    ASSERT_TRUE(ws.createTiles(largestInt, largestInt));
    EXPECT_THROW(ws.createTiles(1, 1), std::length_error);
    expectNoTiles(ws);
    EXPECT_TRUE(ws.createTiles(largestInt, largestInt));
}

TEST(WorkspaceTiles, OfAnyGridCoverEveryPixelOnceInOrder)
{
    std::mt19937 random(20240229);
    const auto pick = [&random](int low, int high) {
        return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
    };
    for (int round = 0; round < 200; ++round) {
        const int w = pick(1, 60), h = pick(1, 60), tw = pick(1, 25), th = pick(1, 25), res = pick(1, 9);
        const std::int64_t minx = pick(-100000, 100000), miny = pick(-100000, 100000);
        Workspace ws(minx, miny, minx + w * res + pick(0, res - 1), miny + h * res + pick(0, res - 1), res);
        ASSERT_TRUE(ws.createTiles(tw, th));

        const int rows = (h + th - 1) / th;
        const int columns = (w + tw - 1) / tw;
        ASSERT_EQ(ws.noTiles(), static_cast<std::uint64_t>(rows * columns));
        std::vector<int> hits(static_cast<std::size_t>(w * h), 0);
        for (int gx = 0; gx < columns; ++gx)
            for (int gy = 0; gy < rows; ++gy) {
                const auto i = static_cast<std::uint64_t>(gx * rows + gy);
                ASSERT_EQ(place(ws.gtile(i)), (Place{gx, gy}));
                const Corners px = corners(ws.itile(i));
                EXPECT_EQ(px[2] - px[0], gx + 1 < columns ? tw : w - gx * tw);
                EXPECT_EQ(px[3] - px[1], gy + 1 < rows ? th : h - gy * th);
                EXPECT_EQ(corners(ws.mtile(i)), (Corners{minx + px[0] * res, miny + px[1] * res,
                                                         minx + px[2] * res, miny + px[3] * res}));
                for (std::int64_t y = px[1]; y < px[3]; ++y)
                    for (std::int64_t x = px[0]; x < px[2]; ++x)
                        ++hits.at(static_cast<std::size_t>(y * w + x));
            }
        EXPECT_EQ(hits, std::vector<int>(hits.size(), 1)) << w << " x " << h << " by " << tw << " x " << th;
    }
}
