#ifndef VEXEL_TESTS_STREAMING_RASTERSETFIXTURES_H
#define VEXEL_TESTS_STREAMING_RASTERSETFIXTURES_H

#include "streaming/GDALStreamer.h"
#include "streamingsupport.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <array>

/// What the tests of raster sets share.
namespace streamingtest {

using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;

constexpr int width = 12;
constexpr int height = 7;

/// Two bands of shorts with the north-west corner at (100, 200) and pixels of 0.5.
inline void makeShorts(const QString& path)
{
    rasters::Description d{width, height, 2, GDT_Int16};
    d.geotransform = std::array<double, 6>{100, 0.5, 0, 200, 0, -0.5};
    rasters::make(path, d, storedNoise<short>());
}

inline void expectEmpty(const GDALStreamer& set, const QString& path, GdalFileType ftype)
{
    EXPECT_FALSE(set.opened());
    EXPECT_EQ(set.path(), path);
    EXPECT_EQ(set.ftype(), ftype);
    EXPECT_EQ(set.noBands(), 0u);
    EXPECT_EQ(set.noPages(), 0u);
    EXPECT_EQ(set.dtype(), DataType::Unknown);
    EXPECT_TRUE(set.workspace().empty());
    EXPECT_EQ(set.noTiles(), 0u);
    EXPECT_EQ(set.res(), 1);
}

inline bool writeAll(const GDALStreamer& set, int band = 1)
{
    return set.write(noiseMatrix<short>(set.width(), set.height(), band), static_cast<std::size_t>(band),
                     box(0, 0, 0, 0));
}

} // namespace streamingtest

#endif
