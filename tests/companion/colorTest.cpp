#include "companion/color.h"

#include <gtest/gtest.h>

using Pixels = vexel::PixelMatrix<unsigned int>;

TEST(SetAlpha, ReplacesTheHighestByteOfEveryPixel)
{
    Pixels pixels(2, 3);
    pixels << 0x00000000u, 0xFFFFFFFFu, 0x12345678u, 0x80000001u, 0x00FFFFFFu, 0xFF000000u;
    vexel::color::setAlpha(pixels, 255);
    Pixels expected(2, 3);
    expected << 0xFF000000u, 0xFFFFFFFFu, 0xFF345678u, 0xFF000001u, 0xFFFFFFFFu, 0xFF000000u;
    EXPECT_EQ(pixels, expected);

    vexel::color::setAlpha(pixels, 0x7A);
    expected << 0x7A000000u, 0x7AFFFFFFu, 0x7A345678u, 0x7A000001u, 0x7AFFFFFFu, 0x7A000000u;
    EXPECT_EQ(pixels, expected);

    vexel::color::setAlpha(pixels, 0);
    expected << 0x00000000u, 0x00FFFFFFu, 0x00345678u, 0x00000001u, 0x00FFFFFFu, 0x00000000u;
    EXPECT_EQ(pixels, expected);
}

TEST(SetAlpha, TakesTheLowEightBitsOfTheAlpha)
{
    Pixels pixels = Pixels::Constant(1, 1, 0x00ABCDEFu);
    vexel::color::setAlpha(pixels, 0xFFFFFF12u);
    EXPECT_EQ(pixels(0, 0), 0x12ABCDEFu);
    vexel::color::setAlpha(pixels, 256);
    EXPECT_EQ(pixels(0, 0), 0x00ABCDEFu);
}

TEST(SetAlpha, LeavesAnEmptyMatrixEmpty)
{
    for (Pixels pixels : {Pixels(), Pixels(0, 5), Pixels(5, 0)}) {
        const auto rows = pixels.rows();
        const auto columns = pixels.cols();
        vexel::color::setAlpha(pixels, 255);
        EXPECT_EQ(pixels.rows(), rows);
        EXPECT_EQ(pixels.cols(), columns);
    }
}
