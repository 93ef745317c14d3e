#ifndef VEXEL_TESTS_STREAMING_TILESETFIXTURES_H
#define VEXEL_TESTS_STREAMING_TILESETFIXTURES_H

#include "streaming/GDALStreamer.h"
#include "streamingsupport.h"

#include <gtest/gtest.h>

/// What the tests of tile sets share.
namespace streamingtest {

using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;

inline QString tileName(int column, int row, const char* base = "a", const char* extension = ".tif")
{
    return QString("%1_%2_%3%4").arg(base).arg(column).arg(row).arg(extension);
}

inline void expectBox(const PixelBox& actual, const PixelBox& expected)
{
    EXPECT_EQ(actual.min_corner().x(), expected.min_corner().x());
    EXPECT_EQ(actual.min_corner().y(), expected.min_corner().y());
    EXPECT_EQ(actual.max_corner().x(), expected.max_corner().x());
    EXPECT_EQ(actual.max_corner().y(), expected.max_corner().y());
}

inline PixelMatrix<unsigned char> readAll(const GDALStreamer& set, std::size_t band = 1)
{
    PixelMatrix<unsigned char> out;
    EXPECT_TRUE(set.read(out, band, box(0, 0, 0, 0), 1.0, /*fill=*/true, 0));
    return out;
}

} // namespace streamingtest

#endif
