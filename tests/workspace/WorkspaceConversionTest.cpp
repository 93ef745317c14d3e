#include "workspace/Workspace.h"

#include "workspacefixtures.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

using namespace workspacetest;
using namespace vexel;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

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
