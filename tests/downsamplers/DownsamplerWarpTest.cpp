#include "downsamplers/DownsamplerWarp.h"

#include "downsamplers/DownsamplerFactory.h"
#include "streaming/GDALMutex.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/exampledata.h"
#include "support/gdalhandlers.h"
#include "warpfixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <future>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

using namespace downsamplerwarptest;

namespace {

using vexel::DownsamplerWarp;
using Values = std::vector<double>;

/// Runs the warp utility on its own.
void runUtility(const QStringList& arguments, const QString& in, const QString& out)
{
    std::vector<std::string> command = {"gdalwarp", "--config", "CPL_LOG", "/dev/null"};
    for (const QString& argument : arguments + QStringList{in, out})
        command.push_back(argument.toStdString());
    rasters::run(command);
}

QStringList argumentsFor(const char* pixelSize, const char* sourceNoData = "-10000")
{
    return {"-q",      "-multi",  "-overwrite", "-r",         "cubicspline", "-tr",
            pixelSize, pixelSize, "-srcnodata", sourceNoData, "-dstnodata",  "-10000"};
}

/// Says how two rasters differ in size, place, reference, no-data value, pixel type or pixels; empty if they
/// do not.
std::string difference(const QString& expectedPath, const QString& actualPath)
{
    const rasters::Dataset expected = rasters::open(expectedPath);
    const rasters::Dataset actual = rasters::open(actualPath);
    if (!expected || !actual)
        return "not there";
    if (expected->GetRasterXSize() != actual->GetRasterXSize() ||
        expected->GetRasterYSize() != actual->GetRasterYSize() ||
        expected->GetRasterCount() != actual->GetRasterCount())
        return "size";
    std::array<double, 6> a{};
    std::array<double, 6> b{};
    if (expected->GetGeoTransform(a.data()) != actual->GetGeoTransform(b.data()) || a != b)
        return "geotransform";
    if (std::string(expected->GetProjectionRef()) != actual->GetProjectionRef())
        return "projection";
    for (int band = 1; band <= expected->GetRasterCount(); ++band) {
        GDALRasterBand* left = expected->GetRasterBand(band);
        GDALRasterBand* right = actual->GetRasterBand(band);
        if (left->GetRasterDataType() != right->GetRasterDataType())
            return "type";
        if (left->GetNoDataValue() != right->GetNoDataValue())
            return "no-data value";
        const std::string pixels = downsampling::difference(
            rasters::pixels(expectedPath, band), rasters::pixels(actualPath, band), left->GetXSize());
        if (!pixels.empty())
            return "band " + std::to_string(band) + ", " + pixels;
    }
    return "";
}

/// A raster with holes of one value, and a reference system.
void makeWithHoles(const QString& path, GDALDataType type, double hole, int bands = 1)
{
    rasters::Description description = downsampling::mapped(60, 45, type, bands);
    description.wkt = rasters::wkt(32632);
    rasters::make(path, description, [hole](int x, int y, int band) {
        return rasters::noise(x / 5, y / 4, band) < 0.2 ? hole
                                                        : std::floor(255.0 * rasters::noise(x, y, band));
    });
}

// ---- Arguments

TEST(DownsamplerWarpArguments, AreTheseInThisOrder)
{
    EXPECT_EQ(DownsamplerWarp::arguments(2.5, -10000.0),
              (QStringList{"-q", "-multi", "-overwrite", "-r", "cubicspline", "-tr", "2.5", "2.5",
                           "-srcnodata", "-10000", "-dstnodata", "-10000"}));
}

struct NumberCase
{
    const char* name;
    double value;
    const char* text;
};

std::string nameOf(const testing::TestParamInfo<NumberCase>& row)
{
    return row.param.name;
}

class DownsamplerWarpResolution : public testing::TestWithParam<NumberCase>
{};

TEST_P(DownsamplerWarpResolution, HasSixSignificantDigits)
{
    EXPECT_EQ(DownsamplerWarp::arguments(GetParam().value, -10000.0), argumentsFor(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(Values, DownsamplerWarpResolution,
                         testing::Values(NumberCase{"Fraction", 0.05, "0.05"},
                                         NumberCase{"ManyDigits", 0.0123456789, "0.0123457"},
                                         NumberCase{"Large", 1234567.0, "1.23457e+06"},
                                         NumberCase{"SixDigits", 123456.0, "123456"},
                                         NumberCase{"Small", 0.00001, "1e-05"},
                                         NumberCase{"Whole", 4.0, "4"}),
                         nameOf);

class DownsamplerWarpSourceNoData : public testing::TestWithParam<NumberCase>
{};

TEST_P(DownsamplerWarpSourceNoData, IsExactAndLeavesTheOutputs)
{
    EXPECT_EQ(DownsamplerWarp::arguments(2.0, GetParam().value), argumentsFor("2", GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Values, DownsamplerWarpSourceNoData,
    testing::Values(NumberCase{"Default", -10000.0, "-10000"}, NumberCase{"OfElevation", -32767.0, "-32767"},
                    NumberCase{"Zero", 0.0, "0"}, NumberCase{"Nan", kNan, "nan"},
                    NumberCase{"OfFloats", -3.4028234663852886e+38, "-3.4028234663852886e+38"}),
    nameOf);

// ---- Output

struct PeerCase
{
    const char* name;
    double resolution;
    const char* text;
};

class DownsamplerWarpPeer : public testing::TestWithParam<PeerCase>
{
protected:
    void checkAgainstUtility(const QString& in)
    {
        const TempFolder folder;
        runUtility(argumentsFor(GetParam().text), in, folder / "expected.tif");
        EXPECT_TRUE(warp(in, folder / "out.tif", GetParam().resolution));
        EXPECT_EQ(difference(folder / "expected.tif", folder / "out.tif"), "");
        EXPECT_EQ(folder.listing(), "expected.tif out.tif");
    }
};

TEST_P(DownsamplerWarpPeer, ColourSceneIsWhatTheUtilityMakes)
{
    checkAgainstUtility(exampleData("naip_washington_rgba.tif"));
}

TEST_P(DownsamplerWarpPeer, ElevationIsWhatTheUtilityMakes)
{
    checkAgainstUtility(exampleData("jacksboro_dem_utm_f32.tif"));
}

INSTANTIATE_TEST_SUITE_P(Resolutions, DownsamplerWarpPeer,
                         testing::Values(PeerCase{"Even", 150.0, "150"},
                                         PeerCase{"Odd", 33.0123456, "33.0123"},
                                         PeerCase{"Finer", 30.0, "30"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerWarp, HolesAreWhatTheUtilityMakes)
{
    const TempFolder folder;
    for (const GDALDataType type : {GDT_Float32, GDT_Int16}) {
        makeWithHoles(folder / "in.tif", type, -10000.0, 2);
        runUtility(argumentsFor("3"), folder / "in.tif", folder / "expected.tif");
        EXPECT_TRUE(warp(folder / "in.tif", folder / "out.tif", 3.0));
        EXPECT_EQ(difference(folder / "expected.tif", folder / "out.tif"), "");
        const Values pixels = rasters::pixels(folder / "out.tif");
        EXPECT_GT(std::count(pixels.begin(), pixels.end(), -10000.0), 0);
    }
}

TEST(DownsamplerWarp, ValueToTreatAsNoDataIsTheSources)
{
    const TempFolder folder;
    makeWithHoles(folder / "in.tif", GDT_Float32, -32767.0);
    runUtility(argumentsFor("3", "-32767"), folder / "in.tif", folder / "expected.tif");
    const auto job = create(folder / "in.tif", folder / "out.tif", 3.0);
    job->treatAsNoData(0.0);
    job->treatAsNoData(-32767.0); // the last one counts
    EXPECT_TRUE(downsampling::run(*job));
    EXPECT_EQ(difference(folder / "expected.tif", folder / "out.tif"), "");
}

TEST(DownsamplerWarp, ReplacesAnEarlierOutput)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(40, 30, GDT_Byte), slope);
    rasters::make(folder / "out.tif", downsampling::mapped(7, 9, GDT_Float32, 2), slope);
    runUtility(argumentsFor("2"), folder / "in.tif", folder / "expected.tif");
    EXPECT_TRUE(warp(folder / "in.tif", folder / "out.tif", 2.0));
    EXPECT_EQ(difference(folder / "expected.tif", folder / "out.tif"), "");
    EXPECT_EQ(rasters::open(folder / "out.tif")->GetRasterXSize(), 20);
}

TEST(DownsamplerWarp, IgnoresFileTypeAlphaAndReference)
{
    const TempFolder folder;
    makeWithHoles(folder / "in.tif", GDT_Byte, 0.0, 2);
    EXPECT_TRUE(warp(folder / "in.tif", folder / "expected.tif", 3.0));
    for (const int type : {0, 1, 7, -1}) {
        const auto job = vexel::DownsamplerFactory::createDownsampler(
            static_cast<vexel::DownsamplingStrategy>(7), folder / "in.tif", folder / "out.tif",
            QString::fromStdString(rasters::wkt(32633)), 3.0, ImageAlphaType::LastBand,
            static_cast<GdalFileType>(type));
        EXPECT_TRUE(std::dynamic_pointer_cast<DownsamplerWarp>(job)) << type;
        const QuietGdal quiet;
        EXPECT_TRUE(downsampling::run(*job)) << type;
        EXPECT_EQ(difference(folder / "expected.tif", folder / "out.tif"), "") << type;
    }
    EXPECT_EQ(folder.listing(), "expected.tif in.tif out.tif");
}

// ---- The job

TEST(DownsamplerWarp, IsADownsamplerOfItsOwn)
{
    EXPECT_TRUE((std::is_base_of_v<vexel::DownsamplerBase, DownsamplerWarp>));
}

TEST(DownsamplerWarp, HasOneStepAndOpensNothing)
{
    const TempFolder folder;
    const auto job = create(folder / "none.tif", folder / "out.tif", 2.0);
    std::size_t steps = 99;
    EXPECT_TRUE(static_cast<vexel::Worker&>(*job).do_init(steps));
    EXPECT_EQ(steps, 1u);
    EXPECT_EQ(folder.listing(), "");
}

TEST(DownsamplerWarp, StepsNumberDoesNotMatter)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(40, 30, GDT_Float32), slope);
    EXPECT_TRUE(doStep(*create(folder / "in.tif", folder / "out.tif", 2.0), 5));
    EXPECT_EQ(rasters::open(folder / "out.tif")->GetRasterXSize(), 20);
}

TEST(DownsamplerWarp, ReducesEveryBlockToZero)
{
    struct Reachable : vexel::DownsamplerBase
    {
        using DownsamplerBase::Block;
        static float reduce(const DownsamplerBase& job, const Block& block)
        {
            return (job.*(&Reachable::representativeValue))(block);
        }
    };
    vexel::PixelMatrix<float> block = vexel::PixelMatrix<float>::Constant(2, 2, 7.0f);
    EXPECT_EQ(Reachable::reduce(*create("in.tif", "out.tif", 2.0), block), 0.0f);
}

TEST(DownsamplerWarp, CallersPathsMayBeGone)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(40, 30, GDT_Float32), slope);
    auto in = std::make_unique<QString>(folder / "in.tif");
    auto out = std::make_unique<QString>(folder / "out.tif");
    const auto job = create(*in, *out, 2.0);
    in->fill('x');
    out->fill('x');
    in.reset();
    out.reset();
    EXPECT_TRUE(doStep(*job));
    EXPECT_EQ(folder.listing(), "in.tif out.tif");
}

TEST(DownsamplerWarp, TakesNoLock)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(40, 30, GDT_Float32), slope);
    const auto job = create(folder / "in.tif", folder / "out.tif", 2.0);
    auto lock = std::make_unique<vexel::GDALMutex>();
    std::future<bool> done = std::async(std::launch::async, [&] { return doStep(*job); });
    // Only a step that waits for the lock takes that long.
    EXPECT_EQ(done.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    lock.reset();
    EXPECT_TRUE(done.get());
    EXPECT_EQ(rasters::open(folder / "out.tif")->GetRasterXSize(), 20);
}

} // namespace
