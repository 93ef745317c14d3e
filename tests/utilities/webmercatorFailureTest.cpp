#include "utilities/webmercator.h"

#include "streaming/streamingsupport.h"
#include "support/TempFolder.h"
#include "support/damage.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

// What becomes of an earlier output, and of a part of a new one, when a reprojection fails.

using namespace streamingtest;
using vexel::gdal::warpToGoogle;

namespace {

QString zone33()
{
    return QString::fromStdString(rasters::wkt(32633));
}

} // namespace

TEST(WarpToGoogleThatFails, KeepsAnEarlierOutputWhereTheInputIsMissing)
{
    const TempFolder folder;
    const QuietProcess quiet;
    makeFile(folder / "web.tif", "earlier");
    EXPECT_TRUE(warpToGoogle(folder / "none.tif", folder / "web.tif", zone33()));
    EXPECT_EQ(folder.listing(), "web.tif");
    EXPECT_EQ(fileText(folder / "web.tif"), "earlier");
}

TEST(WarpToGoogleThatFails, LeavesNoPartOfItsOutput)
{
    const TempFolder folder;
    const QuietProcess quiet;
    rasters::Description d{512, 512};
    d.geotransform = std::array<double, 6>{500000, 10, 0, 5000000, 0, -10};
    d.options = {"TILED=YES", "BLOCKXSIZE=64", "BLOCKYSIZE=64", "COMPRESS=DEFLATE"};
    rasters::make(folder / "in.tif", d, storedNoise<unsigned char>());
    EXPECT_TRUE(warpToGoogle(folder / "in.tif", folder / "web.tif", zone33()));
    ASSERT_EQ(folder.listing(), "in.tif web.tif");
    rasters::damageBlock(folder / "in.tif", 500, 500, 1);
    EXPECT_TRUE(warpToGoogle(folder / "in.tif", folder / "web.tif", zone33())) << "no usage error";
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(WarpToGoogleThatFails, KeepsWhatTheInputIsMadeOf)
{
    const TempFolder folder;
    rasters::Description d{20, 20};
    d.geotransform = std::array<double, 6>{500000, 10, 0, 5000000, 0, -10};
    rasters::make(folder / "web.tif.ovr", d, storedNoise<unsigned char>());
    rasters::make(folder / "web_src.prj", d, storedNoise<unsigned char>());
    const std::string overviews = fileText(folder / "web.tif.ovr");
    for (const char* input : {"web.tif.ovr", "web_src.prj"}) {
        EXPECT_FALSE(warpToGoogle(folder / input, folder / "web.tif", zone33())) << input;
        EXPECT_EQ(folder.listing(), "web.tif.ovr web_src.prj");
    }
    EXPECT_EQ(fileText(folder / "web.tif.ovr"), overviews);
}
