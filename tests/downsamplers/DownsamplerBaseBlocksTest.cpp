#include "downsamplers/DownsamplerBase.h"

#include "basefixtures.h"
#include "support/CustomDownsampler.h"
#include "support/TempFolder.h"
#include "support/Threads.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <mutex>
#include <set>
#include <string>
#include <vector>

using namespace downsamplerbasetest;

namespace {

using downsampling::doStep;
using downsampling::typeName;
using Values = std::vector<double>;

// ---- Which pixels a block holds

struct BlockCase
{
    const char* name;
    int width;
    double factor;
    Values firstColumns;
    double blockSize; ///< 100 * rows + columns
};

class DownsamplerBaseBlocks : public testing::TestWithParam<BlockCase>
{};

TEST_P(DownsamplerBaseBlocks, StartAtTruncatedMultiplesOfTheFactor)
{
    const BlockCase& row = GetParam();
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(row.width, row.width, GDT_Float32), place);
    downsample(folder / "in.tif", folder / "first.tif", row.factor, first);
    downsample(folder / "in.tif", folder / "size.tif", row.factor, size);

    Values expected;
    for (const double y : row.firstColumns)
        for (const double x : row.firstColumns)
            expected.push_back(x + 1000.0 * y);
    EXPECT_EQ(rasters::pixels(folder / "first.tif"), expected);
    EXPECT_EQ(rasters::pixels(folder / "size.tif"), Values(expected.size(), row.blockSize));
}

INSTANTIATE_TEST_SUITE_P(Factors, DownsamplerBaseBlocks,
                         testing::Values(BlockCase{"One", 5, 1.0, {0, 1, 2, 3, 4}, 101},
                                         BlockCase{"OneHalf", 3, 0.5, {0, 0, 1, 1, 2, 2}, 101},
                                         BlockCase{"BelowOne", 6, 0.75, {0, 0, 1, 2, 3, 3, 4, 5}, 101},
                                         BlockCase{"Two", 8, 2.0, {0, 2, 4, 6}, 202},
                                         BlockCase{"RemainderLeftOut", 11, 3.0, {0, 3, 6}, 303},
                                         BlockCase{
                                             "OverlapByOne", 20, 2.5, {0, 2, 5, 7, 10, 12, 15, 17}, 303},
                                         BlockCase{"LeaveOneOut", 12, 2.4, {0, 2, 4, 7, 9}, 202},
                                         BlockCase{"EdgeRoundsUpFromHalf", 6, 1.5, {0, 1, 3, 4}, 202},
                                         BlockCase{"EdgeRoundsDownBelowHalf", 6, 1.49, {0, 1, 2, 4}, 101}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerBaseStep, LastColumnOfAnOddTileFallsInNoBlock)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(1001, 2, GDT_Float32),
                  [](int x, int, int) { return x; });
    downsample(folder / "in.tif", folder / "first.tif", 2.0, first);
    downsample(folder / "in.tif", folder / "last.tif", 2.0, last);
    const Values starts = rasters::pixels(folder / "first.tif");
    ASSERT_EQ(starts.size(), 500u);
    for (std::size_t j = 0; j < starts.size(); ++j)
        EXPECT_EQ(starts[j], 2.0 * static_cast<double>(j));
    EXPECT_EQ(rasters::pixels(folder / "last.tif").back(), 999.0);
}

TEST(DownsamplerBaseStep, BlocksStartAtTheCornerOfTheirTile)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(28, 28, GDT_Float32), 7, 7, place);
    downsample(folder / "in.tif", folder / "first.tif", 3.0, first, asTiles());
    downsample(folder / "in.tif", folder / "last.tif", 3.0, last, asTiles());

    // Tiles start at 0, 7, 14 and 21. The third one reaches over three output pixels, one more than fit into
    // 7 pixels at a factor of 3; that block ends in the fourth tile.
    const Values starts = {0, 3, 7, 10, 14, 17, 20, 21, 24};
    Values expectedFirst;
    Values expectedLast;
    for (const double y : starts)
        for (const double x : starts) {
            expectedFirst.push_back(x + 1000.0 * y);
            expectedLast.push_back(x + 2 + 1000.0 * (y + 2));
        }
    EXPECT_EQ(rasters::pixels(folder / "first_1_1.tif"), expectedFirst);
    EXPECT_EQ(rasters::pixels(folder / "last_1_1.tif"), expectedLast);
}

TEST(DownsamplerBaseStep, TilesOffsetIsAddedBeforeTruncation)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(24, 12, GDT_Float32), 12, 12,
                            [](int x, int, int) { return x; });
    // Multiples of a factor just below 4 truncate to 3 and 7. In the second tile the margin of 2 is added
    // first, and the sums round to whole numbers.
    downsample(folder / "in.tif", folder / "out.tif", std::nextafter(4.0, 0.0), first, asTiles());
    const Values values = rasters::pixels(folder / "out_1_1.tif");
    ASSERT_EQ(values.size(), 18u);
    EXPECT_EQ(Values(values.begin(), values.begin() + 6), (Values{0, 3, 7, 12, 16, 20}));
}

TEST(DownsamplerBaseStep, BlocksAreCutAtTheEdgeOfTheRaster)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(21, 21, GDT_Float32), 7, 7, place);
    downsample(folder / "in.tif", folder / "out.tif", 3.0, size, asTiles());
    // The last output column starts at column 20 of 21, and so does the last row.
    Values expected;
    for (int i = 0; i < 7; ++i)
        for (int j = 0; j < 7; ++j)
            expected.push_back((i == 6 ? 100 : 300) + (j == 6 ? 1 : 3));
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif"), expected);
}

struct SeamCase
{
    const char* name;
    int width;
    int height;
    int tile;
    double factor;
};

class DownsamplerBaseSeams : public testing::TestWithParam<SeamCase>
{};

TEST_P(DownsamplerBaseSeams, LeaveNoPixelUnwritten)
{
    const SeamCase& row = GetParam();
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(row.width, row.height, GDT_Float32, 2),
                            row.tile, row.tile, [](int x, int y, int band) { return band == 1 ? x : y; });
    downsample(folder / "in.tif", folder / "out.tif", row.factor, mean, asTiles());
    const int columns = static_cast<int>(row.width / row.factor);
    const int rows = static_cast<int>(row.height / row.factor);
    const Values xs = rasters::pixels(folder / "out_1_1.tif", 1);
    const Values ys = rasters::pixels(folder / "out_1_1.tif", 2);
    ASSERT_EQ(xs.size(), static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    // Blocks lie up to one output pixel off their place, by the fractions that tiles leave.
    const double off = row.factor + 1.0;
    for (int i = 0, k = 0; i < rows; ++i)
        for (int j = 0; j < columns; ++j, ++k) {
            ASSERT_NEAR(xs[static_cast<std::size_t>(k)], (j + 0.5) * row.factor, off) << "row " << i;
            ASSERT_NEAR(ys[static_cast<std::size_t>(k)], (i + 0.5) * row.factor, off) << "column " << j;
        }
}

INSTANTIATE_TEST_SUITE_P(Rows, DownsamplerBaseSeams,
                         testing::Values(SeamCase{"SevenByThree", 35, 42, 7, 3.0},
                                         SeamCase{"FractionBelowThree", 900, 610, 300, 2.994},
                                         SeamCase{"FractionAboveThree", 130, 140, 33, 3.3},
                                         SeamCase{"TilesOfOnePixel", 7, 6, 1, 2.0},
                                         SeamCase{"TilesNarrowerThanABlock", 30, 20, 2, 5.0}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerBaseStep, TileThatReachesNoOutputPixelChangesNothing)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(13, 12, GDT_Float32), 6, 6, place);
    downsample(folder / "in.tif", folder / "out.tif", 3.0, first, asTiles());
    // The third column of tiles is one pixel wide and lies east of the last whole output pixel.
    Values expected;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            expected.push_back(3.0 * j + 3000.0 * i);
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif"), expected);
}

TEST(DownsamplerBaseStep, StepsMayComeInAnyOrder)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(28, 21, GDT_Float32), 7, 7, place);
    downsample(folder / "in.tif", folder / "forward.tif", 2.3, mean, asTiles());
    {
        CustomDownsampler job(folder / "in.tif", folder / "backward.tif", 2.3, mean, asTiles());
        for (std::size_t step = 12; step-- > 0;)
            EXPECT_TRUE(doStep(job, step));
    }
    EXPECT_EQ(rasters::pixels(folder / "forward_1_1.tif"), rasters::pixels(folder / "backward_1_1.tif"));
}

/// Runs a job with blocks of two by two pixels and a border of one.
void downsampleWithBorder(const QString& in, const QString& out, const CustomDownsampler::Reduce& reduce,
                          const DownsamplerSetup& setup = {})
{
    CustomDownsampler job(in, out, 2.0, reduce, setup);
    job.border = 1;
    EXPECT_TRUE(downsampling::run(job));
}

TEST(DownsamplerBaseStep, BorderWidensBlocks)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(6, 6, GDT_Float32), place);
    downsampleWithBorder(folder / "in.tif", folder / "first.tif", first);
    downsampleWithBorder(folder / "in.tif", folder / "size.tif", size);
    // Edges are 4 long from one pixel before 0, 2 and 4, cut where the raster begins; the last ones are as
    // long as what remains from 4 on.
    EXPECT_EQ(rasters::pixels(folder / "first.tif"), (Values{0, 1, 3, 1000, 1001, 1003, 3000, 3001, 3003}));
    EXPECT_EQ(rasters::pixels(folder / "size.tif"), (Values{404, 404, 402, 404, 404, 402, 204, 204, 202}));
}

TEST(DownsamplerBaseStep, BorderReachesIntoNeighbouringTiles)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(12, 4, GDT_Float32), 6, 4, place);
    downsampleWithBorder(folder / "in.tif", folder / "first.tif", first, asTiles());
    downsampleWithBorder(folder / "in.tif", folder / "last.tif", last, asTiles());
    EXPECT_EQ(rasters::pixels(folder / "first_1_1.tif"),
              (Values{0, 1, 3, 5, 7, 9, 1000, 1001, 1003, 1005, 1007, 1009}));
    EXPECT_EQ(rasters::pixels(folder / "last_1_1.tif"),
              (Values{3003, 3004, 3006, 3008, 3010, 3010, 2003, 2004, 2006, 2008, 2010, 2010}));
}

TEST(DownsamplerBaseStep, BlocksAreViewsIntoOneBuffer)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(12, 9, GDT_Float32), place);
    std::mutex mutex;
    std::set<const float*> origins;
    std::set<Eigen::Index> strides;
    downsample(folder / "in.tif", folder / "out.tif", 3.0, [&](const Block& block) {
        const std::lock_guard<std::mutex> lock(mutex);
        const int x = static_cast<int>(block(0, 0)) % 1000;
        const int y = static_cast<int>(block(0, 0)) / 1000;
        origins.insert(block.data() - (y * block.outerStride() + x));
        strides.insert(block.outerStride());
        return 0.0f;
    });
    EXPECT_EQ(strides, (std::set<Eigen::Index>{12}));
    EXPECT_EQ(origins.size(), 1u);
}

TEST(DownsamplerBaseStep, ReducesBandAfterBand)
{
    const Threads one(1); // a team takes the rows of all bands in any order
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(6, 4, GDT_Float32, 5), placeInBand);
    std::mutex mutex;
    std::vector<int> bands;
    downsample(folder / "in.tif", folder / "out.tif", 2.0, [&](const Block& block) {
        const std::lock_guard<std::mutex> lock(mutex);
        const int band = static_cast<int>(block(0, 0)) / 10000;
        if (bands.empty() || bands.back() != band)
            bands.push_back(band);
        return block(0, 0);
    });
    EXPECT_EQ(bands, (std::vector<int>{1, 2, 3, 4, 5}));
    for (int band = 1; band <= 5; ++band) {
        const double b = 10000.0 * band;
        EXPECT_EQ(rasters::pixels(folder / "out.tif", band),
                  (Values{b, b + 2, b + 4, b + 200, b + 202, b + 204}));
    }
}

// ---- Pixels that no block computes

class DownsamplerBaseUncomputed : public testing::TestWithParam<GDALDataType>
{};

TEST_P(DownsamplerBaseUncomputed, CellsAreNoDataOrZero)
{
    const TempFolder folder;
    rasters::Description pixelUnits = downsampling::mapped(7, 7, GetParam(), 3);
    pixelUnits.geotransform.reset();
    rasters::make(folder / "in.tif", pixelUnits, [](int, int, int band) { return 6.0 + band; });
    // A pixel is one unit, and so is 1.4 of them rounded: the output keeps the size, 5 of 7 pixels are
    // reached.
    downsample(folder / "in.tif", folder / "out.tif", 1.4e-5, first);
    const bool isSigned = GetParam() != GDT_Byte && GetParam() != GDT_UInt16 && GetParam() != GDT_UInt32;
    for (int band = 1; band <= 3; ++band) {
        Values expected;
        for (int i = 0; i < 7; ++i)
            for (int j = 0; j < 7; ++j)
                expected.push_back(i < 5 && j < 5 ? 6.0 + band : isSigned ? -10000.0 : 0.0);
        EXPECT_EQ(rasters::pixels(folder / "out.tif", band), expected) << "band " << band;
    }
}

TEST(DownsamplerBaseStep, BlocksBeyondTheOutputAreDropped)
{
    const TempFolder folder;
    rasters::Description pixelUnits = downsampling::mapped(8, 8, GDT_Byte);
    pixelUnits.geotransform.reset();
    rasters::make(folder / "in.tif", pixelUnits, [](int x, int y, int) { return x + 10 * y; });
    // 1.6 units are rounded to 2: the output is 4 pixels wide, though 5 blocks fit.
    downsample(folder / "in.tif", folder / "out.tif", 1.6e-5, first);
    EXPECT_EQ(rasters::pixels(folder / "out.tif"),
              (Values{0, 1, 3, 4, 10, 11, 13, 14, 30, 31, 33, 34, 40, 41, 43, 44}));
}

INSTANTIATE_TEST_SUITE_P(Types, DownsamplerBaseUncomputed,
                         testing::Values(GDT_Byte, GDT_UInt16, GDT_Int16, GDT_UInt32, GDT_Int32, GDT_Float32,
                                         GDT_Float64),
                         typeName);

} // namespace
