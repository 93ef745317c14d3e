#include "workspace/Workspace.h"

#include "workspacefixtures.h"

#include <gtest/gtest.h>

using namespace workspacetest;
using namespace vexel;

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
