#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "tilefixtures.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>

// What opening a raster logs, and where it says that it comes from.

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelMatrix;

namespace {

void writeTiles(const QString& path)
{
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(path, 1, DataType::UInt8, pixelFrame(16, 8),
                              QString::fromStdString(rasters::wkt(32633)), "", "", GdalFileType::TileSet, 8,
                              8));
    ASSERT_TRUE(set.write(PixelMatrix<unsigned char>::Ones(8, 16).eval(), 1, box(0, 0, 16, 8)));
    set.close();
    ASSERT_FALSE(set.lastError()) << set.lastError().message().toStdString();
}

} // namespace

TEST(TileSetWithoutExtension, SaysNothingOfItsOwnSideFiles)
{
    const TempFolder folder;
    writeTiles(folder / "set");
    // What GDAL and a writing that was cut off leave.
    for (const char* name : {"set_1_1.aux.xml", "set_1_1.ovr", "set_1_1.msk", "set_1_1_tmp.tif",
                             "set_1_1_new_tmp.tif", "set_1_1_tmp.tif.aux.xml"})
        makeFile(folder / name);
    const OwnMessages messages;
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "set", GdalFileType::TileSet));
    EXPECT_EQ(set.noTiles(), 2u);
    EXPECT_EQ(messages.text(), "");
}

TEST(TileSetWithoutExtension, IsOpenedThoughItsTilesHaveOddNeighbours)
{
    const TempFolder folder;
    writeTiles(folder / "set");
    makeFile(folder / "set_1_x");
    const OwnMessages messages;
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "set", GdalFileType::TileSet));
    ASSERT_EQ(messages.messages().size(), 1u) << messages.text();
    EXPECT_EQ(messages.messages()[0].level, 2);
    EXPECT_EQ(messages.messages()[0].file, "tilenames");
}

TEST(TileSetOfSideFileNames, IsASetAllTheSame)
{
    const TempFolder folder;
    for (const char* name : {"set_1_1.prj", "set_1_1.ovr"})
        rasters::make(folder / name, {8, 8}, [](int, int, int) { return 1.0; });
    for (const char* name : {"set.prj", "set.ovr"}) {
        GDALStreamer set;
        EXPECT_TRUE(set.openRead(folder / name, GdalFileType::TileSet)) << name;
    }
}

TEST(LogMessages, NameTheFileThatTheyComeFrom)
{
    const TempFolder folder;
    rasters::Description upsideDown{8, 8};
    upsideDown.geotransform = std::array<double, 6>{0, 1, 0, 0, 0, 1};
    rasters::make(folder / "a.tif", upsideDown, [](int, int, int) { return 1.0; });
    rasters::Description tiny{8, 8};
    tiny.geotransform = std::array<double, 6>{0, 1e-9, 0, 0, 0, -1e-9};
    rasters::make(folder / "b.tif", tiny, [](int, int, int) { return 1.0; });
    std::filesystem::create_directories((folder / "c.tif/full").toStdString());

    const OwnMessages messages;
    GDALStreamer set;
    EXPECT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_FALSE(set.openRead(folder / "b.tif"));
    ASSERT_TRUE(set.openWrite(folder / "c.tif", 1, DataType::UInt8, 8, 8));
    ASSERT_TRUE(set.write(PixelMatrix<unsigned char>::Ones(8, 8).eval(), 1, box(0, 0, 8, 8)));
    set.close();
    ASSERT_EQ(messages.messages().size(), 3u) << messages.text();
    EXPECT_EQ(messages.messages()[0].file, "gdal_t");
    EXPECT_EQ(messages.messages()[1].file, "gdal_t");
    EXPECT_NE(messages.messages()[0].line, messages.messages()[1].line);
    EXPECT_EQ(messages.messages()[2].file, "gdal_t_complete");
    EXPECT_GT(messages.messages()[2].line, 0u);
}
