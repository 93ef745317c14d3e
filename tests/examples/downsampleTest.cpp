#include "examples/programs.h"
#include "support/TempFolder.h"
#include "support/damage.h"
#include "support/rasters.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <gtest/gtest.h>
#include <ogr_spatialref.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

using programs::data;
using programs::Outcome;
using programs::quoted;
using programs::value;

namespace {

Outcome downsample(const QString& arguments)
{
    return programs::run(VEXEL_DOWNSAMPLE, arguments);
}

rasters::Description tenMetrePixels(int width, int height)
{
    rasters::Description description;
    description.width = width;
    description.height = height;
    description.geotransform = {500000, 10, 0, 4000000, 0, -10};
    return description;
}

std::string epsgOf(const QString& path)
{
    const rasters::Dataset dataset = rasters::open(path);
    OGRSpatialReference reference;
    if (!dataset || reference.importFromWkt(dataset->GetProjectionRef()) != OGRERR_NONE)
        return "none";
    const char* code = reference.GetAuthorityCode(nullptr);
    return code ? code : "none";
}

const char* const anything = " --resolution 20 --strategy average";

} // namespace

struct StrategyCase
{
    const char* name;
    double expected;
};

class DownsampleStrategy : public testing::TestWithParam<StrategyCase>
{};

TEST_P(DownsampleStrategy, ReducesABlockAsItsNameSays)
{
    const TempFolder folder;
    const double block[] = {1, 2, 4, 9};
    rasters::make(folder / "in.tif", tenMetrePixels(2, 2),
                  [&](int x, int y, int) { return block[2 * y + x]; });
    const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") +
                                       "--resolution 20 --strategy " + GetParam().name);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), std::vector<double>{GetParam().expected});
}

// Of 1, 2, 4, 9 the median is element 2 and the upper quartile element 3, counted from 0.
INSTANTIATE_TEST_SUITE_P(Names, DownsampleStrategy,
                         testing::Values(StrategyCase{"average", 4}, StrategyCase{"median", 4},
                                         StrategyCase{"percentile75", 9}, StrategyCase{"min", 1},
                                         StrategyCase{"max", 9}),
                         [](const auto& row) { return std::string(row.param.name); });

class DownsampleConstant : public testing::TestWithParam<const char*>
{};

TEST_P(DownsampleConstant, StaysConstant)
{
    const TempFolder folder;
    rasters::Description description = tenMetrePixels(40, 40);
    description.type = GDT_Float32;
    rasters::make(folder / "in.tif", description, [](int, int, int) { return 5; });
    const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") +
                                       "--resolution 20 --strategy " + GetParam());
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "output size"), "20 x 20");
    const std::vector<double> pixels = rasters::pixels(folder / "out.tif");
    ASSERT_EQ(pixels.size(), 400u);
    // The filters are exact to single precision only.
    for (const double pixel : pixels)
        ASSERT_NEAR(pixel, 5.0, 1e-4);
}

INSTANTIATE_TEST_SUITE_P(Filters, DownsampleConstant, testing::Values("gauss", "warp"),
                         [](const auto& row) { return std::string(row.param); });

TEST(DownsampleProgram, GaussAliasIsGauss)
{
    const TempFolder folder;
    for (const char* strategy : {"gauss", "gaussalias"}) {
        const Outcome outcome =
            downsample(quoted(data("jacksboro_dem_utm_f32.tif")) + quoted(folder / strategy + ".tif") +
                       "--resolution 600 --strategy " + strategy);
        ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
        EXPECT_EQ(value(outcome, "strategy"), strategy);
    }
    EXPECT_EQ(rasters::pixels(folder / "gaussalias.tif"), rasters::pixels(folder / "gauss.tif"));
}

TEST(DownsampleProgram, SummaryNamesWhatWasDone)
{
    const TempFolder folder;
    const Outcome outcome = downsample(quoted(data("jacksboro_dem_utm_f32.tif")) +
                                       quoted(folder / "out.tif") + "--resolution 150 --strategy median");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "strategy"), "median");
    EXPECT_EQ(value(outcome, "input size"), "414 x 436");
    EXPECT_EQ(value(outcome, "output size"), "207 x 218");
    EXPECT_EQ(value(outcome, "resolution"), "150");
    EXPECT_GT(std::stod(value(outcome, "seconds")), 0.0);
    EXPECT_GT(std::stod(value(outcome, "Mpx/s")), 0.0);
    EXPECT_GT(std::stod(value(outcome, "peak memory MiB")), 1.0);
}

TEST(DownsampleProgram, KeepsTheReferenceSystemOfTheInput)
{
    const TempFolder folder;
    const Outcome outcome = downsample(quoted(data("jacksboro_dem_utm_f32.tif")) +
                                       quoted(folder / "out.tif") + "--resolution 150 --strategy min");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(epsgOf(folder / "out.tif"), "32616");
}

TEST(DownsampleProgram, TakesAReferenceSystemByItsCode)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    const Outcome outcome =
        downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything + " --srs EPSG:32633");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(epsgOf(folder / "out.tif"), "32633");
}

TEST(DownsampleProgram, TakesAReferenceSystemFromAFile)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    OGRSpatialReference reference;
    ASSERT_EQ(reference.importFromEPSG(25832), OGRERR_NONE);
    char* wkt = nullptr;
    ASSERT_EQ(reference.exportToWkt(&wkt), OGRERR_NONE);
    std::ofstream((folder / "system.prj").toStdString()) << wkt;
    CPLFree(wkt);
    const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything +
                                       " --srs" + quoted(folder / "system.prj"));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(epsgOf(folder / "out.tif"), "25832");
}

TEST(DownsampleProgram, InputWithoutReferenceSystemGivesOutputWithout)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(epsgOf(folder / "out.tif"), "none");
}

TEST(DownsampleProgram, AlphaKeepsTransparentPixelsOut)
{
    const TempFolder folder;
    rasters::Description description = tenMetrePixels(2, 2);
    description.bands = 4;
    // One pixel of four is opaque: the mean of the colours is its colour, and the alpha falls below the
    // threshold.
    const auto pixel = [](int x, int y, int band) {
        if (x == 0 && y == 0)
            return band == 4 ? 255 : 40 * band;
        return band == 4 ? 0 : 7;
    };
    rasters::make(folder / "in.tif", description, pixel);
    const Outcome outcome =
        downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything + " --alpha");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    const double expected[] = {40, 80, 120, 0};
    for (int band = 1; band <= 4; ++band)
        EXPECT_EQ(rasters::pixels(folder / "out.tif", band), std::vector<double>{expected[band - 1]}) << band;
}

TEST(DownsampleProgram, LeavesHolesOutOfTheGaussianIfAsked)
{
    const TempFolder folder;
    rasters::Description description = tenMetrePixels(40, 40);
    description.type = GDT_Float32;
    rasters::make(folder / "in.tif", description,
                  [](int x, int y, int) { return x == 16 && y == 16 ? -10000 : 5; });
    const QString paths = quoted(folder / "in.tif") + quoted(folder / "out.tif");
    const Outcome without = downsample(paths + "--resolution 20 --strategy gauss");
    ASSERT_EQ(without.exitCode, 0) << without.messages;
    EXPECT_EQ(value(without, "holes"), "(none)");
    EXPECT_LT(rasters::pixels(folder / "out.tif")[20 * 8 + 8], 0.0) << "the hole is blurred as it is";

    const Outcome with = downsample(paths + "--resolution 20 --strategy gauss --leave-holes-out");
    ASSERT_EQ(with.exitCode, 0) << with.messages;
    EXPECT_EQ(value(with, "holes"), "left out");
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), std::vector<double>(400, 5.0));
}

TEST(DownsampleProgram, LeavesColoursBelowTransparentPixelsOutOfTheGaussianIfAsked)
{
    const TempFolder folder;
    rasters::Description description = tenMetrePixels(40, 40);
    description.bands = 2;
    // The eastern half is transparent.
    const auto pixel = [](int x, int, int band) {
        return band == 1 ? (x < 20 ? 200 : 7) : (x < 20 ? 255 : 0);
    };
    rasters::make(folder / "in.tif", description, pixel);
    const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") +
                                       "--resolution 20 --strategy gauss --alpha --leave-holes-out");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    const std::vector<double> pixels = rasters::pixels(folder / "out.tif");
    ASSERT_EQ(pixels.size(), 400u);
    for (std::size_t k = 0; k < pixels.size(); ++k)
        ASSERT_EQ(pixels[k], k % 20 < 10 ? 200.0 : 0.0) << k;
}

TEST(DownsampleProgram, OtherStrategiesTakeTheOptionForHolesToo)
{
    for (const char* strategy : {"average", "warp"}) {
        const TempFolder folder;
        rasters::make(folder / "in.tif", tenMetrePixels(40, 40), [](int, int, int) { return 5; });
        const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") +
                                           "--resolution 20 --leave-holes-out --strategy " + strategy);
        ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
        EXPECT_EQ(rasters::pixels(folder / "out.tif"), std::vector<double>(400, 5.0)) << strategy;
    }
}

TEST(DownsampleProgram, TilesReadsAndWritesSetsOfTileFiles)
{
    const TempFolder folder;
    rasters::make(folder / "in_1_1.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    rasters::Description east = tenMetrePixels(4, 4);
    (*east.geotransform)[0] += 40;
    rasters::make(folder / "in_2_1.tif", east, [](int, int, int) { return 9; });
    const Outcome outcome =
        downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything + " --tiles");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "output size"), "4 x 2");
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif"), (std::vector<double>{5, 5, 9, 9, 5, 5, 9, 9}));
}

TEST(DownsampleProgram, EndsWith3AndKeepsTheOutputIfPixelsCannotBeRead)
{
    const TempFolder folder;
    rasters::Description description = tenMetrePixels(128, 64);
    description.bands = 2;
    description.options = {"TILED=YES", "BLOCKXSIZE=64", "BLOCKYSIZE=64", "COMPRESS=LZW", "INTERLEAVE=PIXEL"};
    rasters::make(folder / "in.tif", description, [](int, int, int) { return 5; });
    rasters::damageBlock(folder / "in.tif", 64, 0, 1);
    const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything);
    EXPECT_EQ(outcome.exitCode, 3) << outcome.messages;
    EXPECT_NE(outcome.messages.find(
                  "warning: 8192 pixels of the input could not be read and count as 0, first "
                  "in '" +
                  (folder / "in.tif").toStdString() + "', band 1, columns 64 to 127, rows 0 to 63\n"),
              std::string::npos)
        << outcome.messages;
    // GDAL's own words, in which newer versions leave the folder out.
    const std::string words = ", band 1: IReadBlock";
    EXPECT_TRUE(outcome.messages.find("error: " + (folder / "in.tif").toStdString() + words) !=
                    std::string::npos ||
                outcome.messages.find("error: in.tif" + words) != std::string::npos)
        << outcome.messages;
    EXPECT_EQ(value(outcome, "output size"), "64 x 32");
    const std::vector<double> pixels = rasters::pixels(folder / "out.tif", 2);
    ASSERT_EQ(pixels.size(), 64u * 32u);
    EXPECT_EQ(pixels[31], 5.0);
    EXPECT_EQ(pixels[32], 0.0);

    const Outcome quiet =
        downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything + " --quiet");
    EXPECT_EQ(quiet.exitCode, 3);
    EXPECT_NE(quiet.messages.find("8192 pixels of the input"), std::string::npos) << quiet.messages;
    EXPECT_EQ(quiet.output, "");

    for (const char* strategy : {"gauss", "warp"}) {
        const Outcome failed = downsample(quoted(folder / "in.tif") + quoted(folder / "failed.tif") +
                                          "--resolution 20 --strategy " + strategy);
        EXPECT_EQ(failed.exitCode, 1) << failed.messages;
        EXPECT_EQ(folder.listing(), "in.tif out.tfw out.tif");
    }
}

TEST(DownsampleProgram, ProgressGoesToStandardErrorWhenAskedFor)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    const QString arguments = quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything;
    EXPECT_EQ(downsample(arguments).messages, "");
    const Outcome outcome = downsample(arguments + " --progress");
    EXPECT_NE(outcome.messages.find("] 100 %, 1/1 tiles, done"), std::string::npos) << outcome.messages;
    EXPECT_EQ(outcome.output.find("tiles"), std::string::npos);
}

TEST(DownsampleProgram, HelpNamesEveryOptionAndEndsWell)
{
    const Outcome outcome = downsample(" --help");
    EXPECT_EQ(outcome.exitCode, 0);
    for (const char* word : {"INPUT", "OUTPUT", "--resolution", "--strategy", "gauss", "percentile75", "warp",
                             "--tiles", "--alpha", "--srs", "--nodata", "--leave-holes-out", "--progress",
                             "--factor", "--quiet", "--json", "3 done", "130"})
        EXPECT_NE(outcome.output.find(word), std::string::npos) << word;
}

struct UsageCase
{
    const char* name;
    const char* arguments;
};

class DownsampleUsage : public testing::TestWithParam<UsageCase>
{};

TEST_P(DownsampleUsage, IsRefusedBeforeAnythingIsTouched)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    const Outcome outcome =
        downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + GetParam().arguments);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.messages.find("error: "), 0u) << outcome.messages;
    EXPECT_EQ(folder.listing(), "in.tif");
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, DownsampleUsage,
    testing::Values(UsageCase{"NoResolution", "--strategy average"},
                    UsageCase{"ResolutionAndFactor", "--resolution 20 --factor 2 --strategy average"},
                    UsageCase{"ZeroFactor", "--factor 0 --strategy average"},
                    UsageCase{"TextAsFactor", "--factor coarse --strategy average"},
                    UsageCase{"NoStrategy", "--resolution 20"},
                    UsageCase{"UnknownStrategy", "--resolution 20 --strategy mean"},
                    UsageCase{"NumberedStrategy", "--resolution 20 --strategy 2"},
                    UsageCase{"ZeroResolution", "--resolution 0 --strategy average"},
                    UsageCase{"NegativeResolution", "--resolution=-20 --strategy average"},
                    UsageCase{"InfiniteResolution", "--resolution inf --strategy average"},
                    UsageCase{"NanResolution", "--resolution nan --strategy average"},
                    UsageCase{"TextAsResolution", "--resolution coarse --strategy average"},
                    UsageCase{"WarpOfTiles", "--resolution 20 --strategy warp --tiles"},
                    UsageCase{"WarpToAnotherSystem", "--resolution 20 --strategy warp --srs EPSG:32633"},
                    UsageCase{"UnknownOption", "--resolution 20 --strategy average --fast"},
                    UsageCase{"ThirdPath", "another.tif --resolution 20 --strategy average"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DownsampleProgram, MissingInputIsAFailureWithItsName)
{
    const TempFolder folder;
    const Outcome outcome = downsample(quoted(folder / "none.tif") + quoted(folder / "out.tif") + anything);
    EXPECT_EQ(outcome.exitCode, 1);
    const std::string path = (folder / "none.tif").toStdString();
    EXPECT_EQ(outcome.messages.find("error: " + path + ": cannot be opened: "), 0u) << outcome.messages;
    EXPECT_EQ(outcome.messages.find('\n'), outcome.messages.size() - 1) << "it is said once";
    EXPECT_EQ(folder.listing(), "");
}

TEST(DownsampleProgram, OutputThatIsTheInputIsAFailureAndTheInputStays)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "in.tif") + anything);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.messages, "error: it would replace a file that is read for the input\n");
    EXPECT_EQ(rasters::pixels(folder / "in.tif"), std::vector<double>(16, 5.0));
}

TEST(DownsampleProgram, GarbageAsReferenceSystemIsAFailureBeforeAnythingIsTouched)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything +
                                       " --srs EPSG:nonsense");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("EPSG:nonsense"), std::string::npos) << outcome.messages;
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(DownsampleProgram, OutputThatCannotBeCompletedIsAFailure)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    // A name of JPEG 2000 yields no file.
    const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.jp2") + anything);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.messages, "error: " + (folder / "out.jp2").toStdString() +
                                    ": could not be completed: JPEG 2000 is not written\n");
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST(DownsampleProgram, TakesAFactorInPlaceOfAResolution)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(12, 12), [](int x, int y, int) { return x + 12 * y; });
    const QString input = quoted(folder / "in.tif");
    ASSERT_EQ(downsample(input + quoted(folder / "a.tif") + "--factor 3 --strategy max").exitCode, 0);
    ASSERT_EQ(downsample(input + quoted(folder / "b.tif") + "--resolution 30 --strategy max").exitCode, 0);
    EXPECT_EQ(rasters::pixels(folder / "a.tif").size(), 16u);
    EXPECT_EQ(rasters::pixels(folder / "a.tif"), rasters::pixels(folder / "b.tif"));
}

TEST(DownsampleProgram, SaysWhichResolutionIsPossibleInADigitThatIsAccepted)
{
    const TempFolder folder;
    rasters::Description description = tenMetrePixels(12, 12);
    (*description.geotransform)[1] = 4.0013;
    (*description.geotransform)[5] = -4.0013;
    rasters::make(folder / "in.tif", description, [](int, int, int) { return 5; });
    const QString paths = quoted(folder / "in.tif") + quoted(folder / "out.tif");
    const Outcome refused = downsample(paths + "--resolution 1 --strategy average");
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.messages,
              "error: the resolution 1 is finer than half of the input's 4.0013; the finest possible "
              "is 2.0007\n");
    EXPECT_EQ(downsample(paths + "--resolution 2.0007 --strategy average").exitCode, 0);
    EXPECT_EQ(downsample(paths + "--resolution 2.0006 --strategy average").exitCode, 1);
}

TEST(DownsampleProgram, SaysWhereSetsAndFilesAreMistakenForEachOther)
{
    const TempFolder folder;
    rasters::make(folder / "naip_1_1.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    rasters::make(folder / "single.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    const auto messages = [&](const char* input, const char* more) {
        const Outcome outcome =
            downsample(quoted(folder / input) + quoted(folder / "out.tif") + anything + more);
        EXPECT_EQ(outcome.exitCode, 1);
        return outcome.messages;
    };
    const std::string path = folder.path().toStdString() + "/";
    EXPECT_EQ(messages("naip.tif", ""), "error: no file '" + path + "naip.tif', but tile files " + path +
                                            "naip_*_*.tif: add --tiles\n");
    EXPECT_EQ(messages("single.tif", " --tiles"), "error: no tile files " + path + "single_*_*.tif; '" +
                                                      path +
                                                      "single.tif' is a single file: leave --tiles out\n");
    EXPECT_EQ(messages("none.tif", " --tiles"),
              "error: no tile files " + path + "none_*_*.tif: give the name without the numbers\n");
    EXPECT_EQ(messages("none_1_1.tif", " --tiles"),
              "error: no tile files " + path + "none_1_1_*_*.tif: give the name without the numbers\n");
}

TEST(DownsampleProgram, QuietSaysNothing)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(4, 4), [](int, int, int) { return 5; });
    const Outcome outcome =
        downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything + " --quiet --progress");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.messages, "");
    EXPECT_EQ(rasters::pixels(folder / "out.tif").size(), 4u);
}

TEST(DownsampleProgram, JsonHasTheSummary)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(12, 8), [](int, int, int) { return 5; });
    const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") +
                                       "--factor 4 --strategy median --nodata nan --json");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    const QJsonObject json = QJsonDocument::fromJson(QByteArray::fromStdString(outcome.output)).object();
    EXPECT_EQ(json["strategy"].toString(), "median");
    EXPECT_EQ(json["input"].toObject()["width"].toInt(), 12);
    EXPECT_EQ(json["input"].toObject()["height"].toInt(), 8);
    EXPECT_EQ(json["output"].toObject()["width"].toInt(), 3);
    EXPECT_EQ(json["output"].toObject()["height"].toInt(), 2);
    EXPECT_EQ(json["resolution"].toDouble(), 40.0);
    EXPECT_EQ(json["noData"].toString(), "nan");
    EXPECT_GT(json["seconds"].toDouble(), 0.0);
    EXPECT_NEAR(json["megapixelsPerSecond"].toDouble() * json["seconds"].toDouble(), 96e-6, 1e-12);
    EXPECT_GT(json["peakMemoryMiB"].toDouble(), 1.0);
    EXPECT_FALSE(json["leaveHolesOut"].toBool(true));
}

TEST(DownsampleProgram, JsonHasTheValueThatMeansNoData)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", tenMetrePixels(12, 8), [](int, int, int) { return 5; });
    const auto json = [&](const char* more) {
        const Outcome outcome = downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") +
                                           "--factor 4 --strategy gauss --json" + more);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        return QJsonDocument::fromJson(QByteArray::fromStdString(outcome.output)).object();
    };
    EXPECT_FALSE(json("").contains("noData")) << "it was not asked for";
    EXPECT_TRUE(json(" --nodata auto").contains("noData"));
    EXPECT_TRUE(json(" --nodata auto")["noData"].isNull()) << "the input declares none";
    const QJsonObject given = json(" --nodata -7.5 --leave-holes-out");
    EXPECT_EQ(given["noData"].toDouble(), -7.5);
    EXPECT_TRUE(given["leaveHolesOut"].toBool());
}

TEST(DownsampleProgram, HasNoResolutionWithoutGeoreference)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", {8, 8, 1, GDT_Byte}, [](int, int, int) { return 5; });
    const QString arguments =
        quoted(folder / "in.tif") + quoted(folder / "out.tif") + "--factor 2 --strategy average";
    const Outcome outcome = downsample(arguments);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "resolution"), "none");
    EXPECT_EQ(value(outcome, "output size"), "4 x 4");
    EXPECT_NE(downsample(arguments + " --json").output.find("\"resolution\": null"), std::string::npos);
}

TEST(DownsampleProgram, HasTheResolutionOfTheFile)
{
    const TempFolder folder;
    rasters::Description degrees{40, 40, 1, GDT_Byte};
    degrees.geotransform = {10.0, 0.0000123, 0, 50.0, 0, -0.0000123};
    rasters::make(folder / "in.tif", degrees, [](int, int, int) { return 5; });
    const Outcome outcome =
        downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + "--factor 2 --strategy warp");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "resolution"), "2.46e-05");
    EXPECT_EQ(value(outcome, "output size"), "20 x 20");
}

TEST(DownsampleProgram, SpeaksOfWarningsAndErrorsWithoutLevelsAndNotices)
{
    const TempFolder folder;
    rasters::Description description = tenMetrePixels(4, 4);
    (*description.geotransform)[5] = 10; // south is up
    rasters::make(folder / "in_1_1.tif", description, [](int, int, int) { return 5; });
    // A name that is no tile's makes a notice.
    rasters::make(folder / "in_x_y.tif", description, [](int, int, int) { return 5; });
    const Outcome outcome =
        downsample(quoted(folder / "in.tif") + quoted(folder / "out.tif") + anything + " --tiles");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.messages.find("warning: Read image with non-square pixels"), 0u) << outcome.messages;
    EXPECT_EQ(outcome.messages.find("level"), std::string::npos) << outcome.messages;
    EXPECT_EQ(outcome.messages.find("path2tile"), std::string::npos) << outcome.messages;
}
