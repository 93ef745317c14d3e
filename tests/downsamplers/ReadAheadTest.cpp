#include "costfixtures.h"
#include "downsamplers/DownsamplerFactory.h"
#include "streaming/GDALMutex.h"
#include "support/CustomDownsampler.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/Threads.h"
#include "support/damage.h"
#include "support/gdalhandlers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <filesystem>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

// A strip is read while the one before it is reduced. What happens meanwhile takes effect in its turn.

namespace {

using downsampling::doStep;
using vexel::DownsamplingStrategy;
using vexel::GdalFileType;
using vexel::ImageAlphaType;

constexpr int width = 1024;
constexpr int height = 5376;
constexpr int noBands = 4;
constexpr int factor = 4;

/// Three strips of 1792 rows each, of four bands of floats: the share that is done once the first one is written, before
/// which the second one is read.
constexpr double firstIsWritten = 3.0 / 6.0;
constexpr double secondIsRead = 2.0 / 6.0;

class ReadAhead : public testing::TestWithParam<DownsamplingStrategy>
{
protected:
    ReadAhead()
    {
        downsampling::makeCells(
            in(), width, height, noBands,
            {"TILED=YES", "BLOCKXSIZE=256", "BLOCKYSIZE=256", "INTERLEAVE=PIXEL", "COMPRESS=LZW"});
    }

    QString in() const { return m_folder / "in.tif"; }
    QString out() const { return m_folder / "out.tif"; }
    bool outputIsBegun() const { return std::filesystem::exists((out() + "_tmp.tif").toStdString()); }

    std::shared_ptr<vexel::DownsamplerBase> makeJob() const
    {
        auto job = vexel::DownsamplerFactory::createDownsampler(
            GetParam(), in(), out(), QString(), factor, ImageAlphaType::NoAlpha, GdalFileType::SingleFile);
        job->treatAsNoData(1000.0); // read as floats, in three strips
        return job;
    }

private:
    TempFolder m_folder;
};

TEST_P(ReadAhead, TellsOfEachTransferAndEachStripInOrder)
{
    const auto job = makeJob();
    std::vector<double> shares;
    std::vector<bool> begun;
    const auto thread = std::this_thread::get_id();
    job->setProgress([&](double share) {
        EXPECT_EQ(std::this_thread::get_id(), thread);
        shares.push_back(share);
        begun.push_back(outputIsBegun());
        return true;
    });
    EXPECT_TRUE(doStep(*job));
    // Two transfers for each strip and one more each for its results; the Gaussian's strips reach across each other.
    EXPECT_EQ(shares.size(), 9u);
    for (std::size_t k = 1; k < shares.size(); ++k)
        EXPECT_GT(shares[k], shares[k - 1]);
    EXPECT_EQ(shares.back(), 1.0);
    for (std::size_t k = 0; k < shares.size(); ++k)
        EXPECT_EQ(begun[k], shares[k] > firstIsWritten - 0.01) << shares[k];
}

TEST_P(ReadAhead, TellsProgressWithoutTheLock)
{
    const auto job = makeJob();
    int taken = 0;
    job->setProgress([&](double) {
        std::async(std::launch::async, [&] {
            const vexel::GDALMutex lock;
            ++taken;
        }).wait();
        return true;
    });
    EXPECT_TRUE(doStep(*job));
    EXPECT_GE(taken, 9);
}

TEST_P(ReadAhead, WritesNothingAfterAStop)
{
    const LogCapture log;
    const auto job = makeJob();
    int calls = 0;
    // While the second strip is read, when the first one is reduced and not yet written.
    job->setProgress([&](double share) {
        ++calls;
        return share < secondIsRead - 0.01;
    });
    EXPECT_FALSE(doStep(*job));
    EXPECT_GE(calls, 3);
    EXPECT_FALSE(outputIsBegun());
    EXPECT_EQ(log.text(), "");
}

TEST_P(ReadAhead, IsEndedByWhatTheCallbackThrows)
{
    const auto job = makeJob();
    job->setProgress([&](double share) -> bool {
        if (share > secondIsRead - 0.01)
            throw std::runtime_error("no display");
        return true;
    });
    EXPECT_THROW(doStep(*job), std::runtime_error);
    EXPECT_FALSE(outputIsBegun());
}

/// What happens, in order: shares that are told, and messages of GDAL.
std::vector<std::string> eventsOf(vexel::DownsamplerBase& job, double stopAt)
{
    std::vector<std::string> events;
    job.setProgress([&](double share) {
        events.push_back(share > firstIsWritten - 0.01 ? "written" : "read");
        return share < stopAt;
    });
    const GdalHandler handler([&](CPLErr, const std::string&) { events.push_back("message"); });
    doStep(job);
    return events;
}

TEST_P(ReadAhead, HandsMessagesOnWhenTheTurnOfTheirStripComes)
{
    rasters::damageBlock(in(), 512, 3072, 1); // in the second strip
    const LogCapture log;
    const std::vector<std::string> events = eventsOf(*makeJob(), 2.0);
    const auto first = [&](const std::string& event) {
        return std::find(events.begin(), events.end(), event) - events.begin();
    };
    ASSERT_LT(first("message"), static_cast<std::ptrdiff_t>(events.size()));
    EXPECT_LT(first("written"), first("message")) << "the first strip was told of before";
}

TEST_P(ReadAhead, DropsMessagesOfAStripThatTheStepDoesNotReach)
{
    rasters::damageBlock(in(), 512, 3072, 1);
    const auto job = makeJob();
    // Once the second strip was read, and again once the first one was written.
    for (const double stopAt : {secondIsRead - 0.01, firstIsWritten}) {
        const std::vector<std::string> events = eventsOf(*job, stopAt);
        EXPECT_EQ(std::count(events.begin(), events.end(), "message"), 0);
        EXPECT_EQ(job->unreadPixels(), 0u);
    }
}

TEST_P(ReadAhead, RethrowsWhatAHandlerThrowsInItsTurn)
{
    rasters::damageBlock(in(), 512, 3072, 1);
    const auto job = makeJob();
    double told = 0.0;
    job->setProgress([&](double share) {
        told = share;
        return true;
    });
    const GdalHandler handler([](CPLErr, const std::string& text) { throw std::runtime_error(text); });
    EXPECT_THROW(doStep(*job), std::runtime_error);
    EXPECT_GT(told, firstIsWritten - 0.01) << "the first strip is written";
    EXPECT_TRUE(outputIsBegun());
}

TEST_P(ReadAhead, HasTheSameBitsOnOneThread)
{
    std::vector<std::vector<double>> pixels[2];
    for (const int k : {0, 1}) {
        const Threads team(k == 0 ? 1 : 4);
        {
            const auto job = makeJob();
            EXPECT_TRUE(doStep(*job));
        }
        for (int band = 1; band <= noBands; ++band)
            pixels[k].push_back(rasters::pixels(out(), band));
    }
    EXPECT_EQ(pixels[0], pixels[1]);
}

TEST_P(ReadAhead, MayBeNestedInAnotherTeam)
{
    int failed = 0;
#pragma omp parallel num_threads(2) reduction(+ : failed)
    {
#pragma omp master
        {
            const auto job = makeJob();
            failed += doStep(*job) ? 0 : 1;
        }
    }
    EXPECT_EQ(failed, 0);
}

INSTANTIATE_TEST_SUITE_P(Strategies, ReadAhead,
                         testing::Values(DownsamplingStrategy::Average, DownsamplingStrategy::Median,
                                         DownsamplingStrategy::Gauss),
                         [](const auto& row) {
                             return row.param == DownsamplingStrategy::Average  ? "Average"
                                    : row.param == DownsamplingStrategy::Median ? "Median"
                                                                                : "Gauss";
                         });

// ---- What a reducer throws

TEST(ReadAheadOfACustomStrategy, RethrowsWhatTheReducerThrowsInItsTurn)
{
    const TempFolder folder;
    downsampling::makeCells(folder / "in.tif", width, height, noBands,
                            {"TILED=YES", "BLOCKXSIZE=256", "BLOCKYSIZE=256", "COMPRESS=LZW"});
    // Three quarters of all blocks are more than those of the first strip.
    std::atomic<int> reduced{0};
    CustomDownsampler job(folder / "in.tif", folder / "out.tif", factor,
                          [&](const CustomDownsampler::Block& block) {
                              if (++reduced > 3 * width / factor * (height / factor))
                                  throw std::runtime_error("reducer");
                              return block(0, 0);
                          });
    double told = 0.0;
    job.setProgress([&](double share) {
        told = share;
        return true;
    });
    EXPECT_THROW(doStep(job), std::runtime_error);
    EXPECT_GT(told, firstIsWritten - 0.01);
    EXPECT_LT(told, 1.0);
}

} // namespace
