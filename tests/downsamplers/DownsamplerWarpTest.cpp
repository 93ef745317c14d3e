#include "downsamplers/DownsamplerWarp.h"

#include "downsamplers/DownsamplerFactory.h"
#include "streaming/GDALMutex.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/exampledata.h"
#include "support/files.h"
#include "support/gdalhandlers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <future>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using downsampling::doStep;
using vexel::DownsamplerWarp;
using vexel::GdalFileType;
using vexel::ImageAlphaType;
using Values = std::vector<double>;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

std::shared_ptr<vexel::DownsamplerBase> create(const QString& in, const QString& out, double resolution,
                                               GdalFileType type = GdalFileType::SingleFile)
{
    return vexel::DownsamplerFactory::createDownsampler(vexel::DownsamplingStrategy::Warp, in, out, QString(),
                                                        resolution, ImageAlphaType::NoAlpha, type);
}

bool warp(const QString& in, const QString& out, double resolution)
{
    const QuietGdal quiet;
    return doStep(*create(in, out, resolution));
}

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

double slope(int x, int y, int)
{
    return 3 * x + 2 * y;
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
