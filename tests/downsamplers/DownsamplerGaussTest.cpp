#include "downsamplers/DownsamplerGauss.h"

#include "downsamplers/DownsamplerFactory.h"
#include "gaussfixtures.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using namespace downsamplergausstest;

namespace {

using downsampling::doStep;
using Values = std::vector<double>;

// ---- Class and factory

TEST(DownsamplerGauss, IsADownsampler)
{
    EXPECT_TRUE((std::is_base_of_v<vexel::DownsamplerBase, vexel::DownsamplerGauss>));
}

TEST(DownsamplerGauss, ReducesEveryBlockToZero)
{
    struct Reachable : vexel::DownsamplerBase
    {
        using DownsamplerBase::Block;
        static float reduce(const DownsamplerBase& job, const Block& block)
        {
            return (job.*(&Reachable::representativeValue))(block);
        }
    };
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), [](int, int, int) { return 7.0; });
    const Job job(folder / "in.tif", folder / "out.tif", 2.0);
    Image block = Image::Constant(2, 2, 7.0f);
    EXPECT_EQ(Reachable::reduce(job, block), 0.0f);
}

TEST(DownsamplerGauss, IsWhatTheFactoryMakesForBothOfItsValues)
{
    const TempFolder folder;
    const Raster raster = randomRaster(60, 44, 60, 44, 3, /*hasAlpha=*/true);
    rasters::make(folder / "in.tif", downsampling::mapped(60, 44, GDT_Float32, 3), raster.value());
    downsample(folder / "in.tif", folder / "direct.tif", 3.0, kWithAlpha);
    for (const int strategy : {0, 1}) {
        auto job = vexel::DownsamplerFactory::createDownsampler(
            static_cast<vexel::DownsamplingStrategy>(strategy), folder / "in.tif", folder / "made.tif",
            QString(), 3.0, ImageAlphaType::LastBand, GdalFileType::SingleFile);
        EXPECT_TRUE(std::dynamic_pointer_cast<vexel::DownsamplerGauss>(job));
        EXPECT_TRUE(downsampling::run(*job));
        job.reset();
        EXPECT_EQ(fileText(folder / "made.tif"), fileText(folder / "direct.tif"));
    }
}

TEST(DownsamplerGauss, HandsTheProjectionOn)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), [](int, int, int) { return 7.0; });
    {
        vexel::DownsamplerGauss job(folder / "in.tif", folder / "out.tif",
                                    QString::fromStdString(rasters::wkt(32632)), 2.0, ImageAlphaType::NoAlpha,
                                    GdalFileType::SingleFile);
        EXPECT_TRUE(downsampling::run(job));
    }
    EXPECT_NE(std::string(rasters::open(folder / "out.tif")->GetProjectionRef()).find("zone 32N"),
              std::string::npos);
}

TEST(DownsamplerGauss, FactorIsAlignedToTheFirstTile)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(150, 40, GDT_Byte), 100, 40,
                            [](int, int, int) { return 7.0; });
    const Job job(folder / "in.tif", folder / "out.tif", 3.0, kTiles);
    EXPECT_EQ(job.factor, 100.0 / 33.0);
    EXPECT_EQ(job.output.res(), 303030);
}

TEST(DownsamplerGauss, MissingFilesThrow)
{
    const TempFolder folder;
    const LogCapture quiet;
    try {
        const Job job(folder / "none.tif", folder / "out.tif", 2.0);
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Unable to open input file '" + (folder / "none.tif").toStdString() + "'");
    }
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Byte), [](int, int, int) { return 7.0; });
    EXPECT_THROW(Job(folder / "in.tif", folder / "in.tif", 2.0), std::runtime_error);
    EXPECT_THROW(Job(folder / "in.tif", folder / "out.tif", 9.0), std::runtime_error)
        << "the tile is narrower than half an output pixel";
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(DownsamplerGauss, StepThatThereIsNotFails)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), [](int, int, int) { return 7.0; });
    Job job(folder / "in.tif", folder / "out.tif", 2.0);
    EXPECT_FALSE(doStep(job, 1));
    EXPECT_FALSE(doStep(job, std::numeric_limits<std::size_t>::max()));
}

TEST(DownsamplerGauss, StepsMayComeInAnyOrder)
{
    const TempFolder folder;
    const Raster raster = randomRaster(96, 64, 32, 32, 3, /*hasAlpha=*/true);
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(96, 64, GDT_Float32, 3), 32, 32,
                            raster.value());
    downsample(folder / "in.tif", folder / "forward.tif", 4.0, kTilesWithAlpha);
    {
        Job job(folder / "in.tif", folder / "backward.tif", 4.0, kTilesWithAlpha);
        for (std::size_t step = 6; step-- > 0;)
            EXPECT_TRUE(doStep(job, step));
    }
    for (int band = 1; band <= 3; ++band)
        EXPECT_EQ(rasters::pixels(folder / "forward_1_1.tif", band),
                  rasters::pixels(folder / "backward_1_1.tif", band));
}

// ---- Progress

TEST(DownsamplerGaussProgress, IsReportedAfterReadingAndAfterWriting)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 4),
                  [](int, int, int) { return 7.0; });
    Job job(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
    Values shares;
    job.setProgress([&](double share) {
        shares.push_back(share);
        return true;
    });
    EXPECT_TRUE(doStep(job, 0));
    EXPECT_EQ(shares, (Values{0.5, 1.0}));
}

TEST(DownsamplerGaussProgress, StopEndsTheStepAndDiscardLeavesNothing)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 4),
                  [](int, int, int) { return 7.0; });
    const LogCapture log;
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0);
        int calls = 0;
        job.setProgress([&](double) { return ++calls < 2; });
        EXPECT_FALSE(doStep(job, 0));
        EXPECT_EQ(calls, 2);
        job.discard();
    }
    EXPECT_EQ(folder.listing(), "in.tif");
    EXPECT_EQ(log.text(), "");
}

} // namespace
