#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"
#include "tilefixtures.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;
using Colours = PixelMatrix<unsigned int>;

namespace {

constexpr int width = 13;
constexpr int height = 6;

double value(int x, int y, int band)
{
    return static_cast<int>(rasters::noise(x, y, band) * 256);
}

unsigned int byteOf(int x, int y, int band)
{
    return static_cast<unsigned int>(value(x, y, band));
}

/// The box as a read with alpha packs it.
Colours packedBox(const PixelBox& b, int bands, unsigned int outside)
{
    Colours out(b.max_corner().y() - b.min_corner().y(), b.max_corner().x() - b.min_corner().x());
    for (int r = 0; r < out.rows(); ++r)
        for (int c = 0; c < out.cols(); ++c) {
            const int x = b.min_corner().x() + c;
            const int y = b.min_corner().y() + r;
            const bool colour = bands >= 3;
            const unsigned int alpha = bands == 4 ? byteOf(x, y, 4) : bands == 2 ? byteOf(x, y, 2) : 255;
            out(r, c) = x < 0 || y < 0 || x >= width || y >= height
                            ? outside
                            : alpha << 24 | byteOf(x, y, 1) << 16 | byteOf(x, y, colour ? 2 : 1) << 8 |
                                  byteOf(x, y, colour ? 3 : 1);
        }
    return out;
}

Colours opaque(const Colours& colours)
{
    return colours.unaryExpr([](unsigned int pixel) { return pixel | 0xFF000000u; });
}

} // namespace

class RasterSetColour : public testing::TestWithParam<const char*>
{
protected:
    void make(int bands, GDALDataType type = GDT_Byte)
    {
        set.close();
        makeBothRoads(folder, {width, height, 5, 4, bands}, type, value);
        ASSERT_TRUE(set.openUpdate(folder / GetParam()));
    }

    Colours whole(int bands)
    {
        Colours out;
        EXPECT_TRUE(set.readRGBA(out, box(0, 0, width, height), 1.0, /*fill=*/true, 0)) << bands;
        return out;
    }

    QuietGdal quiet; // The tile set is found after the single file was not.
    TempFolder folder;
    GDALStreamer set;
};

INSTANTIATE_TEST_SUITE_P(Roads, RasterSetColour, testing::Values("single.tif", "set.tif"),
                         [](const auto& row) {
                             return std::string(row.param).substr(0, std::string(row.param).find('.'));
                         });

TEST_P(RasterSetColour, ReadWithAlphaPacksAllBands)
{
    for (int bands = 1; bands <= 4; ++bands) {
        make(bands);
        for (const PixelBox& b : {box(0, 0, width, height), box(4, 3, 6, 5), box(-2, -1, 9, 9)}) {
            Colours out;
            ASSERT_TRUE(set.readRGBA(out, b, 1.0, /*fill=*/true, 0x12345678u)) << bands;
            EXPECT_EQ(out, packedBox(b, bands, 0x12345678u)) << bands;
        }
    }
}

TEST_P(RasterSetColour, ReadWithoutAlphaIsOpaqueEverywhere)
{
    for (const int bands : {1, 3, 4}) {
        make(bands);
        for (const PixelBox& b : {box(0, 0, width, height), box(4, 3, 6, 5), box(-2, -1, 9, 9)}) {
            Colours out;
            ASSERT_TRUE(set.readRGB(out, b, 1.0, /*fill=*/true, 0x12345678u)) << bands;
            EXPECT_EQ(out, opaque(packedBox(b, bands, 0x12345678u))) << bands;
        }
    }
}

TEST_P(RasterSetColour, ReadWithoutFillKeepsWhatTheMatrixHolds)
{
    const PixelBox b = box(-2, -1, 9, 9);
    make(4);
    Colours out = Colours::Constant(10, 11, 0x01020304u);
    ASSERT_TRUE(set.readRGBA(out, b, 1.0, /*fill=*/false, 0));
    EXPECT_EQ(out, packedBox(b, 4, 0x01020304u));
    out = Colours::Constant(10, 11, 0x01020304u);
    ASSERT_TRUE(set.readRGB(out, b, 1.0, /*fill=*/false, 0));
    EXPECT_EQ(out, opaque(packedBox(b, 4, 0x01020304u)));
}

TEST_P(RasterSetColour, ReadTakesTheWholeRasterForAnEmptyBox)
{
    make(4);
    Colours out;
    ASSERT_TRUE(set.readRGBA(out, box(7, 7, 7, 7), 1.0, /*fill=*/false, 0));
    EXPECT_EQ(out, packedBox(box(0, 0, width, height), 4, 0));
    ASSERT_TRUE(set.readRGB(out, box(7, 7, 7, 7), 0.5, /*fill=*/false, 0));
    EXPECT_EQ(out.rows(), 3);
    EXPECT_EQ(out.cols(), 7);
}

TEST_P(RasterSetColour, ReadFailsForFilesThatAreNoPicture)
{
    Colours out;
    make(2);
    EXPECT_FALSE(set.readRGB(out, box(0, 0, 2, 2), 1.0, /*fill=*/true, 0));
    EXPECT_TRUE(set.readRGBA(out, box(0, 0, 2, 2), 1.0, /*fill=*/true, 0));
    make(5);
    EXPECT_FALSE(set.readRGB(out, box(0, 0, 2, 2), 1.0, /*fill=*/true, 0));
    EXPECT_FALSE(set.readRGBA(out, box(0, 0, 2, 2), 1.0, /*fill=*/true, 0));
    for (const int bands : {1, 2}) {
        make(bands, GDT_Int16);
        EXPECT_FALSE(set.readRGB(out, box(0, 0, 2, 2), 1.0, /*fill=*/true, 0));
        EXPECT_FALSE(set.readRGBA(out, box(0, 0, 2, 2), 1.0, /*fill=*/true, 0));
    }
    make(3, GDT_Int16);
    EXPECT_TRUE(set.readRGB(out, box(0, 0, 2, 2), 1.0, /*fill=*/true, 0));
    EXPECT_FALSE(set.readRGB(out, box(0, 0, 2, 2), -1.0, /*fill=*/true, 0));
}

TEST_P(RasterSetColour, SelectorsWorkAsBandsOfUnsignedIntegersToo)
{
    make(4);
    const PixelBox b = box(1, 1, 12, 5);
    Colours out;
    ASSERT_TRUE(set.read(out, 100004, b, 1.0, /*fill=*/true, 0));
    EXPECT_EQ(out, packedBox(b, 4, 0));
    ASSERT_TRUE(set.read(out, 100003, b, 1.0, /*fill=*/true, 0));
    EXPECT_EQ(opaque(out), opaque(packedBox(b, 4, 0)));
    EXPECT_FALSE(set.write(out, 100003, b));
    EXPECT_TRUE(set.write(Colours(Colours::Constant(4, 11, 0x01020304u)), 100004, b));
    EXPECT_EQ(whole(4)(1, 1), 0x01020304u);
}

TEST_P(RasterSetColour, WriteWithAlphaUnpacksIntoFourBands)
{
    make(4);
    const PixelBox b = box(-1, 2, 12, 8);
    const Colours patch = noiseMatrix<unsigned int>(13, 6, 9);
    ASSERT_TRUE(set.writeRGBA(patch, b));
    Colours expected = packedBox(box(0, 0, width, height), 4, 0);
    expected.block(2, 0, 4, 12) = patch.block(0, 1, 4, 12);
    EXPECT_EQ(whole(4), expected);
}

TEST_P(RasterSetColour, WriteWithoutAlphaUnpacksIntoThreeBands)
{
    make(3);
    const PixelBox b = box(4, 3, 7, 5);
    const Colours patch = noiseMatrix<unsigned int>(3, 2, 9);
    ASSERT_TRUE(set.writeRGB(patch, b));
    Colours expected = packedBox(box(0, 0, width, height), 3, 0);
    expected.block(3, 4, 2, 3) = opaque(patch);
    EXPECT_EQ(whole(3), expected);
}

TEST_P(RasterSetColour, WriteTakesTheOverlapForAnEmptyBox)
{
    make(4);
    const Colours patch = noiseMatrix<unsigned int>(20, 5, 9);
    ASSERT_TRUE(set.writeRGBA(patch, box(2, 2, 2, 2)));
    Colours expected = packedBox(box(0, 0, width, height), 4, 0);
    expected.topRows(5) = patch.leftCols(width);
    EXPECT_EQ(whole(4), expected);
}

TEST_P(RasterSetColour, WriteNeedsExactlyTheBands)
{
    const Colours patch = noiseMatrix<unsigned int>(width, height, 9);
    for (int bands = 1; bands <= 5; ++bands) {
        make(bands);
        EXPECT_EQ(set.writeRGB(patch, box(0, 0, width, height)), bands == 3) << bands;
        EXPECT_EQ(set.writeRGBA(patch, box(0, 0, width, height)), bands == 4) << bands;
        // Not even a write that touches no file.
        EXPECT_EQ(set.writeRGB(patch, box(100, 100, 101, 101)), bands == 3) << bands;
        EXPECT_EQ(set.writeRGBA(patch, box(100, 100, 101, 101)), bands == 4) << bands;
    }
}

TEST(RasterSetColourWrite, NeedsAWritableRaster)
{
    const TempFolder folder;
    const QuietGdal quiet;
    makeBothRoads(folder, {width, height, 5, 4, 3}, GDT_Byte, value);
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "set.tif"));
    EXPECT_FALSE(set.writeRGB(noiseMatrix<unsigned int>(width, height, 9), box(0, 0, width, height)));
    EXPECT_TRUE(set.writeRGB(noiseMatrix<unsigned int>(1, 1, 9), box(-1, -1, 0, 0)));
}

TEST(RasterSetColourWrite, MakesAPictureThatReadsBack)
{
    const TempFolder folder;
    const Colours picture = noiseMatrix<unsigned int>(width, height, 9);
    for (const char* name : {"a.tif", "a.png"}) {
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / name, 4, DataType::RGBA, width, height));
        ASSERT_TRUE(set.writeRGBA(picture, box(0, 0, width, height)));
        ASSERT_TRUE(set.close());
        ASSERT_TRUE(set.openRead(folder / name));
        EXPECT_EQ(set.dtype(), DataType::UInt8);
        EXPECT_EQ(set.noBands(), 4u);
        Colours back;
        ASSERT_TRUE(set.readRGBA(back, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
        EXPECT_EQ(back, picture);
        EXPECT_EQ(rasters::pixels(folder / name, 1)[0], picture(0, 0) >> 16 & 255);
    }
}
