#include "streaming/GDALStreamer.h"

#include "support/TempFolder.h"
#include "support/rasters.h"
#include "tilefixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

using namespace vexel;

namespace {

template <class T>
class BandTransfer : public testing::Test
{};

using ElementTypes =
    testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int, float, double>;
TYPED_TEST_SUITE(BandTransfer, ElementTypes, );

constexpr int noBands = 3;

double byteAt(int x, int y, int band)
{
    return static_cast<double>(static_cast<int>(200 * rasters::noise(x, y, band)));
}

/// The bands of a box read one by one, stacked as the pass over all of them gives them.
template <class T>
PixelMatrix<T> bandByBand(const GDALStreamer& set, const std::vector<int>& bands, const PixelBox& wanted,
                          double scale)
{
    PixelMatrix<T> stack;
    for (const int band : bands) {
        PixelMatrix<T> one;
        EXPECT_TRUE(set.read(one, static_cast<std::size_t>(band), wanted, scale, true, T(7)));
        stack.conservativeResize(stack.rows() + one.rows(), one.cols());
        stack.bottomRows(one.rows()) = one;
    }
    return stack;
}

} // namespace

TYPED_TEST(BandTransfer, ReadsWhatTheBandsGiveOneByOne)
{
    const TempFolder folder;
    streamingtest::RasterShape shape;
    shape.bands = noBands;
    streamingtest::makeBothRoads(folder, shape, GDT_Byte, byteAt);
    for (const char* name : {"single.tif", "set.tif"}) {
        GDALStreamer set;
        ASSERT_TRUE(set.openRead(folder / name));
        for (const PixelBox& wanted :
             {box(0, 0, 13, 6), box(3, 2, 9, 5), box(-2, -3, 16, 8), box(0, 0, 0, 0)})
            for (const double scale : {1.0, 0.5}) {
                PixelMatrix<TypeParam> all;
                const std::vector<int> bands = {3, 1, 1};
                ASSERT_TRUE(set.readBands(all, bands, wanted, scale, true, TypeParam(7)));
                EXPECT_EQ(all, bandByBand<TypeParam>(set, bands, wanted, scale))
                    << name << " at scale " << scale;
            }
    }
}

TYPED_TEST(BandTransfer, WritesEachBandToItsOwn)
{
    const TempFolder folder;
    for (const GdalFileType ftype : {GdalFileType::SingleFile, GdalFileType::TileSet}) {
        const QString path = folder / "written.tif";
        PixelMatrix<TypeParam> stack(2 * 6, 13);
        for (Eigen::Index i = 0; i < stack.size(); ++i)
            stack.data()[i] = static_cast<TypeParam>(i % 100);
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(path, noBands, DataType::UInt8, Workspace(0, 0, 1300000, 600000, 100000),
                                  "", "", "", ftype, 5, 4));
        ASSERT_TRUE(set.writeBands(stack, {3, 1}, box(0, 0, 13, 6)));
        set.close();
        GDALStreamer back;
        ASSERT_TRUE(back.openRead(path, ftype));
        PixelMatrix<TypeParam> band;
        ASSERT_TRUE(back.read(band, 3, box(0, 0, 0, 0), 1.0, false, TypeParam(0)));
        EXPECT_EQ(band, stack.topRows(6));
        ASSERT_TRUE(back.read(band, 1, box(0, 0, 0, 0), 1.0, false, TypeParam(0)));
        EXPECT_EQ(band, stack.bottomRows(6));
        ASSERT_TRUE(back.read(band, 2, box(0, 0, 0, 0), 1.0, false, TypeParam(0)));
        EXPECT_TRUE((band.array() == TypeParam(0)).all());
    }
}

namespace {

/// Memory for the bands of a box with room between and after rows, and between and after bands.
template <class T>
struct Strided
{
    static constexpr int before = 5;
    static constexpr T untouched = T(77);

    Strided(int noBandsHeld, int rowsHeld, int columnsHeld)
        : bands(noBandsHeld), rows(rowsHeld), columns(columnsHeld), rowStep(columnsHeld + 3),
          bandStep(rowStep * rowsHeld + 11),
          memory(static_cast<std::size_t>(before + bandStep * noBandsHeld), untouched)
    {}

    BandPixels<T> pixels() { return {memory.data() + before, rows, columns, rowStep, bandStep}; }
    BandPixels<const T> constPixels() const
    {
        return {memory.data() + before, rows, columns, rowStep, bandStep};
    }

    T& at(int band, int y, int x)
    {
        return memory[static_cast<std::size_t>(before + band * bandStep + y * rowStep + x)];
    }

    /// Band k in rows k * rows to (k + 1) * rows.
    PixelMatrix<T> stacked()
    {
        PixelMatrix<T> stack(bands * rows, columns);
        for (int band = 0; band < bands; ++band)
            for (int y = 0; y < rows; ++y)
                for (int x = 0; x < columns; ++x)
                    stack(band * rows + y, x) = at(band, y, x);
        return stack;
    }

    /// True if all elements that are none of the pixels have the value they had.
    bool isUntouchedAround() const
    {
        Strided pixelsOnly = *this;
        for (int band = 0; band < bands; ++band)
            for (int y = 0; y < rows; ++y)
                for (int x = 0; x < columns; ++x)
                    pixelsOnly.at(band, y, x) = untouched;
        return std::all_of(pixelsOnly.memory.begin(), pixelsOnly.memory.end(),
                           [](T value) { return value == untouched; });
    }

    int bands;
    int rows;
    int columns;
    int rowStep;
    int bandStep;
    std::vector<T> memory;
};

/// The same raster as one file and as a set of files.
void makeBothRoadsOf(const TempFolder& folder, int bands)
{
    streamingtest::RasterShape shape;
    shape.bands = bands;
    streamingtest::makeBothRoads(folder, shape, GDT_Byte, byteAt);
}

} // namespace

TYPED_TEST(BandTransfer, ReadsIntoMemoryWithRoomAroundIt)
{
    const TempFolder folder;
    makeBothRoadsOf(folder, noBands);
    for (const char* name : {"single.tif", "set.tif"}) {
        GDALStreamer set;
        ASSERT_TRUE(set.openRead(folder / name));
        for (const PixelBox& wanted : {box(0, 0, 13, 6), box(3, 2, 9, 5), box(12, 5, 13, 6)}) {
            const std::vector<int> bands = {3, 1, 2, 1};
            Strided<TypeParam> out(4, wanted.max_corner().y() - wanted.min_corner().y(),
                                   wanted.max_corner().x() - wanted.min_corner().x());
            ASSERT_TRUE(set.readBands(out.pixels(), bands, wanted));
            EXPECT_EQ(out.stacked(), bandByBand<TypeParam>(set, bands, wanted, 1.0)) << name;
            EXPECT_TRUE(out.isUntouchedAround()) << name;
        }
        Strided<TypeParam> all(1, 6, 13);
        EXPECT_TRUE(set.readBands(all.pixels(), {2}, box(0, 0, 0, 0))) << "the whole raster";
        EXPECT_EQ(all.stacked(), bandByBand<TypeParam>(set, {2}, box(0, 0, 13, 6), 1.0)) << name;
    }
}

TYPED_TEST(BandTransfer, LeavesPixelsAloneThatNoFileCovers)
{
    const TempFolder folder;
    makeBothRoadsOf(folder, noBands);
    for (const char* name : {"single.tif", "set.tif"}) {
        GDALStreamer set;
        ASSERT_TRUE(set.openRead(folder / name));
        Strided<TypeParam> out(2, 11, 18);
        ASSERT_TRUE(set.readBands(out.pixels(), {1, 3}, box(-2, -3, 16, 8)));
        for (int band = 0; band < 2; ++band)
            for (int y = 0; y < 11; ++y)
                for (int x = 0; x < 18; ++x) {
                    const bool isCovered = x >= 2 && x < 15 && y >= 3 && y < 9;
                    // What the element type makes of the file's bytes.
                    PixelMatrix<TypeParam> one = PixelMatrix<TypeParam>::Zero(1, 1);
                    ASSERT_TRUE(!isCovered ||
                                set.read(one, band == 0 ? 1 : 3, box(x - 2, y - 3, x - 1, y - 2), 1.0, false,
                                         TypeParam(0)));
                    EXPECT_EQ(out.at(band, y, x), isCovered ? one(0, 0) : Strided<TypeParam>::untouched)
                        << name << ", band " << band << ", " << x << ", " << y;
                }
        EXPECT_TRUE(out.isUntouchedAround());

        Strided<TypeParam> beside(1, 2, 2);
        EXPECT_TRUE(set.readBands(beside.pixels(), {1}, box(20, 20, 22, 22)));
        EXPECT_EQ(beside.at(0, 1, 1), Strided<TypeParam>::untouched);
    }
}

TYPED_TEST(BandTransfer, DoesNotReadIntoMemoryOfAnotherSize)
{
    const TempFolder folder;
    makeBothRoadsOf(folder, noBands);
    for (const char* name : {"single.tif", "set.tif"}) {
        GDALStreamer set;
        ASSERT_TRUE(set.openRead(folder / name));
        for (const auto& [rows, columns] :
             {std::pair(3, 4), std::pair(2, 5), std::pair(4, 4), std::pair(5, 3)}) {
            Strided<TypeParam> out(1, rows, columns);
            const PixelBox wanted = box(1, 1, 6, 4);
            EXPECT_FALSE(set.readBands(out.pixels(), {1}, wanted)) << rows << " by " << columns;
            EXPECT_FALSE(set.readBands(out.pixels(), {1}, box(0, 0, 0, 0))) << "the whole raster";
            EXPECT_EQ(out.memory, Strided<TypeParam>(1, rows, columns).memory);
        }
        Strided<TypeParam> out(1, 3, 5);
        EXPECT_FALSE(set.readBands(out.pixels(), {4}, box(1, 1, 6, 4))) << "no such band";
        EXPECT_FALSE(set.readBands(out.pixels(), {}, box(1, 1, 6, 4)));
        EXPECT_TRUE(set.readBands(out.pixels(), {1}, box(1, 1, 6, 4)));
        set.close();
        EXPECT_FALSE(set.readBands(out.pixels(), {1}, box(1, 1, 6, 4))) << "not open";
    }
}

TYPED_TEST(BandTransfer, WritesFromMemoryWithRoomAroundIt)
{
    const TempFolder folder;
    for (const GdalFileType ftype : {GdalFileType::SingleFile, GdalFileType::TileSet}) {
        const QString path = folder / "written.tif";
        Strided<TypeParam> in(2, 4, 9);
        for (int band = 0; band < 2; ++band)
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 9; ++x)
                    in.at(band, y, x) = static_cast<TypeParam>(36 * band + 9 * y + x);
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(path, noBands, DataType::UInt8, Workspace(0, 0, 1300000, 600000, 100000),
                                  "", "", "", ftype, 5, 4));
        ASSERT_TRUE(set.writeBands(in.constPixels(), {3, 1}, box(2, 1, 11, 5)));
        // What reaches beyond the box is not written.
        ASSERT_TRUE(set.writeBands(in.constPixels(), {2}, box(12, 5, 13, 6)));
        set.close();
        GDALStreamer back;
        ASSERT_TRUE(back.openRead(path, ftype));
        for (int band = 1; band <= noBands; ++band) {
            PixelMatrix<int> pixels;
            ASSERT_TRUE(back.read(pixels, static_cast<std::size_t>(band), box(0, 0, 13, 6), 1.0, false, 0));
            for (int y = 0; y < 6; ++y)
                for (int x = 0; x < 13; ++x) {
                    const bool isInside = x >= 2 && x < 11 && y >= 1 && y < 5;
                    const int own = 9 * (y - 1) + x - 2;
                    const int expected = band == 2 || !isInside ? 0 : band == 3 ? own : 36 + own;
                    EXPECT_EQ(pixels(y, x), expected) << "band " << band << ", " << x << ", " << y;
                }
        }
    }
}

TEST(BandTransferPieces, OutsideTheMatrixAreNotWritten)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "w.tif", 2, DataType::UInt8, 8, 8));
    const PixelMatrix<unsigned char> stack = PixelMatrix<unsigned char>::Constant(2 * 2, 3, 9);
    ASSERT_TRUE(set.writeBands(stack, {1, 2}, box(6, 5, 20, 20)));
    set.close();
    for (const int band : {1, 2}) {
        const std::vector<double> pixels = rasters::pixels(folder / "w.tif", band);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x)
                EXPECT_EQ(pixels[static_cast<std::size_t>(y * 8 + x)], x >= 6 && (y == 5 || y == 6) ? 9 : 0)
                    << x << ", " << y;
    }
}

TEST(BandTransferFailures, AreThoseOfOneBand)
{
    const TempFolder folder;
    rasters::make(folder / "r.tif", {4, 4, 2, GDT_Byte}, byteAt);
    GDALStreamer set;
    PixelMatrix<unsigned char> pixels;
    EXPECT_FALSE(set.readBands(pixels, {1}, box(0, 0, 4, 4), 1.0, true, 0)) << "not open";
    EXPECT_FALSE(set.writeBands(pixels, {1}, box(0, 0, 4, 4)));
    ASSERT_TRUE(set.openRead(folder / "r.tif"));
    EXPECT_FALSE(set.readBands(pixels, {1, 3}, box(0, 0, 4, 4), 1.0, true, 0)) << "no such band";
    EXPECT_FALSE(set.readBands(pixels, {0}, box(0, 0, 4, 4), 1.0, true, 0));
    EXPECT_FALSE(set.readBands(pixels, {-1}, box(0, 0, 4, 4), 1.0, true, 0));
    EXPECT_FALSE(set.readBands(pixels, {100003}, box(0, 0, 4, 4), 1.0, true, 0)) << "no selectors";
    EXPECT_FALSE(set.readBands(pixels, {}, box(0, 0, 4, 4), 1.0, true, 0));
    EXPECT_FALSE(set.readBands(pixels, {1, 2}, box(0, 0, 4, 4), -1.0, true, 0));
    const PixelMatrix<unsigned char> stack = PixelMatrix<unsigned char>::Zero(8, 4);
    EXPECT_FALSE(set.writeBands(stack, {1, 2}, box(0, 0, 4, 4))) << "read only";
    ASSERT_TRUE(set.openUpdate(folder / "r.tif"));
    EXPECT_FALSE(set.writeBands(stack, {1, 2, 1}, box(0, 0, 4, 2))) << "8 rows for 3 bands";
    EXPECT_FALSE(set.writeBands(stack, {}, box(0, 0, 4, 4)));
    Strided<unsigned char> memory(2, 4, 4);
    EXPECT_FALSE(set.writeBands(memory.constPixels(), {}, box(0, 0, 4, 4)));
    EXPECT_FALSE(set.writeBands(memory.constPixels(), {1, 3}, box(0, 0, 4, 4))) << "no such band";
    EXPECT_TRUE(set.writeBands(stack, {2, 1}, box(0, 0, 4, 4)));
    EXPECT_FALSE(set.opened(0));
}

TEST(BlockSize, IsThatOfTheFirstFileBeingRead)
{
    const TempFolder folder;
    rasters::Description tiled{100, 100, 1, GDT_Byte};
    tiled.options = {"TILED=YES", "BLOCKXSIZE=32", "BLOCKYSIZE=16"};
    rasters::make(folder / "t.tif", tiled, byteAt);
    GDALStreamer set;
    EXPECT_EQ(set.blockWidth(), 0);
    ASSERT_TRUE(set.openRead(folder / "t.tif"));
    EXPECT_EQ(set.blockWidth(), 32);
    EXPECT_EQ(set.blockHeight(), 16);
    ASSERT_TRUE(set.openWrite(folder / "w.tif", 1, DataType::UInt8, 10, 10));
    EXPECT_EQ(set.blockHeight(), 0);
}
