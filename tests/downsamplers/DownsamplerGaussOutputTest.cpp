#include "downsamplers/DownsamplerGauss.h"

#include "gaussfixtures.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

using namespace downsamplergausstest;

namespace {

using downsampling::typeName;
using Values = std::vector<double>;

// ---- Output

class DownsamplerGaussPixelTypes : public testing::TestWithParam<GDALDataType>
{};

TEST_P(DownsamplerGaussPixelTypes, AreKeptAndRoundedByGdal)
{
    const TempFolder folder;
    const Raster raster = randomRaster(32, 24, 32, 24, 2, /*hasAlpha=*/true);
    const auto whole = [&](int x, int y, int band) {
        return std::max(0.0, std::floor(raster.value()(x, y, band)));
    };
    rasters::make(folder / "in.tif", downsampling::mapped(32, 24, GetParam(), 2), whole);
    rasters::make(folder / "float.tif", downsampling::mapped(32, 24, GDT_Float32, 2), whole);
    downsample(folder / "in.tif", folder / "out.tif", 4.0, kWithAlpha);
    downsample(folder / "float.tif", folder / "exact.tif", 4.0, kWithAlpha);
    EXPECT_EQ(rasters::open(folder / "out.tif")->GetRasterBand(1)->GetRasterDataType(), GetParam());
    for (int band = 1; band <= 2; ++band) {
        const Values exact = rasters::pixels(folder / "exact.tif", band);
        EXPECT_EQ(downsampling::difference(
                      downsampling::stored(std::vector<float>(exact.begin(), exact.end()), GetParam()),
                      rasters::pixels(folder / "out.tif", band), 8),
                  "")
            << "band " << band;
    }
}

INSTANTIATE_TEST_SUITE_P(Types, DownsamplerGaussPixelTypes,
                         testing::Values(GDT_Byte, GDT_UInt16, GDT_Int16, GDT_UInt32, GDT_Int32, GDT_Float32,
                                         GDT_Float64),
                         typeName);

/// A raster in pixel units, whose output resolution is rounded to a whole number of pixels.
rasters::Description inPixelUnits(int width, int height, GDALDataType type)
{
    rasters::Description description = downsampling::mapped(width, height, type, 3);
    description.geotransform.reset();
    return description;
}

class DownsamplerGaussUncomputed : public testing::TestWithParam<GDALDataType>
{};

TEST_P(DownsamplerGaussUncomputed, CellsAreNoDataOrZero)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", inPixelUnits(12, 6, GetParam()), [](int, int, int) { return 50.0; });
    downsample(folder / "in.tif", folder / "out.tif", 2.4e-5);
    // A pixel is 2 units for a factor of 2.4: 5 of 6 columns are computed. A third row is, but its sample
    // would lie in row 6 of 6.
    const double missing = GetParam() == GDT_Byte || GetParam() == GDT_UInt16 ? 0.0 : -10000.0;
    for (int band = 1; band <= 3; ++band) {
        const Values out = rasters::pixels(folder / "out.tif", band);
        ASSERT_EQ(out.size(), 18u);
        for (std::size_t k = 0; k < out.size(); ++k)
            if (k % 6 < 5 && k / 6 < 2)
                EXPECT_NEAR(out[k], 50.0, kRounding) << k;
            else
                EXPECT_EQ(out[k], missing) << "band " << band << ", " << k;
    }
}

INSTANTIATE_TEST_SUITE_P(Types, DownsamplerGaussUncomputed,
                         testing::Values(GDT_Byte, GDT_UInt16, GDT_Int16, GDT_Float32, GDT_Float64),
                         typeName);

TEST(DownsamplerGaussOutput, ResultsBeyondItAreCut)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", inPixelUnits(8, 8, GDT_Float32),
                  [](int x, int y, int band) { return 100 * band + x + 10 * y; });
    rasters::make(folder / "wide.tif", downsampling::mapped(8, 8, GDT_Float32, 3),
                  [](int x, int y, int band) { return 100 * band + x + 10 * y; });
    // 1.6 units are rounded to 2: the output is 4 pixels wide, though there are 5 results.
    downsample(folder / "in.tif", folder / "out.tif", 1.6e-5);
    downsample(folder / "wide.tif", folder / "whole.tif", 1.6);
    for (int band = 1; band <= 3; ++band) {
        const Values whole = rasters::pixels(folder / "whole.tif", band);
        ASSERT_EQ(whole.size(), 25u);
        Values expected;
        for (std::size_t i = 0; i < 4; ++i)
            expected.insert(expected.end(), whole.begin() + 5 * static_cast<std::ptrdiff_t>(i),
                            whole.begin() + 5 * static_cast<std::ptrdiff_t>(i) + 4);
        EXPECT_EQ(rasters::pixels(folder / "out.tif", band), expected);
    }
}

// ---- Seams between tiles

struct SeamCase
{
    const char* name;
    int width;
    int height;
    int tileWidth;
    int tileHeight;
    double factor;
};

class DownsamplerGaussSeams : public testing::TestWithParam<SeamCase>
{};

TEST_P(DownsamplerGaussSeams, LeaveNoPixelUnwritten)
{
    const SeamCase& row = GetParam();
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(row.width, row.height, GDT_Float32, 2),
                            row.tileWidth, row.tileHeight,
                            [](int x, int y, int band) { return band == 1 ? x : y; });
    {
        Job job(folder / "in.tif", folder / "out.tif", row.factor, kTiles);
        job.factor = row.factor; // aligned, the first row's would be 3
        EXPECT_TRUE(downsampling::run(job));
    }
    const rasters::Dataset out = rasters::open(folder / "out_1_1.tif");
    const int columns = out->GetRasterXSize();
    const Values xs = rasters::pixels(folder / "out_1_1.tif", 1);
    const Values ys = rasters::pixels(folder / "out_1_1.tif", 2);
    // Results lie up to one output pixel off their place, by the fractions that tiles leave, and the blur
    // draws those at the raster's edge inward.
    const double off = row.factor + 2.0;
    for (int k = 0; k < static_cast<int>(xs.size()); ++k) {
        const auto index = static_cast<std::size_t>(k);
        ASSERT_NEAR(xs[index], (k % columns + 0.5) * row.factor, off) << "row " << k / columns;
        ASSERT_NEAR(ys[index], (k / columns + 0.5) * row.factor, off) << "column " << k % columns;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, DownsamplerGaussSeams,
                         testing::Values(SeamCase{"ShortOfColumns", 1200, 300, 300, 300, 2.994},
                                         SeamCase{"ShortOfRows", 50, 240, 50, 30, 50.0 / 17},
                                         SeamCase{"Overlapping", 100, 320, 50, 32, 50.0 / 17},
                                         SeamCase{"LargeFactor", 146, 330, 73, 33, 7.3},
                                         SeamCase{"TilesOfAFewPixels", 48, 45, 6, 3, 2}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
