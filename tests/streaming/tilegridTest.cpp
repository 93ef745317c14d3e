#include "streaming/tilegrid.h"

#include "support/boxes.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>

using namespace vexel;

namespace {

std::string text(const std::vector<tilegrid::Piece>& pieces)
{
    std::string lines;
    for (const tilegrid::Piece& piece : pieces)
        lines +=
            std::to_string(piece.tile) + " " + boxText(piece.inTile) + " " + boxText(piece.inRequest) + "\n";
    return lines;
}

Workspace gridOf(int width, int height, int tileWidth, int tileHeight)
{
    Workspace grid(0, 0, width, height, 1);
    grid.createTiles(tileWidth, tileHeight);
    return grid;
}

/// What a walk over all tiles gives, with the formulas as they are written down.
std::string piecesByFullWalk(const Workspace& grid, const PixelBox& r)
{
    std::string lines;
    for (std::uint64_t i = 0; i < grid.noTiles(); ++i) {
        const PixelBox& t = grid.itile(i);
        const int x0 = t.min_corner().x(), y0 = t.min_corner().y(), x1 = t.max_corner().x(),
                  y1 = t.max_corner().y();
        const int rx0 = r.min_corner().x(), ry0 = r.min_corner().y(), rx1 = r.max_corner().x(),
                  ry1 = r.max_corner().y();
        if (!(rx1 >= x0 && rx0 <= x1 && ry1 >= y0 && ry0 <= y1))
            continue;
        const long long ix0 = std::max(rx0, x0), ix1 = std::min(rx1, x1), iy0 = std::max(ry0, y0),
                        iy1 = std::min(ry1, y1);
        if ((ix1 - ix0) * (iy1 - iy0) <= 0)
            continue;
        const auto normal = [](long long a, long long b, long long c, long long d) {
            return box(int(std::min(a, c)), int(std::min(b, d)), int(std::max(a, c)), int(std::max(b, d)));
        };
        lines += std::to_string(i) + " " + boxText(normal(ix0 - x0, iy0 - y0, ix1 - x0, iy1 - y0)) + " " +
                 boxText(normal(ix0 - rx0, iy0 - ry0, ix1 - rx0, iy1 - ry0)) + "\n";
    }
    return lines;
}

} // namespace

TEST(TilegridPieces, BoxOverFourTilesIsListedColumnByColumn)
{
    const Workspace grid = gridOf(1000, 700, 512, 512);
    EXPECT_EQ(text(tilegrid::piecesOf(grid, box(500, 500, 600, 530), 1.0)),
              "0 (500, 500)-(512, 512) (0, 0)-(12, 12)\n"
              "1 (500, 0)-(512, 18) (0, 12)-(12, 30)\n"
              "2 (0, 500)-(88, 512) (12, 0)-(100, 12)\n"
              "3 (0, 0)-(88, 18) (12, 12)-(100, 30)\n");
}

TEST(TilegridPieces, BoxThatAbutsATileDoesNotListIt)
{
    const Workspace grid = gridOf(1000, 700, 512, 512);
    EXPECT_EQ(text(tilegrid::piecesOf(grid, box(100, 0, 512, 512), 1.0)),
              "0 (100, 0)-(512, 512) (0, 0)-(412, 512)\n");
    EXPECT_EQ(text(tilegrid::piecesOf(grid, box(1000, 0, 1010, 10), 1.0)), "");
    EXPECT_EQ(text(tilegrid::piecesOf(grid, box(-10, 0, 0, 10), 1.0)), "");
}

TEST(TilegridPieces, ScaleRoundsHalfAwayFromZero)
{
    const Workspace grid = gridOf(3, 3, 3, 3);
    EXPECT_EQ(text(tilegrid::piecesOf(grid, box(0, 0, 3, 3), 0.5)), "0 (0, 0)-(3, 3) (0, 0)-(2, 2)\n");
    // The tile starts 3 pixels into the request: 1.5 goes to 2 as well.
    EXPECT_EQ(text(tilegrid::piecesOf(grid, box(-3, -3, 3, 3), 0.5)), "0 (0, 0)-(3, 3) (2, 2)-(3, 3)\n");
}

TEST(TilegridPieces, GridWithoutTilesHasNone)
{
    EXPECT_TRUE(tilegrid::piecesOf(Workspace(0, 0, 10, 10, 1), box(0, 0, 10, 10), 1.0).empty());
}

TEST(TilegridPieces, LargestBoxIsNotLostToOverflow)
{
    const Workspace grid = gridOf(100000, 100000, 100000, 100000);
    EXPECT_EQ(text(tilegrid::piecesOf(grid, box(INT_MIN, INT_MIN, INT_MAX, INT_MAX), 1.0 / 65536.0)),
              "0 (0, 0)-(100000, 100000) (32768, 32768)-(32770, 32770)\n");
}

TEST(TilegridPieces, PositionsBeyond32BitsSaturate)
{
    const Workspace grid = gridOf(10, 10, 10, 10);
    const auto pieces = tilegrid::piecesOf(grid, box(INT_MIN, 0, 10, 10), 1.0);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(boxText(pieces[0].inRequest), "(2147483647, 0)-(2147483647, 10)");
}

TEST(TilegridPieces, RandomBoxesEqualAWalkOverAllTiles)
{
    std::mt19937 random(7);
    const auto number = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    for (int round = 0; round < 2000; ++round) {
        const Workspace grid = gridOf(number(1, 60), number(1, 60), number(1, 25), number(1, 25));
        // Corners in any order: a box turned over on both axes overlaps a tile that holds both its corners.
        const PixelBox request = box(number(-10, 70), number(-10, 70), number(-10, 70), number(-10, 70));
        ASSERT_EQ(text(tilegrid::piecesOf(grid, request, 1.0)), piecesByFullWalk(grid, request))
            << boxText(request);
    }
}

TEST(TilegridNear, AllowsOnePixelOnEverySide)
{
    EXPECT_TRUE(tilegrid::isNear(box(-1, -1, 101, 51), 100, 50));
    EXPECT_FALSE(tilegrid::isNear(box(-2, 0, 1, 1), 100, 50));
    EXPECT_FALSE(tilegrid::isNear(box(0, -2, 1, 1), 100, 50));
    EXPECT_FALSE(tilegrid::isNear(box(0, 0, 102, 1), 100, 50));
    EXPECT_FALSE(tilegrid::isNear(box(0, 0, 1, 52), 100, 50));
    EXPECT_TRUE(tilegrid::isNear(box(0, 0, INT_MAX, INT_MAX), INT_MAX, INT_MAX));
}

TEST(TilegridNoArea, TellsEmptyAndTurnedBoxes)
{
    EXPECT_TRUE(tilegrid::hasNoArea(box(3, 3, 3, 9)));
    EXPECT_TRUE(tilegrid::hasNoArea(box(3, 3, 9, 3)));
    EXPECT_TRUE(tilegrid::hasNoArea(box(9, 9, 3, 3)));
    EXPECT_FALSE(tilegrid::hasNoArea(box(3, 3, 4, 4)));
    EXPECT_FALSE(tilegrid::hasNoArea(box(INT_MIN, INT_MIN, INT_MAX, INT_MAX)));
}

TEST(TilegridScaledSize, RoundsEachSideHalfAwayFromZero)
{
    const auto size = tilegrid::scaledSize(box(0, 0, 101, 99), 0.5);
    ASSERT_TRUE(size);
    EXPECT_EQ(size->columns, 51);
    EXPECT_EQ(size->rows, 50);
    EXPECT_EQ(tilegrid::scaledSize(box(INT_MIN, 0, INT_MAX, 1), 1.0)->columns, 4294967295);
}

TEST(TilegridScaledSize, RefusesScalesThatAreNone)
{
    EXPECT_FALSE(tilegrid::scaledSize(box(0, 0, 9, 9), -0.5));
    EXPECT_FALSE(tilegrid::scaledSize(box(0, 0, 9, 9), std::numeric_limits<double>::quiet_NaN()));
    EXPECT_FALSE(tilegrid::scaledSize(box(0, 0, 9, 9), std::numeric_limits<double>::infinity()));
    EXPECT_EQ(tilegrid::scaledSize(box(0, 0, 9, 9), 0.0)->rows, 0);
}

TEST(TilegridClip, CutsBothBoxesByTheMatrix)
{
    PixelBox inFile = box(40, 50, 60, 70);
    PixelBox inMatrix = box(5, 6, 25, 26);
    ASSERT_TRUE(tilegrid::clipToMatrix(inFile, inMatrix, {16, 20}));
    EXPECT_EQ(boxText(inMatrix), "(5, 6)-(20, 16)");
    EXPECT_EQ(boxText(inFile), "(40, 50)-(55, 60)");
}

TEST(TilegridClip, LeavesAPieceInsideAlone)
{
    PixelBox inFile = box(40, 50, 60, 70);
    PixelBox inMatrix = box(0, 0, 20, 20);
    ASSERT_TRUE(tilegrid::clipToMatrix(inFile, inMatrix, {20, 20}));
    EXPECT_EQ(boxText(inMatrix), "(0, 0)-(20, 20)");
    EXPECT_EQ(boxText(inFile), "(40, 50)-(60, 70)");
}

TEST(TilegridClip, DropsAPieceOutside)
{
    for (const PixelBox& outside : {box(20, 0, 30, 10), box(0, 20, 10, 30), box(-5, -5, 0, 0)}) {
        PixelBox inFile = box(0, 0, 10, 10);
        PixelBox inMatrix = outside;
        EXPECT_FALSE(tilegrid::clipToMatrix(inFile, inMatrix, {20, 20})) << boxText(outside);
    }
}

TEST(TilegridCount, EqualsTheTilesThatAreCut)
{
    std::mt19937 random(3);
    for (int round = 0; round < 500; ++round) {
        Workspace extent(0, 0, random() % 50, random() % 50, 1);
        const int tileWidth = int(random() % 12), tileHeight = int(random() % 12);
        const auto counted = tilegrid::tileCount(extent, tileWidth, tileHeight);
        extent.createTiles(tileWidth, tileHeight);
        ASSERT_EQ(counted, extent.noTiles()) << extent.pixelWidth() << "/" << tileWidth;
    }
    EXPECT_EQ(tilegrid::tileCount(Workspace(0, 0, INT_MAX, INT_MAX, 1), 1, 1),
              std::uint64_t{INT_MAX} * std::uint64_t{INT_MAX});
}

TEST(TilegridOrder, FollowsTheGridColumnByColumn)
{
    const Workspace grid = gridOf(15, 20, 10, 10);
    const std::vector<tilegrid::Candidate> rowByRow = {
        {0, 0, 10, 10}, {1, 0, 5, 10}, {0, 1, 10, 10}, {1, 1, 5, 10}};
    EXPECT_EQ(tilegrid::orderByGrid(grid, rowByRow), (std::vector<std::size_t>{0, 2, 1, 3}));
}

TEST(TilegridOrder, TakesTheFirstOfThePlaceThatHasTheSize)
{
    const Workspace grid = gridOf(10, 10, 10, 10);
    EXPECT_EQ(tilegrid::orderByGrid(grid, {{0, 0, 9, 10}, {0, 0, 10, 10}, {0, 0, 10, 10}}),
              (std::vector<std::size_t>{1}));
}

TEST(TilegridOrder, LeavesOutTilesWithoutAFile)
{
    const Workspace grid = gridOf(20, 20, 10, 10);
    EXPECT_EQ(tilegrid::orderByGrid(grid, {{1, 1, 10, 10}, {0, 0, 10, 10}, {5, 5, 10, 10}}),
              (std::vector<std::size_t>{1, 0}));
}
