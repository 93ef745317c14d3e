#ifndef VEXEL_TESTS_WORKSPACE_WORKSPACEFIXTURES_H
#define VEXEL_TESTS_WORKSPACE_WORKSPACEFIXTURES_H

#include "workspace/Workspace.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>

/// What the tests of workspaces share.
namespace workspacetest {

using Corners = std::array<std::int64_t, 4>;
using Extent = std::array<std::int64_t, 5>;
using Place = std::array<std::int64_t, 2>;

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr int largestInt = std::numeric_limits<int>::max();
constexpr int lowestInt = std::numeric_limits<int>::min();

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

inline Extent extent(const vexel::Workspace& ws)
{
    return {ws.minx(), ws.miny(), ws.maxx(), ws.maxy(), ws.res()};
}

/// 4 by 3 pixels of 10 units, off the origin, in four tiles.
inline vexel::Workspace tiledWorkspace()
{
    vexel::Workspace ws(100, -200, 140, -170, 10);
    EXPECT_TRUE(ws.createTiles(3, 2));
    return ws;
}

inline void expectTilesOfTiledWorkspace(const vexel::Workspace& ws)
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

inline void expectNoTiles(const vexel::Workspace& ws)
{
    EXPECT_EQ(ws.noTiles(), 0u);
    EXPECT_EQ(corners(ws.mtile(0)), (Corners{0, 0, 0, 0}));
    EXPECT_EQ(corners(ws.itile(0)), (Corners{0, 0, 0, 0}));
    EXPECT_EQ(place(ws.gtile(0)), (Place{0, 0}));
}

} // namespace workspacetest

#endif
