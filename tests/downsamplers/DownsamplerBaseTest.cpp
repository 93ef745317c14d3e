#include "downsamplers/DownsamplerBase.h"

#include "support/CustomDownsampler.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"

#include <gtest/gtest.h>
#include <ogr_spatialref.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using downsampling::doStep;
using downsampling::isErrnoText;
using downsampling::typeName;
using vexel::GdalFileType;
using vexel::ImageAlphaType;
using Block = CustomDownsampler::Block;
using Values = std::vector<double>;

/// A pixel that tells where it is.
double place(int x, int y, int)
{
    return x + 1000.0 * y;
}

/// The same for rasters of several bands.
double placeInBand(int x, int y, int band)
{
    return x + 100.0 * y + 10000.0 * band;
}

float first(const Block& block)
{
    return block(0, 0);
}

float last(const Block& block)
{
    return block(block.rows() - 1, block.cols() - 1);
}

float size(const Block& block)
{
    return static_cast<float>(100 * block.rows() + block.cols());
}

float mean(const Block& block)
{
    return block.mean();
}

/// Runs a job to its end, the output completed.
void downsample(const QString& in, const QString& out, double resolution,
                const CustomDownsampler::Reduce& reduce, const DownsamplerSetup& setup = {})
{
    CustomDownsampler job(in, out, resolution, reduce, setup);
    EXPECT_TRUE(downsampling::run(job));
}

DownsamplerSetup asTiles()
{
    DownsamplerSetup setup;
    setup.type = GdalFileType::TileSet;
    return setup;
}

DownsamplerSetup withAlpha()
{
    DownsamplerSetup setup;
    setup.alpha = ImageAlphaType::LastBand;
    return setup;
}

/// What the constructor throws; empty if it does not.
std::string refusal(const QString& in, const QString& out, double resolution,
                    const DownsamplerSetup& setup = {})
{
    try {
        const CustomDownsampler job(in, out, resolution, first, setup);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

std::string cannotOpen(const char* what, const QString& path)
{
    return "Unable to open " + std::string(what) + " file '" + path.toStdString() + "'";
}

/// The messages about tiles that could not be written.
std::vector<LogCapture::Message> writeFailures(const LogCapture& log)
{
    std::vector<LogCapture::Message> found;
    for (const LogCapture::Message& message : log.messages())
        if (message.text.find("Unable to write tile") == 0)
            found.push_back(message);
    return found;
}

// ---- Construction

TEST(DownsamplerBaseConstruction, OpensInputAndOutput)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(12, 8, GDT_Int16, 2), placeInBand);
    const CustomDownsampler job(folder / "in.tif", folder / "out.tif", 4.0, first);

    EXPECT_TRUE(job.input.opened());
    EXPECT_EQ(job.input.path(), folder / "in.tif");
    EXPECT_TRUE(job.output.opened());
    EXPECT_EQ(job.output.path(), folder / "out.tif");
    EXPECT_EQ(job.output.noBands(), 2u);
    EXPECT_EQ(job.output.dtype(), vexel::DataType::Int16);
    EXPECT_EQ(job.factor, 4.0);
    EXPECT_EQ(job.border, 0);
    EXPECT_FALSE(job.alpha);
    EXPECT_EQ(job.concurrency(), 1u);
}

TEST(DownsamplerBaseConstruction, OutputHasTheSameBoxAtTheCoarserResolution)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(12, 8, GDT_Byte), place);
    const CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.5, first);

    const vexel::Workspace& extent = job.output.workspace();
    EXPECT_EQ(extent.minx(), 50000000000);
    EXPECT_EQ(extent.maxx(), 50001200000);
    EXPECT_EQ(extent.miny(), -410000000000);
    EXPECT_EQ(extent.maxy(), -409999200000);
    EXPECT_EQ(extent.res(), 250000);
    EXPECT_EQ(job.output.width(), 4);
    EXPECT_EQ(job.output.height(), 3);
}

TEST(DownsamplerBaseConstruction, OutputResolutionIsRoundedToMapUnits)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(12, 8, GDT_Byte), place);
    EXPECT_EQ(CustomDownsampler(folder / "in.tif", folder / "a.tif", 1.3700056, first).output.res(), 137001);
    EXPECT_EQ(CustomDownsampler(folder / "in.tif", folder / "b.tif", 1.3700044, first).output.res(), 137000);
}

TEST(DownsamplerBaseConstruction, DefaultOpensNothing)
{
    const CustomDownsampler job;
    EXPECT_FALSE(job.input.opened());
    EXPECT_FALSE(job.output.opened());
    EXPECT_EQ(job.factor, 0.0);
    EXPECT_EQ(job.border, 0);
    EXPECT_FALSE(job.alpha);
    EXPECT_EQ(job.concurrency(), 1u);
}

TEST(DownsamplerBaseConstruction, OnlyTheValueOneMeansAlpha)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 2), placeInBand);
    DownsamplerSetup setup;
    for (const int type : {0, 1, 2, -1}) {
        setup.alpha = static_cast<ImageAlphaType>(type);
        const CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, first, setup);
        EXPECT_EQ(job.alpha, type == 1) << type;
    }
}

TEST(DownsamplerBaseConstruction, FactorComesFromTheInputsResolution)
{
    const TempFolder folder;
    // 0.07 m is 7000 units.
    rasters::make(folder / "in.tif", downsampling::mapped(40, 40, GDT_Byte, 1, 7000), place);
    const CustomDownsampler job(folder / "in.tif", folder / "out.tif", 0.25, first);
    const double pixel = (7000 * 1e-5 + 7000 * 1e-5) * 0.5;
    EXPECT_EQ(job.factor, 0.25 / pixel);
    EXPECT_EQ(job.output.res(), 25000);
}

struct AlignmentCase
{
    const char* name;
    int alignment;
    int width;
    double requested;
    double factor;
    std::int64_t res;
};

class DownsamplerBaseAlignment : public testing::TestWithParam<AlignmentCase>
{};

TEST_P(DownsamplerBaseAlignment, SetsFactorAndResolution)
{
    const AlignmentCase& row = GetParam();
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(row.width, 9, GDT_Byte), place);
    DownsamplerSetup setup;
    setup.alignment = row.alignment;
    const CustomDownsampler job(folder / "in.tif", folder / "out.tif", row.requested, first, setup);
    EXPECT_EQ(job.factor, row.factor);
    EXPECT_EQ(job.output.res(), row.res);
}

INSTANTIATE_TEST_SUITE_P(Rows, DownsamplerBaseAlignment,
                         testing::Values(AlignmentCase{"None", 0, 5000, 3.0, 3.0, 300000},
                                         AlignmentCase{"OtherValueIsNone", 2, 5000, 3.0, 3.0, 300000},
                                         AlignmentCase{"NegativeValueIsNone", -1, 5000, 3.0, 3.0, 300000},
                                         AlignmentCase{"ToTile", 1, 5000, 3.0, 5000.0 / 1667.0, 299940},
                                         AlignmentCase{"HalfPixelRoundsUp", 1, 10, 4.0, 10.0 / 3.0, 333333},
                                         AlignmentCase{"AlreadyAligned", 1, 12, 4.0, 4.0, 400000},
                                         AlignmentCase{"UpToOneHalf", 1, 10, 0.51, 0.5, 50000}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerBaseConstruction, AlignsToTheFirstTileOfASet)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(24, 12, GDT_Byte), 10, 12, place);
    DownsamplerSetup setup = asTiles();
    setup.alignment = 1;
    const CustomDownsampler job(folder / "in.tif", folder / "out.tif", 3.0, first, setup);
    EXPECT_EQ(job.factor, 10.0 / 3.0) << "not the whole raster's 24 / 8, nor the last tile's 4 / 1";
}

// ---- Number of steps

TEST(DownsamplerBaseInit, ReportsOneStepATile)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(12, 8, GDT_Byte), place);
    downsampling::makeTiles(folder / "set.tif", downsampling::mapped(12, 8, GDT_Byte), 5, 4, place);
    std::size_t steps = 99;

    CustomDownsampler single(folder / "in.tif", folder / "a.tif", 2.0, first);
    EXPECT_TRUE(static_cast<vexel::Worker&>(single).do_init(steps));
    EXPECT_EQ(steps, 1u);

    CustomDownsampler set(folder / "set.tif", folder / "b.tif", 2.0, first, asTiles());
    EXPECT_TRUE(static_cast<vexel::Worker&>(set).do_init(steps));
    EXPECT_EQ(steps, 6u);
}

TEST(DownsamplerBaseInit, OfNothingOpenedFailsWithoutSteps)
{
    CustomDownsampler job;
    std::size_t steps = 99;
    EXPECT_FALSE(static_cast<vexel::Worker&>(job).do_init(steps));
    EXPECT_EQ(steps, 0u);
}

TEST(DownsamplerBaseInit, OfAClosedInputFails)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "set.tif", downsampling::mapped(12, 8, GDT_Byte), 5, 4, place);
    CustomDownsampler job(folder / "set.tif", folder / "out.tif", 2.0, first, asTiles());
    job.input.close();
    std::size_t steps = 99;
    EXPECT_FALSE(static_cast<vexel::Worker&>(job).do_init(steps));
    EXPECT_EQ(steps, 6u) << "a closed set keeps its tiles";
}

TEST(DownsamplerBaseStep, ThatThereIsNotFails)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(12, 8, GDT_Byte), place);
    CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, first);
    EXPECT_FALSE(doStep(job, 1));
    EXPECT_FALSE(doStep(job, std::numeric_limits<std::size_t>::max()));

    CustomDownsampler nothing;
    EXPECT_FALSE(doStep(nothing));
}

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

// ---- Alpha

TEST(DownsamplerBaseAlpha, ExactlyZeroMasksTheOtherBands)
{
    const TempFolder folder;
    const Values alphas = {0, 255, 0.001, -0.0, -1, std::nan("")};
    rasters::make(folder / "in.tif", downsampling::mapped(6, 1, GDT_Float32, 3), [&](int x, int, int band) {
        return band == 3 ? alphas[static_cast<std::size_t>(x)] : 10.0 * band + x;
    });
    downsample(folder / "in.tif", folder / "out.tif", 1.0, first, withAlpha());
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 1), (Values{-10000, 11, 12, -10000, 14, 15}));
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), (Values{-10000, 21, 22, -10000, 24, 25}));
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 3), (Values{0, 255, 0, 0, 0, 0}));
}

TEST(DownsamplerBaseAlpha, WithoutAlphaTypeTheLastBandIsABandAsAnyOther)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(2, 1, GDT_Float32, 2),
                  [](int x, int, int band) { return band == 2 ? 100.0 * x : 5.0; });
    downsample(folder / "in.tif", folder / "out.tif", 1.0, first);
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 1), (Values{5, 5}));
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), (Values{0, 100}));
}

TEST(DownsamplerBaseAlpha, ReducedAlphaIsCutAtHalf)
{
    const TempFolder folder;
    // Blocks of two by two with means of 127.5, 127.75, 127.25, 255 and 0.
    const Values sums = {510, 511, 509, 1020, 0};
    rasters::make(
        folder / "in.tif", downsampling::mapped(10, 2, GDT_Float32, 2), [&](int x, int y, int band) {
            return band == 2 ? (x % 2 == 0 && y == 0 ? sums[static_cast<std::size_t>(x / 2)] : 0.0) : 1.0;
        });
    downsample(folder / "in.tif", folder / "out.tif", 2.0, mean, withAlpha());
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), (Values{0, 255, 0, 255, 0}));
}

TEST(DownsamplerBaseAlpha, OnlyBandIsReducedAndCutButNotMasked)
{
    const TempFolder folder;
    const Values alphas = {255, 1, 0, 0, 255, 255, 0, 0};
    rasters::make(folder / "in.tif", downsampling::mapped(8, 1, GDT_Float32),
                  [&](int x, int, int) { return alphas[static_cast<std::size_t>(x)]; });
    std::mutex mutex;
    std::vector<float> seen;
    downsample(
        folder / "in.tif", folder / "out.tif", 1.0,
        [&](const Block& block) {
            const std::lock_guard<std::mutex> lock(mutex);
            seen.push_back(block(0, 0));
            return block(0, 0) / 2.0f + (block(0, 0) > 1.0f ? 0.5f : 0.0f);
        },
        withAlpha());
    EXPECT_EQ(std::multiset<float>(seen.begin(), seen.end()),
              (std::multiset<float>{0, 0, 0, 0, 1, 255, 255, 255}))
        << "the zeros stay zeros";
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), (Values{255, 0, 0, 0, 255, 255, 0, 0}));
}

TEST(DownsamplerBaseAlpha, MasksTheMarginOfATileToo)
{
    const TempFolder folder;
    // Blocks start at 0, 3, 7, 10 of two tiles; with a border, the block at 7 begins in the first tile.
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(14, 3, GDT_Float32, 2), 7, 3,
                            [](int x, int, int band) { return band == 2 ? (x == 6 ? 0 : 255) : x; });
    {
        DownsamplerSetup setup = asTiles();
        setup.alpha = ImageAlphaType::LastBand;
        CustomDownsampler job(folder / "in.tif", folder / "out.tif", 3.0, first, setup);
        job.border = 1;
        EXPECT_TRUE(downsampling::run(job));
    }
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif", 1), (Values{0, 2, -10000, 9}));
}

TEST(DownsamplerBaseAlpha, HolesOfBytesAreZero)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 2, GDT_Byte, 4),
                  [](int x, int, int band) { return band == 4 ? (x < 2 ? 0 : 255) : 40 * band; });
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first, withAlpha());
    for (int band = 1; band <= 3; ++band)
        EXPECT_EQ(rasters::pixels(folder / "out.tif", band), (Values{0, 40.0 * band}));
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 4), (Values{0, 255}));
}

// ---- The files written

struct TypeCase
{
    GDALDataType type;
    bool hasNoData;
};

class DownsamplerBasePixelTypes : public testing::TestWithParam<TypeCase>
{};

TEST_P(DownsamplerBasePixelTypes, AreKept)
{
    const TempFolder folder;
    for (const int bands : {1, 2, 3, 4, 6}) {
        rasters::make(folder / "in.tif", downsampling::mapped(6, 4, GetParam().type, bands),
                      [](int x, int y, int band) { return 30 * band + 6 * y + x; });
        downsample(folder / "in.tif", folder / "out.tif", 2.0, last);
        const rasters::Dataset output = rasters::open(folder / "out.tif");
        ASSERT_TRUE(output);
        ASSERT_EQ(output->GetRasterCount(), bands);
        for (int band = 1; band <= bands; ++band) {
            EXPECT_EQ(output->GetRasterBand(band)->GetRasterDataType(), GetParam().type);
            int has = 0;
            const double noData = output->GetRasterBand(band)->GetNoDataValue(&has);
            EXPECT_EQ(has != 0, GetParam().hasNoData);
            EXPECT_EQ(noData == -10000.0, GetParam().hasNoData);
            const double b = 30.0 * band;
            EXPECT_EQ(rasters::pixels(folder / "out.tif", band),
                      (Values{b + 7, b + 9, b + 11, b + 19, b + 21, b + 23}));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Types, DownsamplerBasePixelTypes,
                         testing::Values(TypeCase{GDT_Byte, false}, TypeCase{GDT_UInt16, false},
                                         TypeCase{GDT_Int16, true}, TypeCase{GDT_UInt32, false},
                                         TypeCase{GDT_Int32, true}, TypeCase{GDT_Float32, true},
                                         TypeCase{GDT_Float64, true}),
                         [](const auto& row) { return std::string(GDALGetDataTypeName(row.param.type)); });

void expectGeoreference(const QString& path, int width, int height, double edge)
{
    const rasters::Dataset output = rasters::open(path);
    ASSERT_TRUE(output) << path.toStdString();
    EXPECT_EQ(output->GetRasterXSize(), width);
    EXPECT_EQ(output->GetRasterYSize(), height);
    std::array<double, 6> coefficients{};
    ASSERT_EQ(output->GetGeoTransform(coefficients.data()), CE_None);
    // Exact but for the last digits of products with 1e-5.
    EXPECT_NEAR(coefficients[0], 500000.0, 1e-9);
    EXPECT_NEAR(coefficients[1], edge, 1e-12);
    EXPECT_EQ(coefficients[2], 0.0);
    EXPECT_NEAR(coefficients[3], 4100000.0, 1e-8);
    EXPECT_EQ(coefficients[4], 0.0);
    EXPECT_NEAR(coefficients[5], -edge, 1e-12);
}

TEST(DownsamplerBaseOutput, SingleFileIsGeoreferenced)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(30, 20, GDT_Byte), place);
    downsample(folder / "in.tif", folder / "out.tif", 3.3, first);
    expectGeoreference(folder / "out.tif", 9, 6, 3.3);
    EXPECT_TRUE(std::filesystem::exists((folder / "out.tfw").toStdString()));
    EXPECT_FALSE(std::filesystem::exists((folder / "out.tif_tmp.tif").toStdString()));
}

TEST(DownsamplerBaseOutput, TileSetIsGeoreferenced)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(30, 20, GDT_Byte), 13, 11, place);
    downsample(folder / "in.tif", folder / "out.tif", 3.3, first, asTiles());
    expectGeoreference(folder / "out_1_1.tif", 9, 6, 3.3);
    EXPECT_FALSE(std::filesystem::exists((folder / "out.tif").toStdString()));
}

TEST(DownsamplerBaseOutput, TileSetIsCutInto5000By5000Pixels)
{
    const TempFolder folder;
    const auto value = [](int x, int y, int) { return (x / 2 + 3 * (y / 2)) % 251; };
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(10100, 4, GDT_Byte), 6000, 4, value);
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first, asTiles());
    const Values west = rasters::pixels(folder / "out_1_1.tif");
    const Values east = rasters::pixels(folder / "out_2_1.tif");
    ASSERT_EQ(west.size(), 2u * 5000u);
    ASSERT_EQ(east.size(), 2u * 50u);
    for (std::size_t i = 0; i < 2; ++i) {
        for (std::size_t j = 0; j < 5000; ++j)
            ASSERT_EQ(west[i * 5000 + j], static_cast<double>((j + 3 * i) % 251)) << j;
        for (std::size_t j = 0; j < 50; ++j)
            ASSERT_EQ(east[i * 50 + j], static_cast<double>((5000 + j + 3 * i) % 251)) << j;
    }
    std::array<double, 6> coefficients{};
    ASSERT_EQ(rasters::open(folder / "out_2_1.tif")->GetGeoTransform(coefficients.data()), CE_None);
    EXPECT_NEAR(coefficients[0], 510000.0, 1e-9);
}

TEST(DownsamplerBaseOutput, TileRowsAreCutAt5000Pixels)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(2, 5003, GDT_Byte), 2, 5003,
                            [](int, int y, int) { return y % 251; });
    downsample(folder / "in.tif", folder / "out.tif", 1.0, first, asTiles());
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif").size(), 10000u);
    EXPECT_EQ(rasters::pixels(folder / "out_1_2.tif"),
              (Values{5000 % 251, 5000 % 251, 5001 % 251, 5001 % 251, 5002 % 251, 5002 % 251}));
}

TEST(DownsamplerBaseOutput, SingleFileIsNotCut)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(5100, 1, GDT_Byte), place);
    downsample(folder / "in.tif", folder / "out.tif", 1.0, first);
    EXPECT_EQ(rasters::pixels(folder / "out.tif").size(), 5100u);
}

TEST(DownsamplerBaseOutput, OtherFileTypesAreSingleFiles)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Float32), place);
    DownsamplerSetup setup;
    setup.type = static_cast<GdalFileType>(7);
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first, setup);
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), (Values{0, 2, 2000, 2002}));
}

TEST(DownsamplerBaseOutput, HasTheProjectionGivenAndTheDefaultTags)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Byte), place);
    DownsamplerSetup setup;
    setup.wkt = QString::fromStdString(rasters::wkt(32632));
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first, setup);

    const rasters::Dataset output = rasters::open(folder / "out.tif");
    ASSERT_TRUE(output);
    const OGRSpatialReference system(output->GetProjectionRef());
    ASSERT_NE(system.GetAuthorityCode(nullptr), nullptr);
    EXPECT_STREQ(system.GetAuthorityCode(nullptr), "32632");
    EXPECT_STREQ(output->GetMetadataItem("TIFFTAG_SOFTWARE"), "vexelstudio");
    EXPECT_EQ(output->GetMetadataItem("TIFFTAG_DATETIME"), nullptr);
    EXPECT_EQ(fileText(folder / "out.prj"), rasters::wkt(32632));
}

TEST(DownsamplerBaseOutput, HasNoProjectionUnlessOneIsGiven)
{
    const TempFolder folder;
    rasters::Description description = downsampling::mapped(4, 4, GDT_Byte);
    description.wkt = rasters::wkt(32632);
    rasters::make(folder / "in.tif", description, place);
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first);
    EXPECT_STREQ(rasters::open(folder / "out.tif")->GetProjectionRef(), "");
    EXPECT_FALSE(std::filesystem::exists((folder / "out.prj").toStdString()));
}

TEST(DownsamplerBaseOutput, ReplacesEarlierTilesOfItsName)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), 4, 4, place);
    makeFile(folder / "out_7_9.tif", "earlier");
    makeFile(folder / "outer_7_9.tif", "of another raster");
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first, asTiles());
    EXPECT_FALSE(std::filesystem::exists((folder / "out_7_9.tif").toStdString()));
    EXPECT_TRUE(std::filesystem::exists((folder / "outer_7_9.tif").toStdString()));
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif").size(), 16u);
}

TEST(DownsamplerBaseOutput, MakesItsFolder)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Byte), place);
    downsample(folder / "in.tif", folder / "new/deeper.d/out.tif", 2.0, first);
    EXPECT_EQ(rasters::pixels(folder / "new/deeper.d/out.tif").size(), 4u);
}

TEST(DownsamplerBaseOutput, MayBeAnImageFormat)
{
    const TempFolder folder;
    rasters::Description image;
    image.width = 6;
    image.height = 4;
    image.driver = "PNG";
    rasters::make(folder / "in.png", image, [](int x, int y, int) { return 10 * y + x; });
    downsample(folder / "in.png", folder / "out.png", 2e-5, last);
    EXPECT_EQ(rasters::pixels(folder / "out.png"), (Values{11, 13, 15, 31, 33, 35}));
}

TEST(DownsamplerBaseOutput, WithoutAnyStepThereIsNone)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Byte), place);
    {
        const CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, first);
    }
    EXPECT_EQ(folder.listing(), "in.tif");
}

// ---- Inputs that cannot be opened

TEST(DownsamplerBaseFailure, MissingInputIsNamed)
{
    const TempFolder folder;
    makeFile(folder / "out.tif", "earlier");
    const LogCapture quiet;
    EXPECT_EQ(refusal(folder / "none.tif", folder / "out.tif", 2.0),
              cannotOpen("input", folder / "none.tif"));
    EXPECT_EQ(refusal(folder / "none.tif", folder / "out.tif", 2.0, asTiles()),
              cannotOpen("input", folder / "none.tif"));
    EXPECT_EQ(refusal(QString(), folder / "out.tif", 2.0), cannotOpen("input", QString()));
    EXPECT_EQ(refusal(folder.path(), folder / "out.tif", 2.0), cannotOpen("input", folder.path()));
    EXPECT_EQ(fileText(folder / "out.tif"), "earlier");
}

TEST(DownsamplerBaseFailure, InputIsOpenedAsTheFileTypeSays)
{
    const TempFolder folder;
    rasters::make(folder / "single.tif", downsampling::mapped(4, 4, GDT_Byte), place);
    downsampling::makeTiles(folder / "set.tif", downsampling::mapped(4, 4, GDT_Byte), 2, 2, place);
    const LogCapture quiet;
    EXPECT_EQ(refusal(folder / "single.tif", folder / "out.tif", 2.0, asTiles()),
              cannotOpen("input", folder / "single.tif"));
    EXPECT_EQ(refusal(folder / "set.tif", folder / "out.tif", 2.0), cannotOpen("input", folder / "set.tif"));
}

TEST(DownsamplerBaseFailure, IncompleteTileSetCannotBeOpened)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "set.tif", downsampling::mapped(6, 6, GDT_Byte), 2, 2, place);
    std::filesystem::remove((folder / "set_2_2.tif").toStdString());
    const LogCapture quiet;
    EXPECT_EQ(refusal(folder / "set.tif", folder / "out.tif", 2.0, asTiles()),
              cannotOpen("input", folder / "set.tif"));
}

// ---- Outputs that are refused

struct ResolutionCase
{
    const char* name;
    double resolution;
};

class DownsamplerBaseResolution : public testing::TestWithParam<ResolutionCase>
{};

TEST_P(DownsamplerBaseResolution, IsRefusedBeforeAnythingIsDeleted)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(10, 8, GDT_Byte), place);
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(10, 8, GDT_Byte), 10, 8, place);
    for (const char* name :
         {"out.tif", "out.tif_tmp.tif", "out.tfw", "out.prj", "out_1_1.tif", "out_5_5.tif", "out_1_1.tfw"})
        makeFile(folder / name, "earlier");
    const std::string listing = folder.listing();
    const std::string input = fileText(folder / "in.tif");
    const LogCapture quiet;
    for (const GdalFileType type : {GdalFileType::SingleFile, GdalFileType::TileSet})
        for (const int alignment : {0, 1}) {
            DownsamplerSetup setup;
            setup.type = type;
            setup.alignment = alignment;
            EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", GetParam().resolution, setup),
                      cannotOpen("output", folder / "out.tif"));
        }
    EXPECT_EQ(folder.listing(), listing);
    EXPECT_EQ(fileText(folder / "out.tif"), "earlier");
    EXPECT_EQ(fileText(folder / "in.tif"), input);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DownsamplerBaseResolution,
    testing::Values(ResolutionCase{"Nan", std::numeric_limits<double>::quiet_NaN()},
                    ResolutionCase{"Infinite", std::numeric_limits<double>::infinity()},
                    ResolutionCase{"NegativeInfinite", -std::numeric_limits<double>::infinity()},
                    ResolutionCase{"Zero", 0.0}, ResolutionCase{"NegativeZero", -0.0},
                    ResolutionCase{"Negative", -2.0}, ResolutionCase{"LessThanHalfThePixel", 0.4},
                    ResolutionCase{"Tiny", 1e-300},
                    ResolutionCase{"Denormal", std::numeric_limits<double>::denorm_min()},
                    ResolutionCase{"LongerThanTheRaster", 11.0}, ResolutionCase{"Huge", 1e300},
                    ResolutionCase{"Largest", std::numeric_limits<double>::max()}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerBaseFailure, FactorJustBelowOneHalfIsRefused)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(10, 8, GDT_Byte), place);
    EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", std::nextafter(0.5, 0.0)),
              cannotOpen("output", folder / "out.tif"));
    EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", 0.5), "");
}

TEST(DownsamplerBaseFailure, OutputWithoutRowsIsRefused)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(10, 8, GDT_Byte), place);
    EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", 8.5), cannotOpen("output", folder / "out.tif"));
    EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", 8.0), "");
}

TEST(DownsamplerBaseFailure, FirstTileNarrowerThanHalfAnOutputPixelCannotBeAlignedTo)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(30, 30, GDT_Byte), 10, 10, place);
    makeFile(folder / "out_1_1.tif", "earlier");
    DownsamplerSetup aligned = asTiles();
    aligned.alignment = 1;
    EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", 20.1, aligned),
              cannotOpen("output", folder / "out.tif"));
    EXPECT_EQ(fileText(folder / "out_1_1.tif"), "earlier");
    EXPECT_EQ(refusal(folder / "in.tif", folder / "other.tif", 20.1, asTiles()), "") << "unaligned";
    EXPECT_EQ(refusal(folder / "in.tif", folder / "another.tif", 20.0, aligned), "") << "just half";
}

TEST(DownsamplerBaseFailure, EmptyOutputPathIsRefused)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(10, 8, GDT_Byte), place);
    EXPECT_EQ(refusal(folder / "in.tif", QString(), 2.0), cannotOpen("output", QString()));
}

/// A raster "in.tif" in a folder "data", to which other paths lead, and the tiles of a set of the same name.
class DownsamplerBaseOverwriting : public testing::Test
{
protected:
    DownsamplerBaseOverwriting()
    {
        std::filesystem::create_directories((m_folder / "data/sub").toStdString());
        std::filesystem::create_directory_symlink((m_folder / "data").toStdString(),
                                                  (m_folder / "link").toStdString());
        rasters::make(input(), downsampling::mapped(10, 8, GDT_Byte), place);
        downsampling::makeTiles(input(), downsampling::mapped(10, 8, GDT_Byte), 5, 8, place);
        m_single = fileText(input());
        m_tile = fileText(m_folder / "data/in_2_1.tif");
    }

    QString input() const { return m_folder / "data/in.tif"; }

    /// Other spellings of `name` in the folder "data".
    std::vector<QString> spellings(const QString& name) const
    {
        const QString relative =
            QString::fromStdString(std::filesystem::relative((m_folder / "data").toStdString()).string());
        return {m_folder / ("data/" + name),        m_folder / ("data/./" + name),
                m_folder / ("data/sub/../" + name), m_folder / ("data//" + name),
                m_folder / ("link/" + name),        relative + "/" + name,
                m_folder / ("link/sub/../" + name)};
    }

    void expectRefused(const QString& in, const QString& out, const DownsamplerSetup& setup = {}) const
    {
        EXPECT_EQ(refusal(in, out, 2.0, setup), cannotOpen("output", out));
        EXPECT_EQ(fileText(input()), m_single) << out.toStdString();
        EXPECT_EQ(fileText(m_folder / "data/in_2_1.tif"), m_tile) << out.toStdString();
    }

    TempFolder m_folder;
    std::string m_single;
    std::string m_tile;
};

TEST_F(DownsamplerBaseOverwriting, TheInputFileIsRefused)
{
    for (const QString& spelling : spellings("in.tif")) {
        expectRefused(input(), spelling);
        expectRefused(spelling, input());
    }
}

TEST_F(DownsamplerBaseOverwriting, TheInputFileThroughALinkIsRefused)
{
    std::filesystem::create_symlink(input().toStdString(), (m_folder / "alias.tif").toStdString());
    expectRefused(input(), m_folder / "alias.tif");
    expectRefused(m_folder / "alias.tif", input());
    expectRefused(m_folder / "alias.tif", m_folder / "alias.tif");
    EXPECT_TRUE(std::filesystem::is_symlink((m_folder / "alias.tif").toStdString()));
}

TEST_F(DownsamplerBaseOverwriting, TheInputByTheWorkingFileIsRefused)
{
    rasters::make(m_folder / "data/ortho.tif_tmp.tif", downsampling::mapped(10, 8, GDT_Byte), place);
    const std::string before = fileText(m_folder / "data/ortho.tif_tmp.tif");
    for (const QString& spelling : spellings("ortho.tif"))
        expectRefused(m_folder / "data/ortho.tif_tmp.tif", spelling);
    EXPECT_EQ(fileText(m_folder / "data/ortho.tif_tmp.tif"), before);
}

TEST_F(DownsamplerBaseOverwriting, TheTilesOfTheInputIsRefused)
{
    for (const QString& spelling : spellings("in.tif")) {
        expectRefused(input(), spelling, asTiles());
        expectRefused(spelling, input(), asTiles());
    }
}

TEST_F(DownsamplerBaseOverwriting, TilesThatTheInputLinksToIsRefused)
{
    for (const char* tile : {"_1_1.tif", "_2_1.tif"})
        std::filesystem::create_symlink((m_folder / (QString("data/in") + tile)).toStdString(),
                                        (m_folder / (QString("alias") + tile)).toStdString());
    expectRefused(m_folder / "alias.tif", input(), asTiles());
    expectRefused(input(), m_folder / "alias.tif", asTiles());
}

TEST_F(DownsamplerBaseOverwriting, AnotherRasterBesideTheInputIsFine)
{
    EXPECT_EQ(refusal(input(), m_folder / "data/in2.tif", 2.0), "");
    EXPECT_EQ(refusal(input(), m_folder / "data/in2.tif", 2.0, asTiles()), "");
    EXPECT_EQ(refusal(input(), m_folder / "data/sub/in.tif", 2.0), "");
    EXPECT_EQ(refusal(input(), m_folder / "data/sub/in.tif", 2.0, asTiles()), "");
    EXPECT_EQ(fileText(input()), m_single);
    EXPECT_EQ(fileText(m_folder / "data/in_2_1.tif"), m_tile);
}

// ---- Failures during a step

TEST(DownsamplerBaseFailure, ClosedOutputIsLogged)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), 4, 4, place);
    CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, first, asTiles());
    job.input.close();
    job.output.close();
    const LogCapture log;
    errno = EACCES;
    EXPECT_FALSE(doStep(job, 1));

    ASSERT_EQ(log.messages().size(), 1u);
    const LogCapture::Message& message = log.messages().front();
    EXPECT_EQ(message.level, 7);
    EXPECT_EQ(message.category, "");
    EXPECT_EQ(message.file, "DownsamplerBase");
    EXPECT_EQ(message.line, 199u);
    EXPECT_EQ(message.text, "Unable to write tile to '" + (folder / "out.tif").toStdString() +
                                "': " + std::strerror(EACCES));
}

TEST(DownsamplerBaseFailure, LostOutputFolderIsLogged)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 2), place);
    const QString output = folder / "made/out.tif";
    const LogCapture log;
    {
        CustomDownsampler job(folder / "in.tif", output, 2.0, first);
        std::filesystem::remove_all((folder / "made").toStdString());
        makeFile(folder / "made", "in the way");
        EXPECT_FALSE(doStep(job));
    }
    const std::vector<LogCapture::Message> failures = writeFailures(log);
    ASSERT_EQ(failures.size(), 1u) << "the step ends with the first band: " << log.text();
    EXPECT_EQ(failures[0].level, 7);
    EXPECT_EQ(failures[0].category, "");
    EXPECT_EQ(failures[0].file, "DownsamplerBase");
    EXPECT_EQ(failures[0].line, 199u);
    const std::string start = "Unable to write tile to '" + output.toStdString() + "': ";
    EXPECT_EQ(failures[0].text.substr(0, start.size()), start);
    EXPECT_TRUE(isErrnoText(failures[0].text.substr(start.size()))) << failures[0].text;
}

TEST(DownsamplerBaseFailure, TilesWrittenBeforeStay)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(4, 8, GDT_Float32, 3), 4, 4,
                            [](int, int, int band) { return band; });
    const std::string working = (folder / "out_1_1.tif_tmp.tif").toStdString();
    const std::string aside = (folder / "aside").toStdString();
    const LogCapture log;
    {
        std::once_flag once;
        bool isSecond = false;
        DownsamplerSetup setup;
        setup.type = GdalFileType::TileSet;
        CustomDownsampler job(
            folder / "in.tif", folder / "out.tif", 2.0,
            [&](const Block& block) {
                if (isSecond)
                    std::call_once(once, [&] { std::filesystem::rename(working, aside); });
                return block(0, 0);
            },
            setup);
        EXPECT_TRUE(doStep(job));
        isSecond = true;
        EXPECT_FALSE(doStep(job, 1));
        std::filesystem::rename(aside, working);
    }
    EXPECT_EQ(writeFailures(log).size(), 1u) << log.text();
    for (const int band : {1, 2, 3}) {
        const double b = band;
        const double hole = -10000.0;
        EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif", band),
                  (Values{b, b, b, b, hole, hole, hole, hole}));
    }
}

TEST(DownsamplerBaseFailure, LostInputCountsAsZeros)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Float32, 2),
                  [](int, int, int) { return 7.0; });
    const LogCapture log;
    for (const ImageAlphaType alpha : {ImageAlphaType::NoAlpha, ImageAlphaType::LastBand}) {
        std::filesystem::rename((folder / "in.tif").toStdString(), (folder / "kept.tif").toStdString());
        std::filesystem::copy_file((folder / "kept.tif").toStdString(), (folder / "in.tif").toStdString());
        DownsamplerSetup setup;
        setup.alpha = alpha;
        {
            CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, last, setup);
            std::filesystem::remove((folder / "in.tif").toStdString());
            EXPECT_TRUE(doStep(job));
        }
        std::filesystem::rename((folder / "kept.tif").toStdString(), (folder / "in.tif").toStdString());
        // Where alpha cannot be read it is 0, so all is transparent.
        EXPECT_EQ(rasters::pixels(folder / "out.tif", 1),
                  Values(4, alpha == ImageAlphaType::LastBand ? -10000.0 : 0.0));
        EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), Values(4, 0.0));
    }
    EXPECT_EQ(writeFailures(log).size(), 0u);
}

TEST(DownsamplerBaseFailure, LostInputTileCountsAsZeros)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(12, 3, GDT_Float32), 6, 3,
                            [](int x, int, int) { return 1 + x; });
    const LogCapture log;
    {
        CustomDownsampler job(folder / "in.tif", folder / "out.tif", 3.0, first, asTiles());
        std::filesystem::remove((folder / "in_2_1.tif").toStdString());
        EXPECT_TRUE(downsampling::run(job));
    }
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif"), (Values{1, 4, 0, 0}));
}

TEST(DownsamplerBaseFailure, ClosedInputLeavesNoData)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Float32), place);
    {
        CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, first);
        job.input.close();
        EXPECT_TRUE(doStep(job));
    }
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), Values(4, -10000.0));
}

TEST(DownsamplerBaseFailure, ExceptionOfTheReductionReachesTheCaller)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(600, 500, GDT_Float32), place);
    bool isBad = true;
    CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, [&](const Block& block) {
        if (isBad && block(0, 0) > 200000.0f)
            throw std::domain_error("bad block");
        return block(0, 0);
    });
    const auto step = [&] { return doStep(job); };
    try {
        step();
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::domain_error& error) {
        EXPECT_STREQ(error.what(), "bad block");
    }
    isBad = false;
    EXPECT_TRUE(step()) << "the job is still usable";
}

} // namespace
