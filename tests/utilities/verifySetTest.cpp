#include "utilities/verify.h"

#include "streaming/GDALStreamer.h"
#include "streaming/streamingsupport.h"
#include "support/TempFolder.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"
#include "utilities/tilenames.h"
#include "verifyfixtures.h"

#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

using namespace verifytest;
using namespace streamingtest;
using vexel::GDALStreamer;
using vexel::gdal::tile2path;

namespace {

/// A set of 3 x 2 tiles over 13 x 6 pixels: 5 x 4 and what remains.
class VerifySet : public testing::Test
{
protected:
    void SetUp() override
    {
        makeBothRoads(GDT_Int16);
        std::filesystem::remove((m_folder / "single.tif").toStdString());
    }

    void makeBothRoads(GDALDataType type)
    {
        for (int column = 0; column < 3; ++column)
            for (int row = 0; row < 2; ++row)
                makeTile(column, row, column == 2 ? 3 : 5, row == 1 ? 2 : 4, 2, type);
    }

    /// In place of the one that there is.
    void makeTile(int column, int row, int width, int height, int bands, GDALDataType type,
                  double pixel = 1.0, double east = 0.0)
    {
        rasters::Description d{width, height, bands, type};
        d.geotransform = std::array<double, 6>{50.0 + column * 5 + east, pixel, 0, 90.0 - row * 4, 0, -pixel};
        rasters::make(tile(column, row), d, storedNoise<short>());
    }

    QString tile(int column, int row) const { return tile2path(m_path, column + 1, row + 1); }
    void removeTile(int column, int row) { std::filesystem::remove(tile(column, row).toStdString()); }
    static void expectReadable(const QString& path)
    {
        const QuietGdal quiet;
        EXPECT_TRUE(GDALStreamer().openRead(path));
    }
    void expectUnreadable() const
    {
        const QuietGdal quiet;
        EXPECT_FALSE(GDALStreamer().openRead(m_path));
    }

    const TempFolder m_folder;
    const QString m_path = m_folder / "set.tif";
};

} // namespace

TEST_F(VerifySet, FindsAWholeSetWhole)
{
    expectReadable(m_path);
    for (const bool decode : {false, true}) {
        const VerifyReport report = check(m_path, decode);
        EXPECT_TRUE(report.isWhole()) << described(report);
        EXPECT_EQ(report.noFiles, 6u);
        EXPECT_EQ(report.noBlocks, 6u);
    }
}

TEST_F(VerifySet, PrefersTheSingleFile)
{
    removeTile(1, 1);
    rasters::make(m_path, {13, 6}, storedNoise<short>());
    const VerifyReport report = check(m_path);
    EXPECT_TRUE(report.isWhole()) << described(report);
    EXPECT_EQ(report.noFiles, 1u);
}

TEST_F(VerifySet, ChangesNothing)
{
    const std::string before = m_folder.listing();
    check(m_path, /*decode=*/true);
    EXPECT_EQ(m_folder.listing(), before);
}

TEST_F(VerifySet, NamesTheMissingTile)
{
    removeTile(1, 0);
    expectUnreadable();
    const VerifyReport report = check(m_path);
    const VerifyFinding finding = expectOnly(report, VerifyCode::TileMissing, tile(1, 0));
    EXPECT_EQ(finding.text, "no tile in column 2, row 1");
    EXPECT_EQ(report.noFiles, 5u);
}

TEST_F(VerifySet, CountsTheTilesMissingBeforeAFarIndex)
{
    rasters::make(m_folder / "set_2000000000_2.tif", {5, 4, 2, GDT_Int16}, storedNoise<short>());
    const VerifyReport report = check(m_path);
    EXPECT_GE(report.noFindings, 2u * 2000000000u - 7u);
    EXPECT_EQ(report.findings[0].code, VerifyCode::TileMissing);
    EXPECT_EQ(report.findings[0].file, m_folder / "set_4_1.tif");
}

TEST_F(VerifySet, NamesTheTileOfAnotherSize)
{
    makeTile(0, 0, 5, 3, 2, GDT_Int16);
    expectUnreadable();
    expectOnly(check(m_path), VerifyCode::TileSize, tile(0, 0));
    makeTile(0, 0, 5, 4, 2, GDT_Int16);
    makeTile(2, 1, 6, 2, 2, GDT_Int16);
    expectUnreadable();
    const VerifyReport report = check(m_path);
    EXPECT_FALSE(report.isWhole());
    EXPECT_EQ(report.findings[0].code, VerifyCode::TileSize);
}

TEST_F(VerifySet, NamesTheTileOfAnotherType)
{
    makeTile(1, 1, 5, 2, 2, GDT_UInt16);
    expectUnreadable();
    expectOnly(check(m_path), VerifyCode::TileType, tile(1, 1));
}

TEST_F(VerifySet, NamesTheTileOfOtherBands)
{
    makeTile(1, 1, 5, 2, 3, GDT_Int16);
    expectUnreadable();
    const VerifyReport report = check(m_path);
    const VerifyFinding finding = expectOnly(report, VerifyCode::TileBands, tile(1, 1));
    EXPECT_EQ(finding.text, "3 bands instead of 2");
}

TEST_F(VerifySet, NamesTheTileOfAnotherPixelSize)
{
    makeTile(0, 1, 5, 2, 2, GDT_Int16, 0.5);
    expectOnly(check(m_path), VerifyCode::TilePixelSize, tile(0, 1));
}

TEST_F(VerifySet, NamesTheTileThatLiesElsewhere)
{
    makeTile(1, 0, 5, 4, 2, GDT_Int16, 1.0, 3.0);
    expectOnly(check(m_path), VerifyCode::TilePlace, tile(1, 0));
    // Edges are told less exactly than by a pixel.
    makeTile(1, 0, 5, 4, 2, GDT_Int16, 1.0, 0.001);
    EXPECT_TRUE(check(m_path).isWhole());
}

TEST_F(VerifySet, TakesPixelsThatAreNotSquare)
{
    // Pixels half as high as they are wide; a row of tiles is 8 of them high, the last one 5.
    for (int column = 0; column < 2; ++column)
        for (int row = 0; row < 3; ++row) {
            rasters::Description d{5, row == 2 ? 5 : 8};
            d.geotransform = std::array<double, 6>{50.0 + column * 5, 1, 0, 90.0 - row * 4, 0, -0.5};
            rasters::make(tile2path(m_folder / "flat.tif", column + 1, row + 1), d, storedNoise<short>());
        }
    const VerifyReport report = check(m_folder / "flat.tif");
    EXPECT_TRUE(report.isWhole()) << described(report);
    const OwnMessages messages;
    EXPECT_TRUE(GDALStreamer().openRead(m_folder / "flat.tif"));
}

TEST_F(VerifySet, NamesTheCutTile)
{
    cut(tile(2, 0), tile(2, 0), fileText(tile(2, 0)).size() - 1);
    expectReadable(m_path);
    const VerifyReport report = check(m_path);
    expectOnly(report, VerifyCode::BlockOutside, tile(2, 0));
    EXPECT_EQ(report.noFiles, 6u);
}

TEST_F(VerifySet, NamesTheTileThatDoesNotOpen)
{
    for (const std::string& text : {std::string(), std::string("II*"), std::string("no raster")}) {
        makeFile(tile(2, 0), text);
        expectUnreadable();
        const VerifyReport report = check(m_path);
        expectOnly(report, VerifyCode::NotOpened, tile(2, 0));
        EXPECT_EQ(report.noFiles, 5u);
    }
}

TEST_F(VerifySet, IsNotWholeWhereNoTileOpens)
{
    for (int column = 0; column < 3; ++column)
        for (int row = 0; row < 2; ++row)
            makeFile(tile(column, row), "");
    const VerifyReport report = check(m_path);
    EXPECT_EQ(codes(report), std::vector<VerifyCode>(6, VerifyCode::NotOpened));
}

TEST_F(VerifySet, TakesWorkingFilesForNoTiles)
{
    makeFile(m_folder / "set_1_1.tif_tmp.tif", "cut off");
    makeFile(m_folder / "set_4_1.tif_tmp.tif", "cut off");
    const OwnMessages messages; // names without indices may be logged
    const VerifyReport report = check(m_path);
    EXPECT_TRUE(report.isWhole()) << described(report);
    EXPECT_EQ(report.noFiles, 6u);
}

TEST_F(VerifySet, KnowsTilesOfImagesByTheirNames)
{
    for (int column = 0; column < 2; ++column)
        for (int row = 0; row < 2; ++row) {
            rasters::Description d{column == 1 ? 20 : 32, row == 1 ? 9 : 24, 3};
            d.driver = "JPEG";
            rasters::make(tile2path(m_folder / "set.jpg", column + 1, row + 1), d,
                          storedNoise<unsigned char>());
        }
    expectReadable(m_folder / "set.jpg");
    const VerifyReport opened = check(m_folder / "set.jpg");
    EXPECT_TRUE(opened.isWhole()) << described(opened);
    EXPECT_EQ(opened.noFilesNotChecked, 4u);
    EXPECT_TRUE(check(m_folder / "set.jpg", /*decode=*/true).isWhole());
    std::filesystem::remove((m_folder / "set_1_2.jpg").toStdString());
    expectOnly(check(m_folder / "set.jpg"), VerifyCode::TileMissing, m_folder / "set_1_2.jpg");
}
