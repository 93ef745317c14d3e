#include "downsamplers/downsample.h"

#include "downsamplers/DownsamplerFactory.h"

#include "jobfixtures.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"
#include "support/gdalhandlers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

// One call from the input to the completed output.

using namespace downsamplerjobtest;
using vexel::DownsampleOptions;
using vexel::DownsamplingStrategy;
using vexel::GdalFileType;
using vexel::ImageAlphaType;
using vexel::StreamError;
using Code = StreamError::Code;
using Outcome = JobRunner::Outcome;

class Downsample : public testing::Test
{
protected:
    void SetUp() override
    {
        rasters::Description description = downsampling::mapped(60, 40, GDT_Float32, 4);
        description.wkt = rasters::wkt(32633);
        rasters::make(folder / "in.tif", description, pixel);
    }

    DownsampleOptions options(const char* output = "out.tif") const
    {
        return DownsampleOptions(folder / "in.tif", folder / output);
    }

    /// What the same job leaves that is made step by step.
    std::string expected(DownsamplingStrategy strategy, double resolution, const std::string& wkt,
                         ImageAlphaType alpha = ImageAlphaType::NoAlpha, bool leaveHolesOut = false)
    {
        const auto job = vexel::DownsamplerFactory::createDownsampler(
            strategy, folder / "in.tif", folder / "expected.tif", QString::fromStdString(wkt), resolution,
            alpha, GdalFileType::SingleFile);
        job->leaveHolesOut(leaveHolesOut);
        EXPECT_TRUE(downsampling::run(*job));
        EXPECT_FALSE(job->complete());
        return fileText(folder / "expected.tif");
    }

    void expectRefused(const DownsampleOptions& refused, Code code, const std::string& text)
    {
        const JobRunner::Result result = downsample(refused);
        EXPECT_EQ(result.outcome, Outcome::CouldNotStart);
        EXPECT_EQ(result.error.code, code);
        EXPECT_NE(result.error.text.toStdString().find(text), std::string::npos) << result.error;
        EXPECT_EQ(folder.listing(), "in.tif");
    }

    TempFolder folder;
};

namespace {

/// The largest pixel, in an image of 60 columns, of the block that an output pixel is made of.
double largestIn(const std::vector<double>& pixels, int column, int row, int factor)
{
    double largest = 0.0;
    for (int y = row * factor; y < (row + 1) * factor; ++y)
        for (int x = column * factor; x < (column + 1) * factor; ++x)
            largest = std::max(largest, pixels[static_cast<std::size_t>(y * 60 + x)]);
    return largest;
}

} // namespace

TEST_F(Downsample, MakesTheOutputWithTheInputsReference)
{
    const JobRunner::Result result = downsample(options().resolution(2.0));
    EXPECT_EQ(result.outcome, Outcome::Finished) << result.error;
    EXPECT_FALSE(result.error);
    EXPECT_EQ(folder.listing(), "in.tif out.prj out.tfw out.tif");
    const std::string wkt = rasters::open(folder / "in.tif")->GetProjectionRef();
    EXPECT_EQ(fileText(folder / "out.tif"), expected(DownsamplingStrategy::Average, 2.0, wkt));
}

TEST_F(Downsample, TakesEveryOption)
{
    const std::string wkt = rasters::wkt(32632);
    const QString reference = QString::fromStdString(wkt);
    EXPECT_EQ(downsample(options()
                             .strategy(DownsamplingStrategy::Gauss)
                             .factor(4.0)
                             .alpha(true)
                             .leaveHolesOut(true)
                             .reference(reference))
                  .outcome,
              Outcome::Finished);
    EXPECT_EQ(fileText(folder / "out.tif"),
              expected(DownsamplingStrategy::Gauss, 4.0, wkt, ImageAlphaType::LastBand, true));
    EXPECT_EQ(
        downsample(options("max.tif").strategy(DownsamplingStrategy::Max).factor(4.0).reference("")).outcome,
        Outcome::Finished);
    EXPECT_EQ(fileText(folder / "max.tif"), expected(DownsamplingStrategy::Max, 4.0, ""));
    EXPECT_FALSE(exists(folder / "max.prj"));
}

TEST_F(Downsample, TakesEachValueThatMeansNoData)
{
    rasters::make(folder / "in.tif", downsampling::mapped(4, 2, GDT_Float32),
                  [](int x, int, int) { return x < 2 ? (x == 0 ? 7.0 : 9.0) : 5.0; });
    ASSERT_EQ(downsample(options().factor(2.0).noData(7.0).noData(9.0)).outcome, Outcome::Finished);
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), (std::vector<double>{-10000.0, 5.0}));
}

TEST_F(Downsample, TakesTileSets)
{
    downsampling::makeTiles(folder / "set.tif", downsampling::mapped(60, 40, GDT_Byte), 20, 20, pixel);
    const JobRunner::Result result =
        downsample(DownsampleOptions(folder / "set.tif", folder / "out.tif").tiles(true).factor(2.0));
    EXPECT_EQ(result.outcome, Outcome::Finished) << result.error;
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif").size(), 30u * 20u);
}

TEST_F(Downsample, KeepsWholeFactorsWhole)
{
    // 0.1 and its multiples are no binary fractions: 3 * 0.1 / 0.1 is not 3.
    rasters::make(folder / "in.tif", downsampling::mapped(60, 40, GDT_Float32, 1, 10000), pixel);
    const std::vector<double> in = rasters::pixels(folder / "in.tif");
    for (const int factor : {2, 3, 5, 6, 7, 12}) {
        ASSERT_EQ(downsample(options().strategy(DownsamplingStrategy::Max).factor(factor)).outcome,
                  Outcome::Finished);
        const std::vector<double> out = rasters::pixels(folder / "out.tif");
        const int columns = 60 / factor;
        const int rows = 40 / factor;
        ASSERT_EQ(out.size(), static_cast<std::size_t>(columns * rows)) << factor;
        for (int y = 0; y < rows; ++y)
            for (int x = 0; x < columns; ++x)
                ASSERT_EQ(out[static_cast<std::size_t>(y * columns + x)], largestIn(in, x, y, factor))
                    << factor << ": " << x << ", " << y;
        double transform[6] = {};
        rasters::open(folder / "out.tif")->GetGeoTransform(transform);
        EXPECT_NEAR(transform[1], 0.1 * factor, 1e-9);
    }
}

TEST_F(Downsample, RoundsAHalfUpWhateverTheSizeOfThePixelIs)
{
    // Of 9 pixels 6 to one make 1.5, and so 2 of 4.5 each. Nothing divided by 0.1 is 6.
    for (const int unitsPerPixel : {100000, 10000}) {
        rasters::make(folder / "in.tif", downsampling::mapped(9, 9, GDT_Float32, 1, unitsPerPixel), pixel);
        ASSERT_EQ(downsample(options().strategy(DownsamplingStrategy::Gauss).factor(6.0)).outcome,
                  Outcome::Finished);
        EXPECT_EQ(rasters::pixels(folder / "out.tif").size(), 4u) << unitsPerPixel;
    }
    // 1.5 times 19 units are 28.5 units. Divided by 19 units no resolution is 1.5.
    rasters::make(folder / "in.tif", downsampling::mapped(50, 50, GDT_Float32, 1, 19), pixel);
    ASSERT_EQ(downsample(options().factor(1.5)).outcome, Outcome::Finished);
    double transform[6] = {};
    rasters::open(folder / "out.tif")->GetGeoTransform(transform);
    EXPECT_NEAR(transform[1], 29e-5, 1e-12);
}

TEST_F(Downsample, WarpsBySizeOfThePixelInTheFile)
{
    rasters::Description degrees{60, 40, 1, GDT_Float32};
    degrees.geotransform = std::array<double, 6>{10.0, 0.0000123, 0, 50.0, 0, -0.0000123};
    rasters::make(folder / "in.tif", degrees, pixel);
    const JobRunner::Result result = downsample(options().strategy(DownsamplingStrategy::Warp).factor(2.0));
    EXPECT_EQ(result.outcome, Outcome::Finished) << result.error;
    EXPECT_EQ(rasters::pixels(folder / "out.tif").size(), 30u * 20u);
}

TEST_F(Downsample, TellsItsProgressAndStops)
{
    std::vector<double> shares;
    ASSERT_EQ(downsample(options().factor(2.0),
                         [&](const JobRunner::Progress& progress) {
                             shares.push_back(progress.share);
                             return true;
                         })
                  .outcome,
              Outcome::Finished);
    EXPECT_EQ(shares.back(), 1.0);
    const std::string before = folder.listing();
    for (std::size_t stopAt = 1; stopAt <= shares.size(); ++stopAt) {
        std::size_t calls = 0;
        const auto result = downsample(options("other.tif").factor(2.0),
                                       [&](const JobRunner::Progress&) { return ++calls < stopAt; });
        EXPECT_EQ(result.outcome, Outcome::Cancelled) << "at call " << stopAt;
        EXPECT_EQ(folder.listing(), before) << "at call " << stopAt;
    }
}

TEST_F(Downsample, AnswersWhatTheProgressThrows)
{
    const JobRunner::Result result =
        downsample(options().factor(2.0),
                   [](const JobRunner::Progress&) -> bool { throw std::runtime_error("thrown"); });
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.exceptionText, "thrown");
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST_F(Downsample, AnswersWhatTheProgressThrowsWhileTheOutputIsCompleted)
{
    const JobRunner::Result result =
        downsample(options().factor(2.0), [](const JobRunner::Progress& progress) {
            if (progress.stepsDone == progress.steps && progress.share > 0.6)
                throw std::runtime_error("thrown");
            return true;
        });
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.exceptionText, "thrown");
    EXPECT_TRUE(result.failedSteps.empty());
    EXPECT_EQ(folder.listing(), "in.tif");
}

TEST_F(Downsample, SaysWhatItCannotDo)
{
    const QuietGdal quiet;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    expectRefused(options(), Code::BadArgument, "either the resolution or the factor");
    expectRefused(options().resolution(2.0).factor(2.0), Code::BadArgument,
                  "either the resolution or the factor");
    for (const double bad : {0.0, -1.0, nan, infinity}) {
        expectRefused(options().factor(bad), Code::BadArgument, "no multiple of a pixel");
        expectRefused(options().resolution(bad), Code::BadArgument, "no size of a pixel");
        expectRefused(options().strategy(DownsamplingStrategy::Warp).resolution(bad), Code::BadArgument,
                      "no size of a pixel");
    }
    expectRefused(options().resolution(0.25), Code::BadArgument,
                  "the resolution 0.25 is finer than half of the input's 1; the finest possible is 0.5");
    expectRefused(options().strategy(DownsamplingStrategy::Warp).tiles(true).factor(2.0), Code::BadArgument,
                  "single files only");
    expectRefused(options().strategy(DownsamplingStrategy::Warp).reference("x").factor(2.0),
                  Code::BadArgument, "keeps the input's spatial reference");
    expectRefused(options("in.tif").factor(2.0), Code::BadArgument, "read for the input");
    expectRefused(options("in.tif").strategy(DownsamplingStrategy::Warp).factor(2.0), Code::BadArgument,
                  "read for the input");
    expectRefused(options().strategy(static_cast<DownsamplingStrategy>(99)).factor(2.0), Code::BadArgument,
                  "there is no strategy 99");
    for (const DownsamplingStrategy strategy : {DownsamplingStrategy::Average, DownsamplingStrategy::Warp})
        expectRefused(
            DownsampleOptions(folder / "none.tif", folder / "out.tif").strategy(strategy).factor(2.0),
            Code::CannotOpen, "none.tif");
    expectRefused(DownsampleOptions(folder / "none.tif", folder / "out.tif").tiles(true).resolution(2.0),
                  Code::CannotOpen, "There are no tile files");
}

TEST_F(Downsample, NamesTheFinestResolutionSoThatItIsAccepted)
{
    // Half of 43 units is 0.00021500000000000002, which five digits round down.
    for (const int unitsPerPixel : {43, 45, 100000, 400130}) {
        rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Float32, 1, unitsPerPixel), pixel);
        const QString refusal = downsample(options().resolution(1e-5)).error.text;
        const QString before = "the finest possible is ";
        ASSERT_NE(refusal.indexOf(before), -1) << unitsPerPixel;
        const double finest = refusal.mid(refusal.indexOf(before) + before.size()).toDouble();
        EXPECT_NEAR(finest, 0.5e-5 * unitsPerPixel, 1e-4 * finest);
        EXPECT_EQ(downsample(options().resolution(finest)).outcome, Outcome::Finished) << unitsPerPixel;
    }
}

TEST_F(Downsample, AnswersThatAFileCouldNotBeCompleted)
{
    const LogCapture log;
    const JobRunner::Result result = downsample(options("out.jp2").factor(2.0));
    EXPECT_EQ(result.outcome, Outcome::NotCompleted);
    EXPECT_EQ(result.error.text, "JPEG 2000 is not written");
    EXPECT_EQ(folder.listing(), "in.tif");
}
