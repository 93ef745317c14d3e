#include "workspace/Workspace.h"

#include "support/CommaDecimals.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using namespace vexel;

namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr int largestInt = std::numeric_limits<int>::max();
constexpr int lowestInt = std::numeric_limits<int>::min();
constexpr double infinity = std::numeric_limits<double>::infinity();

using Corners = std::array<std::int64_t, 4>;
using Extent = std::array<std::int64_t, 5>;

template <class Box>
Corners corners(const Box& box)
{
    return {box.min_corner().x(), box.min_corner().y(), box.max_corner().x(), box.max_corner().y()};
}

template <class Point>
std::array<std::int64_t, 2> place(const Point& point)
{
    return {point.x(), point.y()};
}

using Place = std::array<std::int64_t, 2>;

Extent extent(const Workspace& ws)
{
    return {ws.minx(), ws.miny(), ws.maxx(), ws.maxy(), ws.res()};
}

std::string textOf(const Workspace& ws)
{
    std::ostringstream stream;
    stream << ws;
    return stream.str();
}

/// 4 by 3 pixels of 10 units, off the origin, in four tiles.
Workspace tiledWorkspace()
{
    Workspace ws(100, -200, 140, -170, 10);
    EXPECT_TRUE(ws.createTiles(3, 2));
    return ws;
}

void expectTilesOfTiledWorkspace(const Workspace& ws)
{
    ASSERT_EQ(ws.noTiles(), 4u);
    EXPECT_EQ(corners(ws.itile(0)), (Corners{0, 0, 3, 2}));
    EXPECT_EQ(corners(ws.itile(1)), (Corners{0, 2, 3, 3}));
    EXPECT_EQ(corners(ws.itile(2)), (Corners{3, 0, 4, 2}));
    EXPECT_EQ(corners(ws.itile(3)), (Corners{3, 2, 4, 3}));
    EXPECT_EQ(corners(ws.mtile(0)), (Corners{100, -200, 130, -180}));
    EXPECT_EQ(corners(ws.mtile(1)), (Corners{100, -180, 130, -170}));
    EXPECT_EQ(corners(ws.mtile(2)), (Corners{130, -200, 140, -180}));
    EXPECT_EQ(corners(ws.mtile(3)), (Corners{130, -180, 140, -170}));
    EXPECT_EQ(place(ws.gtile(0)), (Place{0, 0}));
    EXPECT_EQ(place(ws.gtile(1)), (Place{0, 1}));
    EXPECT_EQ(place(ws.gtile(2)), (Place{1, 0}));
    EXPECT_EQ(place(ws.gtile(3)), (Place{1, 1}));
}

void expectNoTiles(const Workspace& ws)
{
    EXPECT_EQ(ws.noTiles(), 0u);
    EXPECT_EQ(corners(ws.mtile(0)), (Corners{0, 0, 0, 0}));
    EXPECT_EQ(corners(ws.itile(0)), (Corners{0, 0, 0, 0}));
    EXPECT_EQ(place(ws.gtile(0)), (Place{0, 0}));
}

static_assert(!std::is_polymorphic_v<Workspace>);
static_assert(std::is_copy_constructible_v<Workspace> && std::is_copy_assignable_v<Workspace>);
static_assert(std::is_nothrow_move_constructible_v<Workspace> &&
              std::is_nothrow_move_assignable_v<Workspace>);

} // namespace

// Construction

TEST(WorkspaceConstruction, DefaultIsTheEmptyBoxAtTheOrigin)
{
    const Workspace ws;
    EXPECT_EQ(extent(ws), (Extent{0, 0, 0, 0, 1}));
    EXPECT_EQ(extent(ws), extent(Workspace(0, 0, 0, 0, 1)));
    EXPECT_TRUE(ws.empty());
    EXPECT_EQ(ws.pixelWidth(), 0);
    EXPECT_EQ(ws.pixelHeight(), 0);
    expectNoTiles(ws);
}

TEST(WorkspaceConstruction, ArgumentsLeftOutAreZeroAndResolutionOne)
{
    EXPECT_EQ(extent(Workspace(-7)), (Extent{-7, 0, 0, 0, 1}));
    EXPECT_EQ(extent(Workspace(-7, -8)), (Extent{-7, -8, 0, 0, 1}));
    EXPECT_EQ(extent(Workspace(1, 2, 3)), (Extent{1, 0, 3, 2, 1}));
    EXPECT_EQ(extent(Workspace(1, 2, 3, 4)), (Extent{1, 2, 3, 4, 1}));
}

TEST(WorkspaceConstruction, CornersInAnyOrderAreNormalised)
{
    EXPECT_EQ(extent(Workspace(10, 20, 0, 5, 0)), (Extent{0, 5, 10, 20, 1}));
    EXPECT_EQ(extent(Workspace(0, 20, 10, 5, 2)), (Extent{0, 5, 10, 20, 2}));
    EXPECT_EQ(extent(Workspace(10, 5, 0, 20, 2)), (Extent{0, 5, 10, 20, 2}));
    EXPECT_EQ(extent(Workspace(0, 5, 10, 20, 2)), (Extent{0, 5, 10, 20, 2}));
}

TEST(WorkspaceConstruction, ResolutionBelowOneIsRaised)
{
    EXPECT_EQ(Workspace(0, 0, 1, 1, 2).res(), 2);
    EXPECT_EQ(Workspace(0, 0, 1, 1, 1).res(), 1);
    EXPECT_EQ(Workspace(0, 0, 1, 1, 0).res(), 1);
    EXPECT_EQ(Workspace(0, 0, 1, 1, -1).res(), 1);
    EXPECT_EQ(Workspace(0, 0, 1, 1, lowest).res(), 1);
    EXPECT_EQ(Workspace(0, 0, 1, 1, largest).res(), largest);
}

TEST(WorkspaceConstruction, FromAMapBoxIsTheSameAsFromItsCorners)
{
    EXPECT_EQ(extent(Workspace(MapBox(MapPoint(1, 2), MapPoint(30, 40)), 5)), (Extent{1, 2, 30, 40, 5}));
    EXPECT_EQ(extent(Workspace(MapBox(MapPoint(30, 2), MapPoint(1, 40)), -5)), (Extent{1, 2, 30, 40, 1}));
    expectNoTiles(Workspace(MapBox(MapPoint(1, 2), MapPoint(30, 40)), 5));
}

TEST(WorkspaceConstruction, KeepsTheEndsOf64Bits)
{
    EXPECT_EQ(extent(Workspace(largest, largest, lowest, lowest, largest)),
              (Extent{lowest, lowest, largest, largest, largest}));
}

// Copies and moves

TEST(WorkspaceCopy, CarriesTheTilesAlongAndIsIndependent)
{
    Workspace source = tiledWorkspace();
    const Workspace copy(source);
    Workspace assigned(1, 2, 3, 4, 5);
    assigned.createTiles(1, 1);
    assigned = source;
    source.clearTiles();

    for (const Workspace* ws : {&copy, static_cast<const Workspace*>(&assigned)}) {
        EXPECT_EQ(extent(*ws), (Extent{100, -200, 140, -170, 10}));
        expectTilesOfTiledWorkspace(*ws);
    }
    expectNoTiles(source);
}

TEST(WorkspaceMove, TakesTheTilesAndLeavesBoxAndResolution)
{
    Workspace source = tiledWorkspace();
    const Workspace moved(std::move(source));
    EXPECT_EQ(extent(moved), (Extent{100, -200, 140, -170, 10}));
    expectTilesOfTiledWorkspace(moved);
    EXPECT_EQ(extent(source), (Extent{100, -200, 140, -170, 10}));
    expectNoTiles(source);
}

TEST(WorkspaceMove, AssignmentReplacesTilesAndLeavesTheSourceWithout)
{
    Workspace source = tiledWorkspace();
    Workspace target(0, 0, 50, 50, 1);
    ASSERT_TRUE(target.createTiles(5, 5));
    target = std::move(source);
    EXPECT_EQ(extent(target), (Extent{100, -200, 140, -170, 10}));
    expectTilesOfTiledWorkspace(target);
    EXPECT_EQ(extent(source), (Extent{100, -200, 140, -170, 10}));
    expectNoTiles(source);
    EXPECT_TRUE(source.createTiles(3, 2));
    expectTilesOfTiledWorkspace(source);
}

// Accessors

TEST(WorkspaceSize, IsInMapUnitsAndInWholePixels)
{
    const Workspace ws(-5, -1000, 1000, 999, 100);
    EXPECT_EQ(ws.width(), 1005);
    EXPECT_EQ(ws.height(), 1999);
    EXPECT_EQ(ws.pixelWidth(), 10);
    EXPECT_EQ(ws.pixelHeight(), 19);
    EXPECT_EQ(corners(ws.mbounds()), (Corners{-5, -1000, 1000, 999}));
    EXPECT_EQ(corners(ws.ibounds()), (Corners{0, 0, 10, 19}));
}

TEST(WorkspaceSize, DropsARemainderOfAPixel)
{
    EXPECT_EQ(Workspace(0, 0, 199, 200, 100).pixelWidth(), 1);
    EXPECT_EQ(Workspace(0, 0, 199, 200, 100).pixelHeight(), 2);
    EXPECT_EQ(Workspace(0, 0, 99, 100, 100).pixelWidth(), 0);
    EXPECT_EQ(corners(Workspace(0, 0, 99, 100, 100).ibounds()), (Corners{0, 0, 0, 1}));
}

TEST(WorkspaceSize, CountBeyond32BitsIsNarrowed)
{
    const Workspace wide(0, 0, 4294967296 + 7, 2147483648, 1);
    EXPECT_EQ(wide.pixelWidth(), 7);
    EXPECT_EQ(wide.pixelHeight(), lowestInt);
    EXPECT_EQ(corners(wide.ibounds()), (Corners{0, lowestInt, 7, 0}));
}

TEST(WorkspaceSize, ExtentBeyond64BitsWraps)
{
    const Workspace all(lowest, lowest, largest, largest, 1);
    EXPECT_EQ(all.width(), -1);
    EXPECT_EQ(all.height(), -1);
    EXPECT_EQ(all.pixelWidth(), -1);
    EXPECT_EQ(all.pixelHeight(), -1);
    EXPECT_EQ(corners(all.mbounds()), (Corners{lowest, lowest, largest, largest}));
    EXPECT_EQ(corners(all.ibounds()), (Corners{-1, -1, 0, 0}));
    EXPECT_FALSE(all.empty());
}

TEST(WorkspaceEmpty, HoldsWithoutWidthOrWithoutHeight)
{
    EXPECT_FALSE(Workspace(0, 0, 1, 1, 100).empty());
    EXPECT_TRUE(Workspace(3, 0, 3, 1, 1).empty());
    EXPECT_TRUE(Workspace(0, 3, 1, 3, 1).empty());
    EXPECT_TRUE(Workspace(3, 3, 3, 3, 1).empty());
}

// Conversions of single values

namespace {

struct MapCase
{
    const char* name;
    std::int64_t res;
    std::int64_t value;
    int pixels;
};

struct RealCase
{
    const char* name;
    std::int64_t res;
    double value;
    int pixels;
};

template <class Case>
std::string nameOf(const testing::TestParamInfo<Case>& row)
{
    return row.param.name;
}

} // namespace

class WorkspaceDistance : public testing::TestWithParam<MapCase>
{};

TEST_P(WorkspaceDistance, IsDividedByTheResolutionTruncating)
{
    const MapCase& row = GetParam();
    const Workspace ws(1234, -4321, 5000, 6000, row.res);
    EXPECT_EQ(ws.dx2px(row.value), row.pixels);
    EXPECT_EQ(ws.dy2px(row.value), row.pixels);
}

TEST_P(WorkspaceDistance, IsTheSameForPositionsFromTheCorner)
{
    const MapCase& row = GetParam();
    const Workspace atOrigin(0, 0, 5000, 6000, row.res);
    EXPECT_EQ(atOrigin.x2px(row.value), row.pixels);
    EXPECT_EQ(atOrigin.y2px(row.value), row.pixels);
}

INSTANTIATE_TEST_SUITE_P(
    Edges, WorkspaceDistance,
    testing::Values(
        MapCase{"Zero", 10, 0, 0}, MapCase{"LastOfFirst", 10, 9, 0}, MapCase{"FirstOfSecond", 10, 10, 1},
        MapCase{"LastOfSecond", 10, 19, 1}, MapCase{"JustBefore", 10, -1, 0},
        MapCase{"LastBefore", 10, -9, 0}, MapCase{"OnePixelBefore", 10, -10, -1},
        MapCase{"NearlyTwoBefore", 10, -19, -1}, MapCase{"LargestInt", 1, 2147483647, largestInt},
        MapCase{"AboveLargestInt", 1, 2147483648, lowestInt}, MapCase{"LowestInt", 1, -2147483648, lowestInt},
        MapCase{"BelowLowestInt", 1, -2147483649, largestInt}, MapCase{"Low32BitsStay", 1, 4294967296 + 5, 5},
        MapCase{"Largest", 1, largest, -1}, MapCase{"Lowest", 1, lowest, 0},
        MapCase{"LargestByLargest", largest, largest, 1}, MapCase{"LowestByLargest", largest, lowest, -1}),
    nameOf<MapCase>);

class WorkspaceRealDistance : public testing::TestWithParam<RealCase>
{};

TEST_P(WorkspaceRealDistance, IsRoundedHalfAwayThenTruncatedAndNeverNegated)
{
    const RealCase& row = GetParam();
    const Workspace ws(1234, -4321, 5000, 6000, row.res);
    EXPECT_EQ(ws.dx2px(row.value), row.pixels);
    EXPECT_EQ(ws.dy2px(row.value), row.pixels);
}

INSTANTIATE_TEST_SUITE_P(
    Edges, WorkspaceRealDistance,
    testing::Values(RealCase{"Zero", 1, 0.0, 0}, RealCase{"BelowHalfAUnit", 1, 0.000004, 0},
                    RealCase{"HalfAUnit", 1, 0.000005, 1}, RealCase{"MinusBelowHalf", 1, -0.000004, 0},
                    RealCase{"MinusHalf", 1, -0.000005, -1}, RealCase{"OneMapUnit", 1, 1.0, 100000},
                    RealCase{"MinusOneMapUnit", 1, -1.0, -100000},
                    RealCase{"RoundsUpToAPixel", 10, 0.000096, 1},
                    RealCase{"RoundsDownBelowAPixel", 10, 0.000094, 0},
                    RealCase{"NegativeRoundsToAPixel", 10, -0.000096, -1},
                    RealCase{"NegativeBelowAPixel", 10, -0.000094, 0}, RealCase{"Infinity", 1, infinity, -1},
                    RealCase{"MinusInfinity", 1, -infinity, 0},
                    RealCase{"InfinityByLargest", largest, infinity, 1},
                    RealCase{"NotANumber", 1, std::numeric_limits<double>::quiet_NaN(), 0}),
    nameOf<RealCase>);

class WorkspaceRealColumn : public testing::TestWithParam<RealCase>
{};

TEST_P(WorkspaceRealColumn, IsRoundedHalfAwayThenTruncated)
{
    EXPECT_EQ(Workspace(0, 0, 5000, 5000, GetParam().res).x2px(GetParam().value), GetParam().pixels);
}

INSTANTIATE_TEST_SUITE_P(
    Edges, WorkspaceRealColumn,
    testing::Values(RealCase{"BelowHalfAUnit", 1, 0.000004, 0}, RealCase{"HalfAUnit", 1, 0.000005, 1},
                    RealCase{"MinusBelowHalf", 1, -0.000004, 0}, RealCase{"MinusHalf", 1, -0.000005, -1},
                    RealCase{"TwoUnitsEast", 1, 0.00002, 2}, RealCase{"TwoUnitsWest", 1, -0.00002, -2},
                    RealCase{"JustWest", 10, -0.00009, 0}, RealCase{"OnePixelWest", 10, -0.0001, -1},
                    RealCase{"Huge", 1, 1e300, -1}, RealCase{"HugeNegative", 1, -1e300, 0},
                    RealCase{"NotANumber", 1, std::numeric_limits<double>::quiet_NaN(), 0}),
    nameOf<RealCase>);

class WorkspaceRealRow : public testing::TestWithParam<RealCase>
{};

TEST_P(WorkspaceRealRow, IsNegatedRoundedHalfAwayThenTruncated)
{
    EXPECT_EQ(Workspace(0, 0, 5000, 5000, GetParam().res).y2px(GetParam().value), GetParam().pixels);
}

INSTANTIATE_TEST_SUITE_P(
    Edges, WorkspaceRealRow,
    testing::Values(RealCase{"BelowHalfAUnit", 1, 0.000004, 0}, RealCase{"HalfAUnit", 1, 0.000005, -1},
                    RealCase{"MinusBelowHalf", 1, -0.000004, 0}, RealCase{"MinusHalf", 1, -0.000005, 1},
                    RealCase{"TwoUnitsNorth", 1, 0.00002, -2}, RealCase{"TwoUnitsSouth", 1, -0.00002, 2},
                    RealCase{"JustNorth", 10, 0.00009, 0}, RealCase{"OnePixelNorth", 10, 0.0001, -1},
                    RealCase{"Huge", 1, 1e300, 0}, RealCase{"HugeNegative", 1, -1e300, -1},
                    RealCase{"NotANumber", 1, std::numeric_limits<double>::quiet_NaN(), 0}),
    nameOf<RealCase>);

TEST(WorkspacePosition, IsRelativeToTheNorthWestCorner)
{
    const Workspace ws(250000000, -520000000, 250100000, -519900000, 1000); // north-west at 2500 E, 5200 N
    EXPECT_EQ(ws.x2px(std::int64_t{250000000}), 0);
    EXPECT_EQ(ws.x2px(std::int64_t{250002999}), 2);
    EXPECT_EQ(ws.y2px(std::int64_t{-520000000}), 0);
    EXPECT_EQ(ws.y2px(std::int64_t{-519997001}), 2);
    EXPECT_EQ(ws.x2px(2500.0), 0);
    EXPECT_EQ(ws.x2px(2500.025), 2);
    EXPECT_EQ(ws.x2px(2499.98), -2);
    EXPECT_EQ(ws.y2px(5200.0), 0);
    EXPECT_EQ(ws.y2px(5199.975), 2);
    EXPECT_EQ(ws.y2px(5200.02), -2);
}

TEST(WorkspacePosition, DifferenceBeyond64BitsWraps)
{
    const Workspace west(lowest, lowest, 0, 0, 1);
    EXPECT_EQ(west.x2px(largest), -1);
    EXPECT_EQ(west.y2px(largest), -1);
    EXPECT_EQ(west.x2px(std::int64_t{0}), 0); // 2^63 wraps to -2^63, of which the low 32 bits are 0
    EXPECT_EQ(west.x2px(infinity), -1);
    EXPECT_EQ(west.y2px(-infinity), -1);
}

TEST(WorkspacePosition, PlainIntsAreIntegerMapUnits)
{
    const Workspace ws(100, -200, 900, 900, 10);
    EXPECT_EQ(ws.dx2px(45), 4);
    EXPECT_EQ(ws.dy2px(-45), -4);
    EXPECT_EQ(ws.x2px(145), 4);
    EXPECT_EQ(ws.y2px(-245), -4);
}

TEST(WorkspacePixel, IsScaledByTheResolutionAndShiftedToTheCorner)
{
    const Workspace ws(100, -200, 900, 900, 10);
    EXPECT_EQ(ws.px2x(0), 100);
    EXPECT_EQ(ws.px2x(7), 170);
    EXPECT_EQ(ws.px2x(-7), 30);
    EXPECT_EQ(ws.px2y(0), -200);
    EXPECT_EQ(ws.px2y(7), -130);
    EXPECT_EQ(ws.px2y(-7), -270);
    EXPECT_EQ(ws.px2dx(7), 70);
    EXPECT_EQ(ws.px2dx(-7), -70);
    EXPECT_EQ(ws.px2dy(7), 70);
    EXPECT_EQ(ws.px2dy(-7), -70);
}

TEST(WorkspacePixel, ProductsAre64BitsWide)
{
    const Workspace ws(5, -5, 10, 10, 100000);
    EXPECT_EQ(ws.px2dx(largestInt), 214748364700000);
    EXPECT_EQ(ws.px2dy(lowestInt), -214748364800000);
    EXPECT_EQ(ws.px2x(largestInt), 214748364700005);
    EXPECT_EQ(ws.px2y(lowestInt), -214748364800005);
}

TEST(WorkspacePixel, WrapsBeyond64Bits)
{
    const Workspace east(largest, largest, largest, largest, 1);
    EXPECT_EQ(east.px2x(1), lowest);
    EXPECT_EQ(east.px2y(1), lowest);
    const Workspace coarse(0, 0, 0, 0, largest);
    EXPECT_EQ(coarse.px2dx(2), -2);
    EXPECT_EQ(coarse.px2dy(2), -2);
    EXPECT_EQ(coarse.px2dx(largestInt), 9223372034707292161); // (2^63 - 1) (2^31 - 1) modulo 2^64
    EXPECT_EQ(coarse.px2x(lowestInt), 2147483648);            // -2^94 + 2^31
}

// Conversions of shapes

TEST(WorkspaceMap, TakesEachCornerOfAMapBox)
{
    const Workspace ws(100, -200, 900, 900, 10);
    EXPECT_EQ(corners(ws.map(MapBox(MapPoint(119, -191), MapPoint(150, -100)))), (Corners{1, 0, 5, 10}));
}

TEST(WorkspaceMap, LeavesAnInvertedMapBoxInverted)
{
    const Workspace ws(100, -200, 900, 900, 10);
    EXPECT_EQ(corners(ws.map(MapBox(MapPoint(150, -100), MapPoint(90, -221)))), (Corners{5, 10, -1, -2}));
}

TEST(WorkspaceMap, TakesEachCornerOfAPixelBox)
{
    const Workspace ws(100, -200, 900, 900, 10);
    EXPECT_EQ(corners(ws.map(PixelBox(PixelPoint(1, 2), PixelPoint(3, 4)))), (Corners{110, -180, 130, -160}));
    EXPECT_EQ(corners(ws.map(PixelBox(PixelPoint(3, 4), PixelPoint(-1, -2)))),
              (Corners{130, -160, 90, -220}));
}

TEST(WorkspaceMap, TakesPointsBothWays)
{
    const Workspace ws(100, -200, 900, 900, 10);
    EXPECT_EQ(place(ws.map(MapPoint(139, -221))), (Place{3, -2}));
    EXPECT_EQ(place(ws.map(PixelPoint(3, -2))), (Place{130, -220}));
}

TEST(WorkspaceMap, TakesEveryPointOfARingInOrder)
{
    const Workspace ws(100, -200, 900, 900, 10);
    const MapRing mapRing{MapPoint(100, -200), MapPoint(105, -200), MapPoint(155, -170), MapPoint(80, 0),
                          MapPoint(100, -200)};
    const PixelRing pxRing = ws.map(mapRing);
    const std::vector<Place> expectedPx{{0, 0}, {0, 0}, {5, 3}, {-2, 20}, {0, 0}};
    ASSERT_EQ(pxRing.size(), expectedPx.size());
    for (std::size_t i = 0; i < expectedPx.size(); ++i)
        EXPECT_EQ(place(pxRing[i]), expectedPx[i]) << "point " << i;

    const MapRing back = ws.map(pxRing);
    const std::vector<Place> expectedMap{{100, -200}, {100, -200}, {150, -170}, {80, 0}, {100, -200}};
    ASSERT_EQ(back.size(), expectedMap.size());
    for (std::size_t i = 0; i < expectedMap.size(); ++i)
        EXPECT_EQ(place(back[i]), expectedMap[i]) << "point " << i;
}

TEST(WorkspaceMap, EmptyRingStaysEmpty)
{
    EXPECT_TRUE(Workspace().map(MapRing()).empty());
    EXPECT_TRUE(Workspace().map(PixelRing()).empty());
}

// merge

TEST(WorkspaceMerge, TakesTheUnionOfBothBoxes)
{
    Workspace ws(0, 0, 100, 100, 10);
    ws.merge(Workspace(50, -50, 60, 300, 10));
    EXPECT_EQ(extent(ws), (Extent{0, -50, 100, 300, 10}));
    ws.merge(Workspace(-20, 0, 400, 10, 10));
    EXPECT_EQ(extent(ws), (Extent{-20, -50, 400, 300, 10}));
}

TEST(WorkspaceMerge, FinerResolutionWins)
{
    Workspace coarse(0, 0, 100, 100, 100);
    coarse.merge(Workspace(0, 0, 100, 100, 50));
    EXPECT_EQ(coarse.res(), 50);
    coarse.merge(Workspace(0, 0, 100, 100, 100));
    EXPECT_EQ(coarse.res(), 50);
}

TEST(WorkspaceMerge, IntoADefaultWorkspaceTakesTheOther)
{
    Workspace ws;
    ws.merge(Workspace(500, 600, 700, 800, 25));
    EXPECT_EQ(extent(ws), (Extent{500, 600, 700, 800, 25}));
}

TEST(WorkspaceMerge, WithoutWidthTakesTheOtherWhateverTheHeight)
{
    Workspace tall(10, 0, 10, 1000, 1);
    tall.merge(Workspace(500, 600, 700, 800, 25));
    EXPECT_EQ(extent(tall), (Extent{500, 600, 700, 800, 25}));
}

TEST(WorkspaceMerge, WithWidthButNoHeightIsMergedAsUnion)
{
    Workspace flat(10, 20, 11, 20, 30);
    flat.merge(Workspace(500, 600, 700, 800, 25));
    EXPECT_EQ(extent(flat), (Extent{10, 20, 700, 800, 25}));
}

TEST(WorkspaceMerge, AnEmptyOtherStillCounts)
{
    Workspace ws(10, 20, 30, 40, 5);
    ws.merge(Workspace());
    EXPECT_EQ(extent(ws), (Extent{0, 0, 30, 40, 1}));
}

TEST(WorkspaceMerge, WidthBeyond64BitsIsAWidth)
{
    Workspace all(lowest, 0, largest, 10, 7);
    all.merge(Workspace(0, 0, 1, 20, 9));
    EXPECT_EQ(extent(all), (Extent{lowest, 0, largest, 20, 7}));
}

TEST(WorkspaceMerge, DropsTheTilesInBothCases)
{
    Workspace ws = tiledWorkspace();
    ws.merge(ws);
    EXPECT_EQ(extent(ws), (Extent{100, -200, 140, -170, 10}));
    expectNoTiles(ws);

    Workspace none;
    none.merge(tiledWorkspace());
    EXPECT_EQ(extent(none), (Extent{100, -200, 140, -170, 10}));
    expectNoTiles(none);
}

TEST(WorkspaceMerge, LeavesTheOtherAlone)
{
    const Workspace other = tiledWorkspace();
    Workspace ws(0, 0, 1, 1, 1);
    ws.merge(other);
    EXPECT_EQ(extent(other), (Extent{100, -200, 140, -170, 10}));
    expectTilesOfTiledWorkspace(other);
}

// Tile grid

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

// Text form

TEST(WorkspaceText, NamesBoxResolutionAndSize)
{
    EXPECT_EQ(textOf(Workspace(0, -5000000, 1000000, 0, 1000)),
              "{x = [0, 1000000], y = [-5000000, 0], res = 1000, pixels = 1000 x 5000}");
    EXPECT_EQ(textOf(Workspace()), "{x = [0, 0], y = [0, 0], res = 1, pixels = 0 x 0}");
}

TEST(WorkspaceText, WritesTheEndsOf64Bits)
{
    EXPECT_EQ(textOf(Workspace(lowest, 0, largest, 4294967296 + 3, 1)),
              "{x = [-9223372036854775808, 9223372036854775807], y = [0, 4294967299], res = 1, "
              "pixels = -1 x 3}");
}

TEST(WorkspaceText, LeavesThePrecisionAtTwelve)
{
    std::ostringstream stream;
    stream << Workspace() << " " << 1.0 / 3.0;
    EXPECT_EQ(stream.precision(), 12);
    EXPECT_EQ(stream.str(), "{x = [0, 0], y = [0, 0], res = 1, pixels = 0 x 0} 0.333333333333");
}

TEST(WorkspaceText, IsIndependentOfFormatAndLocaleOfTheStream)
{
    std::ostringstream stream;
    stream.imbue(commaLocale());
    stream << std::hex << std::showbase << std::showpos << std::setfill('*') << std::setw(200)
           << Workspace(0, -5000000, 1000000, 0, 1000);
    EXPECT_EQ(stream.str(), "{x = [0, 1000000], y = [-5000000, 0], res = 1000, pixels = 1000 x 5000}");
    EXPECT_EQ(stream.width(), 0);
}
