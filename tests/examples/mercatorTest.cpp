#include "examples/programs.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

using programs::data;
using programs::Outcome;
using programs::quoted;
using programs::value;

namespace {

Outcome mercator(const QString& arguments)
{
    return programs::run(VEXEL_MERCATOR, arguments);
}

rasters::Description inUtm()
{
    rasters::Description description;
    description.width = 4;
    description.height = 4;
    description.geotransform = {500000, 10, 0, 4000000, 0, -10};
    description.wkt = rasters::wkt(32633);
    return description;
}

} // namespace

TEST(MercatorProgram, ReprojectsFromTheReferenceThatTheInputDeclares)
{
    const TempFolder folder;
    const QString input = data("naip_washington_rgba.tif");
    const Outcome outcome = mercator(quoted(input) + quoted(folder / "out.tif"));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "bands"), "4");
    EXPECT_EQ(folder.listing(), "out.tif");

    rasters::run({"gdalwarp", "-q", "-t_srs", "EPSG:3857", input.toStdString(),
                  (folder / "expected.tif").toStdString()});
    const rasters::Dataset expected = rasters::open(folder / "expected.tif");
    const rasters::Dataset found = rasters::open(folder / "out.tif");
    ASSERT_TRUE(found);
    ASSERT_EQ(found->GetRasterXSize(), expected->GetRasterXSize());
    ASSERT_EQ(found->GetRasterYSize(), expected->GetRasterYSize());
    EXPECT_EQ(value(outcome, "output size"),
              std::to_string(found->GetRasterXSize()) + " x " + std::to_string(found->GetRasterYSize()));
    std::array<double, 6> expectedTransform{};
    std::array<double, 6> foundTransform{};
    ASSERT_EQ(expected->GetGeoTransform(expectedTransform.data()), CE_None);
    ASSERT_EQ(found->GetGeoTransform(foundTransform.data()), CE_None);
    // GDAL's two definitions of the projection agree to less than a thousandth of a pixel.
    for (const std::size_t k : {0u, 1u, 3u, 5u})
        EXPECT_NEAR(foundTransform[k], expectedTransform[k], 1e-3) << k;
    EXPECT_NE(std::string(found->GetProjectionRef()).find("Mercator"), std::string::npos);
}

TEST(MercatorProgram, ReplacesAnEarlierOutput)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", inUtm(), [](int, int, int) { return 5; });
    rasters::make(folder / "out.tif", rasters::Description(), [](int, int, int) { return 9; });
    const Outcome outcome = mercator(quoted(folder / "in.tif") + quoted(folder / "out.tif"));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_GE(rasters::open(folder / "out.tif")->GetRasterXSize(), 4);
}

TEST(MercatorProgram, InputWithoutReferenceIsAFailure)
{
    const TempFolder folder;
    rasters::Description description = inUtm();
    description.wkt.clear();
    rasters::make(folder / "in.tif", description, [](int, int, int) { return 5; });
    const Outcome outcome = mercator(quoted(folder / "in.tif") + quoted(folder / "out.tif"));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("has no spatial reference"), std::string::npos) << outcome.messages;
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(MercatorProgram, MissingInputIsAFailure)
{
    const TempFolder folder;
    const Outcome outcome = mercator(quoted(folder / "none.tif") + quoted(folder / "out.tif"));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("Unable to open input file"), std::string::npos) << outcome.messages;
    EXPECT_EQ(folder.listing(), "");
}

TEST(MercatorProgram, InputIsNotOverwritten)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", inUtm(), [](int, int, int) { return 5; });
    const Outcome outcome = mercator(quoted(folder / "in.tif") + quoted(folder / "in.tif"));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("would overwrite the input"), std::string::npos) << outcome.messages;
    EXPECT_EQ(rasters::pixels(folder / "in.tif"), std::vector<double>(16, 5));
}

TEST(MercatorProgram, OutputThatCannotBeMadeIsAFailure)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", inUtm(), [](int, int, int) { return 5; });
    const Outcome outcome = mercator(quoted(folder / "in.tif") + quoted(folder / "no such folder/out.tif"));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("out.tif'"), std::string::npos) << outcome.messages;
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(MercatorProgram, MissingOutputIsWrongUsage)
{
    EXPECT_EQ(mercator(quoted(data("naip_washington_rgba.tif"))).exitCode, 2);
}
