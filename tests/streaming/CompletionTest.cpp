#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/GdalOption.h"
#include "support/InFolder.h"
#include "support/TempFolder.h"

#include <cpl_conv.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

// What completing a file leaves behind, and what it takes along of an earlier one.

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelMatrix;
using vexel::Workspace;

namespace {

const Workspace kExtent(0, 0, 800000, 600000, 100000);

bool openSet(GDALStreamer& set, const QString& path, GdalFileType type = GdalFileType::SingleFile,
             const QString& wkt = QString())
{
    return set.openWrite(path, 1, DataType::UInt8, kExtent, wkt, QString(), QString(), type, 8, 6);
}

void writeRaster(const QString& path, GdalFileType type = GdalFileType::SingleFile,
                 const QString& wkt = QString())
{
    GDALStreamer set;
    ASSERT_TRUE(openSet(set, path, type, wkt));
    ASSERT_TRUE(set.write(PixelMatrix<unsigned char>(PixelMatrix<unsigned char>::Constant(6, 8, 7)), 1,
                          box(0, 0, 8, 6)));
    ASSERT_TRUE(set.close());
    ASSERT_FALSE(set.lastError());
}

} // namespace

TEST(Completion, TakesWhatBelongsToAnEarlierRasterAlong)
{
    const TempFolder folder;
    for (const char* name : {"a.tif", "a.tif.ovr", "a.tif.aux.xml", "a.tif.msk", "a.tif_tmp.tif",
                             "a.tif_new_tmp.tif", "a.tif_new_tmp.tif.aux.xml", "b.tif.ovr", "a.ovr"})
        makeFile(folder / name);
    GDALStreamer set;
    ASSERT_TRUE(openSet(set, folder / "a.tif"));
    EXPECT_EQ(folder.listing(), "a.ovr b.tif.ovr");
}

TEST(Completion, TakesAlongWhatCameMeanwhile)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(openSet(set, folder / "a.tif"));
    ASSERT_TRUE(set.write(PixelMatrix<unsigned char>(PixelMatrix<unsigned char>::Constant(6, 8, 7)), 1,
                          box(0, 0, 8, 6)));
    for (const char* name : {"a.tif", "a.tif.ovr", "a.tif.aux.xml", "a.tif.msk"})
        makeFile(folder / name);
    set.close();
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
    EXPECT_EQ(rasters::pixels(folder / "a.tif").at(0), 7.0);
}

TEST(Completion, LeavesTheOptionsOfTheThreadAsTheyAre)
{
    const TempFolder folder;
    const GdalOption pieces("GDAL_SWATH_SIZE", "123456");
    writeRaster(folder / "a.tif");
    EXPECT_STREQ(CPLGetThreadLocalConfigOption("GDAL_SWATH_SIZE", ""), "123456");
    EXPECT_EQ(CPLGetThreadLocalConfigOption("GTIFF_DIRECT_IO", nullptr), nullptr);
}

TEST(Completion, OfASetTakesTilesAndWorkingFilesOfEarlierOnesAlong)
{
    const TempFolder folder;
    for (const char* name :
         {"s_1_1.tif", "s_9_9.tif", "s_9_9.tif.ovr", "s_9_9.tfw", "s_9_9.prj", "s_7_7.tif_tmp.tif",
          "s_7_7.tif_new_tmp.tif", "s_7_7.tfw", "other_1_1.tif_tmp.tif", "s_x.tif_tmp.tif"})
        makeFile(folder / name);
    const OwnMessages messages;
    GDALStreamer set;
    ASSERT_TRUE(openSet(set, folder / "s.tif", GdalFileType::TileSet));
    EXPECT_EQ(folder.listing(), "other_1_1.tif_tmp.tif s_x.tif_tmp.tif");
}

TEST(Completion, LeftOverWorkingFilesAreNoTilesAndLogNothing)
{
    const TempFolder folder;
    writeRaster(folder / "s.tif", GdalFileType::TileSet);
    std::filesystem::copy((folder / "s_1_1.tif").toStdString(), (folder / "s_1_1.tif_tmp.tif").toStdString());
    std::filesystem::copy((folder / "s_1_1.tif").toStdString(),
                          (folder / "s_2_1.tif_new_tmp.tif").toStdString());
    const OwnMessages messages;
    GDALStreamer set;
    EXPECT_TRUE(set.openRead(folder / "s.tif", GdalFileType::TileSet));
    EXPECT_EQ(set.noTiles(), 1u);
    EXPECT_EQ(messages.text(), "");
}

TEST(Completion, KeepsGdalsReferenceInFoldersThatLookLikeOne)
{
    const TempFolder folder;
    for (const char* name : {"c++projects", "x+init=epsg", "plain"}) {
        std::filesystem::create_directory((folder / name).toStdString());
        const QString path = folder / name + "/a.tif";
        writeRaster(path, GdalFileType::SingleFile, QString::fromStdString(rasters::wkt(32633)));
        const rasters::Dataset written = rasters::open(path);
        ASSERT_TRUE(written) << name;
        EXPECT_NE(std::string(written->GetProjectionRef()).find("33N"), std::string::npos) << name;
    }
}

TEST(Completion, KeepsGdalsReferenceInFilesThatLookLikeOne)
{
    const TempFolder folder;
    const InFolder inside(folder.path());
    for (const char* name : {"crs:web.tif", "DICT:a,b.tif", "c++projects.tif", "plain.tif"}) {
        writeRaster(name, GdalFileType::SingleFile, QString::fromStdString(rasters::wkt(32633)));
        const rasters::Dataset written = rasters::open(folder / name);
        ASSERT_TRUE(written) << name;
        EXPECT_NE(std::string(written->GetProjectionRef()).find("33N"), std::string::npos) << name;
    }
}

TEST(Completion, OfAnImageComesInOneGoToo)
{
    const TempFolder folder;
    for (const char* name : {"a.png", "a.jpg"}) {
        makeFile(folder / name + ".aux.xml");
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / name, 1, DataType::UInt8, 8, 6));
        ASSERT_TRUE(set.write(PixelMatrix<unsigned char>(PixelMatrix<unsigned char>::Constant(6, 8, 7)), 1,
                              box(0, 0, 8, 6)));
        set.close();
        EXPECT_NEAR(rasters::pixels(folder / name).at(0), 7.0, 1.0);
    }
    EXPECT_EQ(folder.listing(), "a.jpg a.png");
}

TEST(Completion, OfAnImageThatFailsLeavesNothing)
{
    const TempFolder folder;
    const OwnMessages messages;
    GDALStreamer set;
    // GDAL's JPEG has one, three or four bands.
    ASSERT_TRUE(set.openWrite(folder / "a.jpg", 2, DataType::UInt8, 8, 6));
    ASSERT_TRUE(set.write(PixelMatrix<unsigned char>(PixelMatrix<unsigned char>::Constant(6, 8, 7)), 1,
                          box(0, 0, 8, 6)));
    EXPECT_TRUE(set.close());
    EXPECT_EQ(messages.text(), "7: Failed to write to <" + (folder / "a.jpg").toStdString());
    EXPECT_EQ(set.lastError().code, vexel::StreamError::Code::CannotComplete);
    EXPECT_NE(set.lastError().text, "") << "GDAL's own words";
    EXPECT_EQ(folder.listing(), "");
}
