#include "fault/calls.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/rasters.h"

#include "downsamplers/DownsamplerFactory.h"
#include "streaming/GDALStreamer.h"
#include "utilities/webmercator.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

// The exact arguments that GDAL's utilities get.

namespace {

using faults::UtilityArguments;
using Arguments = UtilityArguments::Arguments;
using vexel::DataType;
using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;
using vexel::PixelPoint;

struct CompletionCase
{
    const char* name;
    DataType type;
    int bands;
    bool hasReference;
    const char* time;
    const char* software;
    Arguments expected; ///< a reference stands as PRJ
};

void PrintTo(const CompletionCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class CompletionArguments : public testing::TestWithParam<CompletionCase>
{};

TEST_P(CompletionArguments, AreTheseInThisOrder)
{
    const CompletionCase& c = GetParam();
    const TempFolder folder;
    const std::string wkt = c.hasReference ? rasters::wkt(32633) : std::string();
    const UtilityArguments arguments;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", static_cast<std::uint64_t>(c.bands), c.type,
                              vexel::Workspace(0, 0, 800000, 600000, 100000), wkt.c_str(), c.time, c.software,
                              vexel::GdalFileType::SingleFile, 0, 0));
    ASSERT_TRUE(set.write(PixelMatrix<float>(PixelMatrix<float>::Constant(6, 8, 7)), 1,
                          PixelBox(PixelPoint(0, 0), PixelPoint(8, 6))));
    EXPECT_TRUE(arguments.ofTranslate().empty());
    set.close();
    Arguments expected = c.expected;
    for (std::string& argument : expected)
        if (argument == "PRJ")
            argument = (folder / "a.prj").toStdString();
    EXPECT_EQ(arguments.ofTranslate(), std::vector<Arguments>{expected});
    EXPECT_TRUE(arguments.ofWarp().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Files, CompletionArguments,
    testing::Values(
        CompletionCase{"Elevation",
                       DataType::Float32,
                       1,
                       true,
                       "",
                       "",
                       {"-a_srs", "PRJ", "-mo", "TIFFTAG_SOFTWARE=vexelstudio", "-q", "-co",
                        "BIGTIFF=IF_SAFER", "-co", "COMPRESS=LZW", "-co", "PREDICTOR=3"}},
        CompletionCase{"Double",
                       DataType::Float64,
                       2,
                       false,
                       "",
                       "mapper 1",
                       {"-mo", "TIFFTAG_SOFTWARE=mapper 1", "-q", "-co", "BIGTIFF=IF_SAFER", "-co",
                        "COMPRESS=LZW", "-co", "PREDICTOR=3"}},
        CompletionCase{"Gray",
                       DataType::UInt8,
                       1,
                       false,
                       "2024:05:06 07:08:09",
                       "",
                       {"-mo", "TIFFTAG_DATETIME=2024:05:06 07:08:09", "-mo", "TIFFTAG_SOFTWARE=vexelstudio",
                        "-q", "-co", "BIGTIFF=IF_SAFER", "-co", "COMPRESS=LZW", "-co", "PREDICTOR=2"}},
        CompletionCase{"Colour",
                       DataType::RGB,
                       3,
                       false,
                       "",
                       "",
                       {"-mo", "TIFFTAG_SOFTWARE=vexelstudio", "-q", "-co", "BIGTIFF=IF_SAFER", "-co",
                        "COMPRESS=LZW", "-co", "PREDICTOR=2", "-co", "PHOTOMETRIC=RGB"}},
        CompletionCase{"ColourWithAlpha",
                       DataType::UInt16,
                       4,
                       true,
                       "2024:05:06 07:08:09",
                       "",
                       {"-a_srs", "PRJ", "-mo", "TIFFTAG_DATETIME=2024:05:06 07:08:09", "-mo",
                        "TIFFTAG_SOFTWARE=vexelstudio", "-q", "-co", "BIGTIFF=IF_SAFER", "-co",
                        "COMPRESS=LZW", "-co", "PREDICTOR=2", "-co", "PHOTOMETRIC=RGB", "-co", "ALPHA=YES"}},
        CompletionCase{"FiveBands",
                       DataType::Int32,
                       5,
                       false,
                       "",
                       "",
                       {"-mo", "TIFFTAG_SOFTWARE=vexelstudio", "-q", "-co", "BIGTIFF=IF_SAFER", "-co",
                        "COMPRESS=LZW", "-co", "PREDICTOR=2"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(WarpArguments, OfTheDownsamplerAreTheseInThisOrder)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(40, 30, GDT_Float32),
                  [](int x, int, int) { return x; });
    for (const bool hasOwnNoData : {false, true}) {
        const auto job = vexel::DownsamplerFactory::createDownsampler(
            vexel::DownsamplingStrategy::Warp, folder / "in.tif", folder / "out.tif", QString(), 2.5,
            vexel::ImageAlphaType::NoAlpha, vexel::GdalFileType::SingleFile);
        if (hasOwnNoData)
            job->treatAsNoData(-32768.0);
        const UtilityArguments arguments;
        ASSERT_TRUE(downsampling::run(*job));
        EXPECT_EQ(arguments.ofWarp(),
                  (std::vector<Arguments>{{"-q", "-multi", "-overwrite", "-r", "cubicspline", "-tr", "2.5",
                                           "2.5", "-srcnodata", hasOwnNoData ? "-32768" : "-10000",
                                           "-dstnodata", "-10000"}}));
        EXPECT_TRUE(arguments.ofTranslate().empty());
    }
}

TEST(WarpArguments, OfWebMercatorAreTheseInThisOrder)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(40, 30, GDT_Byte),
                  [](int x, int, int) { return x; });
    const UtilityArguments arguments;
    ASSERT_TRUE(
        vexel::gdal::warpToGoogle(folder / "in.tif", folder / "web.tif", rasters::wkt(32633).c_str()));
    EXPECT_EQ(arguments.ofWarp(), (std::vector<Arguments>{{"-q", "-multi", "-overwrite", "-s_srs",
                                                           (folder / "web_src.prj").toStdString(), "-t_srs",
                                                           (folder / "web_dst.prj").toStdString()}}));
}

} // namespace
