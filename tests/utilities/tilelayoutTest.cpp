#include "utilities/tilelayout.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using vexel::DataType;
using vexel::TileFile;
using vexel::Workspace;
using vexel::gdal::VerifyCode;
using vexel::gdal::VerifyFinding;
using vexel::gdal::VerifyReport;
using vexel::gdal::verification::checkLayout;
using vexel::gdal::verification::Description;
using vexel::gdal::verification::Tile;

namespace {

constexpr int edge = 100;        // pixels of a full tile
constexpr std::int64_t res = 50; // integer map units of a pixel

/// A tile of three bands of bytes, at column and row of a grid that starts at (1000, -2000).
Tile tileAt(int column, int row, int width = edge, int height = edge, const char* extension = "tif")
{
    const QString path = QString("set_%1_%2.%3").arg(column + 1).arg(row + 1).arg(extension);
    const std::int64_t x = 1000 + column * edge * res;
    const std::int64_t y = -2000 + row * edge * res;
    Description description;
    description.bands = 3;
    description.rows = height;
    description.type = DataType::UInt8;
    description.extent = Workspace(x, y, x + width * res, y + height * res, res);
    return {TileFile{path, column, row}, description};
}

/// Three columns and two rows. The last column has 40 pixels and the last row 70.
std::vector<Tile> wholeSet()
{
    std::vector<Tile> tiles;
    for (int column = 0; column < 3; ++column)
        for (int row = 0; row < 2; ++row)
            tiles.push_back(tileAt(column, row, column == 2 ? 40 : edge, row == 1 ? 70 : edge));
    return tiles;
}

std::vector<TileFile> filesOf(const std::vector<Tile>& tiles)
{
    std::vector<TileFile> files;
    for (const Tile& tile : tiles)
        files.push_back(tile.file);
    return files;
}

VerifyReport check(const std::vector<Tile>& tiles)
{
    return checkLayout("set.tif", filesOf(tiles), tiles);
}

/// Moves the extent of a tile, in integer map units.
void move(Tile& tile, std::int64_t x, std::int64_t y)
{
    const Workspace& old = tile.description.extent;
    tile.description.extent = Workspace(old.minx() + x, old.miny() + y, old.maxx() + x, old.maxy() + y, res);
}

void expectOnly(const VerifyReport& report, VerifyCode code, const char* file, const char* text)
{
    ASSERT_EQ(report.noFindings, 1u);
    ASSERT_EQ(report.findings.size(), 1u);
    EXPECT_EQ(report.findings[0].code, code);
    EXPECT_EQ(report.findings[0].file, file);
    EXPECT_EQ(report.findings[0].text, text);
}

} // namespace

TEST(TileLayout, OfAWholeSetHasNoFindings)
{
    const VerifyReport report = check(wholeSet());
    EXPECT_TRUE(report.isWhole()) << (report.findings.empty() ? "" : report.findings[0].text.toStdString());
    EXPECT_TRUE(check({tileAt(0, 0, 7, 9)}).isWhole());
}

TEST(TileLayout, NamesTheCellsWithoutFile)
{
    std::vector<Tile> tiles = wholeSet();
    tiles.erase(tiles.begin() + 3); // column 1, row 1
    expectOnly(check(tiles), VerifyCode::TileMissing, "set_2_2.tif", "no tile in column 2, row 2");
}

TEST(TileLayout, DoesNotTakeAnUnreadableFileForAMissingOne)
{
    const std::vector<Tile> all = wholeSet();
    std::vector<Tile> readable = all;
    readable.erase(readable.begin() + 3);
    EXPECT_TRUE(checkLayout("set.tif", filesOf(all), readable).isWhole());
}

TEST(TileLayout, CountsTheCellsOfAFarIndexWithoutVisitingThem)
{
    std::vector<Tile> tiles{tileAt(0, 0)};
    std::vector<TileFile> files = filesOf(tiles);
    files.push_back({"set_2000000000_2000000000.tif", 1999999999, 1999999999});
    const VerifyReport report = checkLayout("set.tif", files, tiles);
    EXPECT_EQ(report.noFindings, 2000000000ull * 2000000000ull - 2);
    EXPECT_EQ(report.findings.size(), VerifyReport::maxFindings);
    EXPECT_EQ(report.findings.front().file, "set_1_2.tif");
}

TEST(TileLayout, TakesTheMajorityToBeRight)
{
    std::vector<Tile> tiles = wholeSet();
    tiles[2].description.bands = 4;
    expectOnly(check(tiles), VerifyCode::TileBands, "set_2_1.tif", "4 bands instead of 3");

    tiles = wholeSet();
    tiles[4].description.type = DataType::UInt16;
    expectOnly(check(tiles), VerifyCode::TileType, "set_3_1.tif", "another pixel type than the other tiles");
}

TEST(TileLayout, TakesTheSmallestOfSeveralValuesThatAreEquallyFrequent)
{
    std::vector<Tile> tiles{tileAt(0, 0), tileAt(1, 0)};
    tiles[0].description.bands = 4;
    expectOnly(check(tiles), VerifyCode::TileBands, "set_1_1.tif", "4 bands instead of 3");
}

TEST(TileLayout, ExpectsFullTilesExceptInTheLastColumnAndRow)
{
    std::vector<Tile> tiles = wholeSet();
    tiles[2] = tileAt(1, 0, 99, edge);
    expectOnly(check(tiles), VerifyCode::TileSize, "set_2_1.tif", "99 x 100 instead of 100 x 100 pixels");

    tiles = wholeSet();
    tiles[4] = tileAt(2, 0, 41, edge); // the two tiles of the last column differ: the smaller one is right
    expectOnly(check(tiles), VerifyCode::TileSize, "set_3_1.tif", "41 x 100 instead of 40 x 100 pixels");
}

TEST(TileLayout, ComparesTheSizesOfPixels)
{
    std::vector<Tile> tiles = wholeSet();
    const Workspace& old = tiles[0].description.extent;
    tiles[0].description.extent =
        Workspace(old.minx(), old.miny(), old.minx() + edge * 60, old.miny() + edge * 60, 60);
    expectOnly(check(tiles), VerifyCode::TilePixelSize, "set_1_1.tif",
               "pixels of 60 x 60 instead of 50 x 50 units of 0.00001 map units");
}

TEST(TileLayout, FindsATileThatIsNotWhereItsNameSays)
{
    // Within a pixel, and half a unit for each of the 300 pixels of the three columns.
    constexpr std::int64_t tolerated = res + 150;
    std::vector<Tile> tiles = wholeSet();
    move(tiles[2], tolerated + 1, 0);
    expectOnly(check(tiles), VerifyCode::TilePlace, "set_2_1.tif", "does not lie in column 2, row 1");

    tiles = wholeSet();
    move(tiles[2], 0, -(res + 100 + 1)); // two rows: 200 pixels
    expectOnly(check(tiles), VerifyCode::TilePlace, "set_2_1.tif", "does not lie in column 2, row 1");
}

TEST(TileLayout, ToleratesRoundedPlaces)
{
    std::vector<Tile> tiles = wholeSet();
    move(tiles[2], 20, -20);
    EXPECT_TRUE(check(tiles).isWhole());
}

TEST(TileLayout, FindsNoGridWhereTheTilesCoverMoreThanTheirCells)
{
    // Both tiles of a column have moved by less than is tolerated, but their common extent needs another column.
    std::vector<Tile> tiles{tileAt(0, 0), tileAt(1, 0)};
    move(tiles[1], 140, 0);
    expectOnly(check(tiles), VerifyCode::NoGrid, "set.tif", "the tiles do not fill one grid");
}

TEST(TileLayout, TakesJpegTilesToBeWhereTheirNamesSay)
{
    std::vector<Tile> tiles{tileAt(0, 0, edge, edge, "jpg"), tileAt(1, 0, 30, edge, "jpg")};
    for (Tile& tile : tiles)
        move(tile, 1000000 * tile.file.column, 0);
    EXPECT_TRUE(check(tiles).isWhole());
}
