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
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

// What completing a downsampling job makes, tells and leaves.

using namespace downsamplerjobtest;
using vexel::DownsamplingStrategy;
using vexel::GdalFileType;
using vexel::ImageAlphaType;
using vexel::StreamError;
using Code = StreamError::Code;
using Outcome = JobRunner::Outcome;
using Job = std::shared_ptr<vexel::DownsamplerBase>;

/// A raster whose coarser copy is a set of two tiles, or one file.
class DownsamplerCompletion : public testing::TestWithParam<GdalFileType>
{
protected:
    static constexpr int width = 10040;
    static constexpr int height = 60;

    void SetUp() override
    {
        if (isSet())
            downsampling::makeTiles(folder / "in.tif", downsampling::mapped(width, height, GDT_Byte), 5020,
                                    height, pixel);
        else
            rasters::make(folder / "in.tif", downsampling::mapped(width, height, GDT_Byte), pixel);
        inputs = folder.listing();
    }

    static bool isSet() { return GetParam() == GdalFileType::TileSet; }
    QString lastOutput() const { return folder / (isSet() ? "out_2_1.tif" : "out.tif"); }

    Job create(DownsamplingStrategy strategy = DownsamplingStrategy::Average,
               const char* output = "out.tif") const
    {
        return vexel::DownsamplerFactory::createDownsampler(strategy, folder / "in.tif", folder / output,
                                                            QString::fromStdString(rasters::wkt(32633)), 2.0,
                                                            ImageAlphaType::NoAlpha, GetParam());
    }

    TempFolder folder;
    std::string inputs;
};

INSTANTIATE_TEST_SUITE_P(Files, DownsamplerCompletion,
                         testing::Values(GdalFileType::SingleFile, GdalFileType::TileSet),
                         [](const testing::TestParamInfo<GdalFileType>& row) {
                             return row.param == GdalFileType::TileSet ? "Tiles" : "Single";
                         });

TEST_P(DownsamplerCompletion, MakesTheFilesBeforeTheJobIsDestroyed)
{
    for (const DownsamplingStrategy strategy : {DownsamplingStrategy::Average, DownsamplingStrategy::Gauss}) {
        Job job = create(strategy);
        ASSERT_TRUE(downsampling::run(*job));
        const StreamError error = job->complete();
        EXPECT_FALSE(error) << error;
        const std::string files = folder.listing();
        const std::string bytes = fileText(lastOutput());
        EXPECT_EQ(rasters::pixels(lastOutput()).size(), isSet() ? 20u * 30u : 5020u * 30u);
        EXPECT_FALSE(downsampling::doStep(*job)) << "the job is over";
        job.reset();
        EXPECT_EQ(folder.listing(), files);
        EXPECT_EQ(fileText(lastOutput()), bytes);
    }
}

TEST_P(DownsamplerCompletion, GivesTheBytesThatDestroyingTheJobGives)
{
    Job destroyed = create(DownsamplingStrategy::Average, "destroyed.tif");
    ASSERT_TRUE(downsampling::run(*destroyed));
    destroyed.reset();
    ASSERT_EQ(run(*create()).outcome, Outcome::Finished);
    const QString name = isSet() ? "destroyed_2_1.tif" : "destroyed.tif";
    EXPECT_EQ(fileText(lastOutput()), fileText(folder / name));
}

TEST_P(DownsamplerCompletion, IsCountedByTheRunner)
{
    Job job = create();
    std::vector<JobRunner::Progress> told;
    const auto collect = [&](JobRunner&, const JobRunner::Progress& progress) { told.push_back(progress); };
    ASSERT_EQ(run(*job, collect).outcome, Outcome::Finished);
    const auto isCompleting = [](const JobRunner::Progress& progress) {
        return progress.stepsDone == progress.steps;
    };
    const auto first = std::find_if(told.begin(), told.end(), isCompleting);
    ASSERT_GE(told.end() - first, 3);
    // Half as many columns and rows: each of the output's pixels counts as four of the input's.
    EXPECT_EQ(first->share, 0.5);
    EXPECT_EQ(told.back().share, 1.0);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end(),
                               [](const auto& a, const auto& b) { return a.share < b.share; }));
}

TEST_P(DownsamplerCompletion, StoppedLeavesNothing)
{
    const int open = rasters::openDatasets();
    for (const double share : {0.51, 0.9, 1.0}) {
        Job job = create();
        const auto stopAt = [share](JobRunner& runner, const JobRunner::Progress& progress) {
            if (progress.stepsDone == progress.steps && progress.share >= share)
                runner.stop();
        };
        const LogCapture log;
        EXPECT_EQ(run(*job, stopAt).outcome, Outcome::Cancelled) << share;
        EXPECT_EQ(folder.listing(), inputs) << share;
        EXPECT_EQ(log.text(), "");
        job.reset();
        EXPECT_EQ(folder.listing(), inputs) << share;
        EXPECT_EQ(rasters::openDatasets(), open);
    }
}

TEST_P(DownsamplerCompletion, StoppedByItselfLeavesNothing)
{
    Job job = create();
    ASSERT_TRUE(downsampling::run(*job));
    job->setProgress([](double) { return false; });
    EXPECT_EQ(job->complete().code, Code::Stopped);
    EXPECT_EQ(folder.listing(), inputs);
}

TEST_P(DownsamplerCompletion, DiscardedAfterwardsLeavesNothing)
{
    Job job = create();
    ASSERT_EQ(run(*job).outcome, Outcome::Finished);
    EXPECT_NE(folder.listing(), inputs);
    job->discard();
    EXPECT_EQ(folder.listing(), inputs);
    EXPECT_EQ(job->complete().code, Code::NotOpen);
}

TEST_P(DownsamplerCompletion, WithoutAFileBesideTheRasterKeepsIt)
{
    const char* const name = isSet() ? "out_1_1.tfw" : "out.tfw";
    Job job = create();
    std::filesystem::create_directories((folder / name).toStdString() + "/full");
    const QuietGdal quiet;
    const JobRunner::Result result = run(*job);
    EXPECT_EQ(result.outcome, Outcome::NotCompleted);
    EXPECT_EQ(result.error.code, Code::CannotComplete);
    EXPECT_NE(result.error.text.indexOf(folder / name), -1) << result.error;
    EXPECT_TRUE(exists(lastOutput()));
    job.reset();
    EXPECT_TRUE(exists(lastOutput()));
}

TEST_P(DownsamplerCompletion, WithoutARasterDiscardsAll)
{
    const LogCapture log;
    const QuietGdal quiet;
    Job job = create();
    ASSERT_TRUE(downsampling::doStep(*job, 0));
    std::filesystem::create_directories((lastOutput() + "/full").toStdString());
    // The tile that is in the way lies there when the first one is completed.
    const JobRunner::Result result = run(*job);
    EXPECT_EQ(result.outcome, Outcome::NotCompleted);
    EXPECT_EQ(result.error.path, lastOutput());
    std::filesystem::remove_all(lastOutput().toStdString());
    EXPECT_EQ(folder.listing(), inputs) << "tiles that were completed are gone, too";
}

TEST_P(DownsamplerCompletion, OfJpeg2000SaysThatItIsNotWritten)
{
    Job job = create(DownsamplingStrategy::Average, "out.jp2");
    const JobRunner::Result result = run(*job);
    EXPECT_EQ(result.outcome, Outcome::NotCompleted);
    EXPECT_EQ(result.error.text, "JPEG 2000 is not written");
    EXPECT_EQ(folder.listing(), inputs);
}

TEST(WarpCompletion, SaysWhyThereIsNoResult)
{
    const TempFolder folder;
    const LogCapture log;
    const QuietGdal quiet;
    makeFile(folder / "in.tif", "no raster");
    Job job = vexel::DownsamplerFactory::createDownsampler(DownsamplingStrategy::Warp, folder / "in.tif",
                                                           folder / "out.tif", QString(), 2.0,
                                                           ImageAlphaType::NoAlpha, GdalFileType::SingleFile);
    EXPECT_EQ(job->complete().code, Code::CannotComplete) << "before its step";
    job = vexel::DownsamplerFactory::createDownsampler(DownsamplingStrategy::Warp, folder / "in.tif",
                                                       folder / "out.tif", QString(), 2.0,
                                                       ImageAlphaType::NoAlpha, GdalFileType::SingleFile);
    std::string messages;
    const GdalHandler handler([&](CPLErr, const std::string& text) { messages += text; });
    ASSERT_TRUE(downsampling::run(*job)) << "a missing result alone is no failure of the step";
    EXPECT_EQ(messages.find("not recognized"), std::string::npos) << "told by the answer alone: " << messages;
    const StreamError error = job->complete();
    EXPECT_EQ(error.code, Code::CannotComplete);
    EXPECT_EQ(error.path, folder / "out.tif");
    EXPECT_NE(error.text.indexOf("in.tif"), -1) << error;
}

TEST(WarpCompletion, HasNothingToSayOfAResult)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(40, 30, GDT_Byte), pixel);
    const Job job = vexel::DownsamplerFactory::createDownsampler(
        DownsamplingStrategy::Warp, folder / "in.tif", folder / "out.tif", QString(), 2.0,
        ImageAlphaType::NoAlpha, GdalFileType::SingleFile);
    const JobRunner::Result result = run(*job);
    EXPECT_EQ(result.outcome, Outcome::Finished) << result.error;
    EXPECT_EQ(folder.listing(), "in.tif out.tif");
    EXPECT_FALSE(downsampling::doStep(*job)) << "the job is over";
}
