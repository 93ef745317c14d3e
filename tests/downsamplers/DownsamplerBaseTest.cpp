#include "downsamplers/DownsamplerBase.h"

#include "basefixtures.h"
#include "support/CustomDownsampler.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

using namespace downsamplerbasetest;

namespace {

using downsampling::doStep;
using vexel::ImageAlphaType;
using Values = std::vector<double>;

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

} // namespace
