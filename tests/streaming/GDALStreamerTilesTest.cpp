#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"
#include "tilesetfixtures.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

using namespace streamingtest;
using vexel::GdalFileType;

namespace {

struct TileSpec
{
    int x0, y0, width, height;
    int bands = 1;
    GDALDataType type = GDT_Byte;
};

/// A tile of the noise raster, georeferenced with pixels of one map unit and the raster's corner at (50, 90).
void makeTile(const QString& path, const TileSpec& tile, const char* driver = "GTiff")
{
    rasters::Description d{tile.width, tile.height, tile.bands, tile.type};
    d.driver = driver;
    d.geotransform = std::array<double, 6>{50.0 + tile.x0, 1, 0, 90.0 - tile.y0, 0, -1};
    rasters::make(path, d, storedNoise<unsigned char>(tile.x0, tile.y0));
}

/// Columns of 5, 5 and 3 pixels, rows of 4 and 2.
void makeThreeByTwo(const TempFolder& folder, const char* base = "a")
{
    for (int column = 0; column < 3; ++column)
        for (int row = 0; row < 2; ++row)
            makeTile(folder / tileName(column + 1, row + 1, base),
                     {5 * column, 4 * row, column == 2 ? 3 : 5, row == 1 ? 2 : 4});
}

bool opensAsTiles(const QString& path)
{
    const OwnMessages log;
    GDALStreamer set;
    const bool opened = set.openRead(path, GdalFileType::TileSet);
    EXPECT_EQ(set.opened(), opened);
    EXPECT_EQ(set.noTiles() > 0, opened);
    EXPECT_EQ(rasters::openDatasets(), 0);
    return opened;
}

} // namespace

TEST(TileSetOpen, OrdersTheTilesColumnByColumn)
{
    const TempFolder folder;
    makeThreeByTwo(folder);
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif", GdalFileType::TileSet));
    EXPECT_EQ(set.ftype(), GdalFileType::TileSet);
    EXPECT_EQ(set.path(), folder / "a.tif");
    EXPECT_EQ(set.width(), 13);
    EXPECT_EQ(set.height(), 6);
    EXPECT_EQ(set.workspace().minx(), 5000000);
    EXPECT_EQ(set.workspace().miny(), -9000000);
    EXPECT_EQ(set.res(), 100000);
    ASSERT_EQ(set.noTiles(), 6u);
    const PixelBox boxes[] = {box(0, 0, 5, 4),  box(0, 4, 5, 6),   box(5, 0, 10, 4),
                              box(5, 4, 10, 6), box(10, 0, 13, 4), box(10, 4, 13, 6)};
    for (int i = 0; i < 6; ++i) {
        const auto tile = static_cast<std::uint64_t>(i);
        expectBox(set.itile(tile), boxes[i]);
        EXPECT_EQ(set.gtile(tile).x(), i / 2);
        EXPECT_EQ(set.gtile(tile).y(), i % 2);
        EXPECT_EQ(set.path(tile), folder / tileName(i / 2 + 1, i % 2 + 1));
        EXPECT_EQ(set.mtile(tile).min_corner().x(), 5000000 + 100000 * boxes[i].min_corner().x());
        EXPECT_EQ(set.mtile(tile).max_corner().y(), -9000000 + 100000 * boxes[i].max_corner().y());
    }
    EXPECT_EQ(readAll(set), noiseMatrix<unsigned char>(13, 6));
}

TEST(TileSetOpen, OrdersMoreThanNineTilesByNumber)
{
    const TempFolder folder;
    for (int column = 0; column < 11; ++column)
        for (int row = 0; row < 2; ++row)
            makeTile(folder / tileName(column + 1, row + 1), {3 * column, 2 * row, 3, 2});
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    ASSERT_EQ(set.noTiles(), 22u);
    EXPECT_EQ(set.path(3), folder / "a_2_2.tif");
    EXPECT_EQ(set.path(18), folder / "a_10_1.tif");
    EXPECT_EQ(readAll(set), noiseMatrix<unsigned char>(33, 4));
}

TEST(TileSetOpen, IsWhatAnOpenFallsBackTo)
{
    const TempFolder folder;
    makeThreeByTwo(folder);
    const OwnMessages log;
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_EQ(set.ftype(), GdalFileType::TileSet);
    EXPECT_EQ(set.noTiles(), 6u);
    ASSERT_TRUE(set.openUpdate(folder / "a.tif"));
    EXPECT_EQ(set.ftype(), GdalFileType::TileSet);
    EXPECT_TRUE(set.write(noiseMatrix<unsigned char>(1, 1, 5), 1, box(0, 0, 1, 1)));
    EXPECT_EQ(log.text(), "");

    makeTile(folder / "a.tif", {0, 0, 2, 2});
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_EQ(set.ftype(), GdalFileType::SingleFile);
    EXPECT_EQ(set.noTiles(), 1u);
    EXPECT_EQ(set.width(), 2);
}

TEST(TileSetOpen, ForUpdateWritesTheTilesInPlace)
{
    const TempFolder folder;
    makeThreeByTwo(folder);
    GDALStreamer set;
    ASSERT_TRUE(set.openUpdate(folder / "a.tif", GdalFileType::TileSet));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(13, 6, 9), 1, box(0, 0, 13, 6)));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(gdalPixels<unsigned char>(folder / "a_3_2.tif"), noiseMatrix<unsigned char>(3, 2, 9, 10, 4));
    ASSERT_TRUE(set.openRead(folder / "a.tif", GdalFileType::TileSet));
    const QuietGdal quiet;
    EXPECT_FALSE(set.write(noiseMatrix<unsigned char>(13, 6), 1, box(0, 0, 13, 6)));
    EXPECT_EQ(readAll(set), noiseMatrix<unsigned char>(13, 6, 9));
}

TEST(TileSetOpen, TakesASingleTile)
{
    const TempFolder folder;
    makeTile(folder / "a_1_1.tif", {0, 0, 5, 4});
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_EQ(set.noTiles(), 1u);
    EXPECT_EQ(set.width(), 5);
}

TEST(TileSetOpen, FailsWhenATileIsMissing)
{
    for (const char* missing : {"a_1_1.tif", "a_2_1.tif", "a_2_2.tif", "a_3_2.tif"}) {
        const TempFolder folder;
        makeThreeByTwo(folder);
        ASSERT_TRUE(opensAsTiles(folder / "a.tif"));
        std::filesystem::remove((folder / missing).toStdString());
        EXPECT_FALSE(opensAsTiles(folder / "a.tif")) << missing;
    }
}

TEST(TileSetOpen, PassesOverATileThatDoesNotOpen)
{
    const TempFolder folder;
    makeThreeByTwo(folder);
    makeFile(folder / "a_4_1.tif", "no raster");
    EXPECT_TRUE(opensAsTiles(folder / "a.tif"));
    makeFile(folder / "a_2_2.tif", "no raster");
    EXPECT_FALSE(opensAsTiles(folder / "a.tif"));
}

TEST(TileSetOpen, FailsWhenATileHasAnotherBandCount)
{
    const TempFolder folder;
    makeTile(folder / "a_1_1.tif", {0, 0, 5, 4, 4});
    makeTile(folder / "a_2_1.tif", {5, 0, 5, 4, 4});
    ASSERT_TRUE(opensAsTiles(folder / "a.tif"));
    makeTile(folder / "a_2_1.tif", {5, 0, 5, 4, 3});
    EXPECT_FALSE(opensAsTiles(folder / "a.tif"));
}

TEST(TileSetOpen, FailsWhenATileHasAnotherType)
{
    const TempFolder folder;
    makeTile(folder / "a_1_1.tif", {0, 0, 5, 4});
    makeTile(folder / "a_2_1.tif", {5, 0, 5, 4});
    makeTile(folder / "a_3_1.tif", {10, 0, 5, 4});
    ASSERT_TRUE(opensAsTiles(folder / "a.tif"));
    makeTile(folder / "a_3_1.tif", {10, 0, 5, 4, 1, GDT_UInt16});
    EXPECT_FALSE(opensAsTiles(folder / "a.tif"));
}

TEST(TileSetOpen, FailsWhenATileHasTheWrongSizeForItsPlace)
{
    const TempFolder folder;
    makeThreeByTwo(folder);
    // In the middle, one column narrower.
    makeTile(folder / "a_2_1.tif", {5, 0, 4, 4});
    EXPECT_FALSE(opensAsTiles(folder / "a.tif"));
    makeTile(folder / "a_2_1.tif", {5, 0, 5, 3});
    EXPECT_FALSE(opensAsTiles(folder / "a.tif"));
}

TEST(TileSetOpen, FailsWhenNamesAndPlacesDisagree)
{
    const TempFolder folder;
    makeTile(folder / "a_2_1.tif", {0, 0, 5, 4});
    makeTile(folder / "a_3_1.tif", {5, 0, 5, 4});
    EXPECT_FALSE(opensAsTiles(folder / "a.tif"));
}

TEST(TileSetOpen, FailsWithoutGeoreference)
{
    const TempFolder folder;
    for (const char* name : {"a_1_1.tif", "a_2_1.tif"})
        rasters::make(folder / name, {5, 4}, [](int, int, int) { return 1; });
    EXPECT_FALSE(opensAsTiles(folder / "a.tif"));
}

TEST(TileSetOpen, FailsForTilesFarApart)
{
    const TempFolder folder;
    makeTile(folder / "a_1_1.tif", {0, 0, 1, 1});
    makeTile(folder / "a_2_1.tif", {2000000000, 0, 1, 1});
    EXPECT_FALSE(opensAsTiles(folder / "a.tif"));
}

TEST(TileSetOpen, PassesOverOtherFiles)
{
    const TempFolder folder;
    makeThreeByTwo(folder);
    makeThreeByTwo(folder, "b");
    makeThreeByTwo(folder, "aa");
    makeTile(folder / "A_1_1.tif", {0, 0, 50, 50});
    makeTile(folder / "a_1_1_1.tif", {0, 0, 50, 50});
    makeTile(folder / "a_01_1.tif", {0, 0, 50, 50});
    makeTile(folder / "a_0_1.tif", {0, 0, 50, 50});
    makeTile(folder / "a_4_1.tiff", {0, 0, 50, 50});
    makeTile(folder / "a_4_1.dat", {0, 0, 50, 50});
    makeTile(folder / "4_1.tif", {0, 0, 50, 50});
    makeFile(folder / "a_notes.txt");
    std::filesystem::create_directory((folder / "a_4_1.tif").toStdString());
    GDALStreamer set;
    const OwnMessages log;
    ASSERT_TRUE(set.openRead(folder / "a.tif", GdalFileType::TileSet));
    EXPECT_EQ(set.noTiles(), 6u);
    EXPECT_EQ(readAll(set), noiseMatrix<unsigned char>(13, 6));
    ASSERT_TRUE(set.openRead(folder / "b.tif", GdalFileType::TileSet));
    EXPECT_EQ(set.path(0), folder / "b_1_1.tif");
    EXPECT_EQ(set.noTiles(), 6u);
}

TEST(TileSetOpen, ReportsThePageCountOfTheFirstTile)
{
    const TempFolder folder;
    makeTile(folder / "a_1_1.tif", {0, 0, 5, 4});
    makeTile(folder / "a_2_1.tif", {5, 0, 5, 4});
    rasters::Description page{5, 4};
    page.options = {"APPEND_SUBDATASET=YES"};
    rasters::make(folder / "a_2_1.tif", page, [](int, int, int) { return 1; });
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_EQ(set.noPages(), 1u);
    rasters::make(folder / "a_1_1.tif", page, [](int, int, int) { return 1; });
    rasters::make(folder / "a_1_1.tif", page, [](int, int, int) { return 1; });
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_EQ(set.noPages(), 3u);
}

TEST(TileSetOpen, TakesTheFinestResolutionOfTheTiles)
{
    const TempFolder folder;
    makeTile(folder / "a_1_1.tif", {0, 0, 4, 4});
    rasters::Description fine{4, 4};
    fine.geotransform = std::array<double, 6>{54, 0.5, 0, 90, 0, -0.5};
    rasters::make(folder / "a_2_1.tif", fine, [](int, int, int) { return 1; });
    // 6 x 4 map units in pixels of 0.5 are 12 x 8: more tiles than there are files.
    EXPECT_FALSE(opensAsTiles(folder / "a.tif"));
}

TEST(TileSetOpen, PlacesJpegTilesWithoutGeoreferenceByTheirNumbers)
{
    const TempFolder folder;
    for (int column = 0; column < 3; ++column)
        for (int row = 0; row < 2; ++row) {
            rasters::Description d{column == 2 ? 9 : 16, row == 1 ? 5 : 8};
            d.driver = "JPEG";
            rasters::make(folder / tileName(column + 1, row + 1, "a", ".jpg"), d,
                          [=](int, int, int) { return 20 + 40 * column + 10 * row; });
        }
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.jpg"));
    EXPECT_EQ(set.width(), 41);
    EXPECT_EQ(set.height(), 13);
    EXPECT_EQ(set.res(), 1);
    EXPECT_EQ(set.workspace().minx(), 0);
    EXPECT_EQ(set.workspace().miny(), 0);
    ASSERT_EQ(set.noTiles(), 6u);
    expectBox(set.itile(5), box(32, 8, 41, 13));
    EXPECT_EQ(set.path(5), folder / "a_3_2.jpg");
    const PixelMatrix<unsigned char> pixels = readAll(set);
    for (int column = 0; column < 3; ++column)
        for (int row = 0; row < 2; ++row)
            EXPECT_NEAR(pixels(8 * row + 2, 16 * column + 3), 20 + 40 * column + 10 * row, 2); // lossy
}

TEST(TileSetOpen, PlacesJpegTilesByTheirNumbersWhateverTheirWorldFilesSay)
{
    const TempFolder folder;
    for (int column = 0; column < 2; ++column) {
        rasters::Description d{16, 8};
        d.driver = "JPEG";
        const QString name = tileName(column + 1, 1, "a", ".jpg");
        rasters::make(folder / name, d, [](int, int, int) { return 100; });
        makeFile(folder / tileName(column + 1, 1, "a", ".jgw"), "0.5\n0\n0\n-0.5\n1000\n2000\n");
    }
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.jpg", GdalFileType::TileSet));
    EXPECT_EQ(set.res(), 1);
    EXPECT_EQ(set.workspace().minx(), 0);
    EXPECT_EQ(set.workspace().maxx(), 32);
    EXPECT_EQ(set.workspace().maxy(), 8);
}

TEST(TileSetOpen, JpegTilesStartAtTheirFirstNumber)
{
    const TempFolder folder;
    rasters::Description d{16, 8};
    d.driver = "JPEG";
    rasters::make(folder / "a_2_1.jpg", d, [](int, int, int) { return 100; });
    EXPECT_FALSE(opensAsTiles(folder / "a.jpg"));
    // Numbers whose product with the tile size leaves 32 bits.
    rasters::make(folder / "b_1_1.jpg", d, [](int, int, int) { return 100; });
    rasters::make(folder / "b_2147483647_2147483647.jpg", d, [](int, int, int) { return 100; });
    EXPECT_FALSE(opensAsTiles(folder / "b.jpg"));
}

TEST(TileSetOpen, PlacesPngTilesByTheirWorldFilesOnly)
{
    const TempFolder folder;
    for (int column = 0; column < 2; ++column) {
        rasters::Description d{16, 8};
        d.driver = "PNG";
        rasters::make(folder / tileName(column + 1, 1, "a", ".png"), d, [](int, int, int) { return 100; });
    }
    EXPECT_FALSE(opensAsTiles(folder / "a.png"));
    makeFile(folder / "a_1_1.pgw", "1\n0\n0\n-1\n10.5\n19.5\n");
    makeFile(folder / "a_2_1.pgw", "1\n0\n0\n-1\n26.5\n19.5\n");
    EXPECT_TRUE(opensAsTiles(folder / "a.png"));
}
