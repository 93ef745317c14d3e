#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/GdalOption.h"
#include "support/TempFolder.h"
#include "support/files.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

// What GDAL makes besides a raster when it is completed: masks inside it or beside it, statistics.

using namespace streamingtest;
using vexel::DataType;
using vexel::GDALMutex;
using vexel::GDALStreamer;

namespace {

constexpr int width = 16;
constexpr int height = 8;

unsigned char maskAt(int x, int y)
{
    return (x + y) % 3 == 0 ? 0 : 255;
}

/// Writes pixels, and a mask for all bands of the file.
void writeMasked(GDALStreamer& set, int bands)
{
    for (int band = 1; band <= bands; ++band)
        ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(width, height, band), static_cast<std::size_t>(band),
                              box(0, 0, width, height)));
    const GDALMutex lock;
    ASSERT_TRUE(set.open(0));
    ASSERT_EQ(set.data(0)->CreateMaskBand(GMF_PER_DATASET), CE_None);
    std::vector<unsigned char> mask;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            mask.push_back(maskAt(x, y));
    ASSERT_EQ(set.data(0)->GetRasterBand(1)->GetMaskBand()->RasterIO(
                  GF_Write, 0, 0, width, height, mask.data(), width, height, GDT_Byte, 0, 0, nullptr),
              CE_None);
}

void expectMask(const QString& path)
{
    const rasters::Dataset dataset = rasters::open(path);
    ASSERT_TRUE(dataset);
    ASSERT_EQ(dataset->GetRasterBand(1)->GetMaskFlags(), GMF_PER_DATASET);
    std::vector<unsigned char> mask(static_cast<std::size_t>(width) * height);
    ASSERT_EQ(dataset->GetRasterBand(1)->GetMaskBand()->RasterIO(GF_Read, 0, 0, width, height, mask.data(),
                                                                 width, height, GDT_Byte, 0, 0, nullptr),
              CE_None);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            EXPECT_EQ(mask[static_cast<std::size_t>(y * width + x)], maskAt(x, y)) << x << ", " << y;
}

void complete(GDALStreamer& set)
{
    const OwnMessages messages;
    EXPECT_TRUE(set.close());
    EXPECT_FALSE(set.lastError()) << set.lastError().message().toStdString();
    EXPECT_EQ(messages.text(), "");
}

} // namespace

TEST(MaskedOutput, JpegsHaveItInside)
{
    for (const int bands : {1, 3}) {
        const TempFolder folder;
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / "out.jpg", static_cast<std::uint64_t>(bands), DataType::UInt8,
                                  width, height));
        writeMasked(set, bands);
        complete(set);
        EXPECT_EQ(folder.listing(), "out.jpg");
        expectMask(folder / "out.jpg");
    }
}

TEST(MaskedOutput, JpegsHaveItForTheNoDataValueOfTheirDataset)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "out.jpg", 1, DataType::UInt8, width, height));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(width, height), 1, box(0, 0, width, height)));
    {
        const GDALMutex lock;
        ASSERT_TRUE(set.open(0));
        ASSERT_EQ(set.data(0)->GetRasterBand(1)->SetNoDataValue(5), CE_None);
    }
    complete(set);
    ASSERT_TRUE(exists(folder / "out.jpg"));
    EXPECT_EQ(rasters::open(folder / "out.jpg")->GetRasterBand(1)->GetMaskFlags(), GMF_PER_DATASET);
}

TEST(MaskedOutput, GeoTiffsHaveItBesideThem)
{
    const TempFolder folder;
    const GdalOption external("GDAL_TIFF_INTERNAL_MASK", "NO");
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "out.tif", 3, DataType::UInt8, width, height));
    writeMasked(set, 3);
    complete(set);
    EXPECT_EQ(folder.listing(), "out.tfw out.tif out.tif.msk");
    expectMask(folder / "out.tif");
    EXPECT_EQ(gdalPixels<unsigned char>(folder / "out.tif", 2), noiseMatrix<unsigned char>(width, height, 2));
}

TEST(MaskedOutput, IsNotThereUnlessRasterAndMaskCanTakeTheirPlaces)
{
    for (const char* inTheWay : {"out.tif", "out.tif.msk"}) {
        const TempFolder folder;
        const GdalOption external("GDAL_TIFF_INTERNAL_MASK", "NO");
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / "out.tif", 3, DataType::UInt8, width, height));
        writeMasked(set, 3);
        std::filesystem::create_directories((folder / inTheWay + "/full").toStdString());
        const OwnMessages messages;
        set.close();
        EXPECT_EQ(set.lastError().code, vexel::StreamError::Code::CannotComplete);
        EXPECT_EQ(folder.listing(), inTheWay);
    }
}
