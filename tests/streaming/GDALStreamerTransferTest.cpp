#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"
#include "tilefixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <ostream>
#include <string>
#include <vector>

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;
using Shorts = PixelMatrix<short>;

namespace {

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int largest = std::numeric_limits<int>::max();
const RasterShape shape;

int columnsOf(const PixelBox& b)
{
    return b.max_corner().x() - b.min_corner().x();
}

int rowsOf(const PixelBox& b)
{
    return b.max_corner().y() - b.min_corner().y();
}

bool inside(int x, int y)
{
    return x >= 0 && x < shape.width && y >= 0 && y < shape.height;
}

/// The box of the noise raster, with another value outside.
Shorts noiseBox(const PixelBox& b, short outside, int band = 1)
{
    Shorts out(rowsOf(b), columnsOf(b));
    for (int r = 0; r < out.rows(); ++r)
        for (int c = 0; c < out.cols(); ++c) {
            const int x = b.min_corner().x() + c;
            const int y = b.min_corner().y() + r;
            out(r, c) = inside(x, y) ? noisePixel<short>(x, y, band) : outside;
        }
    return out;
}

/// `patch` put over the noise raster at (x0, y0), as far as it lies in `box`.
Shorts patched(const Shorts& patch, const PixelBox& b)
{
    Shorts all = noiseMatrix<short>(shape.width, shape.height);
    for (int r = 0; r < patch.rows() && r < rowsOf(b); ++r)
        for (int c = 0; c < patch.cols() && c < columnsOf(b); ++c)
            if (inside(b.min_corner().x() + c, b.min_corner().y() + r))
                all(b.min_corner().y() + r, b.min_corner().x() + c) = patch(r, c);
    return all;
}

int roundHalfUp(double value)
{
    return static_cast<int>(std::floor(value + 0.5));
}

/// Each tile's part of the box resampled on its own to the nearest pixel; boxes with min corners inside only.
Shorts scaledPiecewise(const PixelBox& b, double scale, int tileWidth, int tileHeight, short outside)
{
    Shorts out = Shorts::Constant(roundHalfUp(rowsOf(b) * scale), roundHalfUp(columnsOf(b) * scale), outside);
    for (int tx = 0; tx < shape.width; tx += tileWidth)
        for (int ty = 0; ty < shape.height; ty += tileHeight) {
            const int x0 = std::max(tx, b.min_corner().x());
            const int x1 = std::min({tx + tileWidth, shape.width, b.max_corner().x()});
            const int y0 = std::max(ty, b.min_corner().y());
            const int y1 = std::min({ty + tileHeight, shape.height, b.max_corner().y()});
            if (x1 <= x0 || y1 <= y0)
                continue;
            const int c0 = roundHalfUp((x0 - b.min_corner().x()) * scale);
            const int c1 = roundHalfUp((x1 - b.min_corner().x()) * scale);
            const int r0 = roundHalfUp((y0 - b.min_corner().y()) * scale);
            const int r1 = roundHalfUp((y1 - b.min_corner().y()) * scale);
            for (int r = r0; r < r1; ++r)
                for (int c = c0; c < c1; ++c)
                    out(r, c) = noisePixel<short>(x0 + (2 * (c - c0) + 1) * (x1 - x0) / (2 * (c1 - c0)),
                                                  y0 + (2 * (r - r0) + 1) * (y1 - y0) / (2 * (r1 - r0)));
        }
    return out;
}

} // namespace

/// Once as a single file and once as a tile set.
class RasterSetTransfer : public testing::TestWithParam<const char*>
{
protected:
    void SetUp() override { makeBothRoads(folder, {13, 6, 5, 4, 2}, GDT_Int16, storedNoise<short>()); }

    QString path() const { return folder / GetParam(); }
    bool isTileSet() const { return path().endsWith("set.tif"); }

    void openForUpdate() { ASSERT_TRUE(set.openUpdate(path())); }
    void open() { ASSERT_TRUE(set.openRead(path())); }

    Shorts whole(std::size_t band = 1)
    {
        Shorts out;
        EXPECT_TRUE(set.read(out, band, box(0, 0, shape.width, shape.height), 1.0, /*fill=*/false, 0));
        return out;
    }

    QuietGdal quiet; // The tile set is found after the single file was not.
    TempFolder folder;
    GDALStreamer set;
};

INSTANTIATE_TEST_SUITE_P(Roads, RasterSetTransfer, testing::Values("single.tif", "set.tif"),
                         [](const auto& row) {
                             return std::string(row.param).substr(0, std::string(row.param).find('.'));
                         });

TEST_P(RasterSetTransfer, ReadsBoxesAcrossSeams)
{
    open();
    for (const PixelBox& b : {box(0, 0, 13, 6), box(4, 3, 6, 5), box(1, 1, 12, 5), box(9, 0, 10, 6),
                              box(5, 4, 10, 6), box(12, 5, 13, 6), box(0, 0, 1, 1)})
        for (const bool fill : {false, true})
            for (const int band : {1, 2}) {
                Shorts out;
                ASSERT_TRUE(set.read(out, static_cast<std::size_t>(band), b, 1.0, fill, 77));
                EXPECT_EQ(out, noiseBox(b, 0, band));
            }
}

TEST_P(RasterSetTransfer, FillsWhatNoFileCovers)
{
    open();
    for (const PixelBox& b : {box(-3, -2, 5, 4), box(-1, -1, 14, 7), box(8, 3, 30, 20), box(-100, 2, 100, 3),
                              box(4, -5, 6, 50), box(12, 5, 14, 7)}) {
        Shorts out;
        ASSERT_TRUE(set.read(out, 1, b, 1.0, /*fill=*/true, 77));
        EXPECT_EQ(out, noiseBox(b, 77));
    }
}

TEST_P(RasterSetTransfer, KeepsWhatNoFileCoversWithoutFill)
{
    open();
    const PixelBox b = box(-3, -2, 20, 9);
    Shorts out = Shorts::Constant(11, 23, 4321);
    ASSERT_TRUE(set.read(out, 1, b, 1.0, /*fill=*/false, 77));
    EXPECT_EQ(out, noiseBox(b, 4321));
}

TEST_P(RasterSetTransfer, ReadsNothingFromBoxesThatOnlyTouch)
{
    open();
    for (const PixelBox& b :
         {box(-4, 0, 0, 6), box(13, 0, 20, 6), box(0, -4, 13, 0), box(0, 6, 13, 9), box(-2, -2, 0, 0),
          box(13, 6, 15, 8), box(100, 100, 103, 104), box(-90, 2, -80, 4)}) {
        Shorts out;
        ASSERT_TRUE(set.read(out, 1, b, 1.0, /*fill=*/true, 77));
        EXPECT_EQ(out, Shorts(Shorts::Constant(rowsOf(b), columnsOf(b), 77)));
    }
}

TEST_P(RasterSetTransfer, ReadsTheWholeRasterForAnEmptyBox)
{
    open();
    for (const PixelBox& b : {PixelBox(box(0, 0, 0, 0)), box(3, 3, 3, 9), box(0, 4, 7, 4), box(5, 5, 2, 2),
                              box(9, 0, 2, 5), box(0, 5, 5, 0), box(largest, largest, lowest, lowest)}) {
        Shorts out;
        ASSERT_TRUE(set.read(out, 1, b, 1.0, /*fill=*/true, 77));
        EXPECT_EQ(out, noiseMatrix<short>(13, 6));
    }
    Shorts half;
    ASSERT_TRUE(set.read(half, 1, box(0, 0, 0, 0), 0.5, /*fill=*/true, 77));
    EXPECT_EQ(half.rows(), 3);
    EXPECT_EQ(half.cols(), 7);
}

TEST_P(RasterSetTransfer, ScalesEachFilesPartOnItsOwn)
{
    open();
    const int tileWidth = isTileSet() ? 5 : 13;
    const int tileHeight = isTileSet() ? 4 : 6;
    for (const double scale : {0.5, 0.25, 0.3, 0.75, 1.5, 2.0, 3.7})
        for (const PixelBox& b : {box(0, 0, 13, 6), box(0, 0, 3, 3), box(1, 1, 12, 5), box(2, 3, 25, 11)}) {
            Shorts out;
            ASSERT_TRUE(set.read(out, 1, b, scale, /*fill=*/true, 77));
            EXPECT_EQ(out, scaledPiecewise(b, scale, tileWidth, tileHeight, 77)) << scale;
        }
}

TEST_P(RasterSetTransfer, RoundsTheScaledSizeHalfAwayFromZero)
{
    open();
    Shorts out;
    ASSERT_TRUE(set.read(out, 1, box(0, 0, 3, 3), 0.5, /*fill=*/true, 77));
    EXPECT_EQ(out.rows(), 2);
    EXPECT_EQ(out.cols(), 2);
    EXPECT_TRUE((out.array() != 77).all());
    ASSERT_TRUE(set.read(out, 1, box(-50, -50, 51, 51), 0.5, /*fill=*/true, 77));
    EXPECT_EQ(out.rows(), 51);
    EXPECT_EQ(out.cols(), 51);
    ASSERT_TRUE(set.read(out, 1, box(0, 0, 2, 1), 0.25, /*fill=*/true, 77));
    EXPECT_EQ(out.rows(), 0);
    EXPECT_EQ(out.cols(), 1);
}

TEST_P(RasterSetTransfer, ReadsNothingAtScaleZero)
{
    open();
    Shorts out(3, 3);
    EXPECT_TRUE(set.read(out, 1, box(0, 0, 13, 6), 0.0, /*fill=*/true, 77));
    EXPECT_EQ(out.size(), 0);
}

TEST_P(RasterSetTransfer, RefusesScalesThatAreNoScale)
{
    open();
    for (const double scale :
         {-1.0, -1e-9, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        Shorts out;
        EXPECT_FALSE(set.read(out, 1, box(0, 0, 2, 2), scale, /*fill=*/true, 77)) << scale;
        EXPECT_FALSE(set.read(out, 1, box(0, 0, 0, 0), scale, /*fill=*/false, 77)) << scale;
    }
}

TEST_P(RasterSetTransfer, TakesBoxesToTheEndsOf32Bits)
{
    open();
    // Chosen so that the single file, or the first tile, is one output pixel: 20.5 lies between its edges.
    const double scale = 20.5 / (2147483648.0 + 2.5);
    Shorts out;
    ASSERT_TRUE(set.read(out, 1, box(lowest, lowest, largest, largest), scale, /*fill=*/true, 77));
    ASSERT_EQ(out.rows(), 41);
    ASSERT_EQ(out.cols(), 41);
    Shorts expected = Shorts::Constant(41, 41, 77);
    const int lastColumn = isTileSet() ? 5 : 13;
    const int lastRow = isTileSet() ? 4 : 6;
    expected(20, 20) = noisePixel<short>(lastColumn / 2, lastRow / 2);
    EXPECT_EQ(out, expected);
}

TEST_P(RasterSetTransfer, TakesBoxesFarAway)
{
    open();
    for (const PixelBox& b :
         {box(lowest, lowest, lowest + 2, lowest + 3), box(largest - 2, largest - 3, largest, largest),
          box(lowest, 0, lowest + 2, 3), box(0, largest - 3, 2, largest)}) {
        Shorts out;
        ASSERT_TRUE(set.read(out, 1, b, 1.0, /*fill=*/true, 77));
        EXPECT_EQ(out, Shorts(Shorts::Constant(3, 2, 77)));
    }
}

TEST_P(RasterSetTransfer, ThrowsWhenTheOutputDoesNotFitInMemory)
{
    open();
    PixelMatrix<double> out;
    EXPECT_THROW(set.read(out, 1, box(lowest, lowest, largest, largest), 1.0, /*fill=*/true, 77),
                 std::bad_alloc);
    EXPECT_THROW(set.read(out, 1, box(0, 0, 13, 6), 1e9, /*fill=*/true, 77), std::bad_alloc);
    EXPECT_THROW(set.read(out, 1, box(0, 0, 13, 6), 1e300, /*fill=*/true, 77), std::bad_alloc);
    EXPECT_EQ(whole(), noiseMatrix<short>(13, 6));
}

TEST_P(RasterSetTransfer, RefusesOtherBands)
{
    openForUpdate();
    for (const std::size_t band : {std::size_t{0}, std::size_t{3}, std::size_t{100003}, std::size_t{100004},
                                   (std::size_t{1} << 32) + 1}) {
        Shorts out;
        EXPECT_FALSE(set.read(out, band, box(0, 0, 13, 6), 1.0, /*fill=*/true, 77)) << band;
        EXPECT_FALSE(set.write(noiseMatrix<short>(13, 6, 9), band, box(0, 0, 13, 6))) << band;
    }
    EXPECT_EQ(whole(), noiseMatrix<short>(13, 6));
}

TEST_P(RasterSetTransfer, WritesBoxesAcrossSeamsAndNothingElse)
{
    for (const PixelBox& b : {box(0, 0, 13, 6), box(4, 3, 6, 5), box(1, 1, 12, 5), box(12, 5, 13, 6)}) {
        makeBothRoads(folder, {13, 6, 5, 4, 2}, GDT_Int16, storedNoise<short>());
        openForUpdate();
        const Shorts patch = noiseMatrix<short>(columnsOf(b), rowsOf(b), 9);
        ASSERT_TRUE(set.write(patch, 1, b));
        EXPECT_EQ(whole(), patched(patch, b));
        EXPECT_EQ(whole(2), noiseMatrix<short>(13, 6, 2));
    }
}

TEST_P(RasterSetTransfer, LeavesAloneWhatABoxHasBeyondTheRaster)
{
    for (const PixelBox& b : {box(-3, -2, 5, 4), box(-1, -1, 14, 7), box(8, 3, 30, 20), box(-50, 2, 50, 3),
                              box(-4, 0, 0, 6), box(13, 6, 15, 8)}) {
        makeBothRoads(folder, {13, 6, 5, 4, 2}, GDT_Int16, storedNoise<short>());
        openForUpdate();
        const Shorts patch = noiseMatrix<short>(columnsOf(b), rowsOf(b), 9);
        ASSERT_TRUE(set.write(patch, 1, b));
        EXPECT_EQ(whole(), patched(patch, b));
    }
}

TEST_P(RasterSetTransfer, WritesTheOverlapOfBoxAndMatrix)
{
    for (const PixelBox& b : {box(0, 0, 13, 6), box(2, 1, 11, 5), box(-2, -1, 12, 5), box(4, 3, 30, 30)})
        for (const auto& [columns, rows] : {std::pair{20, 20}, std::pair{3, 2}, std::pair{1, 9},
                                            std::pair{9, 1}, std::pair{6, 5}, std::pair{40, 1}}) {
            makeBothRoads(folder, {13, 6, 5, 4, 2}, GDT_Int16, storedNoise<short>());
            openForUpdate();
            const Shorts patch = noiseMatrix<short>(columns, rows, 9);
            ASSERT_TRUE(set.write(patch, 1, b));
            EXPECT_EQ(whole(), patched(patch, b)) << columns << " x " << rows;
        }
}

TEST_P(RasterSetTransfer, WritesAnEmptyMatrixAsNothing)
{
    openForUpdate();
    for (const PixelBox& b : {box(0, 0, 13, 6), box(0, 0, 0, 0)})
        for (const auto& [columns, rows] : {std::pair{0, 0}, std::pair{0, 4}, std::pair{4, 0}})
            EXPECT_TRUE(set.write(Shorts(rows, columns), 1, b));
    EXPECT_EQ(whole(), noiseMatrix<short>(13, 6));
}

TEST_P(RasterSetTransfer, WritesTheOverlapOfMatrixAndRasterForAnEmptyBox)
{
    for (const PixelBox& b : {box(0, 0, 0, 0), box(3, 3, 3, 9), box(3, 4, 9, 4)})
        for (const auto& [columns, rows] :
             {std::pair{13, 6}, std::pair{20, 20}, std::pair{7, 5}, std::pair{20, 2}}) {
            makeBothRoads(folder, {13, 6, 5, 4, 2}, GDT_Int16, storedNoise<short>());
            openForUpdate();
            const Shorts patch = noiseMatrix<short>(columns, rows, 9);
            ASSERT_TRUE(set.write(patch, 1, b));
            EXPECT_EQ(whole(), patched(patch, box(0, 0, columns, rows))) << columns << " x " << rows;
        }
}

TEST_P(RasterSetTransfer, WritesHugeBoxesAsFarAsTheMatrixGoes)
{
    openForUpdate();
    const Shorts patch = noiseMatrix<short>(3, 2, 9);
    ASSERT_TRUE(set.write(patch, 1, box(lowest, lowest, largest, largest)));
    ASSERT_TRUE(set.write(patch, 1, box(lowest, 0, largest, 6)));
    EXPECT_EQ(whole(), noiseMatrix<short>(13, 6));
    ASSERT_TRUE(set.write(patch, 1, box(4, 3, largest, largest)));
    EXPECT_EQ(whole(), patched(patch, box(4, 3, 7, 5)));
}

TEST_P(RasterSetTransfer, TakesTurnedOverBoxesWithoutReadingBeyondTheMatrix)
{
    openForUpdate();
    const Shorts patch = noiseMatrix<short>(3, 2, 9);
    set.write(patch, 1, box(5, 5, 2, 2));
    set.write(patch, 1, box(largest, largest, lowest, lowest));
    set.write(patch, 1, box(5, 2, 2, 5));
    EXPECT_TRUE(set.close());
    EXPECT_EQ(rasters::openDatasets(), 0);
}

namespace {

/// A tile set of 3 x 2 tiles whose tile (2, 2), the fourth in order, is gone after it was opened.
struct BrokenSet
{
    explicit BrokenSet(const TempFolder& folder)
    {
        makeBothRoads(folder, {13, 6, 5, 4, 1}, GDT_Int16, storedNoise<short>());
        EXPECT_TRUE(set.openUpdate(folder / "set.tif"));
        std::filesystem::remove((folder / "set_2_2.tif").toStdString());
    }
    GDALStreamer set;
};

} // namespace

TEST(RasterSetFailure, InTheMiddleOfAReadLeavesThePiecesReadBefore)
{
    const TempFolder folder;
    const OwnMessages log;
    const BrokenSet broken(folder);
    Shorts out;
    EXPECT_FALSE(broken.set.read(out, 1, box(0, 0, 13, 6), 1.0, /*fill=*/true, 77));
    Shorts expected = noiseMatrix<short>(13, 6);
    expected.block(4, 5, 2, 5).setConstant(77);
    expected.rightCols(3).setConstant(77);
    EXPECT_EQ(out, expected);
    ASSERT_TRUE(broken.set.read(out, 1, box(0, 0, 5, 6), 1.0, /*fill=*/true, 77));
    EXPECT_EQ(out, noiseMatrix<short>(5, 6));
    EXPECT_EQ(log.text(), "");
}

TEST(RasterSetFailure, InTheMiddleOfAWriteLeavesThePiecesWrittenBefore)
{
    const TempFolder folder;
    const OwnMessages log;
    const BrokenSet broken(folder);
    EXPECT_FALSE(broken.set.write(noiseMatrix<short>(13, 6, 9), 1, box(0, 0, 13, 6)));
    EXPECT_EQ(gdalPixels<short>(folder / "set_1_2.tif"), noiseMatrix<short>(5, 2, 9, 0, 4));
    EXPECT_EQ(gdalPixels<short>(folder / "set_2_1.tif"), noiseMatrix<short>(5, 4, 9, 5, 0));
    EXPECT_EQ(gdalPixels<short>(folder / "set_3_1.tif"), noiseMatrix<short>(3, 4, 1, 10, 0));
    EXPECT_EQ(log.text(), "");
}

TEST(RasterSetRead, ConvertsTheElementType)
{
    const TempFolder folder;
    makeBothRoads(folder, shape, GDT_Float32, [](int x, int y, int) { return 100 * y + x + 0.75; });
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "set.tif"));
    PixelMatrix<unsigned char> bytes;
    ASSERT_TRUE(set.read(bytes, 1, box(4, 0, 6, 6), 1.0, /*fill=*/true, 0));
    EXPECT_EQ(bytes(0, 0), 5);
    EXPECT_EQ(bytes(1, 1), 106);
    EXPECT_EQ(bytes(3, 0), 255);
    PixelMatrix<int> integers;
    ASSERT_TRUE(set.read(integers, 1, box(4, 0, 6, 6), 1.0, /*fill=*/true, 0));
    EXPECT_EQ(integers(5, 1), 506);
}

namespace {

struct LargeCase
{
    const char* name;
    int size;
};

void PrintTo(const LargeCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterSetLargeTile : public testing::TestWithParam<LargeCase>
{};

} // namespace

TEST_P(RasterSetLargeTile, IsNotLostForItsArea)
{
    const TempFolder folder;
    const int size = GetParam().size;
    rasters::makeVirtual(folder / "a.vrt", size, size, {GDT_Byte});
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.vrt"));
    PixelMatrix<unsigned char> out;
    ASSERT_TRUE(set.read(out, 1, box(0, 0, size, size), 8.0 / size, /*fill=*/true, 77));
    EXPECT_EQ(out, (PixelMatrix<unsigned char>(PixelMatrix<unsigned char>::Zero(8, 8))));
}

INSTANTIATE_TEST_SUITE_P(Sizes, RasterSetLargeTile,
                         testing::Values(LargeCase{"AreaOf31BitsIsNegative", 50000},
                                         LargeCase{"AreaOf32BitsIsZero", 65536},
                                         LargeCase{"Huge", 1000000000}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(RasterSetWrite, OutsideCreatesNoFile)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::Int16, 5, 4));
    EXPECT_TRUE(set.write(noiseMatrix<short>(5, 4), 1, box(5, 0, 10, 4)));
    EXPECT_TRUE(set.write(noiseMatrix<short>(5, 4), 1, box(-5, -4, 0, 0)));
    EXPECT_TRUE(set.write(Shorts(), 1, box(0, 0, 5, 4)));
    EXPECT_TRUE(set.close());
    EXPECT_EQ(folder.listing(), "");
}

TEST(RasterSetWrite, ReadsBackWhileItIsWritten)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::Int16, pixelFrame(13, 6), "", "", "",
                              GdalFileType::TileSet, 5, 4));
    ASSERT_TRUE(set.write(noiseMatrix<short>(4, 3), 1, box(3, 2, 7, 5)));
    Shorts out;
    ASSERT_TRUE(set.read(out, 1, box(0, 0, 13, 6), 1.0, /*fill=*/true, 77));
    Shorts expected = Shorts::Constant(6, 13, -10000);
    expected.block(2, 3, 3, 4) = noiseMatrix<short>(4, 3);
    EXPECT_EQ(out, expected);
}
