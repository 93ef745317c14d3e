#include "companion/JobRunner.h"
#include "downsamplers/DownsamplerFactory.h"

#include "jobfixtures.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"
#include "support/gdalhandlers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace downsamplerjobtest;
using vexel::DownsamplingStrategy;
using vexel::GdalFileType;
using vexel::ImageAlphaType;
using Outcome = JobRunner::Outcome;
using Job = std::shared_ptr<vexel::DownsamplerBase>;

/// A raster that keeps the warp busy for several of its pieces.
class WarpJob : public testing::Test
{
protected:
    void SetUp() override
    {
        rasters::Description description = downsampling::mapped(400, 300, GDT_Float32);
        description.wkt = rasters::wkt(32633);
        rasters::make(folder / "in.tif", description, pixel);
        inputBytes = fileText(folder / "in.tif");
    }

    Job create(double resolution = 2.0, const char* input = "in.tif") const
    {
        return vexel::DownsamplerFactory::createDownsampler(
            DownsamplingStrategy::Warp, folder / input, folder / "out.tif", QString(), resolution,
            ImageAlphaType::NoAlpha, GdalFileType::SingleFile);
    }

    void expectOnlyTheInput() const
    {
        EXPECT_EQ(folder.listing(), "in.tif");
        EXPECT_EQ(fileText(folder / "in.tif"), inputBytes);
    }

    TempFolder folder;
    std::string inputBytes;
};

TEST_F(WarpJob, ReportsFromZeroToOneInOneStep)
{
    Job job = create();
    std::vector<double> shares;
    const auto collect = [&](JobRunner&, const JobRunner::Progress& progress) {
        EXPECT_EQ(progress.steps, 1u);
        shares.push_back(progress.share);
    };
    EXPECT_EQ(run(*job, collect).outcome, Outcome::Finished);
    ASSERT_GT(shares.size(), 3u);
    EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
    EXPECT_LT(shares.front(), 0.5);
    EXPECT_EQ(shares.back(), 1.0);
    job.reset();
    EXPECT_EQ(rasters::pixels(folder / "out.tif").size(), 200u * 150u);
}

TEST_F(WarpJob, CancelledAtOnceLeavesNothing)
{
    const LogCapture log;
    const QuietGdal quiet;
    Job job = create();
    const JobRunner::Result result = run(*job, stopAtOnce);
    EXPECT_EQ(result.outcome, Outcome::Cancelled);
    EXPECT_TRUE(result.failedSteps.empty());
    EXPECT_EQ(log.text(), "");
    expectOnlyTheInput();
    job.reset();
    expectOnlyTheInput();
}

TEST_F(WarpJob, CancelledHalfWayLeavesNothing)
{
    const QuietGdal quiet;
    const int open = rasters::openDatasets();
    Job job = create();
    bool wasThere = false;
    const auto stopHalfWay = [&](JobRunner& runner, const JobRunner::Progress& progress) {
        wasThere = wasThere || exists(folder / "out.tif");
        if (progress.share > 0.5)
            runner.stop();
    };
    EXPECT_EQ(run(*job, stopHalfWay).outcome, Outcome::Cancelled);
    EXPECT_TRUE(wasThere);
    EXPECT_EQ(rasters::openDatasets(), open);
    job.reset();
    expectOnlyTheInput();
}

TEST_F(WarpJob, WhoseCallbackThrowsFailsAndLeavesNothing)
{
    const QuietGdal quiet;
    Job job = create();
    const auto fail = [](JobRunner&, const JobRunner::Progress&) { throw std::runtime_error("no display"); };
    const JobRunner::Result result = run(*job, fail);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.exceptionText.toStdString(), "no display");
    job.reset();
    expectOnlyTheInput();
}

TEST_F(WarpJob, CancelledButKeptLeavesWhatIsThere)
{
    const QuietGdal quiet;
    Job job = create();
    EXPECT_EQ(run(*job, stopAtOnce, JobRunner::Incomplete::Keep).outcome, Outcome::Cancelled);
    job.reset();
    EXPECT_TRUE(exists(folder / "out.tif"));
}

TEST_F(WarpJob, CancelledBeforeTheRunLeavesAnEarlierOutputAlone)
{
    makeFile(folder / "out.tif", "earlier");
    Job job = create();
    JobRunner runner;
    runner.stop();
    EXPECT_EQ(runner.run(*job).outcome, Outcome::Cancelled);
    job.reset();
    EXPECT_EQ(fileText(folder / "out.tif"), "earlier");
}

TEST_F(WarpJob, ThatIsImpossibleLeavesAnEarlierOutputAlone)
{
    makeFile(folder / "out.tif", "earlier");
    Job job = create(/*resolution=*/-1.0);
    EXPECT_EQ(run(*job).outcome, Outcome::Failed);
    job.reset();
    EXPECT_EQ(fileText(folder / "out.tif"), "earlier");
}

TEST_F(WarpJob, WithoutAnInputLeavesAnEarlierOutputAloneWhenDiscarded)
{
    const LogCapture log;
    const QuietGdal quiet;
    makeFile(folder / "out.tif", "earlier");
    Job job = create(2.0, "missing.tif");
    run(*job);
    job->discard();
    EXPECT_EQ(fileText(folder / "out.tif"), "earlier");
}

TEST_F(WarpJob, FinishedAndThenDiscardedLeavesNothing)
{
    Job job = create();
    EXPECT_EQ(run(*job).outcome, Outcome::Finished);
    ASSERT_TRUE(exists(folder / "out.tif"));
    for (const char* beside : {"out.tif.aux.xml", "out.tif.ovr"})
        makeFile(folder / beside);
    job->discard();
    expectOnlyTheInput();
    makeFile(folder / "out.tif", "of somebody else");
    job->discard();
    EXPECT_EQ(fileText(folder / "out.tif"), "of somebody else");
}

TEST_F(WarpJob, FinishedLeavesItsOutput)
{
    Job job = create();
    EXPECT_EQ(run(*job).outcome, Outcome::Finished);
    job.reset();
    EXPECT_EQ(folder.listing(), "in.tif out.tif");
}
