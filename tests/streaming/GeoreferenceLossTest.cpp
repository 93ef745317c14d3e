#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

// What the integer frame loses of the georeference of a set of tile files.

using namespace streamingtest;
using vexel::GdalFileType;
using vexel::GDALStreamer;

namespace {

/// Of three tiles side by side, two of them with a rotation, which extents have no place for.
double lossOfSet(double rotationOfMiddle, double rotationOfLast)
{
    const TempFolder folder;
    const OwnMessages messages;
    const double rotations[] = {0.0, rotationOfMiddle, rotationOfLast};
    for (int column = 0; column < 3; ++column) {
        rasters::Description d{16, 8};
        d.geotransform = std::array<double, 6>{column * 16.0, 1, rotations[column], 0, 0, -1};
        rasters::make(folder / QString("a_%1_1.tif").arg(column + 1), d, [](int, int, int) { return 7; });
    }
    GDALStreamer set;
    EXPECT_TRUE(set.openRead(folder / "a.tif", GdalFileType::TileSet));
    EXPECT_EQ(set.noTiles(), 3u);
    return set.georeferenceLoss();
}

} // namespace

TEST(GeoreferenceLossOfASet, IsThatOfTheWorstFile)
{
    EXPECT_NEAR(lossOfSet(0.0, 0.0), 0.0, 1e-9);
    // The lower corners lie 8 rows of 0.25 farther east, and of 0.5.
    EXPECT_NEAR(lossOfSet(0.25, 0.0), 2.0, 1e-9);
    EXPECT_NEAR(lossOfSet(0.25, 0.5), 4.0, 1e-9);
    EXPECT_NEAR(lossOfSet(0.5, 0.25), 4.0, 1e-9);
}

TEST(GeoreferenceLossOfASet, IsNoNumberWhereThatOfAFileIsNone)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(lossOfSet(0.0, nan)));
    EXPECT_TRUE(std::isnan(lossOfSet(nan, 0.0)));
}
