#include "imageloader/GDALImageLoader.h"

#include "images.h"
#include "support/TempFolder.h"

#include <QDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string>

using namespace images;
using namespace streamingtest;
using vexel::GDALImageLoader;

namespace {

constexpr int width = 41;
constexpr int height = 30;

Gray noisyGray(int columns = width, int rows = height)
{
    return noiseMatrix<unsigned char>(columns, rows);
}

Floats noisyFloats()
{
    return noiseMatrix<float>(width, height);
}

void expectRaster(const QString& path, int columns, int rows, int bands, GDALDataType type)
{
    const rasters::Dataset dataset = rasters::open(path);
    ASSERT_TRUE(dataset) << path.toStdString();
    EXPECT_EQ(dataset->GetRasterXSize(), columns);
    EXPECT_EQ(dataset->GetRasterYSize(), rows);
    ASSERT_EQ(dataset->GetRasterCount(), bands);
    EXPECT_EQ(dataset->GetRasterBand(1)->GetRasterDataType(), type);
}

void expectColour(const QString& path, const Colour& expected)
{
    expectRaster(path, static_cast<int>(expected.cols()), static_cast<int>(expected.rows()), 3, GDT_Byte);
    for (int band = 1; band <= 3; ++band)
        EXPECT_TRUE(gdalPixels<unsigned char>(path, band) == bandOf(expected, band)) << "band " << band;
}

/// A picture without sharp edges.
Colour smoothColour()
{
    Colour colour(height, width);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            colour(y, x) = packed(static_cast<unsigned int>(6 * x), static_cast<unsigned int>(8 * y),
                                  static_cast<unsigned int>(3 * (x + y)));
    return colour;
}

/// The largest difference of a sample.
int worst(const Gray& a, const Gray& b)
{
    return (a.cast<int>() - b.cast<int>()).cwiseAbs().maxCoeff();
}

int worst(const Colour& a, const Colour& b)
{
    int largest = 0;
    for (int band = 1; band <= 3; ++band)
        largest = std::max(largest, worst(bandOf(a, band), bandOf(b, band)));
    return largest;
}

} // namespace

class GDALImageLoaderLosslessWrite : public testing::TestWithParam<const char*>
{
protected:
    const TempFolder m_folder;
    const QString m_path = m_folder / GetParam();
    const GDALImageLoader m_loader{m_path, weights};
};

TEST_P(GDALImageLoaderLosslessWrite, ColourReadsBackEqual)
{
    const LogCapture log;
    const Colour colour = noisyColour(width, height);
    EXPECT_TRUE(m_loader.writeRGB(colour));
    expectColour(m_path, colour);
    Colour back;
    EXPECT_TRUE(m_loader.readRGB(back, 1));
    EXPECT_EQ(back, opaque(colour)) << "alpha is not written";
    EXPECT_EQ(log.text(), "");
}

TEST_P(GDALImageLoaderLosslessWrite, GrayReadsBackEqual)
{
    const LogCapture log;
    EXPECT_TRUE(m_loader.writeGray(noisyGray()));
    expectRaster(m_path, width, height, 1, GDT_Byte);
    EXPECT_EQ(gdalPixels<unsigned char>(m_path), noisyGray());
    Gray back;
    EXPECT_TRUE(m_loader.readGray(back, 1));
    EXPECT_EQ(back, noisyGray());
    EXPECT_EQ(log.text(), "");
}

TEST_P(GDALImageLoaderLosslessWrite, TakesAnotherPath)
{
    const GDALImageLoader other("none.tif", weights);
    EXPECT_TRUE(other.writeRGB(m_path, noisyColour(width, height)));
    expectColour(m_path, noisyColour(width, height));
    EXPECT_TRUE(other.writeGray(m_path, noisyGray()));
    EXPECT_EQ(gdalPixels<unsigned char>(m_path), noisyGray());
    EXPECT_FALSE(exists("none.tif"));
}

INSTANTIATE_TEST_SUITE_P(Formats, GDALImageLoaderLosslessWrite, testing::Values("a.tif", "a.png"),
                         [](const auto& row) { return std::string(row.param).substr(2); });

TEST(GDALImageLoaderJpegWrite, GivesTheFileThatGdalGivesAtQuality95)
{
    const TempFolder folder;
    const GDALImageLoader loader(folder / "a.jpg", weights);
    const Colour colour = noisyColour(width, height);
    EXPECT_TRUE(loader.writeRGB(colour));
    make(folder / "gdal.jpg", width, height, 3, bandsOf(colour));
    EXPECT_EQ(fileText(folder / "a.jpg"), fileText(folder / "gdal.jpg"));
    EXPECT_TRUE(loader.writeGray(noisyGray()));
    make(folder / "gdal.jpg", width, height, 1);
    EXPECT_EQ(fileText(folder / "a.jpg"), fileText(folder / "gdal.jpg"));
}

TEST(GDALImageLoaderJpegWrite, ReadsBackWithinItsError)
{
    const TempFolder folder;
    const GDALImageLoader loader(folder / "a.jpg", weights);
    EXPECT_TRUE(loader.writeRGB(smoothColour()));
    Colour colour;
    EXPECT_TRUE(loader.readRGB(colour, 1));
    ASSERT_EQ(colour.rows(), height);
    ASSERT_EQ(colour.cols(), width);
    // The steps of the coefficients at this quality, and chroma at half the resolution.
    EXPECT_LE(worst(colour, smoothColour()), 12);
    EXPECT_EQ(colour, opaque(colour));

    EXPECT_TRUE(loader.writeGray(bandOf(smoothColour(), 1)));
    Gray gray;
    EXPECT_TRUE(loader.readGray(gray, 1));
    ASSERT_EQ(gray.rows(), height);
    ASSERT_EQ(gray.cols(), width);
    EXPECT_LE(worst(gray, bandOf(smoothColour(), 1)), 4);
}

TEST(GDALImageLoaderWriteFloat, ReadsBackEqual)
{
    const TempFolder folder;
    const GDALImageLoader loader(folder / "a.tif", weights);
    EXPECT_TRUE(loader.writeFloat(noisyFloats()));
    expectRaster(folder / "a.tif", width, height, 1, GDT_Float32);
    EXPECT_EQ(gdalPixels<float>(folder / "a.tif"), noisyFloats());
    Floats back;
    EXPECT_TRUE(loader.readFloat(back, 1));
    EXPECT_EQ(back, noisyFloats());

    EXPECT_TRUE(loader.writeFloat(folder / "b.tif", noisyFloats()));
    EXPECT_EQ(gdalPixels<float>(folder / "b.tif"), noisyFloats());
}

TEST(GDALImageLoaderWrite, TakesColumnsForWidth)
{
    const TempFolder folder;
    const GDALImageLoader loader(folder / "a.tif", weights);
    EXPECT_TRUE(loader.writeGray(Gray::Zero(10, 20)));
    expectRaster(folder / "a.tif", 20, 10, 1, GDT_Byte);
    EXPECT_TRUE(loader.writeRGB(Colour::Zero(10, 20)));
    expectRaster(folder / "a.tif", 20, 10, 3, GDT_Byte);
    EXPECT_TRUE(loader.writeFloat(Floats::Zero(10, 20)));
    expectRaster(folder / "a.tif", 20, 10, 1, GDT_Float32);
}

TEST(GDALImageLoaderWrite, MakesATiffInPixelUnitsWithTheDefaultSoftware)
{
    const TempFolder folder;
    EXPECT_TRUE(GDALImageLoader(folder / "a.tif", weights).writeGray(noisyGray()));
    const rasters::Dataset dataset = rasters::open(folder / "a.tif");
    ASSERT_TRUE(dataset);
    double geotransform[6] = {};
    ASSERT_EQ(dataset->GetGeoTransform(geotransform), CE_None);
    EXPECT_DOUBLE_EQ(geotransform[0], 0);
    EXPECT_DOUBLE_EQ(geotransform[1], 1e-5);
    EXPECT_DOUBLE_EQ(geotransform[3], 0);
    EXPECT_DOUBLE_EQ(geotransform[5], -1e-5);
    EXPECT_STREQ(dataset->GetProjectionRef(), "");
    EXPECT_STREQ(dataset->GetMetadataItem("TIFFTAG_SOFTWARE"), "vexelstudio");
    EXPECT_EQ(dataset->GetMetadataItem("TIFFTAG_DATETIME"), nullptr);
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
}

TEST(GDALImageLoaderWrite, ReplacesAnEarlierImage)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {100, 100, 5, GDT_Float64}, [](int, int, int) { return 1.0; });
    EXPECT_TRUE(GDALImageLoader(folder / "a.tif", weights).writeRGB(noisyColour(width, height)));
    expectColour(folder / "a.tif", noisyColour(width, height));
}

TEST(GDALImageLoaderWrite, MakesTheFolder)
{
    const TempFolder folder;
    EXPECT_TRUE(GDALImageLoader(folder / "new/a.tif", weights).writeGray(noisyGray()));
    EXPECT_EQ(gdalPixels<unsigned char>(folder / "new/a.tif"), noisyGray());
}

TEST(GDALImageLoaderWrite, RefusesMatricesWithoutPixelsAndLeavesAnEarlierImage)
{
    const TempFolder folder;
    makeFile(folder / "a.tif", "earlier");
    const GDALImageLoader loader(folder / "a.tif", weights);
    for (const Eigen::Index rows : {0, 5})
        for (const Eigen::Index columns : {Eigen::Index{0}, rows == 0 ? Eigen::Index{5} : Eigen::Index{0}}) {
            EXPECT_FALSE(loader.writeRGB(Colour(rows, columns)));
            EXPECT_FALSE(loader.writeGray(Gray(rows, columns)));
            EXPECT_FALSE(loader.writeFloat(Floats(rows, columns)));
        }
    EXPECT_EQ(folder.listing(), "a.tif");
    EXPECT_EQ(fileText(folder / "a.tif"), "earlier");
}

TEST(GDALImageLoaderWrite, RefusesSidesOfMoreThanThirtyTwoBits)
{
    const TempFolder folder;
    const GDALImageLoader loader(folder / "a.tif", weights);
    // Cut to 32 bits the side would be 1. The pixels are never touched, so they take no memory.
    const Eigen::Index side = (Eigen::Index{1} << 32) + 1;
    try {
        EXPECT_FALSE(loader.writeGray(Gray(1, side)));
        EXPECT_FALSE(loader.writeGray(Gray(side, 1)));
    } catch (const std::bad_alloc&) {
        GTEST_SKIP() << "the system does not hand out 4 GiB";
    }
    EXPECT_EQ(folder.listing(), "");
}

TEST(GDALImageLoaderWrite, IsFalseWhereNoFileCanBe)
{
    const TempFolder folder;
    makeFile(folder / "file", "content");
    const OwnMessages messages;
    for (const QString& path : {QString(), folder / "file/a.tif"}) {
        const GDALImageLoader loader(path, weights);
        EXPECT_FALSE(loader.writeRGB(noisyColour(width, height))) << path.toStdString();
        EXPECT_FALSE(loader.writeGray(noisyGray())) << path.toStdString();
        EXPECT_FALSE(loader.writeFloat(noisyFloats())) << path.toStdString();
    }
    EXPECT_EQ(folder.listing(), "file");
    EXPECT_EQ(messages.text(), "");
}

TEST(GDALImageLoaderWrite, DoesNotTellOfAFileThatCannotBeCompleted)
{
    const TempFolder folder;
    QDir().mkdir(folder / "a.tif");
    makeFile(folder / "a.tif/occupant");
    const OwnMessages messages;
    EXPECT_TRUE(GDALImageLoader(folder / "a.tif", weights).writeGray(noisyGray()));
    EXPECT_EQ(messages.text(), "7: Failed to write to <" + (folder / "a.tif").toStdString() + ">");
}

TEST(GDALImageLoaderWrite, ClosesTheFile)
{
    const TempFolder folder;
    const int before = rasters::openDatasets();
    EXPECT_TRUE(GDALImageLoader(folder / "a.tif", weights).writeGray(noisyGray()));
    EXPECT_TRUE(GDALImageLoader(folder / "a.png", weights).writeGray(noisyGray()));
    EXPECT_EQ(rasters::openDatasets(), before);
    EXPECT_EQ(folder.listing(), "a.png a.tfw a.tif");
}
