#include "qtimage.h"

#include "support/TempFolder.h"
#include "support/boxes.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <QImage>

#include <cstddef>
#include <vector>

// Rasters as pictures of Qt.

using vexel::GDALStreamer;
using vexel::readImage;

namespace {

constexpr int width = 13; // rows of pictures are aligned to words, whatever their width
constexpr int height = 7;

double pixel(int x, int y, int band)
{
    return 5 * x + y + 40 * band;
}

struct PictureCase
{
    int bands;
    std::vector<int> bandOfChannel; ///< red, green, blue; then alpha, if there is any
};

GDALStreamer opened(const QString& path)
{
    GDALStreamer set;
    EXPECT_TRUE(set.openRead(path)) << set.lastError();
    return set;
}

int channel(const PictureCase& picture, std::size_t index, int x, int y)
{
    return index < picture.bandOfChannel.size() ? static_cast<int>(pixel(x, y, picture.bandOfChannel[index]))
                                                : 255;
}

} // namespace

TEST(ReadImage, TakesColourAndGrayWithAndWithoutAlpha)
{
    for (const PictureCase& picture : {PictureCase{1, {1, 1, 1}}, PictureCase{2, {1, 1, 1, 2}},
                                       PictureCase{3, {1, 2, 3}}, PictureCase{4, {1, 2, 3, 4}}}) {
        const TempFolder folder;
        rasters::make(folder / "a.tif", {width, height, picture.bands, GDT_Byte}, pixel);
        const GDALStreamer set = opened(folder / "a.tif");
        const QImage image = readImage(set, vexel::PixelBox());
        ASSERT_EQ(image.width(), width);
        ASSERT_EQ(image.height(), height);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const QRgb found = image.pixel(x, y);
                ASSERT_EQ(qRed(found), channel(picture, 0, x, y)) << picture.bands << ", " << x << ", " << y;
                ASSERT_EQ(qGreen(found), channel(picture, 1, x, y)) << picture.bands;
                ASSERT_EQ(qBlue(found), channel(picture, 2, x, y)) << picture.bands;
                ASSERT_EQ(qAlpha(found), channel(picture, 3, x, y)) << picture.bands;
            }
    }
}

TEST(ReadImage, TakesABoxAtAScale)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {16, 8, 3, GDT_Byte},
                  [](int x, int y, int band) { return 10 * x + y + band; });
    const GDALStreamer set = opened(folder / "a.tif");
    const QImage part = readImage(set, box(4, 2, 12, 6), 0.5);
    ASSERT_EQ(part.size(), QSize(4, 2));
    const QImage larger = readImage(set, box(4, 2, 5, 3), 3.0);
    ASSERT_EQ(larger.size(), QSize(3, 3));
    EXPECT_EQ(larger.pixel(1, 1), qRgb(43, 44, 45));
}

TEST(ReadImage, IsTransparentWhereNoFileIs)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {4, 4, 3, GDT_Byte}, pixel);
    const GDALStreamer set = opened(folder / "a.tif");
    const QImage image = readImage(set, box(2, 2, 6, 6));
    ASSERT_EQ(image.size(), QSize(4, 4));
    EXPECT_EQ(qAlpha(image.pixel(1, 1)), 255);
    EXPECT_EQ(image.pixel(2, 2), 0u);
}

TEST(ReadImage, IsNullWhereTheSetCannotBeReadAsAPicture)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {4, 4, 5, GDT_Byte}, pixel);
    const GDALStreamer set = opened(folder / "a.tif");
    EXPECT_TRUE(readImage(set, vexel::PixelBox()).isNull());
    EXPECT_EQ(set.lastError().code, vexel::StreamError::Code::NoSuchBand);
    EXPECT_TRUE(readImage(GDALStreamer(), vexel::PixelBox()).isNull());
}
