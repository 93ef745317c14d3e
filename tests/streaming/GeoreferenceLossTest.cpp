#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/files.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <algorithm>
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

// JPEG tiles lie in pixel units, at the places of their names: their own world files have them elsewhere.
TEST(GeoreferenceLossOfASet, OfJpegTilesIsHowFarTheyLieFromTheirWorldFiles)
{
    const TempFolder folder;
    for (int column = 1; column <= 2; ++column) {
        rasters::Description d{16, 8};
        d.driver = "JPEG";
        rasters::make(folder / QString("a_%1_1.jpg").arg(column), d, [](int, int, int) { return 7; });
    }
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.jpg", GdalFileType::TileSet));
    EXPECT_EQ(set.georeferenceLoss(), 0.0) << "nothing is lost where there is none";

    // Pixels of half a map unit; the world file names the middle of the first one. In the set the tile's corners lie at
    // (16, 0) to (32, 8) hundred-thousandths of a map unit.
    makeFile(folder / "a_2_1.jgw", "0.5\n0\n0\n-0.5\n300.25\n399.75\n");
    ASSERT_TRUE(set.openRead(folder / "a.jpg", GdalFileType::TileSet));
    double farthest = 0.0;
    for (const int x : {0, 16})
        for (const int y : {0, 8})
            farthest =
                std::max(farthest, std::hypot(300.0 + 0.5 * x - (16 + x) * 1e-5, 400.0 - 0.5 * y + y * 1e-5));
    EXPECT_NEAR(set.georeferenceLoss(), farthest / 0.5, 1e-9);
}

TEST(GeoreferenceLossOfASet, IsNoNumberWhereThatOfAFileIsNone)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(lossOfSet(0.0, nan)));
    EXPECT_TRUE(std::isnan(lossOfSet(nan, 0.0)));
}
