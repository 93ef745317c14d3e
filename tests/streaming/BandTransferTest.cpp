#include "streaming/GDALStreamer.h"

#include "support/TempFolder.h"
#include "support/rasters.h"
#include "tilefixtures.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace vexel;

namespace {

template <class T>
class BandTransfer : public testing::Test
{};

using ElementTypes =
    testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int, float, double>;
TYPED_TEST_SUITE(BandTransfer, ElementTypes, );

PixelBox box(int x0, int y0, int x1, int y1)
{
    return {PixelPoint(x0, y0), PixelPoint(x1, y1)};
}

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
