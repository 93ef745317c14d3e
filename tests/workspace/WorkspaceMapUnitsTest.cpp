#include "workspace/Workspace.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

using vexel::heightOf;
using vexel::MapBox;
using vexel::MapPoint;
using vexel::PixelBox;
using vexel::PixelPoint;
using vexel::widthOf;
using vexel::Workspace;

TEST(WorkspaceMapUnits, HaveYPointingNorth)
{
    // 6 by 4 pixels of half a map unit, the north-west corner at (100, 200).
    const Workspace extent(10000000, -20000000, 10300000, -19800000, 50000);
    EXPECT_DOUBLE_EQ(extent.west(), 100.0);
    EXPECT_DOUBLE_EQ(extent.east(), 103.0);
    EXPECT_DOUBLE_EQ(extent.north(), 200.0);
    EXPECT_DOUBLE_EQ(extent.south(), 198.0);
    EXPECT_DOUBLE_EQ(extent.pixelSize(), 0.5);
}

TEST(WorkspaceMapUnits, AreDefinedAtTheEndsOfTheFrame)
{
    constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
    const Workspace extent(lowest, lowest, highest, highest, 1);
    EXPECT_DOUBLE_EQ(extent.west(), -0x1p63 * 1e-5);
    EXPECT_DOUBLE_EQ(extent.north(), 0x1p63 * 1e-5);
    EXPECT_DOUBLE_EQ(extent.east(), 0x1p63 * 1e-5);
    EXPECT_DOUBLE_EQ(extent.south(), -0x1p63 * 1e-5);
    EXPECT_DOUBLE_EQ(extent.pixelSize(), 1e-5);
}

TEST(BoxSizes, OfPixelsNeedMoreThan32Bits)
{
    constexpr int lowest = std::numeric_limits<int>::min();
    constexpr int highest = std::numeric_limits<int>::max();
    const PixelBox all(PixelPoint(lowest, -2), PixelPoint(highest, 5));
    EXPECT_EQ(widthOf(all), 4294967295);
    EXPECT_EQ(heightOf(all), 7);
}

TEST(BoxSizes, OfMapBoxesAreInIntegerMapUnits)
{
    const MapBox box(MapPoint(10000000, -20000000), MapPoint(10300000, -19800000));
    EXPECT_EQ(widthOf(box), 300000);
    EXPECT_EQ(heightOf(box), 200000);
}

} // namespace
