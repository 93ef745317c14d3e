#include "examples/programs.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using programs::data;
using programs::Outcome;
using programs::quoted;
using programs::value;

namespace {

Outcome load(const QString& arguments)
{
    return programs::run(VEXEL_LOAD, arguments);
}

rasters::Description image(int width, int height, int bands, GDALDataType type = GDT_Byte)
{
    return {width, height, bands, type};
}

} // namespace

TEST(LoadProgram, WritesColourAsItWasLoaded)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", image(4, 2, 4),
                  [](int x, int y, int band) { return 60 * band + 4 * y + x; });
    const Outcome outcome = load(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--as rgb");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "size"), "4 x 2");
    const rasters::Dataset written = rasters::open(folder / "out.png");
    ASSERT_TRUE(written);
    EXPECT_STREQ(written->GetDriver()->GetDescription(), "PNG");
    ASSERT_EQ(written->GetRasterCount(), 3);
    for (int band = 1; band <= 3; ++band)
        EXPECT_EQ(rasters::pixels(folder / "out.png", band), rasters::pixels(folder / "in.tif", band))
            << band;
}

TEST(LoadProgram, ColourBecomesGrayAsTheEyeWeighsIt)
{
    const TempFolder folder;
    const double colour[] = {100, 50, 200};
    rasters::make(folder / "in.tif", image(1, 1, 3), [&](int, int, int band) { return colour[band - 1]; });
    const Outcome outcome = load(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--as gray");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    // 29.9 + 29.35 + 22.8
    EXPECT_EQ(rasters::pixels(folder / "out.png"), std::vector<double>{82});
    EXPECT_EQ(rasters::open(folder / "out.png")->GetRasterCount(), 1);
}

TEST(LoadProgram, FloatsAreStretchedAndThoseWithoutDataAreBlack)
{
    const TempFolder folder;
    const double heights[] = {20, -10000, 10, 30, std::nan(""), 12};
    rasters::make(folder / "in.tif", image(6, 1, 1, GDT_Float32),
                  [&](int x, int, int) { return heights[x]; });
    const Outcome outcome = load(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--as float");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(rasters::pixels(folder / "out.png"), (std::vector<double>{128, 0, 0, 255, 0, 26}));
}

TEST(LoadProgram, EqualFloatsAreGray)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", image(2, 1, 1, GDT_Float32), [](int, int, int) { return 7; });
    const Outcome outcome = load(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--as float");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(rasters::pixels(folder / "out.png"), (std::vector<double>{128, 128}));
}

struct LevelCase
{
    const char* name;
    int level;
    const char* colourSize;
    const char* floatSize;
};

class LoadLevel : public testing::TestWithParam<LevelCase>
{};

TEST_P(LoadLevel, DividesTheSizeOfRealImages)
{
    const TempFolder folder;
    const QString level = " --level " + QString::number(GetParam().level);
    const QString output = quoted(folder / "out.png");
    const Outcome colour = load(quoted(data("naip_washington_rgba.tif")) + output + "--as rgb" + level);
    ASSERT_EQ(colour.exitCode, 0) << colour.messages;
    EXPECT_EQ(value(colour, "size"), GetParam().colourSize);
    const Outcome floats = load(quoted(data("jacksboro_dem_utm_f32.tif")) + output + "--as float" + level);
    ASSERT_EQ(floats.exitCode, 0) << floats.messages;
    EXPECT_EQ(value(floats, "size"), GetParam().floatSize);
}

// 414 / 4 = 103.5 is rounded up.
INSTANTIATE_TEST_SUITE_P(Levels, LoadLevel,
                         testing::Values(LevelCase{"Full", 1, "640 x 640", "414 x 436"},
                                         LevelCase{"Half", 2, "320 x 320", "207 x 218"},
                                         LevelCase{"Quarter", 4, "160 x 160", "104 x 109"}),
                         [](const auto& row) { return std::string(row.param.name); });

struct RefusedCase
{
    const char* name;
    int bands;
    GDALDataType type;
    const char* kind;
    const char* takes;
};

class LoadRefused : public testing::TestWithParam<RefusedCase>
{};

TEST_P(LoadRefused, SaysWhatCanBeLoaded)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", image(2, 2, GetParam().bands, GetParam().type),
                  [](int, int, int) { return 8; });
    const Outcome outcome =
        load(quoted(folder / "in.tif") + quoted(folder / "out.png") + "--as " + GetParam().kind);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("Unable to load"), std::string::npos) << outcome.messages;
    EXPECT_NE(outcome.messages.find(GetParam().takes), std::string::npos) << outcome.messages;
    EXPECT_EQ(folder.listing(), "in.tif");
}

INSTANTIATE_TEST_SUITE_P(
    Images, LoadRefused,
    testing::Values(RefusedCase{"AlphaAsGray", 4, GDT_Byte, "gray", "1 or 3 bands of bytes"},
                    RefusedCase{"FloatsAsColour", 1, GDT_Float32, "rgb", "1, 3 or 4 bands of bytes"},
                    RefusedCase{"BytesAsFloats", 1, GDT_Byte, "float", "1 band of 32-bit floats"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(LoadProgram, MissingInputIsAFailure)
{
    const TempFolder folder;
    const Outcome outcome = load(quoted(folder / "none.tif") + quoted(folder / "out.png") + "--as rgb");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("Unable to load"), std::string::npos) << outcome.messages;
    EXPECT_EQ(folder.listing(), "");
}

TEST(LoadProgram, InputIsNotOverwritten)
{
    const TempFolder folder;
    rasters::Description description = image(3, 1, 3);
    description.driver = "PNG";
    rasters::make(folder / "in.png", description, [](int x, int, int band) { return 10 * x + band; });
    const Outcome outcome = load(quoted(folder / "in.png") + quoted(folder / "in.png") + "--as gray");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("would overwrite the input"), std::string::npos) << outcome.messages;
    EXPECT_EQ(rasters::pixels(folder / "in.png", 3), (std::vector<double>{3, 13, 23}));
}

struct LoadUsageCase
{
    const char* name;
    const char* output;
    const char* arguments;
};

class LoadUsage : public testing::TestWithParam<LoadUsageCase>
{};

TEST_P(LoadUsage, IsRefusedBeforeAnythingIsTouched)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", image(2, 2, 3), [](int, int, int) { return 8; });
    const Outcome outcome =
        load(quoted(folder / "in.tif") + quoted(folder / GetParam().output) + GetParam().arguments);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_NE(outcome.messages, "");
    EXPECT_EQ(folder.listing(), "in.tif");
}

INSTANTIATE_TEST_SUITE_P(Arguments, LoadUsage,
                         testing::Values(LoadUsageCase{"NoKind", "out.png", ""},
                                         LoadUsageCase{"UnknownKind", "out.png", "--as colour"},
                                         LoadUsageCase{"LevelZero", "out.png", "--as rgb --level 0"},
                                         LoadUsageCase{"NegativeLevel", "out.png", "--as rgb --level -1"},
                                         LoadUsageCase{"NotPng", "out.tif", "--as rgb"}),
                         [](const auto& row) { return std::string(row.param.name); });
