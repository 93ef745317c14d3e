#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"
#include "tilesetfixtures.h"

#include <gtest/gtest.h>

#include <QDir>

#include <string>

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::Workspace;

namespace {

/// Writes a whole set of tiles through the library.
void writeSet(const QString& path, int width, int height, int tileWidth, int tileHeight)
{
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(path, 1, DataType::UInt8, pixelFrame(width, height),
                              QString::fromStdString(rasters::wkt(32633)), "", "", GdalFileType::TileSet,
                              tileWidth, tileHeight));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(width, height), 1, box(0, 0, width, height)));
    ASSERT_TRUE(set.close());
}

} // namespace

TEST(TileSetWrite, NamesTheTilesByColumnAndRowFromOne)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, pixelFrame(1000, 700), "", "", "",
                              GdalFileType::TileSet, 512, 512));
    ASSERT_EQ(set.noTiles(), 4u);
    EXPECT_EQ(set.path(0), folder / "a_1_1.tif");
    EXPECT_EQ(set.path(1), folder / "a_1_2.tif");
    EXPECT_EQ(set.path(2), folder / "a_2_1.tif");
    EXPECT_EQ(set.path(3), folder / "a_2_2.tif");
    expectBox(set.itile(0), box(0, 0, 512, 512));
    expectBox(set.itile(1), box(0, 512, 512, 700));
    expectBox(set.itile(2), box(512, 0, 1000, 512));
    expectBox(set.itile(3), box(512, 512, 1000, 700));
    EXPECT_EQ(folder.listing(), "");
}

TEST(TileSetWrite, MakesGeoreferencedFilesThatOpenAgain)
{
    const TempFolder folder;
    const Workspace extent(500000, -900000, 500000 + 13 * 2500, -900000 + 6 * 2500, 2500);
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, extent,
                              QString::fromStdString(rasters::wkt(32633)), "", "", GdalFileType::TileSet, 5,
                              4));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(13, 6), 1, box(0, 0, 13, 6)));
    ASSERT_TRUE(set.close());
    for (int column = 1; column <= 3; ++column)
        for (int row = 1; row <= 2; ++row)
            for (const char* extension : {".tif", ".tfw", ".prj"})
                EXPECT_TRUE(exists(folder / tileName(column, row, "a", extension)));
    EXPECT_EQ(fileText(folder / "a_2_2.tfw"),
              "0.025000000000\n0\n0\n-0.025000000000\n5.125000000000\n8.900000000000\n");
    EXPECT_EQ(gdalPixels<unsigned char>(folder / "a_3_2.tif"), noiseMatrix<unsigned char>(3, 2, 1, 10, 4));

    GDALStreamer back;
    ASSERT_TRUE(back.openRead(folder / "a.tif"));
    EXPECT_EQ(back.noTiles(), 6u);
    EXPECT_EQ(back.workspace().minx(), extent.minx());
    EXPECT_EQ(back.workspace().maxy(), extent.maxy());
    EXPECT_EQ(back.res(), 2500);
    EXPECT_EQ(readAll(back), noiseMatrix<unsigned char>(13, 6));
}

TEST(TileSetWrite, MakesOnlyTheTilesThatAreTouched)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, pixelFrame(13, 6), "", "", "",
                              GdalFileType::TileSet, 5, 4));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(5, 2), 1, box(5, 2, 10, 4)));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(folder.listing(), "a_2_1.tfw a_2_1.tif");
}

TEST(TileSetWrite, MakesTheFolder)
{
    const TempFolder folder;
    writeSet(folder / "x/y/a.tif", 6, 4, 3, 4);
    EXPECT_TRUE(exists(folder / "x/y/a_2_1.tif"));
}

TEST(TileSetWrite, TakesOddPaths)
{
    const TempFolder folder;
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(folder.path()));
    for (const QString& path : {QString("a.tif"), QString("./b.tif"), QString("c"), QString("d.e/f"),
                                QString("g h/\u00E4 \u732B.dat"), QString("k_1_2.tif"), folder / "l"}) {
        writeSet(path, 6, 4, 3, 2);
        GDALStreamer set;
        EXPECT_TRUE(set.openRead(path, GdalFileType::TileSet)) << path.toStdString();
        EXPECT_EQ(set.noTiles(), 4u) << path.toStdString();
        if (set.opened()) {
            EXPECT_EQ(readAll(set), noiseMatrix<unsigned char>(6, 4)) << path.toStdString();
        }
    }
    QDir::setCurrent(before);
}

TEST(TileSetWrite, TakesAnExtentWithHugeTiles)
{
    const TempFolder folder;
    writeSet(folder / "a.tif", 6, 4, 2147483647, 2147483647);
    EXPECT_EQ(folder.listing(), "a_1_1.prj a_1_1.tfw a_1_1.tif");
}

TEST(TileSetCleaning, RemovesEveryFileOfALargerSetBefore)
{
    const TempFolder folder;
    writeSet(folder / "a.tif", 9, 9, 3, 3);
    makeFile(folder / "a_3_3.tif_tmp.tif");
    ASSERT_TRUE(exists(folder / "a_3_3.prj"));
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, pixelFrame(6, 3), "", "", "",
                              GdalFileType::TileSet, 3, 3));
    EXPECT_EQ(folder.listing(), "");
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(6, 3), 1, box(0, 0, 6, 3)));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(folder.listing(), "a_1_1.tfw a_1_1.tif a_2_1.tfw a_2_1.tif");
}

TEST(TileSetCleaning, LeavesEverythingElse)
{
    const TempFolder folder;
    // Side files without their tile, the single file, other sets, and names that are no tile names.
    for (const char* name : {"a.tif", "a.tfw", "a.prj", "a_9_9.tfw", "a_9_9.prj", "b_1_1.tif", "b_1_1.tfw",
                             "aa_1_1.tif", "a_1_1_1.tif", "a_01_1.tif", "a_0_1.tif", "a_1_1.png",
                             "a_1_1.tiff", "a_x.tif", "1_1.tif", "a_5_5.txt"})
        makeFile(folder / name);
    std::filesystem::create_directory((folder / "a_4_4.tif").toStdString());
    const std::string before = folder.listing();
    for (const char* name : {"a_1_1.tif", "a_1_1.tfw", "a_1_1.prj", "a_7_12.tif"})
        makeFile(folder / name);
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, pixelFrame(6, 3), "", "", "",
                              GdalFileType::TileSet, 3, 3));
    EXPECT_EQ(folder.listing(), before);
}

TEST(TileSetCleaning, HappensForTileSetsOnly)
{
    const TempFolder folder;
    makeFile(folder / "a_1_1.tif");
    makeFile(folder / "a.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, 6, 3));
    EXPECT_EQ(folder.listing(), "a_1_1.tif");
}

TEST(TileSetCleaning, FindsTheSetUnderAnotherSpellingOfItsPath)
{
    const TempFolder folder;
    std::filesystem::create_directory((folder / "sub").toStdString());
    makeFile(folder / "a_1_1.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "sub/../a.tif", 1, DataType::UInt8, pixelFrame(6, 3), "", "", "",
                              GdalFileType::TileSet, 6, 3));
    EXPECT_EQ(folder.listing(), "sub");
}
