#include "downsamplers/DownsamplerWarp.h"

#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"
#include "support/gdalhandlers.h"
#include "warpfixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using namespace downsamplerwarptest;

namespace {

using Values = std::vector<double>;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// ---- Failures

TEST(DownsamplerWarpFailure, MissingInputIsLoggedButNoUsageError)
{
    const TempFolder folder;
    const LogCapture log;
    EXPECT_TRUE(warp(folder / "none.tif", folder / "out.tif", 2.0));
    EXPECT_EQ(log.text(), "7: Error code from GDAL: 0");
    EXPECT_EQ(log.messages()[0].category, "");
    EXPECT_EQ(folder.listing(), "");
}

TEST(DownsamplerWarpFailure, InputThatIsNoRasterIsLoggedButNoUsageError)
{
    const TempFolder folder;
    makeFile(folder / "in.tif", "no raster");
    const LogCapture log;
    EXPECT_TRUE(warp(folder / "in.tif", folder / "out.tif", 2.0));
    EXPECT_EQ(log.text(), "7: Error code from GDAL: 0");
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(DownsamplerWarpFailure, OutputThatCannotBeMadeIsLoggedButNoUsageError)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(40, 30, GDT_Float32), slope);
    const LogCapture log;
    EXPECT_TRUE(warp(folder / "in.tif", folder / "none/out.tif", 2.0));
    EXPECT_EQ(log.text(), "7: Error code from GDAL: 0");
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(DownsamplerWarpFailure, SuccessIsNotLogged)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(40, 30, GDT_Float32), slope);
    const LogCapture log;
    const int open = rasters::openDatasets();
    EXPECT_TRUE(warp(folder / "in.tif", folder / "out.tif", 2.0));
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(rasters::openDatasets(), open);
}

class DownsamplerWarpImpossible : public testing::Test
{
protected:
    void SetUp() override
    {
        rasters::make(m_folder / "in.tif", downsampling::mapped(40, 30, GDT_Float32), slope);
        m_input = fileText(m_folder / "in.tif");
    }

    void expectRefused(const QString& output, double resolution)
    {
        const std::string before = m_folder.listing();
        const LogCapture log;
        const auto job = create(m_folder / "in.tif", output, resolution);
        std::size_t steps = 0;
        EXPECT_TRUE(static_cast<vexel::Worker&>(*job).do_init(steps));
        EXPECT_FALSE(doStep(*job));
        job->discard();
        EXPECT_EQ(log.text(), "");
        EXPECT_EQ(m_folder.listing(), before);
        EXPECT_EQ(fileText(m_folder / "in.tif"), m_input);
    }

    const TempFolder m_folder;
    std::string m_input;
};

TEST_F(DownsamplerWarpImpossible, OutputIsTheInput)
{
    expectRefused(m_folder / "in.tif", 2.0);
}

TEST_F(DownsamplerWarpImpossible, OutputIsTheInputSpeltOtherwise)
{
    expectRefused(m_folder / "./in.tif", 2.0);
    expectRefused(m_folder.path() + "//in.tif", 2.0);
    std::filesystem::create_directory((m_folder / "sub").toStdString());
    expectRefused(m_folder / "sub/../in.tif", 2.0);
}

TEST_F(DownsamplerWarpImpossible, OutputIsTheInputThroughALink)
{
    std::filesystem::create_symlink((m_folder / "in.tif").toStdString(),
                                    (m_folder / "link.tif").toStdString());
    expectRefused(m_folder / "link.tif", 2.0);
    std::filesystem::create_hard_link((m_folder / "in.tif").toStdString(),
                                      (m_folder / "hard.tif").toStdString());
    expectRefused(m_folder / "hard.tif", 2.0);
}

TEST_F(DownsamplerWarpImpossible, ResolutionIsNoSize)
{
    makeFile(m_folder / "out.tif", "earlier");
    for (const double resolution : {0.0, -0.0, -2.0, kNan, kInfinity, -kInfinity}) {
        expectRefused(m_folder / "out.tif", resolution);
        EXPECT_EQ(fileText(m_folder / "out.tif"), "earlier") << resolution;
    }
}

// ---- Progress and stop

class DownsamplerWarpProgress : public testing::Test
{
protected:
    void SetUp() override
    {
        rasters::make(m_folder / "in.tif", downsampling::mapped(300, 200, GDT_Float32), slope);
        m_job = create(m_folder / "in.tif", m_folder / "out.tif", 2.0);
    }

    bool step()
    {
        const QuietGdal quiet;
        return doStep(*m_job);
    }

    const TempFolder m_folder;
    std::shared_ptr<vexel::DownsamplerBase> m_job;
};

TEST_F(DownsamplerWarpProgress, RisesToOne)
{
    Values shares;
    m_job->setProgress([&](double share) {
        shares.push_back(share);
        return true;
    });
    EXPECT_TRUE(step());
    ASSERT_FALSE(shares.empty());
    EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
    EXPECT_GE(shares.front(), 0.0);
    EXPECT_EQ(shares.back(), 1.0);
}

TEST_F(DownsamplerWarpProgress, StopEndsTheStepWithoutAMessage)
{
    int calls = 0;
    m_job->setProgress([&](double) {
        ++calls;
        return false;
    });
    const LogCapture log;
    EXPECT_FALSE(step());
    EXPECT_EQ(calls, 1) << "nobody is asked again";
    EXPECT_EQ(log.text(), "");
    m_job->discard();
    EXPECT_EQ(m_folder.listing(), "in.tif");
}

TEST_F(DownsamplerWarpProgress, StopAtTheEndFailsTheStepToo)
{
    m_job->setProgress([](double share) { return share < 1.0; });
    EXPECT_FALSE(step());
    m_job->discard();
    EXPECT_EQ(m_folder.listing(), "in.tif");
}

TEST_F(DownsamplerWarpProgress, ExceptionLeavesTheStep)
{
    int calls = 0;
    m_job->setProgress([&](double) -> bool {
        ++calls;
        throw std::domain_error("enough");
    });
    const LogCapture log;
    try {
        step();
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::domain_error& error) {
        EXPECT_STREQ(error.what(), "enough");
    }
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(log.text(), "");
    m_job->discard();
    EXPECT_EQ(m_folder.listing(), "in.tif");
}

TEST_F(DownsamplerWarpProgress, JobRunsAgainAfterAStop)
{
    m_job->setProgress([](double) { return false; });
    EXPECT_FALSE(step());
    m_job->setProgress({});
    EXPECT_TRUE(step());
    EXPECT_EQ(rasters::open(m_folder / "out.tif")->GetRasterXSize(), 150);
}

TEST_F(DownsamplerWarpProgress, DiscardRemovesAFinishedOutput)
{
    EXPECT_TRUE(step());
    EXPECT_EQ(m_folder.listing(), "in.tif out.tif");
    m_job->discard();
    EXPECT_EQ(m_folder.listing(), "in.tif");
}

TEST_F(DownsamplerWarpProgress, DiscardLeavesWhatTheJobHasNotMade)
{
    makeFile(m_folder / "out.tif", "earlier");
    m_job->discard();
    const LogCapture quiet;
    const auto withoutInput = create(m_folder / "none.tif", m_folder / "out.tif", 2.0);
    {
        const QuietGdal quietGdal;
        EXPECT_TRUE(doStep(*withoutInput));
    }
    withoutInput->discard();
    EXPECT_EQ(fileText(m_folder / "out.tif"), "earlier");
}

} // namespace
