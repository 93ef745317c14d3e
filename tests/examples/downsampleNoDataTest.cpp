#include "examples/programs.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

using programs::Outcome;
using programs::quoted;
using programs::value;

namespace {

/// Makes a raster of one block of four pixels, and downsamples it to one pixel.
double meanOf(const std::vector<double>& block, const QString& options, double declared, Outcome& outcome)
{
    const TempFolder folder;
    rasters::Description description;
    description.width = 2;
    description.height = 2;
    description.type = GDT_Float32;
    description.geotransform = {500000, 10, 0, 4000000, 0, -10};
    rasters::make(folder / "in.tif", description,
                  [&](int x, int y, int) { return block[static_cast<std::size_t>(2 * y + x)]; });
    if (!std::isinf(declared))
        rasters::open(folder / "in.tif", /*update=*/true)->GetRasterBand(1)->SetNoDataValue(declared);
    outcome = programs::run(VEXEL_DOWNSAMPLE, quoted(folder / "in.tif") + quoted(folder / "out.tif") +
                                                  "--resolution 20 --strategy average " + options);
    return outcome.exitCode == 0 ? rasters::pixels(folder / "out.tif").at(0) : -1.0;
}

const double none = INFINITY;
const double notANumber = std::nan("");

struct NoDataCase
{
    const char* name;
    std::vector<double> block;
    const char* options;
    double declared;
    double expected;
    const char* summary;
};

class DownsampleNoData : public testing::TestWithParam<NoDataCase>
{};

} // namespace

TEST_P(DownsampleNoData, LeavesOutWhatItSays)
{
    Outcome outcome;
    EXPECT_EQ(meanOf(GetParam().block, GetParam().options, GetParam().declared, outcome),
              GetParam().expected);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "no-data"), GetParam().summary);
}

// The mean of the four, or of those that are left.
INSTANTIATE_TEST_SUITE_P(
    Values, DownsampleNoData,
    testing::Values(
        NoDataCase{"WithoutItDeclaredValuesAreData", {0, 0, 4, 8}, "", 0, 3, "(none)"},
        NoDataCase{"AutoTakesTheDeclaredValue", {0, 0, 4, 8}, "--nodata auto", 0, 6, "0"},
        NoDataCase{"AutoTakesTheDeclaredNan", {notANumber, 2, 4, 9}, "--nodata auto", notANumber, 5, "nan"},
        NoDataCase{"AutoWithoutADeclaredValue", {0, 0, 4, 8}, "--nodata auto", none, 3, "none"},
        NoDataCase{"Zero", {0, 0, 4, 8}, "--nodata 0", none, 6, "0"},
        NoDataCase{"Negative", {-9999, 2, 4, 9}, "--nodata -9999", none, 5, "-9999"},
        NoDataCase{"Fraction", {0.5, 2, 4, 9}, "--nodata 0.5", none, 5, "0.5"},
        NoDataCase{"NotTheDeclaredOne", {0, 5, 3, 7}, "--nodata 5", 0, 10.0f / 3.0f, "5"},
        NoDataCase{"Nan", {notANumber, 2, 4, 9}, "--nodata nan", none, 5, "nan"},
        NoDataCase{"AllOfABlock", {7, 7, 7, 7}, "--nodata 7", none, -10000, "7"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DownsampleProgram, AutoTakesTheValueOfTheFirstBand)
{
    const TempFolder folder;
    std::ofstream((folder / "in.vrt").toStdString())
        << "<VRTDataset rasterXSize=\"4\" rasterYSize=\"4\">"
           "<VRTRasterBand dataType=\"Float32\" band=\"1\"><NoDataValue>5</NoDataValue></VRTRasterBand>"
           "<VRTRasterBand dataType=\"Float32\" band=\"2\"><NoDataValue>6</NoDataValue></VRTRasterBand>"
           "</VRTDataset>";
    const Outcome outcome =
        programs::run(VEXEL_DOWNSAMPLE, quoted(folder / "in.vrt") + quoted(folder / "out.tif") +
                                            "--factor 2 --strategy average --nodata auto");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "no-data"), "5");
}

TEST(DownsampleProgram, NoDataReachesTheWarp)
{
    const TempFolder folder;
    rasters::Description description;
    description.width = 80;
    description.height = 20;
    description.type = GDT_Float32;
    description.geotransform = {500000, 10, 0, 4000000, 0, -10};
    rasters::make(folder / "in.tif", description, [](int x, int, int) { return x < 40 ? 3 : 5; });
    const Outcome outcome =
        programs::run(VEXEL_DOWNSAMPLE, quoted(folder / "in.tif") + quoted(folder / "out.tif") +
                                            "--resolution 20 --strategy warp --nodata 3");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    const std::vector<double> pixels = rasters::pixels(folder / "out.tif");
    ASSERT_EQ(pixels.size(), 400u);
    EXPECT_EQ(pixels[0], -10000);
    EXPECT_NEAR(pixels[39], 5, 1e-4);
}

class DownsampleNoDataUsage : public testing::TestWithParam<const char*>
{};

TEST_P(DownsampleNoDataUsage, IsRefusedBeforeAnythingIsTouched)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", rasters::Description(), [](int, int, int) { return 5; });
    const Outcome outcome =
        programs::run(VEXEL_DOWNSAMPLE, quoted(folder / "in.tif") + quoted(folder / "out.tif") +
                                            "--resolution 20 --strategy average --nodata " + GetParam());
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_NE(outcome.messages.find("neither a number nor nan nor auto"), std::string::npos)
        << outcome.messages;
    EXPECT_EQ(folder.listing(), "in.tif");
}

INSTANTIATE_TEST_SUITE_P(Texts, DownsampleNoDataUsage, testing::Values("some", "12x", "''", "1,5"));
