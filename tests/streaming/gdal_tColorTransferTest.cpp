#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

using namespace streamingtest;
using vexel::DataType;
using vexel::PixelBox;
using vexel::PixelMatrix;
using File = vexel::GDALStreamer::gdal_t;
using Colours = PixelMatrix<unsigned int>;

namespace {

constexpr std::size_t rgb = 100003;
constexpr std::size_t rgba = 100004;
constexpr int width = 13;
constexpr int height = 9;

/// A pixel of the test files, 0 to 255.
int value(int x, int y, int band)
{
    return static_cast<int>(rasters::noise(x, y, band) * 256);
}

unsigned int byteOf(int x, int y, int band)
{
    return static_cast<unsigned int>(value(x, y, band));
}

/// The packed pixel of a file of so many bands, with the alpha that a read with alpha gives.
unsigned int packed(int x, int y, int bands)
{
    const unsigned int gray = byteOf(x, y, 1);
    switch (bands) {
    case 1:
        return 0xFF000000u | gray << 16 | gray << 8 | gray;
    case 2:
        return byteOf(x, y, 2) << 24 | gray << 16 | gray << 8 | gray;
    case 3:
        return 0xFF000000u | byteOf(x, y, 1) << 16 | byteOf(x, y, 2) << 8 | byteOf(x, y, 3);
    default:
        return byteOf(x, y, 4) << 24 | byteOf(x, y, 1) << 16 | byteOf(x, y, 2) << 8 | byteOf(x, y, 3);
    }
}

Colours packedPart(const PixelBox& part, int bands)
{
    Colours expected(part.max_corner().y() - part.min_corner().y(),
                     part.max_corner().x() - part.min_corner().x());
    for (int r = 0; r < expected.rows(); ++r)
        for (int c = 0; c < expected.cols(); ++c)
            expected(r, c) = packed(part.min_corner().x() + c, part.min_corner().y() + r, bands);
    return expected;
}

void makeColourFile(const QString& path, int bands, GDALDataType type = GDT_Byte)
{
    rasters::make(path, {width, height, bands, type}, value);
}

Colours anyColours(int columns, int rows)
{
    return noiseMatrix<unsigned int>(columns, rows, 11);
}

/// The bytes that a band of the file must hold after `colours` were written.
PixelMatrix<unsigned char> channel(const Colours& colours, int shift)
{
    PixelMatrix<unsigned char> bytes(colours.rows(), colours.cols());
    for (Eigen::Index i = 0; i < colours.size(); ++i)
        bytes.data()[i] = static_cast<unsigned char>(colours.data()[i] >> shift);
    return bytes;
}

} // namespace

namespace {

struct ColourCase
{
    int bands;
    GDALDataType type;
};

void PrintTo(const ColourCase& c, std::ostream* stream)
{
    *stream << GDALGetDataTypeName(c.type) << c.bands;
}

class RasterFileColourRead : public testing::TestWithParam<ColourCase>
{
protected:
    void SetUp() override
    {
        makeColourFile(folder / "a.tif", GetParam().bands, GetParam().type);
        ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    }

    TempFolder folder;
    File file;
    PixelBox part = box(2, 1, 9, 7);
};

} // namespace

TEST_P(RasterFileColourRead, WithoutAlphaTakesColourFilesAndGrayBytes)
{
    const auto& [bands, type] = GetParam();
    const bool expected = bands == 3 || bands == 4 || (bands == 1 && type == GDT_Byte);
    Colours out;
    ASSERT_EQ(file.read(out, rgb, part, 7, 6), expected);
    if (!expected)
        return;
    ASSERT_EQ(out.rows(), 6);
    ASSERT_EQ(out.cols(), 7);
    const Colours wanted = packedPart(part, bands);
    for (Eigen::Index i = 0; i < out.size(); ++i)
        EXPECT_EQ(out.data()[i] & 0xFFFFFFu, wanted.data()[i] & 0xFFFFFFu);
    if (bands == 1) {
        EXPECT_EQ(out, wanted);
    }
    EXPECT_FALSE(file.opened());
}

TEST_P(RasterFileColourRead, WithAlphaTakesGrayAndAlphaBytesToo)
{
    const auto& [bands, type] = GetParam();
    const bool expected = bands == 3 || bands == 4 || ((bands == 1 || bands == 2) && type == GDT_Byte);
    Colours out;
    ASSERT_EQ(file.read(out, rgba, part, 7, 6), expected);
    if (!expected)
        return;
    EXPECT_EQ(out, packedPart(part, bands));
    EXPECT_FALSE(file.opened());
}

TEST_P(RasterFileColourRead, AnswersABoxBeyondTheFileByFalse)
{
    const QuietGdal quiet;
    Colours out;
    for (const std::size_t band : {rgb, rgba})
        for (const PixelBox& wrong : {box(-1, 0, 6, 6), box(0, -1, 7, 5), box(width - 6, 0, width + 1, 6),
                                      box(0, height - 5, 7, height + 1)})
            EXPECT_FALSE(file.read(out, band, wrong, 7, 6));
}

std::vector<ColourCase> colourCases()
{
    std::vector<ColourCase> cases;
    for (const GDALDataType type :
         {GDT_Byte, GDT_Int16, GDT_UInt16, GDT_Int32, GDT_UInt32, GDT_Float32, GDT_Float64})
        for (int bands = 1; bands <= 5; ++bands)
            cases.push_back({bands, type});
    return cases;
}
INSTANTIATE_TEST_SUITE_P(Files, RasterFileColourRead, testing::ValuesIn(colourCases()), [](const auto& row) {
    return std::string(GDALGetDataTypeName(row.param.type)) + std::to_string(row.param.bands);
});

TEST(RasterFileColour, ReadWithoutAlphaKeepsTheAlphaByteOfTheMatrix)
{
    const TempFolder folder;
    for (const int bands : {3, 4}) {
        makeColourFile(folder / "a.tif", bands);
        File file;
        ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
        Colours out = Colours::Constant(height, width, 0x5A123456u);
        ASSERT_TRUE(file.read(out, rgb, box(0, 0, width, height), width, height));
        EXPECT_TRUE((out.array() / 0x1000000u == 0x5Au).all());
    }
}

TEST(RasterFileColour, ReadClampsToBytes)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {1, 1, 4, GDT_Int16}, [](int, int, int band) {
        return band == 1 ? 300 : band == 2 ? -5 : band == 3 ? 17 : 1000;
    });
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    Colours out;
    ASSERT_TRUE(file.read(out, rgba, box(0, 0, 1, 1), 1, 1));
    EXPECT_EQ(out(0, 0), 0xFFFF0011u);
}

TEST(RasterFileColour, ReadPicksTheNearestPixelAtAnotherSize)
{
    const TempFolder folder;
    for (int bands = 1; bands <= 4; ++bands) {
        makeColourFile(folder / "a.tif", bands);
        File file;
        ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
        Colours out;
        ASSERT_TRUE(file.read(out, rgba, box(1, 1, 11, 9), 5, 4));
        ASSERT_EQ(out.rows(), 4);
        ASSERT_EQ(out.cols(), 5);
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 5; ++c)
                EXPECT_EQ(out(r, c), packed(1 + 2 * c + 1, 1 + 2 * r + 1, bands));
    }
}

TEST(RasterFileColour, ReadOfAClosedOrVanishedFileFails)
{
    const TempFolder folder;
    const OwnMessages log;
    makeColourFile(folder / "a.tif", 4);
    Colours out;
    File file;
    EXPECT_FALSE(file.read(out, rgb, box(0, 0, 2, 2), 2, 2));
    EXPECT_FALSE(file.read(out, rgba, box(0, 0, 2, 2), 2, 2));
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    std::filesystem::remove((folder / "a.tif").toStdString());
    EXPECT_FALSE(file.read(out, rgb, box(0, 0, 2, 2), 2, 2));
    EXPECT_FALSE(file.read(out, rgba, box(0, 0, 2, 2), 2, 2));
    EXPECT_EQ(log.text(), "");
}

TEST(RasterFileColour, PlainBandOfUnsignedIntegersIsNotPacked)
{
    const TempFolder folder;
    makeColourFile(folder / "a.tif", 4);
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    Colours out;
    ASSERT_TRUE(file.read(out, 3, box(0, 0, width, height), width, height));
    EXPECT_EQ(out(4, 6), byteOf(6, 4, 3));
    EXPECT_FALSE(file.read(out, 100002, box(0, 0, 2, 2), 2, 2));
    EXPECT_FALSE(file.read(out, 100005, box(0, 0, 2, 2), 2, 2));
}

TEST(RasterFileColour, WriteWithoutAlphaFillsThreeBands)
{
    const TempFolder folder;
    makeColourFile(folder / "a.tif", 3);
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/false));
    const Colours colours = anyColours(5, 4);
    ASSERT_TRUE(file.write(colours, rgb, box(2, 3, 7, 7)));
    EXPECT_FALSE(file.opened());
    for (int band = 1; band <= 3; ++band) {
        const PixelMatrix<unsigned char> now = gdalPixels<unsigned char>(folder / "a.tif", band);
        EXPECT_EQ(now.block(3, 2, 4, 5), channel(colours, 24 - 8 * band)) << "band " << band;
        EXPECT_EQ(now(2, 2), value(2, 2, band));
        EXPECT_EQ(now(7, 7), value(7, 7, band));
    }
}

TEST(RasterFileColour, WriteWithAlphaFillsFourBands)
{
    const TempFolder folder;
    makeColourFile(folder / "a.tif", 4);
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/false));
    const Colours colours = anyColours(5, 4);
    ASSERT_TRUE(file.write(colours, rgba, box(2, 3, 7, 7)));
    for (int band = 1; band <= 4; ++band) {
        const PixelMatrix<unsigned char> now = gdalPixels<unsigned char>(folder / "a.tif", band);
        EXPECT_EQ(now.block(3, 2, 4, 5), channel(colours, band == 4 ? 24 : 24 - 8 * band)) << "band " << band;
        EXPECT_EQ(now(2, 2), value(2, 2, band));
    }
}

TEST(RasterFileColour, WriteNeedsExactlyTheBands)
{
    const TempFolder folder;
    for (int bands = 1; bands <= 5; ++bands) {
        makeColourFile(folder / "a.tif", bands);
        File file;
        ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/false));
        EXPECT_EQ(file.write(anyColours(2, 2), rgb, box(0, 0, 2, 2)), bands == 3) << bands;
        EXPECT_EQ(file.write(anyColours(2, 2), rgba, box(0, 0, 2, 2)), bands == 4) << bands;
    }
}

TEST(RasterFileColour, WriteNeedsAWritableFileAndABoxOfTheMatrixInsideIt)
{
    const TempFolder folder;
    const QuietGdal quiet;
    for (const int bands : {3, 4}) {
        const std::size_t selector = bands == 3 ? rgb : rgba;
        makeColourFile(folder / "a.tif", bands);
        File file;
        EXPECT_FALSE(file.write(anyColours(2, 2), selector, box(0, 0, 2, 2)));
        ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
        EXPECT_FALSE(file.write(anyColours(2, 2), selector, box(0, 0, 2, 2)));
        ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/false));
        for (const PixelBox& wrong :
             {box(0, 0, 3, 2), box(0, 0, 2, 1), box(0, 0, 4, 1), box(-1, 0, 1, 2), box(0, -1, 2, 1),
              box(width - 1, 0, width + 1, 2), box(0, height - 1, 2, height + 1), box(0, 0, 0, 0)})
            EXPECT_FALSE(file.write(anyColours(2, 2), selector, wrong));
        ASSERT_TRUE(file.close());
        for (int band = 1; band <= bands; ++band)
            EXPECT_EQ(gdalPixels<unsigned char>(folder / "a.tif", band)(1, 1), value(1, 1, band));
    }
}

TEST(RasterFileColour, TravelsThroughAWorkingFileAndAnImage)
{
    const TempFolder folder;
    for (const char* name : {"a.tif", "a.png"}) {
        File file;
        ASSERT_TRUE(file.openWrite(folder / name, 1, DataType::RGBA, pixelFrame(5, 4), "", "", ""));
        const Colours colours = anyColours(5, 4);
        ASSERT_TRUE(file.write(colours, rgba, box(0, 0, 5, 4)));
        Colours back;
        ASSERT_TRUE(file.read(back, rgba, box(0, 0, 5, 4), 5, 4));
        EXPECT_EQ(back, colours);
        ASSERT_TRUE(file.close());
        EXPECT_EQ(gdalPixels<unsigned char>(folder / name, 1), channel(colours, 16));
        EXPECT_EQ(gdalPixels<unsigned char>(folder / name, 4), channel(colours, 24));
    }
}

TEST(RasterFileColour, BytesTakenFromWiderFilesWhenWritten)
{
    const TempFolder folder;
    makeColourFile(folder / "a.tif", 3, GDT_Float32);
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/false));
    ASSERT_TRUE(file.write(Colours(Colours::Constant(1, 1, 0x11FE0203u)), rgb, box(0, 0, 1, 1)));
    EXPECT_EQ(rasters::pixels(folder / "a.tif", 1)[0], 254);
    EXPECT_EQ(rasters::pixels(folder / "a.tif", 2)[0], 2);
    EXPECT_EQ(rasters::pixels(folder / "a.tif", 3)[0], 3);
}
