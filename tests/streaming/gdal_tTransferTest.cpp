#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

using namespace streamingtest;
using vexel::DataType;
using vexel::PixelBox;
using vexel::PixelMatrix;
using File = vexel::GDALStreamer::gdal_t;

namespace {

constexpr int width = 23;
constexpr int height = 17;

template <class T>
class RasterFileTransfer : public testing::Test
{
protected:
    void SetUp() override { rasters::make(path, {width, height, 2, Element<T>::gdal}, storedNoise<T>()); }

    bool open(bool readOnly) { return file.openRead(path, readOnly); }

    TempFolder folder;
    QString path = folder / "a.tif";
    File file;
};

} // namespace

using ElementTypes =
    testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int, float, double>;
TYPED_TEST_SUITE(RasterFileTransfer, ElementTypes, );

TYPED_TEST(RasterFileTransfer, ReadsABandWhole)
{
    ASSERT_TRUE(this->open(/*readOnly=*/true));
    for (int band = 1; band <= 2; ++band) {
        PixelMatrix<TypeParam> out;
        ASSERT_TRUE(
            this->file.read(out, static_cast<std::size_t>(band), box(0, 0, width, height), width, height));
        EXPECT_EQ(out, noiseMatrix<TypeParam>(width, height, band));
        EXPECT_FALSE(this->file.opened());
    }
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TYPED_TEST(RasterFileTransfer, ReadsAPartInRowsAndColumns)
{
    ASSERT_TRUE(this->open(/*readOnly=*/true));
    PixelMatrix<TypeParam> out(99, 1);
    ASSERT_TRUE(this->file.read(out, 2, box(3, 5, 14, 9), 11, 4));
    ASSERT_EQ(out.rows(), 4);
    ASSERT_EQ(out.cols(), 11);
    EXPECT_EQ(out, noiseMatrix<TypeParam>(11, 4, 2, 3, 5));
}

TYPED_TEST(RasterFileTransfer, PicksTheNearestPixelAtAnotherSize)
{
    ASSERT_TRUE(this->open(/*readOnly=*/true));
    for (const auto& [columns, rows] : {std::pair{10, 6}, std::pair{7, 4}, std::pair{40, 24}}) {
        PixelMatrix<TypeParam> out;
        ASSERT_TRUE(this->file.read(out, 1, box(1, 2, 21, 14), columns, rows));
        ASSERT_EQ(out.rows(), rows);
        ASSERT_EQ(out.cols(), columns);
        PixelMatrix<TypeParam> expected(rows, columns);
        for (int r = 0; r < rows; ++r)
            for (int c = 0; c < columns; ++c)
                expected(r, c) = noisePixel<TypeParam>(1 + static_cast<int>((c + 0.5) * 20 / columns),
                                                       2 + static_cast<int>((r + 0.5) * 12 / rows));
        EXPECT_EQ(out, expected) << columns << " x " << rows;
    }
}

TYPED_TEST(RasterFileTransfer, WritesAPartAndNothingElse)
{
    ASSERT_TRUE(this->open(/*readOnly=*/false));
    const PixelMatrix<TypeParam> patch = noiseMatrix<TypeParam>(9, 4, 7);
    ASSERT_TRUE(this->file.write(patch, 2, box(3, 5, 12, 9)));
    EXPECT_FALSE(this->file.opened());
    PixelMatrix<TypeParam> expected = noiseMatrix<TypeParam>(width, height, 2);
    expected.block(5, 3, 4, 9) = patch;
    EXPECT_EQ(gdalPixels<TypeParam>(this->path, 2), expected);
    EXPECT_EQ(gdalPixels<TypeParam>(this->path, 1), noiseMatrix<TypeParam>(width, height, 1));
}

TYPED_TEST(RasterFileTransfer, WritesAMatrixOfExactlyTheBoxOnly)
{
    ASSERT_TRUE(this->open(/*readOnly=*/false));
    for (const PixelBox& wrong :
         {box(0, 0, 4, 3), box(0, 0, 3, 4), box(0, 0, 6, 4), box(0, 0, 5, 5), box(0, 0, 4, 5),
          box(5, 4, 0, 0), box(0, 0, 0, 0),
          box(std::numeric_limits<int>::min(), 0, std::numeric_limits<int>::max(), 4)})
        EXPECT_FALSE(this->file.write(noiseMatrix<TypeParam>(5, 4, 7), 1, wrong));
    EXPECT_EQ(gdalPixels<TypeParam>(this->path), noiseMatrix<TypeParam>(width, height));
    EXPECT_TRUE(this->file.write(noiseMatrix<TypeParam>(5, 4, 7), 1, box(0, 0, 5, 4)));
}

TYPED_TEST(RasterFileTransfer, RefusesOtherBands)
{
    ASSERT_TRUE(this->open(/*readOnly=*/false));
    const std::size_t afterIntegers = (std::size_t{1} << 32) + 1;
    for (const std::size_t band : {std::size_t{0}, std::size_t{3}, afterIntegers, ~std::size_t{0}}) {
        PixelMatrix<TypeParam> out;
        EXPECT_FALSE(this->file.read(out, band, box(0, 0, 2, 2), 2, 2)) << band;
        EXPECT_FALSE(this->file.write(noiseMatrix<TypeParam>(2, 2, 7), band, box(0, 0, 2, 2))) << band;
    }
    EXPECT_EQ(gdalPixels<TypeParam>(this->path), noiseMatrix<TypeParam>(width, height));
}

TYPED_TEST(RasterFileTransfer, RefusesColourSelectorsForAFileOfTwoBands)
{
    ASSERT_TRUE(this->open(/*readOnly=*/false));
    for (const std::size_t band : {std::size_t{100003}, std::size_t{100004}}) {
        PixelMatrix<TypeParam> out;
        EXPECT_FALSE(this->file.read(out, band, box(0, 0, 2, 2), 2, 2));
        EXPECT_FALSE(this->file.write(noiseMatrix<TypeParam>(2, 2, 7), band, box(0, 0, 2, 2)));
    }
}

TYPED_TEST(RasterFileTransfer, RefusesABoxBeyondTheFile)
{
    const QuietGdal quiet;
    ASSERT_TRUE(this->open(/*readOnly=*/false));
    for (const PixelBox& wrong : {box(-1, 0, 1, 2), box(0, -1, 2, 1), box(width - 1, 0, width + 1, 2),
                                  box(0, height - 1, 2, height + 1), box(1000, 1000, 1002, 1002)}) {
        PixelMatrix<TypeParam> out;
        EXPECT_FALSE(this->file.read(out, 1, wrong, 2, 2));
        EXPECT_FALSE(this->file.write(noiseMatrix<TypeParam>(2, 2, 7), 1, wrong));
    }
    EXPECT_EQ(gdalPixels<TypeParam>(this->path), noiseMatrix<TypeParam>(width, height));
}

TYPED_TEST(RasterFileTransfer, DoesNotWriteAFileOpenedReadOnly)
{
    const QuietGdal quiet;
    ASSERT_TRUE(this->open(/*readOnly=*/true));
    EXPECT_FALSE(this->file.write(noiseMatrix<TypeParam>(2, 2, 7), 1, box(0, 0, 2, 2)));
    EXPECT_TRUE(this->file.close());
    EXPECT_EQ(gdalPixels<TypeParam>(this->path), noiseMatrix<TypeParam>(width, height));
}

TYPED_TEST(RasterFileTransfer, OfAClosedFileFails)
{
    PixelMatrix<TypeParam> out;
    EXPECT_FALSE(this->file.read(out, 1, box(0, 0, 2, 2), 2, 2));
    EXPECT_FALSE(this->file.write(noiseMatrix<TypeParam>(2, 2, 7), 1, box(0, 0, 2, 2)));
    ASSERT_TRUE(this->open(/*readOnly=*/false));
    ASSERT_TRUE(this->file.close());
    EXPECT_FALSE(this->file.read(out, 1, box(0, 0, 2, 2), 2, 2));
    EXPECT_FALSE(this->file.write(noiseMatrix<TypeParam>(2, 2, 7), 1, box(0, 0, 2, 2)));
}

TYPED_TEST(RasterFileTransfer, OfAVanishedFileFails)
{
    const OwnMessages log;
    ASSERT_TRUE(this->open(/*readOnly=*/false));
    std::filesystem::remove(this->path.toStdString());
    PixelMatrix<TypeParam> out;
    EXPECT_FALSE(this->file.read(out, 1, box(0, 0, 2, 2), 2, 2));
    EXPECT_FALSE(this->file.write(noiseMatrix<TypeParam>(2, 2, 7), 1, box(0, 0, 2, 2)));
    EXPECT_EQ(log.text(), "");
}

TYPED_TEST(RasterFileTransfer, OfABrokenFileFails)
{
    // The pixels of the lower rows are cut off.
    rasters::make(this->folder / "whole.tif", {64, 600, 1, Element<TypeParam>::gdal},
                  storedNoise<TypeParam>());
    const std::string bytes = fileText(this->folder / "whole.tif");
    const OwnMessages log;
    makeFile(this->path, bytes.substr(0, bytes.size() / 2));
    if (!this->open(/*readOnly=*/true))
        GTEST_SKIP() << "this GDAL does not open a truncated file";
    PixelMatrix<TypeParam> out;
    EXPECT_FALSE(this->file.read(out, 1, box(0, 0, 64, 600), 64, 600));
    EXPECT_TRUE(this->file.close());
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TYPED_TEST(RasterFileTransfer, GoesThroughAWorkingFile)
{
    const QString target = this->folder / "new.tif";
    ASSERT_TRUE(
        this->file.openWrite(target, 2, Element<TypeParam>::type, pixelFrame(width, height), "", "", ""));
    for (const std::size_t band : {std::size_t{1}, std::size_t{2}})
        ASSERT_TRUE(this->file.write(noiseMatrix<TypeParam>(width, height, static_cast<int>(band)), band,
                                     box(0, 0, width, height)));
    EXPECT_FALSE(this->file.opened());
    EXPECT_FALSE(exists(target));
    PixelMatrix<TypeParam> out;
    ASSERT_TRUE(this->file.read(out, 2, box(3, 5, 14, 9), 11, 4));
    EXPECT_EQ(out, noiseMatrix<TypeParam>(11, 4, 2, 3, 5));
    ASSERT_TRUE(this->file.close());
    EXPECT_EQ(gdalPixels<TypeParam>(target, 1), noiseMatrix<TypeParam>(width, height, 1));
    EXPECT_EQ(gdalPixels<TypeParam>(target, 2), noiseMatrix<TypeParam>(width, height, 2));
}

TYPED_TEST(RasterFileTransfer, GoesThroughTheMemoryOfAnImage)
{
    ASSERT_TRUE(this->file.openWrite(this->folder / "new.png", 1, Element<TypeParam>::type,
                                     pixelFrame(width, height), "", "", ""));
    ASSERT_TRUE(this->file.write(noiseMatrix<TypeParam>(width, height), 1, box(0, 0, width, height)));
    EXPECT_TRUE(this->file.opened());
    PixelMatrix<TypeParam> out;
    ASSERT_TRUE(this->file.read(out, 1, box(3, 5, 14, 9), 11, 4));
    EXPECT_EQ(out, noiseMatrix<TypeParam>(11, 4, 1, 3, 5));
    EXPECT_TRUE(this->file.opened());
    this->file.mode = File::ReadOnly; // So that nothing is finalised.
}

TYPED_TEST(RasterFileTransfer, ReadingAPendingFileGivesWhatIsNeverWritten)
{
    ASSERT_TRUE(this->file.openWrite(this->folder / "new.tif", 1, Element<TypeParam>::type, pixelFrame(5, 4),
                                     "", "", ""));
    PixelMatrix<TypeParam> out;
    ASSERT_TRUE(this->file.read(out, 1, box(0, 0, 5, 4), 5, 4));
    const bool holdsNoData = std::is_signed_v<TypeParam> && sizeof(TypeParam) > 1;
    EXPECT_TRUE((out.array() == static_cast<TypeParam>(holdsNoData ? -10000 : 0)).all());
    EXPECT_EQ(this->file.mode, File::Written);
}

TEST(RasterFileRead, OfSignedCharsTakesBytesUnchanged)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {4, 1}, [](int x, int, int) {
        return std::array{0, 127, 128, 200}.at(static_cast<std::size_t>(x));
    });
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/false));
    PixelMatrix<signed char> out;
    ASSERT_TRUE(file.read(out, 1, box(0, 0, 4, 1), 4, 1));
    EXPECT_EQ(out(0, 0), 0);
    EXPECT_EQ(out(0, 1), 127);
    EXPECT_EQ(out(0, 2), -128);
    EXPECT_EQ(out(0, 3), -56);
    out(0, 0) = -1;
    ASSERT_TRUE(file.write(out, 1, box(0, 0, 4, 1)));
    EXPECT_EQ(rasters::pixels(folder / "a.tif"), (std::vector<double>{255, 127, 128, 200}));
}

TEST(RasterFileRead, ConvertsAsGdalDoes)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {5, 1, 1, GDT_Float64}, [](int x, int, int) {
        return std::array{3.6, -3.6, 70000.0, -70000.0, 0.25}.at(static_cast<std::size_t>(x));
    });
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    PixelMatrix<short> shorts;
    ASSERT_TRUE(file.read(shorts, 1, box(0, 0, 5, 1), 5, 1));
    EXPECT_EQ(shorts, (PixelMatrix<short>(1, 5) << 4, -4, 32767, -32768, 0).finished());
    PixelMatrix<unsigned int> integers;
    ASSERT_TRUE(file.read(integers, 1, box(0, 0, 5, 1), 5, 1));
    EXPECT_EQ(integers, (PixelMatrix<unsigned int>(1, 5) << 4, 0, 70000, 0, 0).finished());
    PixelMatrix<float> floats;
    ASSERT_TRUE(file.read(floats, 1, box(0, 0, 5, 1), 5, 1));
    EXPECT_EQ(floats(0, 4), 0.25f);
}

TEST(RasterFileWrite, ConvertsAsGdalDoes)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {4, 1}, [](int, int, int) { return 9; });
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/false));
    ASSERT_TRUE(
        file.write((PixelMatrix<float>(1, 4) << 3.6f, -5, 300, 0.25f).finished(), 1, box(0, 0, 4, 1)));
    EXPECT_EQ(rasters::pixels(folder / "a.tif"), (std::vector<double>{4, 0, 255, 0}));
    ASSERT_TRUE(file.write((PixelMatrix<unsigned int>(1, 4) << 1, 4000000000u, 255, 256).finished(), 1,
                           box(0, 0, 4, 1)));
    EXPECT_EQ(rasters::pixels(folder / "a.tif"), (std::vector<double>{1, 255, 255, 255}));
}

TEST(RasterFileRead, OfMoreThanFitsInMemoryThrows)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {4, 1}, [](int, int, int) { return 9; });
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    PixelMatrix<double> out;
    constexpr int huge = std::numeric_limits<int>::max();
    EXPECT_THROW(file.read(out, 1, box(0, 0, 4, 1), huge, huge), std::bad_alloc);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(rasters::openDatasets(), 0);
}
