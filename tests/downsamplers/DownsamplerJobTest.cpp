#include "companion/JobRunner.h"
#include "downsamplers/DownsamplerFactory.h"

#include "jobfixtures.h"
#include "support/CustomDownsampler.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"
#include "support/gdalhandlers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
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

namespace {

constexpr int bands = 3;

/// Stops a runner once so many steps are done.
auto stopAfter(std::size_t steps)
{
    return [steps](JobRunner& runner, const JobRunner::Progress& progress) {
        if (progress.stepsDone >= steps)
            runner.stop();
    };
}

struct Strategy
{
    const char* name;
    DownsamplingStrategy value;
    GdalFileType type;
};

std::string nameOf(const testing::TestParamInfo<Strategy>& row)
{
    return std::string(row.param.name) + (row.param.type == GdalFileType::TileSet ? "Tiles" : "Single");
}

} // namespace

/// A folder with a raster of three bands: one file, or six tiles.
class DownsamplerJob : public testing::TestWithParam<Strategy>
{
protected:
    void SetUp() override
    {
        if (tiled())
            downsampling::makeTiles(folder / "in.tif", downsampling::mapped(60, 40, GDT_Byte, bands), 20, 20,
                                    pixel);
        else
            rasters::make(folder / "in.tif", downsampling::mapped(60, 40, GDT_Byte, bands), pixel);
        inputs = folder.listing();
        inputBytes = fileText(firstInput());
    }

    bool tiled() const { return GetParam().type == GdalFileType::TileSet; }
    std::size_t steps() const { return tiled() ? 6 : 1; }
    /// These tiles are one strip each, which is read at once and then written.
    static constexpr std::size_t piecesPerStep = 2;
    QString firstInput() const { return folder / (tiled() ? "in_1_1.tif" : "in.tif"); }
    QString outputFile() const { return folder / (tiled() ? "out_1_1.tif" : "out.tif"); }
    QString workingFile() const { return outputFile() + "_tmp.tif"; }

    Job create(const QString& wkt = QString()) const
    {
        return vexel::DownsamplerFactory::createDownsampler(GetParam().value, folder / "in.tif",
                                                            folder / "out.tif", wkt, 2.0,
                                                            ImageAlphaType::NoAlpha, GetParam().type);
    }

    void expectOnlyTheInput() const
    {
        EXPECT_EQ(folder.listing(), inputs);
        EXPECT_EQ(fileText(firstInput()), inputBytes);
    }

    TempFolder folder;
    std::string inputs;
    std::string inputBytes;
};

TEST_P(DownsamplerJob, ThatFinishedLeavesItsOutput)
{
    Job job = create(QString::fromStdString(rasters::wkt(32633)));
    EXPECT_EQ(run(*job).outcome, Outcome::Finished);
    job.reset();
    const QString base = folder / (tiled() ? "out_1_1" : "out");
    EXPECT_TRUE(exists(base + ".tif"));
    EXPECT_TRUE(exists(base + ".tfw"));
    EXPECT_TRUE(exists(base + ".prj"));
    EXPECT_FALSE(exists(workingFile()));
    EXPECT_EQ(rasters::pixels(base + ".tif", 3).size(), 30u * 20u);
}

TEST_P(DownsamplerJob, CancelledBeforeTheRunLeavesNothing)
{
    Job job = create();
    JobRunner runner;
    runner.stop();
    EXPECT_EQ(runner.run(*job).outcome, Outcome::Cancelled);
    expectOnlyTheInput();
    job.reset();
    expectOnlyTheInput();
}

TEST_P(DownsamplerJob, CancelledWithinAStepLeavesNothing)
{
    const int open = rasters::openDatasets();
    Job job = create();
    bool wasThere = false;
    std::size_t calls = 0;
    const auto stopAtFirstPiece = [&](JobRunner& runner, const JobRunner::Progress&) {
        wasThere = exists(workingFile());
        if (++calls == 1)
            runner.stop();
    };
    const JobRunner::Result result = run(*job, stopAtFirstPiece);
    EXPECT_EQ(result.outcome, Outcome::Cancelled);
    EXPECT_TRUE(result.failedSteps.empty());
    EXPECT_EQ(calls, 1u);
    EXPECT_FALSE(wasThere) << "nothing is written after a stop";
    EXPECT_EQ(rasters::openDatasets(), open);
    expectOnlyTheInput();
    job.reset();
    expectOnlyTheInput();
}

TEST_P(DownsamplerJob, CancelledWithTheLastPieceLeavesNothing)
{
    Job job = create();
    const auto stopAtTheEnd = [](JobRunner& runner, const JobRunner::Progress& progress) {
        if (progress.share == 1.0)
            runner.stop();
    };
    EXPECT_EQ(run(*job, stopAtTheEnd).outcome, Outcome::Cancelled);
    job.reset();
    expectOnlyTheInput();
}

TEST_P(DownsamplerJob, CancelledButKeptLeavesAnOutput)
{
    Job job = create();
    const auto stopOnceWritten = [&](JobRunner& runner, const JobRunner::Progress&) {
        if (exists(workingFile()))
            runner.stop();
    };
    EXPECT_EQ(run(*job, stopOnceWritten, JobRunner::Incomplete::Keep).outcome, Outcome::Cancelled);
    EXPECT_TRUE(exists(workingFile()));
    job.reset();
    EXPECT_TRUE(exists(outputFile()));
    EXPECT_FALSE(exists(workingFile()));
}

TEST_P(DownsamplerJob, ThatCannotCreateItsOutputLeavesNothing)
{
    const LogCapture log;
    const QuietGdal quiet;
    Job job = create();
    ASSERT_TRUE(std::filesystem::create_directory(workingFile().toStdString()));
    const std::string before = folder.listing();
    const JobRunner::Result result = run(*job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, std::vector<std::size_t>{0});
    EXPECT_EQ(result.exceptionText.toStdString(), "");
    EXPECT_EQ(log.messages().size(), 1u) << log.text();
    job.reset();
    EXPECT_EQ(folder.listing(), before);
    EXPECT_EQ(fileText(firstInput()), inputBytes);
}

TEST_P(DownsamplerJob, WhoseCallbackThrowsLeavesNothing)
{
    Job job = create();
    const auto fail = [](JobRunner&, const JobRunner::Progress&) { throw std::runtime_error("no display"); };
    const JobRunner::Result result = run(*job, fail);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.exceptionText.toStdString(), "no display");
    job.reset();
    expectOnlyTheInput();
}

TEST_P(DownsamplerJob, FinishedAndThenDiscardedLeavesNothingAndCannotRunAgain)
{
    Job job = create();
    EXPECT_EQ(run(*job).outcome, Outcome::Finished);
    job->discard();
    expectOnlyTheInput();
    EXPECT_EQ(run(*job).outcome, Outcome::CouldNotStart);
    expectOnlyTheInput();
    job.reset();
    expectOnlyTheInput();
}

TEST_P(DownsamplerJob, ReportsEachPieceOfEachTile)
{
    Job job = create();
    std::vector<JobRunner::Progress> told;
    const auto collect = [&](JobRunner&, const JobRunner::Progress& p) { told.push_back(p); };
    EXPECT_EQ(run(*job, collect).outcome, Outcome::Finished);
    const std::size_t pieces = piecesPerStep;
    // The output has a quarter of the pixels, each of which counts four times.
    constexpr double ofSteps = 0.5;
    ASSERT_GT(told.size(), steps() * (pieces + 1));
    for (std::size_t k = 0; k < steps() * (pieces + 1); ++k) {
        const std::size_t step = k / (pieces + 1);
        const std::size_t piece = k % (pieces + 1) + 1;
        const bool stepIsDone = piece > pieces;
        EXPECT_EQ(told[k].stepsDone, stepIsDone ? step + 1 : step) << k;
        EXPECT_EQ(told[k].steps, steps());
        const double piecesDone = static_cast<double>(step * pieces + (stepIsDone ? pieces : piece));
        EXPECT_DOUBLE_EQ(told[k].share, ofSteps * piecesDone / static_cast<double>(steps() * pieces)) << k;
        EXPECT_GE(told[k].remaining.count(), 0.0);
    }
    for (std::size_t k = steps() * (pieces + 1); k < told.size(); ++k) {
        EXPECT_EQ(told[k].stepsDone, steps()) << k;
        EXPECT_GE(told[k].share, ofSteps) << k;
    }
    EXPECT_EQ(told.back().share, 1.0);
    EXPECT_EQ(told.back().remaining.count(), 0.0);
}

TEST_P(DownsamplerJob, HasTheSameOutputWithAndWithoutARunner)
{
    Job job = create();
    EXPECT_EQ(run(*job, [](JobRunner&, const JobRunner::Progress&) {}).outcome, Outcome::Finished);
    job.reset();
    const std::string watched = fileText(outputFile());
    job = create();
    EXPECT_TRUE(downsampling::run(*job));
    job.reset();
    EXPECT_EQ(fileText(outputFile()), watched);
}

TEST_P(DownsamplerJob, CancelledOneDoesNotHinderTheNext)
{
    Job cancelled = create();
    EXPECT_EQ(run(*cancelled, stopAtOnce).outcome, Outcome::Cancelled);
    Job job = create();
    EXPECT_EQ(run(*job).outcome, Outcome::Finished);
    cancelled->discard();
    cancelled.reset();
    job.reset();
    EXPECT_EQ(rasters::pixels(outputFile()).size(), 30u * 20u);
}

INSTANTIATE_TEST_SUITE_P(
    Strategies, DownsamplerJob,
    testing::Values(Strategy{"Gauss", DownsamplingStrategy::Gauss, GdalFileType::SingleFile},
                    Strategy{"Gauss", DownsamplingStrategy::Gauss, GdalFileType::TileSet},
                    Strategy{"Average", DownsamplingStrategy::Average, GdalFileType::SingleFile},
                    Strategy{"Average", DownsamplingStrategy::Average, GdalFileType::TileSet},
                    Strategy{"Median", DownsamplingStrategy::Median, GdalFileType::SingleFile},
                    Strategy{"Max", DownsamplingStrategy::Max, GdalFileType::TileSet}),
    nameOf);

/// Jobs that write more than once.
class UnwritableDownsamplerJob : public DownsamplerJob
{};

TEST_P(UnwritableDownsamplerJob, FailsAndLeavesNothing)
{
    const LogCapture log;
    const QuietGdal quiet;
    Job job = create();
    std::size_t calls = 0;
    // Whatever is written after the first tile finds a folder in place of the working file.
    const auto block = [&](JobRunner&, const JobRunner::Progress&) {
        if (++calls == piecesPerStep) {
            std::filesystem::remove(workingFile().toStdString());
            std::filesystem::create_directory(workingFile().toStdString());
        }
    };
    const JobRunner::Result result = run(*job, block);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, std::vector<std::size_t>{1});
    EXPECT_EQ(calls, piecesPerStep + 1 + 1) << "the first step, its end, and that the second tile is read";
    job.reset();
    std::filesystem::remove(workingFile().toStdString());
    expectOnlyTheInput();
}

INSTANTIATE_TEST_SUITE_P(
    Strategies, UnwritableDownsamplerJob,
    testing::Values(Strategy{"Gauss", DownsamplingStrategy::Gauss, GdalFileType::TileSet},
                    Strategy{"Average", DownsamplingStrategy::Average, GdalFileType::TileSet},
                    Strategy{"Max", DownsamplingStrategy::Max, GdalFileType::TileSet}),
    nameOf);

/// Jobs of six tiles.
class TiledDownsamplerJob : public DownsamplerJob
{};

TEST_P(TiledDownsamplerJob, CancelledHalfWayLeavesNothing)
{
    Job job = create();
    std::size_t last = 0;
    const auto stopHalfWay = [&](JobRunner& runner, const JobRunner::Progress& progress) {
        last = progress.stepsDone;
        stopAfter(3)(runner, progress);
    };
    EXPECT_EQ(run(*job, stopHalfWay).outcome, Outcome::Cancelled);
    EXPECT_EQ(last, 3u);
    job.reset();
    expectOnlyTheInput();
}

TEST_P(TiledDownsamplerJob, WithAFailedStepThatIsKeptRunsTheOthers)
{
    const LogCapture log;
    const QuietGdal quiet;
    Job job = create();
    const std::string working = workingFile().toStdString();
    const std::string aside = (folder / "aside").toStdString();
    // The working file is away while tile 2 is written.
    const auto hide = [&](JobRunner&, const JobRunner::Progress& progress) {
        if (progress.stepsDone == 2 && !std::filesystem::exists(aside))
            std::filesystem::rename(working, aside);
        if (progress.stepsDone == 3 && std::filesystem::exists(aside))
            std::filesystem::rename(aside, working);
    };
    const JobRunner::Result result = run(*job, hide, JobRunner::Incomplete::Keep);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, std::vector<std::size_t>{2});
    job.reset();
    const std::vector<double> written = rasters::pixels(outputFile());
    EXPECT_EQ(written.size(), 30u * 20u);
    const std::size_t inLastTile = 19u * 30u + 29u;
    EXPECT_NE(written[inLastTile], 0.0);
}

TEST_P(TiledDownsamplerJob, DiscardsTheSideFilesOfOutputTilesToo)
{
    Job job = create(QString::fromStdString(rasters::wkt(32633)));
    EXPECT_EQ(run(*job, stopAfter(5)).outcome, Outcome::Cancelled);
    job.reset();
    expectOnlyTheInput();
}

INSTANTIATE_TEST_SUITE_P(
    Strategies, TiledDownsamplerJob,
    testing::Values(Strategy{"Gauss", DownsamplingStrategy::Gauss, GdalFileType::TileSet},
                    Strategy{"Average", DownsamplingStrategy::Average, GdalFileType::TileSet},
                    Strategy{"Percentile75", DownsamplingStrategy::Percentile75, GdalFileType::TileSet},
                    Strategy{"Min", DownsamplingStrategy::Min, GdalFileType::TileSet}),
    nameOf);

TEST(CustomDownsamplerJob, WhoseReductionThrowsLeavesNothing)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(300, 200, GDT_Byte, 2), pixel);
    {
        CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0,
                              [](const CustomDownsampler::Block& block) -> float {
                                  if (block(0, 0) > 200.0f)
                                      throw std::range_error("too bright");
                                  return 0.0f;
                              });
        const JobRunner::Result result = run(job);
        EXPECT_EQ(result.outcome, Outcome::Failed);
        EXPECT_EQ(result.exceptionText.toStdString(), "too bright");
        EXPECT_EQ(folder.listing(), "in.tif");
    }
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(CustomDownsamplerJob, WithoutAnInputCannotStart)
{
    CustomDownsampler job;
    EXPECT_EQ(run(job).outcome, Outcome::CouldNotStart);
}

TEST(CustomDownsamplerJob, DiscardClosesBothSets)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(20, 20, GDT_Byte), pixel);
    CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0,
                          [](const CustomDownsampler::Block&) { return 1.0f; });
    EXPECT_TRUE(downsampling::run(job));
    job.discard();
    EXPECT_FALSE(job.input.opened());
    EXPECT_FALSE(job.output.opened());
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(CustomDownsamplerJob, StepsOfADiscardedJobFailAndLeaveNothing)
{
    const TempFolder folder;
    const LogCapture log;
    rasters::make(folder / "in.tif", downsampling::mapped(20, 20, GDT_Byte, 2), pixel);
    DownsamplerSetup setup;
    setup.alpha = ImageAlphaType::LastBand;
    CustomDownsampler job(
        folder / "in.tif", folder / "out.tif", 2.0, [](const CustomDownsampler::Block&) { return 1.0f; },
        setup);
    job.discard();
    EXPECT_FALSE(downsampling::doStep(job));
    EXPECT_EQ(folder.listing(), "in.tif");
}
