#include "examples/programs.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

using programs::data;
using programs::Outcome;
using programs::quoted;
using programs::value;

namespace {

Outcome retile(const QString& arguments)
{
    return programs::run(VEXEL_RETILE, arguments);
}

struct TypeCase
{
    const char* name;
    GDALDataType type;
    double largest;
};

class RetileType : public testing::TestWithParam<TypeCase>
{};

} // namespace

TEST_P(RetileType, KeepsEveryValue)
{
    const TempFolder folder;
    rasters::Description description;
    description.width = 7;
    description.height = 5;
    description.bands = 2;
    description.type = GetParam().type;
    const auto pixel = [](int x, int y, int band) {
        return x + y == 0 ? GetParam().largest : 10.0 * y + x + 100.0 * (band - 1);
    };
    rasters::make(folder / "in.tif", description, pixel);
    const Outcome cut = retile(quoted(folder / "in.tif") + quoted(folder / "cut.tif") + "--tile-size 3");
    ASSERT_EQ(cut.exitCode, 0) << cut.messages;
    const Outcome joined = retile(quoted(folder / "cut.tif") + quoted(folder / "joined.tif"));
    ASSERT_EQ(joined.exitCode, 0) << joined.messages;
    for (int band = 1; band <= 2; ++band)
        EXPECT_EQ(rasters::pixels(folder / "joined.tif", band), rasters::pixels(folder / "in.tif", band))
            << band;
    EXPECT_EQ(rasters::open(folder / "joined.tif")->GetRasterBand(1)->GetRasterDataType(), GetParam().type);
}

INSTANTIATE_TEST_SUITE_P(
    Types, RetileType,
    testing::Values(TypeCase{"Byte", GDT_Byte, 255}, TypeCase{"Int16", GDT_Int16, -32768},
                    TypeCase{"UInt16", GDT_UInt16, 65535}, TypeCase{"Int32", GDT_Int32, -2147483647},
                    TypeCase{"UInt32", GDT_UInt32, 4294967295.0}, TypeCase{"Float32", GDT_Float32, 0.5},
                    TypeCase{"Float64", GDT_Float64, 0.1}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(RetileProgram, CutsIntoTheTilesThatWereAskedFor)
{
    const TempFolder folder;
    const Outcome outcome =
        retile(quoted(data("jacksboro_dem_utm_f32.tif")) + quoted(folder / "dem.tif") + "--tile-size 300");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "size"), "414 x 436");
    EXPECT_EQ(value(outcome, "files"), "4");

    const rasters::Dataset whole = rasters::open(data("jacksboro_dem_utm_f32.tif"));
    const rasters::Dataset southEast = rasters::open(folder / "dem_2_2.tif");
    ASSERT_TRUE(southEast);
    EXPECT_EQ(southEast->GetRasterXSize(), 114);
    EXPECT_EQ(southEast->GetRasterYSize(), 136);
    std::array<double, 6> expected{};
    std::array<double, 6> found{};
    ASSERT_EQ(whole->GetGeoTransform(expected.data()), CE_None);
    ASSERT_EQ(southEast->GetGeoTransform(found.data()), CE_None);
    // Positions are kept to 1e-5 map units.
    EXPECT_NEAR(found[0], expected[0] + 300 * 75, 1e-5);
    EXPECT_NEAR(found[3], expected[3] - 300 * 75, 1e-5);
    EXPECT_NE(std::string(southEast->GetProjectionRef()).find("32616"), std::string::npos);
}

// Both sides of the boxes in which pixels are copied.
TEST(RetileProgram, CopiesRastersLargerThanABox)
{
    const TempFolder folder;
    rasters::Description description;
    description.width = 2049;
    description.height = 1025;
    rasters::make(folder / "in.tif", description,
                  [](int x, int y, int) { return static_cast<int>(255 * rasters::noise(x, y, 1)); });
    const Outcome outcome = retile(quoted(folder / "in.tif") + quoted(folder / "out.tif"));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_TRUE(rasters::pixels(folder / "out.tif") == rasters::pixels(folder / "in.tif"));
}

struct OverwriteCase
{
    const char* name;
    const char* input;
    const char* output;
    const char* options;
};

class RetileOverwrite : public testing::TestWithParam<OverwriteCase>
{};

TEST_P(RetileOverwrite, IsRefusedAndTheInputStays)
{
    const TempFolder folder;
    rasters::make(folder / "in_1_1.tif", rasters::Description(), [](int, int, int) { return 5; });
    const Outcome outcome =
        retile(quoted(folder / GetParam().input) + quoted(folder / GetParam().output) + GetParam().options);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("would overwrite the input"), std::string::npos) << outcome.messages;
    EXPECT_EQ(folder.listing(), "in_1_1.tif");
}

INSTANTIATE_TEST_SUITE_P(Names, RetileOverwrite,
                         testing::Values(OverwriteCase{"SetToItself", "in.tif", "in.tif", "--tile-size 1"},
                                         OverwriteCase{"FileToItself", "in_1_1.tif", "in_1_1.tif", ""},
                                         OverwriteCase{"FileThatIsATileOfTheOutput", "in_1_1.tif", "in.tif",
                                                       "--tile-size 1"},
                                         OverwriteCase{"TileOfTheInput", "in.tif", "in_1_1.tif", ""}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(RetileProgram, TileSizeBelowOneIsWrongUsage)
{
    const TempFolder folder;
    EXPECT_EQ(retile(quoted(data("jacksboro_dem_utm_f32.tif")) + quoted(folder / "dem.tif") + "--tile-size 0")
                  .exitCode,
              2);
    EXPECT_EQ(folder.listing(), "");
}

TEST(RetileProgram, MissingInputIsAFailure)
{
    const TempFolder folder;
    const Outcome outcome = retile(quoted(folder / "none.tif") + quoted(folder / "out.tif"));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("Unable to open input file"), std::string::npos) << outcome.messages;
}
