#include "imageloader/GDALImageLoader.h"

#include "images.h"
#include "streaming/GDALStreamer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

using namespace images;
using namespace streamingtest;
using vexel::GdalFileType;
using vexel::GDALImageLoader;
using vexel::GDALStreamer;

namespace {

// Two columns and three rows of tiles, of which the last ones are smaller.
constexpr int width = 100;
constexpr int height = 70;
constexpr int tileWidth = 64;
constexpr int tileHeight = 32;

/// Place and size of each tile, column by column, and what it adds to the file name.
struct Tile
{
    int x, y, width, height;
    const char* suffix;
};
const std::vector<Tile> tiles{{0, 0, 64, 32, "_1_1"},  {0, 32, 64, 32, "_1_2"},  {0, 64, 64, 6, "_1_3"},
                              {64, 0, 36, 32, "_2_1"}, {64, 32, 36, 32, "_2_2"}, {64, 64, 36, 6, "_2_3"}};

Colour wholeImage()
{
    return noisyColour(width, height);
}

Colour partOf(const Tile& tile)
{
    return wholeImage().block(tile.y, tile.x, tile.height, tile.width);
}

QString tileFile(const TempFolder& folder, std::size_t i, const char* extension = ".tif")
{
    return folder / (std::string("a") + tiles[i].suffix + extension).c_str();
}

bool writeTile(const GDALImageLoader& loader, std::size_t i)
{
    return loader.writeRGB(partOf(tiles[i]), static_cast<int>(i));
}

void writeAll(GDALImageLoader& loader)
{
    ASSERT_TRUE(loader.openWriteTiles(width, height, tileWidth, tileHeight));
    for (std::size_t i = 0; i < tiles.size(); ++i)
        ASSERT_TRUE(writeTile(loader, i)) << i;
}

void expectColour(const QString& path, const Colour& expected)
{
    const rasters::Dataset dataset = rasters::open(path);
    ASSERT_TRUE(dataset) << path.toStdString();
    ASSERT_EQ(dataset->GetRasterCount(), 3);
    for (int band = 1; band <= 3; ++band)
        EXPECT_EQ(gdalPixels<unsigned char>(path, band), bandOf(expected, band)) << path.toStdString();
}

} // namespace

class GDALImageLoaderTileFormats : public testing::TestWithParam<const char*>
{
protected:
    const TempFolder m_folder;
    const std::string m_extension = GetParam();
    GDALImageLoader m_loader{m_folder / ("a" + m_extension).c_str(), weights};
};

TEST_P(GDALImageLoaderTileFormats, HoldTheirPartsOfTheImage)
{
    const LogCapture log;
    writeAll(m_loader);
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        const QString path = tileFile(m_folder, i, m_extension.c_str());
        if (m_extension == ".jpg") {
            make(m_folder / "gdal.jpg", tiles[i].width, tiles[i].height, 3, bandsOf(partOf(tiles[i])));
            EXPECT_EQ(fileText(path), fileText(m_folder / "gdal.jpg")) << i;
        } else {
            expectColour(path, partOf(tiles[i]));
        }
    }
    EXPECT_EQ(log.text(), "");
}

TEST_P(GDALImageLoaderTileFormats, AreReadAsSingleImages)
{
    writeAll(m_loader);
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        const QString path = tileFile(m_folder, i, m_extension.c_str());
        Colour colour;
        EXPECT_TRUE(m_loader.readRGB(path, colour, 2));
        EXPECT_EQ(colour, reducedColour(path, 3, tiles[i].width / 2, tiles[i].height / 2));
    }
    const QuietGdal quiet;
    Colour colour;
    EXPECT_FALSE(m_loader.readRGB(colour, 1)) << "the set as a whole is not read";
}

INSTANTIATE_TEST_SUITE_P(Formats, GDALImageLoaderTileFormats, testing::Values(".tif", ".png", ".jpg"),
                         [](const auto& row) { return std::string(row.param).substr(1); });

TEST(GDALImageLoaderTiles, FormARasterSet)
{
    const TempFolder folder;
    GDALImageLoader loader(folder / "a.tif", weights);
    writeAll(loader);
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif", GdalFileType::TileSet));
    EXPECT_EQ(set.noTiles(), tiles.size());
    EXPECT_EQ(set.noBands(), 3u);
    EXPECT_EQ(set.dtype(), vexel::DataType::UInt8);
    Colour colour;
    EXPECT_TRUE(set.readRGB(colour, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
    EXPECT_TRUE(colour == opaque(wholeImage()));
}

TEST(GDALImageLoaderTiles, LieInPixelUnitsWithTheDefaultSoftware)
{
    const TempFolder folder;
    GDALImageLoader loader(folder / "a.tif", weights);
    writeAll(loader);
    const rasters::Dataset dataset = rasters::open(tileFile(folder, 4));
    ASSERT_TRUE(dataset);
    double geotransform[6] = {};
    ASSERT_EQ(dataset->GetGeoTransform(geotransform), CE_None);
    EXPECT_NEAR(geotransform[0], 64e-5, 1e-12);
    EXPECT_NEAR(geotransform[1], 1e-5, 1e-15);
    EXPECT_NEAR(geotransform[3], -32e-5, 1e-12);
    EXPECT_NEAR(geotransform[5], -1e-5, 1e-15);
    EXPECT_STREQ(dataset->GetProjectionRef(), "");
    EXPECT_STREQ(dataset->GetMetadataItem("TIFFTAG_SOFTWARE"), "vexelstudio");
    EXPECT_EQ(dataset->GetMetadataItem("TIFFTAG_DATETIME"), nullptr);
}

TEST(GDALImageLoaderTiles, AreCompletedOneByOne)
{
    const TempFolder folder;
    const int before = rasters::openDatasets();
    GDALImageLoader loader(folder / "a.tif", weights);
    ASSERT_TRUE(loader.openWriteTiles(width, height, tileWidth, tileHeight));
    EXPECT_EQ(folder.listing(), "");
    ASSERT_TRUE(writeTile(loader, 3));
    EXPECT_EQ(folder.listing(), "a_2_1.tfw a_2_1.tif");
    expectColour(tileFile(folder, 3), partOf(tiles[3]));
    ASSERT_TRUE(writeTile(loader, 0));
    EXPECT_EQ(folder.listing(), "a_1_1.tfw a_1_1.tif a_2_1.tfw a_2_1.tif");
    EXPECT_EQ(rasters::openDatasets(), before);
}

TEST(GDALImageLoaderTiles, CannotBeWrittenTwice)
{
    const TempFolder folder;
    GDALImageLoader loader(folder / "a.tif", weights);
    ASSERT_TRUE(loader.openWriteTiles(width, height, tileWidth, tileHeight));
    ASSERT_TRUE(writeTile(loader, 0));
    EXPECT_FALSE(loader.writeRGB(Colour::Zero(tileHeight, tileWidth), 0));
    expectColour(tileFile(folder, 0), partOf(tiles[0]));
}

TEST(GDALImageLoaderTiles, AreRefusedOutOfRange)
{
    const TempFolder folder;
    GDALImageLoader loader(folder / "a.tif", weights);
    ASSERT_TRUE(loader.openWriteTiles(width, height, tileWidth, tileHeight));
    for (const int tile : {-1, 6, 7, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
        EXPECT_FALSE(loader.writeRGB(partOf(tiles[0]), tile)) << tile;
    EXPECT_EQ(folder.listing(), "");
    EXPECT_TRUE(writeTile(loader, 5));
}

TEST(GDALImageLoaderTiles, AreRefusedBeforeTheyArePrepared)
{
    const TempFolder folder;
    const GDALImageLoader loader(folder / "a.tif", weights);
    EXPECT_FALSE(writeTile(loader, 0));
    EXPECT_EQ(folder.listing(), "");
}

TEST(GDALImageLoaderTiles, AreCutToTheirBox)
{
    const TempFolder folder;
    GDALImageLoader loader(folder / "a.tif", weights);
    ASSERT_TRUE(loader.openWriteTiles(width, height, tileWidth, tileHeight));
    EXPECT_TRUE(loader.writeRGB(wholeImage(), 0));
    expectColour(tileFile(folder, 0), wholeImage().block(0, 0, tileHeight, tileWidth));
    EXPECT_EQ(folder.listing(), "a_1_1.tfw a_1_1.tif");
}

TEST(GDALImageLoaderTiles, KeepZerosWhereTheMatrixIsTooSmall)
{
    const TempFolder folder;
    GDALImageLoader loader(folder / "a.tif", weights);
    ASSERT_TRUE(loader.openWriteTiles(width, height, tileWidth, tileHeight));
    EXPECT_TRUE(loader.writeRGB(wholeImage().block(0, 0, 3, 5), 4));
    Colour expected = Colour::Zero(tiles[4].height, tiles[4].width);
    expected.block(0, 0, 3, 5) = wholeImage().block(0, 0, 3, 5);
    expectColour(tileFile(folder, 4), expected);
}

TEST(GDALImageLoaderTiles, AreSharedBetweenCopies)
{
    const TempFolder folder;
    auto original = std::make_unique<GDALImageLoader>(folder / "a.tif", weights);
    ASSERT_TRUE(original->openWriteTiles(width, height, tileWidth, tileHeight));
    const GDALImageLoader copy(*original);
    GDALImageLoader assigned(folder / "elsewhere.tif", {});
    assigned = *original;

    EXPECT_TRUE(writeTile(copy, 0));
    EXPECT_FALSE(writeTile(*original, 0)) << "completed through the copy";
    EXPECT_TRUE(writeTile(assigned, 1));
    EXPECT_FALSE(writeTile(copy, 1)) << "completed through the other copy";
    EXPECT_TRUE(writeTile(*original, 2));
    original.reset();
    EXPECT_TRUE(writeTile(copy, 3)) << "the set outlives the loader that opened it";
    EXPECT_TRUE(writeTile(assigned, 4));
    for (std::size_t i = 0; i < 5; ++i)
        expectColour(tileFile(folder, i), partOf(tiles[i]));
}

TEST(GDALImageLoaderTiles, AreNotSharedWithCopiesMadeBefore)
{
    const TempFolder folder;
    GDALImageLoader original(folder / "a.tif", weights);
    const GDALImageLoader copy(original);
    ASSERT_TRUE(original.openWriteTiles(width, height, tileWidth, tileHeight));
    EXPECT_FALSE(writeTile(copy, 0));
    EXPECT_TRUE(writeTile(original, 0));
}

TEST(GDALImageLoaderTiles, OfOneLoaderAreReplacedWithoutThoseOfItsCopies)
{
    const TempFolder folder;
    GDALImageLoader original(folder / "a.tif", weights);
    ASSERT_TRUE(original.openWriteTiles(width, height, tileWidth, tileHeight));
    GDALImageLoader copy(original);
    ASSERT_TRUE(copy.openWriteTiles(10, 10, 10, 10));
    EXPECT_FALSE(writeTile(copy, 1)) << "the new set has one tile";
    EXPECT_TRUE(writeTile(original, 5));
    expectColour(tileFile(folder, 5), partOf(tiles[5]));
}

TEST(GDALImageLoaderTiles, OfAnEarlierSetAreDeleted)
{
    const TempFolder folder;
    GDALImageLoader loader(folder / "a.tif", weights);
    writeAll(loader);
    ASSERT_TRUE(loader.openWriteTiles(10, 10, 10, 10));
    EXPECT_EQ(folder.listing(), "");
    EXPECT_TRUE(loader.writeRGB(wholeImage().block(0, 0, 10, 10), 0));
    EXPECT_EQ(folder.listing(), "a_1_1.tfw a_1_1.tif");
}

TEST(GDALImageLoaderTiles, AreNotPreparedWithoutPixels)
{
    const TempFolder folder;
    makeFile(folder / "a_1_1.tif", "earlier");
    GDALImageLoader loader(folder / "a.tif", weights);
    ASSERT_FALSE(writeTile(loader, 0));
    for (const std::vector<int>& size : std::vector<std::vector<int>>{
             {0, 70, 64, 32}, {100, 0, 64, 32}, {100, 70, 0, 32}, {100, 70, 64, 0}, {100, 70, -64, 32}}) {
        EXPECT_FALSE(loader.openWriteTiles(size[0], size[1], size[2], size[3]));
        EXPECT_FALSE(writeTile(loader, 0));
    }
    EXPECT_EQ(fileText(folder / "a_1_1.tif"), "earlier");
    EXPECT_FALSE(GDALImageLoader("", weights).openWriteTiles(width, height, tileWidth, tileHeight));
}

TEST(GDALImageLoaderTiles, AreLetGoByAFailedPreparation)
{
    const TempFolder folder;
    GDALImageLoader loader(folder / "a.tif", weights);
    ASSERT_TRUE(loader.openWriteTiles(width, height, tileWidth, tileHeight));
    EXPECT_FALSE(loader.openWriteTiles(0, 0, tileWidth, tileHeight));
    EXPECT_FALSE(writeTile(loader, 0));
}

TEST(GDALImageLoaderTiles, AreFalseWhereNoFileCanBe)
{
    const TempFolder folder;
    makeFile(folder / "file", "content");
    const OwnMessages messages;
    GDALImageLoader loader(folder / "file/a.tif", weights);
    loader.openWriteTiles(width, height, tileWidth, tileHeight);
    EXPECT_FALSE(writeTile(loader, 0));
    EXPECT_EQ(folder.listing(), "file");
    EXPECT_EQ(messages.text(), "");
}
