#include "workspace/Workspace.h"

#include "support/CommaDecimals.h"
#include "workspacefixtures.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

using namespace workspacetest;
using namespace vexel;

namespace {

std::string textOf(const Workspace& ws)
{
    std::ostringstream stream;
    stream << ws;
    return stream.str();
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
