#include "examples/process.h"
#include "examples/programs.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <string>
#include <vector>

using programs::Process;

namespace {

/// A raster that takes long for its size on disk: each of its bands is a piece of the work.
void makeManyBands(const QString& path, int edge, std::size_t bands)
{
    rasters::makeVirtual(path, edge, edge, std::vector<GDALDataType>(bands, GDT_Byte),
                         std::array<double, 6>{500000, 10, 0, 4000000, 0, -10});
}

Process downsample(const TempFolder& folder, const char* strategy)
{
    return Process({VEXEL_DOWNSAMPLE, (folder / "in.vrt").toStdString(), (folder / "out.tif").toStdString(),
                    "--resolution", "40", "--strategy", strategy, "--progress"});
}

struct StopCase
{
    const char* name;
    const char* strategy;
    int signal;
};

class DownsampleStop : public testing::TestWithParam<StopCase>
{};

} // namespace

TEST_P(DownsampleStop, LeavesNothingBehind)
{
    const TempFolder folder;
    makeManyBands(folder / "in.vrt", 1000, 300);
    Process program = downsample(folder, GetParam().strategy);
    ASSERT_TRUE(program.waitForMessage("elapsed")) << program.messages();
    program.send(GetParam().signal);
    EXPECT_EQ(program.exitCode(), 130) << program.messages();
    EXPECT_NE(program.messages().find("stopped: nothing is left of the output"), std::string::npos)
        << program.messages();
    EXPECT_EQ(program.messages().find("done"), std::string::npos) << program.messages();
    EXPECT_EQ(folder.listing(), "in.vrt");
}

INSTANTIATE_TEST_SUITE_P(Signals, DownsampleStop,
                         testing::Values(StopCase{"AverageByInterrupt", "average", SIGINT},
                                         StopCase{"AverageByTerminate", "average", SIGTERM},
                                         StopCase{"GaussByInterrupt", "gauss", SIGINT},
                                         StopCase{"WarpByInterrupt", "warp", SIGINT}),
                         [](const auto& row) { return std::string(row.param.name); });

// Whether the signal comes before the last piece is left to chance, so both ends are right; half an output is not.
TEST(DownsampleProgram, StopWhileTheOutputIsCompletedLeavesAllOrNothing)
{
    const TempFolder folder;
    makeManyBands(folder / "in.vrt", 1000, 30);
    Process program = downsample(folder, "average");
    ASSERT_TRUE(program.waitForMessage("completing")) << program.messages();
    program.send(SIGINT);
    const int exitCode = program.exitCode();
    if (exitCode == 0) {
        EXPECT_EQ(rasters::open(folder / "out.tif")->GetRasterCount(), 30);
    } else {
        EXPECT_EQ(exitCode, 130) << program.messages();
        EXPECT_EQ(folder.listing(), "in.vrt");
    }
}

TEST(DownsampleProgram, StopAtTheBeginningOfCompletingEndsIt)
{
    const TempFolder folder;
    makeManyBands(folder / "in.vrt", 4000, 40); // 40 MB to compress
    Process program = downsample(folder, "max");
    ASSERT_TRUE(program.waitForMessage("completing")) << program.messages();
    program.send(SIGTERM);
    EXPECT_EQ(program.exitCode(), 130) << program.messages();
    EXPECT_EQ(folder.listing(), "in.vrt");
}
