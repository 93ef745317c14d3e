#ifndef VEXEL_TESTS_SUPPORT_EXTENTS_H
#define VEXEL_TESTS_SUPPORT_EXTENTS_H

#include "workspace/Workspace.h"

#include <gtest/gtest.h>

#include <cstdint>

/// Box and resolution of a workspace, in map units.
struct MapExtent
{
    std::int64_t minx = 0;
    std::int64_t miny = 0;
    std::int64_t maxx = 0;
    std::int64_t maxy = 0;
    std::int64_t res = 1;
};

inline void expectExtent(const vexel::Workspace& workspace, const MapExtent& extent)
{
    EXPECT_EQ(workspace.minx(), extent.minx);
    EXPECT_EQ(workspace.miny(), extent.miny);
    EXPECT_EQ(workspace.maxx(), extent.maxx);
    EXPECT_EQ(workspace.maxy(), extent.maxy);
    EXPECT_EQ(workspace.res(), extent.res);
}

#endif
