#include "examples/programs.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

using programs::Outcome;
using programs::quoted;
using programs::value;

namespace {

Outcome preview(const QString& arguments)
{
    return programs::run(VEXEL_PREVIEW, arguments);
}

rasters::Description picture(int width, int height, int bands, GDALDataType type = GDT_Byte)
{
    return {width, height, bands, type};
}

} // namespace

TEST(PreviewProgram, KeepsColourAndAlpha)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", picture(4, 2, 4),
                  [](int x, int y, int band) { return 60 * band + 4 * y + x; });
    const Outcome outcome = preview(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--width 4");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "size"), "4 x 2");
    const rasters::Dataset written = rasters::open(folder / "out.png");
    ASSERT_TRUE(written);
    EXPECT_STREQ(written->GetDriver()->GetDescription(), "PNG");
    for (int band = 1; band <= 4; ++band)
        EXPECT_EQ(rasters::pixels(folder / "out.png", band), rasters::pixels(folder / "in.tif", band))
            << band;
}

TEST(PreviewProgram, ScalesToTheWidthAskedFor)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", picture(40, 20, 3), [](int, int, int) { return 8; });
    const Outcome outcome = preview(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--width 10");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "size"), "10 x 5");
    EXPECT_EQ(rasters::pixels(folder / "out.png", 1), std::vector<double>(50, 8));
    EXPECT_EQ(rasters::pixels(folder / "out.png", 4), std::vector<double>(50, 255));
}

TEST(PreviewProgram, HeightsWithoutDataAreTransparent)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", picture(3, 1, 1, GDT_Float32),
                  [](int x, int, int) { return x == 1 ? -10000.0 : 100.0; });
    const Outcome outcome = preview(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--width 3");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(rasters::pixels(folder / "out.png", 4), (std::vector<double>{255, 0, 255}));
}

TEST(PreviewProgram, SlopesTowardTheNorthWestAreLighter)
{
    const TempFolder folder;
    // A ridge from south-west to north-east.
    rasters::make(folder / "in.tif", picture(9, 9, 1, GDT_Float32),
                  [](int x, int y, int) { return -std::abs(x + y - 8); });
    const Outcome outcome = preview(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--width 9");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    const std::vector<double> gray = rasters::pixels(folder / "out.png", 1);
    EXPECT_GT(gray[2 * 9 + 2], gray[6 * 9 + 6] + 50);
}

// Flat ground gets the light of a slope of 45 degrees, cos 45 = 0.7071, and 0.6 to 1 of it by its height.
TEST(PreviewProgram, RangeSaysWhichHeightsAreDarkestAndLightest)
{
    const TempFolder folder;
    const double heights[] = {-500, 0, 50, 100, 900};
    const double gray[] = {108, 108, 144, 180, 180};
    for (int k = 0; k < 5; ++k) {
        rasters::make(folder / "in.tif", picture(3, 3, 1, GDT_Float32),
                      [&](int, int, int) { return heights[k]; });
        const Outcome outcome =
            preview(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--width 3 --range 0 100");
        ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
        EXPECT_EQ(rasters::pixels(folder / "out.png"), std::vector<double>(9, gray[k])) << heights[k];
    }
}

TEST(PreviewProgram, InfiniteHeightsAreTransparent)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", picture(3, 1, 1, GDT_Float32),
                  [](int x, int, int) { return x == 1 ? INFINITY : 100.0; });
    const Outcome outcome = preview(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--width 3");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(rasters::pixels(folder / "out.png", 4), (std::vector<double>{255, 0, 255}));
}

class PreviewRange : public testing::TestWithParam<const char*>
{};

TEST_P(PreviewRange, IsRefusedUnlessItIsTwoHeights)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", picture(2, 2, 3), [](int, int, int) { return 8; });
    EXPECT_EQ(
        preview(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--range " + GetParam()).exitCode,
        2);
    EXPECT_EQ(folder.listing(), "in.tif");
}

INSTANTIATE_TEST_SUITE_P(Texts, PreviewRange, testing::Values("1", "1 nan", "inf 2", "low high", "1 2 3"));

TEST(PreviewProgram, RefusesNamesThatAreNotPng)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", picture(2, 2, 3), [](int, int, int) { return 8; });
    EXPECT_EQ(preview(quoted(folder / "in.tif") + quoted(folder / "out.tif")).exitCode, 2);
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(PreviewProgram, MissingInputIsAFailure)
{
    const TempFolder folder;
    const Outcome outcome = preview(quoted(folder / "none.tif") + quoted(folder / "out.png"));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("Unable to open input file"), std::string::npos) << outcome.messages;
}
