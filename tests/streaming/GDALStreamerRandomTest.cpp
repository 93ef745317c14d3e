#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"
#include "tilefixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <type_traits>

using namespace streamingtest;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;

namespace {

const RasterShape shape{61, 47, 16, 13, 1};

/// The same sequence with every standard library, unlike the standard distributions.
class Dice
{
public:
    int between(int first, int last)
    {
        return first + static_cast<int>(m_engine() % static_cast<std::uint32_t>(last - first + 1));
    }

    /// A box that may reach beyond the raster on any side or miss it.
    PixelBox box()
    {
        const int x = between(-12, shape.width + 4);
        const int y = between(-12, shape.height + 4);
        return ::box(x, y, x + between(1, 40), y + between(1, 40));
    }

private:
    std::mt19937 m_engine{20240229u};
};

/// The box cut from a plain matrix, with another value outside.
template <class T>
PixelMatrix<T> cut(const PixelMatrix<T>& raster, const PixelBox& b, T outside)
{
    PixelMatrix<T> out(b.max_corner().y() - b.min_corner().y(), b.max_corner().x() - b.min_corner().x());
    for (int r = 0; r < out.rows(); ++r)
        for (int c = 0; c < out.cols(); ++c) {
            const int x = b.min_corner().x() + c;
            const int y = b.min_corner().y() + r;
            out(r, c) = x < 0 || y < 0 || x >= raster.cols() || y >= raster.rows() ? outside : raster(y, x);
        }
    return out;
}

template <class T>
void paste(PixelMatrix<T>& raster, const PixelMatrix<T>& patch, const PixelBox& b)
{
    for (int y = 0; y < raster.rows(); ++y)
        for (int x = 0; x < raster.cols(); ++x) {
            const int r = y - b.min_corner().y();
            const int c = x - b.min_corner().x();
            if (r >= 0 && c >= 0 && r < patch.rows() && c < patch.cols() && x < b.max_corner().x() &&
                y < b.max_corner().y())
                raster(y, x) = patch(r, c);
        }
}

/// Writes patches of random place and size, some larger or smaller than their box, to the set and the model
/// alike, and compares random boxes in between.
template <class T>
void writeAndCompare(GDALStreamer& set, PixelMatrix<T>& model)
{
    Dice dice;
    for (int i = 0; i < 60; ++i) {
        const PixelBox b = dice.box();
        const int extra = dice.between(-3, 3);
        const int columns = b.max_corner().x() - b.min_corner().x() + (i % 3 == 0 ? extra : 0);
        const int rows = b.max_corner().y() - b.min_corner().y() - (i % 3 == 0 ? extra : 0);
        const PixelMatrix<T> patch = noiseMatrix<T>(std::max(columns, 0), std::max(rows, 0), 100 + i);
        ASSERT_TRUE(set.write(patch, 1, b));
        paste(model, patch, b);
        const PixelBox seen = dice.box();
        PixelMatrix<T> out;
        ASSERT_TRUE(set.read(out, 1, seen, 1.0, /*fill=*/true, static_cast<T>(3)));
        ASSERT_EQ(out, cut(model, seen, static_cast<T>(3))) << "after patch " << i;
    }
    PixelMatrix<T> whole;
    ASSERT_TRUE(set.read(whole, 1, box(0, 0, 0, 0), 1.0, /*fill=*/true, static_cast<T>(3)));
    EXPECT_EQ(whole, model);
}

template <class T>
class RasterSetRandom : public testing::Test
{};

} // namespace

using ElementTypes =
    testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int, float, double>;
TYPED_TEST_SUITE(RasterSetRandom, ElementTypes, );

TYPED_TEST(RasterSetRandom, BoxesOfATileSetEqualThoseOfTheSingleFile)
{
    const TempFolder folder;
    makeBothRoads(folder, shape, Element<TypeParam>::gdal, storedNoise<TypeParam>());
    const PixelMatrix<TypeParam> model = noiseMatrix<TypeParam>(shape.width, shape.height);
    GDALStreamer tiles;
    GDALStreamer single;
    ASSERT_TRUE(tiles.openRead(folder / "set.tif", GdalFileType::TileSet));
    ASSERT_TRUE(single.openRead(folder / "single.tif", GdalFileType::SingleFile));
    ASSERT_EQ(tiles.noTiles(), 16u);
    Dice dice;
    PixelMatrix<TypeParam> fromTiles;
    PixelMatrix<TypeParam> fromSingle;
    for (int i = 0; i < 1000; ++i) {
        const PixelBox b = dice.box();
        ASSERT_TRUE(tiles.read(fromTiles, 1, b, 1.0, /*fill=*/true, static_cast<TypeParam>(3)));
        ASSERT_TRUE(single.read(fromSingle, 1, b, 1.0, /*fill=*/true, static_cast<TypeParam>(3)));
        ASSERT_EQ(fromTiles, fromSingle) << "box " << i;
        ASSERT_EQ(fromTiles, cut(model, b, static_cast<TypeParam>(3))) << "box " << i;
    }
}

TYPED_TEST(RasterSetRandom, WritesToAnExistingSetEqualAPlainMatrix)
{
    const TempFolder folder;
    makeBothRoads(folder, shape, Element<TypeParam>::gdal, storedNoise<TypeParam>());
    for (const char* name : {"single.tif", "set.tif"}) {
        PixelMatrix<TypeParam> model = noiseMatrix<TypeParam>(shape.width, shape.height);
        GDALStreamer set;
        ASSERT_TRUE(set.openUpdate(folder / name));
        writeAndCompare(set, model);
        ASSERT_TRUE(set.close());
        ASSERT_TRUE(set.openRead(folder / name));
        PixelMatrix<TypeParam> whole;
        ASSERT_TRUE(set.read(whole, 1, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
        EXPECT_EQ(whole, model);
    }
}

TYPED_TEST(RasterSetRandom, WritesToANewSetEqualAPlainMatrix)
{
    const TempFolder folder;
    const bool holdsNoData = std::is_signed_v<TypeParam> && sizeof(TypeParam) > 1;
    for (const GdalFileType type : {GdalFileType::SingleFile, GdalFileType::TileSet}) {
        PixelMatrix<TypeParam> model = PixelMatrix<TypeParam>::Constant(
            shape.height, shape.width, static_cast<TypeParam>(holdsNoData ? -10000 : 0));
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / "new.tif", 1, Element<TypeParam>::type,
                                  pixelFrame(shape.width, shape.height), "", "", "", type, shape.tileWidth,
                                  shape.tileHeight));
        writeAndCompare(set, model);
        ASSERT_TRUE(set.close());
        ASSERT_TRUE(set.openRead(folder / "new.tif", type));
        PixelMatrix<TypeParam> whole;
        ASSERT_TRUE(set.read(whole, 1, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
        EXPECT_EQ(whole, model);
        if (type == GdalFileType::SingleFile) {
            EXPECT_EQ(gdalPixels<TypeParam>(folder / "new.tif"), model);
        } else
            EXPECT_EQ(gdalPixels<TypeParam>(folder / "new_2_3.tif"), model.block(26, 16, 13, 16));
    }
}
