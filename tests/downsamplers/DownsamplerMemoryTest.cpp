#include "costfixtures.h"
#include "downsamplers/DownsamplerFactory.h"
#include "support/CacheSize.h"
#include "support/CustomDownsampler.h"
#include "support/LogCapture.h"
#include "support/PeakMemory.h"
#include "support/TempFolder.h"
#include "support/sanitized.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

// How much memory a step takes, as the system counts it. Sanitizers keep what was freed.

#if defined(__linux__) && !defined(VEXEL_TESTS_SANITIZED)

namespace {

using downsampling::doStep;
using downsampling::mebi;
using vexel::DownsamplingStrategy;
using vexel::GdalFileType;
using vexel::ImageAlphaType;

constexpr std::int64_t cacheBytes = 32 * mebi;
constexpr std::int64_t slackBytes = 16 * mebi;

class DownsamplerMemory : public testing::Test
{
protected:
    DownsamplerMemory() : m_cache(cacheBytes) {}

    /// By how much the only step over a raster of zeros raises what the process takes, at most.
    template <class MakeJob>
    std::int64_t raisedBy(int width, int height, int bands, const MakeJob& makeJob)
    {
        const QString in = m_folder / "in.tif";
        downsampling::makeSparse(in, width, height, bands);
        const auto job = makeJob(in, m_folder / "out.tif");
        const PeakMemory memory;
        EXPECT_TRUE(doStep(*job));
        const std::int64_t raised = memory.rise();
        job->discard();
        return raised;
    }

private:
    TempFolder m_folder;
    CacheSize m_cache;
};

auto jobOf(DownsamplingStrategy strategy, double factor)
{
    return [strategy, factor](const QString& in, const QString& out) {
        return vexel::DownsamplerFactory::createDownsampler(
            strategy, in, out, QString(), factor, ImageAlphaType::NoAlpha, GdalFileType::SingleFile);
    };
}

} // namespace

TEST_F(DownsamplerMemory, DoesNotGrowWithTheRaster)
{
    if (!PeakMemory().isKnown())
        GTEST_SKIP() << "the system does not reset the peak";
    for (const auto strategy : {DownsamplingStrategy::Average, DownsamplingStrategy::Gauss}) {
        SCOPED_TRACE(static_cast<int>(strategy));
        // What is there once: threads, GDAL's tables.
        raisedBy(600, 600, 4, jobOf(strategy, 4.0));
        const std::int64_t small = raisedBy(10000, 6000, 4, jobOf(strategy, 4.0));
        const std::int64_t large = raisedBy(10000, 12000, 4, jobOf(strategy, 4.0));
        // Two strips of 64 MiB and GDAL's cache. Besides them a few blocks that GDAL decodes and the blocks of the
        // output that it fills, of 1 MiB each, and what the allocator keeps.
        constexpr std::int64_t bound = 64 * mebi + cacheBytes + slackBytes;
        EXPECT_LT(small, bound);
        EXPECT_LT(large, bound);
        EXPECT_LT(large - small, slackBytes / 2) << "of 229 MiB more";
    }
}

TEST_F(DownsamplerMemory, OfAStepWithoutInputIsThatOfAFewRows)
{
    if (!PeakMemory().isKnown())
        GTEST_SKIP() << "the system does not reset the peak";
    const TempFolder folder;
    downsampling::makeSparse(folder / "in.tif", 8000, 6000, 1);
    CustomDownsampler job(folder / "in.tif", folder / "out.tif", 1.0,
                          [](const CustomDownsampler::Block&) { return 0.0f; });
    job.input.close();
    const PeakMemory ofWriting;
    EXPECT_TRUE(doStep(job));
    EXPECT_LT(ofWriting.rise(), cacheBytes + slackBytes) << "the results alone have 183 MiB";
    job.output.discard();
    const LogCapture log;
    const PeakMemory ofNothing;
    EXPECT_FALSE(doStep(job));
    EXPECT_LT(ofNothing.rise(), slackBytes / 4);
}

#endif
