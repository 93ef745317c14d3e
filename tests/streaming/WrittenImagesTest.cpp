#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelMatrix;
using vexel::Workspace;

namespace {

constexpr int width = 40;
constexpr int height = 30;

void fill(GDALStreamer& set, int bands)
{
    for (int band = 1; band <= bands; ++band)
        ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(width, height, band), static_cast<std::size_t>(band),
                              box(0, 0, width, height)));
}

void writeImage(const QString& path, int bands)
{
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(path, static_cast<std::uint64_t>(bands), DataType::UInt8, width, height));
    fill(set, bands);
    EXPECT_TRUE(set.close());
}

/// The bytes of the file that GDAL makes of the same pixels.
std::string madeByGdal(const QString& path, int bands, const char* driver,
                       const std::vector<std::string>& options = {})
{
    rasters::Description d{width, height, bands};
    d.driver = driver;
    d.options = options;
    rasters::make(path, d, storedNoise<unsigned char>());
    return fileText(path);
}

} // namespace

TEST(WrittenImage, JpegHasQuality95)
{
    const TempFolder folder;
    for (const char* name : {"a.jpg", "b.jpeg", "c.JPG"}) {
        writeImage(folder / name, 3);
        const std::string written = fileText(folder / name);
        EXPECT_EQ(written, madeByGdal(folder / "gdal.jpg", 3, "JPEG", {"QUALITY=95"})) << name;
        EXPECT_NE(written, madeByGdal(folder / "gdal.jpg", 3, "JPEG", {"QUALITY=94"})) << name;
    }
}

TEST(WrittenImage, JpegHasTheQualityThatTheSetWasGiven)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.jpg", 1, DataType::UInt8, width, height));
    set.setJPEGQuality(40);
    fill(set, 1);
    ASSERT_TRUE(set.close());
    EXPECT_EQ(fileText(folder / "a.jpg"), madeByGdal(folder / "gdal.jpg", 1, "JPEG", {"QUALITY=40"}));
}

TEST(WrittenImage, QualityReachesEveryTileButNoLaterFile)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.jpg", 1, DataType::UInt8, pixelFrame(2 * width, height), "", "", "",
                              GdalFileType::TileSet, width, height));
    set.setJPEGQuality(40);
    for (int tile = 0; tile < 2; ++tile)
        ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(width, height), 1,
                              box(tile * width, 0, (tile + 1) * width, height)));
    ASSERT_TRUE(set.close());
    const std::string expected = madeByGdal(folder / "gdal.jpg", 1, "JPEG", {"QUALITY=40"});
    EXPECT_EQ(fileText(folder / "a_1_1.jpg"), expected);
    EXPECT_EQ(fileText(folder / "a_2_1.jpg"), expected);

    ASSERT_TRUE(set.openWrite(folder / "b.jpg", 1, DataType::UInt8, width, height));
    fill(set, 1);
    ASSERT_TRUE(set.close());
    EXPECT_EQ(fileText(folder / "b.jpg"), madeByGdal(folder / "gdal.jpg", 1, "JPEG", {"QUALITY=95"}));
}

TEST(WrittenImage, QualityOfASetWithoutFilesHasNoEffect)
{
    const TempFolder folder;
    GDALStreamer set;
    set.setJPEGQuality(40);
    ASSERT_TRUE(set.openWrite(folder / "a.jpg", 1, DataType::UInt8, width, height));
    fill(set, 1);
    ASSERT_TRUE(set.close());
    EXPECT_EQ(fileText(folder / "a.jpg"), madeByGdal(folder / "gdal.jpg", 1, "JPEG", {"QUALITY=95"}));
}

TEST(WrittenImage, PngHoldsThePixels)
{
    const TempFolder folder;
    for (int bands = 1; bands <= 4; ++bands) {
        writeImage(folder / "a.png", bands);
        EXPECT_EQ(fileText(folder / "a.png"), madeByGdal(folder / "gdal.png", bands, "PNG"));
        for (int band = 1; band <= bands; ++band)
            EXPECT_EQ(gdalPixels<unsigned char>(folder / "a.png", band),
                      noiseMatrix<unsigned char>(width, height, band));
    }
}

TEST(WrittenImage, PngHoldsSixteenBits)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.png", 1, DataType::UInt16, width, height));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned short>(width, height), 1, box(0, 0, width, height)));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(gdalPixels<unsigned short>(folder / "a.png"), noiseMatrix<unsigned short>(width, height));
    EXPECT_EQ(rasters::open(folder / "a.png")->GetRasterBand(1)->GetRasterDataType(), GDT_UInt16);
}

TEST(WrittenImage, PixelTypeThatTheFormatLacksIsConverted)
{
    const TempFolder folder;
    const OwnMessages log;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.png", 1, DataType::Float32, width, height));
    ASSERT_TRUE(set.write(PixelMatrix<float>(PixelMatrix<float>::Constant(height, width, 77.0f)), 1,
                          box(0, 0, width, height)));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(rasters::pixels(folder / "a.png")[5], 77);
}

TEST(WrittenImage, ComesWithoutWorldAndProjectionFile)
{
    const TempFolder folder;
    for (const char* name : {"a.png", "b.jpg"}) {
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / name, 1, DataType::UInt8, Workspace(100, 200, 140, 230, 1),
                                  QString::fromStdString(rasters::wkt(32633)), "2021:03:04 05:06:07", "me",
                                  GdalFileType::SingleFile, 0, 0));
        fill(set, 1);
        ASSERT_TRUE(set.close());
    }
    EXPECT_EQ(folder.listing(), "a.png b.jpg");
}

TEST(WrittenImage, Jpeg2000YieldsNoFile)
{
    const TempFolder folder;
    const OwnMessages log;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.jp2", 1, DataType::UInt8, width, height));
    fill(set, 1);
    PixelMatrix<unsigned char> back;
    EXPECT_TRUE(set.read(back, 1, box(0, 0, width, height), 1.0, /*fill=*/false, 0));
    EXPECT_EQ(back, noiseMatrix<unsigned char>(width, height));
    EXPECT_TRUE(set.close());
    EXPECT_EQ(folder.listing(), "");
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(WrittenImage, PixelsNeverWrittenAreZero)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.png", 1, DataType::UInt16, width, height));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned short>(1, 1), 1, box(7, 8, 8, 9)));
    ASSERT_TRUE(set.close());
    PixelMatrix<unsigned short> expected = PixelMatrix<unsigned short>::Zero(height, width);
    expected(8, 7) = noisePixel<unsigned short>(0, 0);
    EXPECT_EQ(gdalPixels<unsigned short>(folder / "a.png"), expected);
}

TEST(WrittenImage, IntoAVanishedFolderIsLogged)
{
    const TempFolder folder;
    for (const char* name : {"gone/a.png", "gone/a.jpg"}) {
        const OwnMessages log;
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / name, 1, DataType::UInt8, width, height));
        fill(set, 1);
        std::filesystem::remove_all((folder / "gone").toStdString());
        EXPECT_TRUE(set.close());
        // No closing bracket in this message, unlike the one of a GeoTIFF.
        EXPECT_EQ(log.text(), "7: Failed to write to <" + (folder / name).toStdString());
        EXPECT_EQ(folder.listing(), "");
        EXPECT_EQ(rasters::openDatasets(), 0);
    }
}

TEST(WrittenImage, OfATypeThatTheFormatCannotHoldAtAllIsLogged)
{
    const TempFolder folder;
    const OwnMessages log;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.png", 5, DataType::UInt8, width, height));
    fill(set, 5);
    EXPECT_TRUE(set.close());
    EXPECT_EQ(log.text(), "7: Failed to write to <" + (folder / "a.png").toStdString());
    EXPECT_FALSE(exists(folder / "a.png"));
}
