#include "downsamplers/DownsamplerFactory.h"

#include "jobfixtures.h"
#include "oddinput/interlacedpng.h"
#include "support/CountingFiles.h"
#include "support/CustomDownsampler.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/boxes.h"
#include "support/damage.h"
#include "support/downsampling.h"
#include "support/files.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

// Input that cannot be read everywhere: what is counted and told of it.

using namespace downsamplerjobtest;

namespace {

using Outcome = JobRunner::Outcome;
using Values = std::vector<double>;
using vexel::DownsamplingStrategy;
using vexel::GdalFileType;
using vexel::ImageAlphaType;

constexpr int block = 64;

/// A raster of 4 by 4 blocks in each file.
rasters::Description blocks(int columns, int rows, int bands, const char* interleave)
{
    rasters::Description description = downsampling::mapped(columns * block, rows * block, GDT_Byte, bands);
    description.options = {"TILED=YES", "BLOCKXSIZE=64", "BLOCKYSIZE=64", "COMPRESS=LZW",
                           std::string("INTERLEAVE=") + interleave};
    return description;
}

struct Manner
{
    GdalFileType type = GdalFileType::SingleFile;
    ImageAlphaType alpha = ImageAlphaType::NoAlpha;
    double factor = 4.0;
};

std::shared_ptr<vexel::DownsamplerBase> make(DownsamplingStrategy strategy, const QString& in,
                                             const QString& out, const Manner& manner = {})
{
    return vexel::DownsamplerFactory::createDownsampler(strategy, in, out, QString(), manner.factor,
                                                        manner.alpha, manner.type);
}

class UnreadInput : public testing::Test
{
protected:
    QString in(const char* name = "in.tif") const { return m_folder / name; }
    QString out() const { return m_folder / "out.tif"; }

    void expectFirst(const vexel::DownsamplerBase& job, const QString& file, std::size_t band,
                     const vexel::PixelBox& box) const
    {
        const auto first = job.firstUnread();
        ASSERT_TRUE(first);
        EXPECT_EQ(first->file, file);
        EXPECT_EQ(first->band, band);
        EXPECT_EQ(boxText(first->box), boxText(box));
    }

    TempFolder m_folder;
    QuietProcess m_quiet;
};

TEST_F(UnreadInput, IsNoneOfAWholeRaster)
{
    rasters::make(in(), blocks(3, 2, 3, "PIXEL"), pixel);
    for (const DownsamplingStrategy strategy :
         {DownsamplingStrategy::Gauss, DownsamplingStrategy::Average, DownsamplingStrategy::Median,
          DownsamplingStrategy::Max, DownsamplingStrategy::Warp}) {
        const auto job = make(strategy, in(), out());
        const JobRunner::Result result = run(*job);
        EXPECT_EQ(result.outcome, Outcome::Finished);
        EXPECT_EQ(result.unreadPixels, 0u);
        EXPECT_EQ(job->unreadPixels(), 0u);
        EXPECT_FALSE(job->firstUnread());
    }
}

TEST_F(UnreadInput, LeavesTheJobFinishedAndIsCounted)
{
    rasters::make(in(), blocks(4, 4, 3, "PIXEL"), pixel);
    rasters::damageBlock(in(), 2 * block, block, 1);
    const auto job = make(DownsamplingStrategy::Average, in(), out());
    const JobRunner::Result result = run(*job);
    EXPECT_EQ(result.outcome, Outcome::Finished);
    EXPECT_TRUE(result.failedSteps.empty());
    EXPECT_EQ(result.unreadPixels, 3u * block * block);
    EXPECT_EQ(job->unreadPixels(), 3u * block * block);
    expectFirst(*job, in(), 1, box(2 * block, block, 3 * block, 2 * block));
}

TEST_F(UnreadInput, CountsOncePerPixelThoughMarginsOfOtherStepsReadItToo)
{
    downsampling::makeTiles(in(), blocks(6, 6, 1, "PIXEL"), 3 * block, 3 * block, pixel);
    // The blocks at the corner where the four files meet: each step reaches into the others' files.
    const int last = 2 * block;
    for (int column = 1; column <= 2; ++column)
        for (int row = 1; row <= 2; ++row)
            rasters::damageBlock(downsampling::tilePath(in(), column, row), column == 1 ? last : 0,
                                 row == 1 ? last : 0, 1);
    CustomDownsampler job(in(), out(), 12.0, [](const CustomDownsampler::Block& b) { return b(0, 0); },
                          {QString(), ImageAlphaType::NoAlpha, GdalFileType::TileSet, 0});
    job.border = 20;
    const JobRunner::Result result = run(job);
    EXPECT_EQ(result.outcome, Outcome::Finished);
    EXPECT_EQ(result.unreadPixels, 4u * block * block);
    EXPECT_EQ(job.unreadPixels(), 4u * block * block);
    expectFirst(job, downsampling::tilePath(in(), 1, 1), 1, box(last, last, 3 * block, 3 * block));
}

TEST_F(UnreadInput, IsCountedAnewByTheNextRun)
{
    rasters::make(in(), blocks(4, 4, 1, "PIXEL"), pixel);
    rasters::damageBlock(in(), 0, 0, 1);
    const auto job = make(DownsamplingStrategy::Min, in(), out());
    JobRunner runner;
    runner.setIncomplete(JobRunner::Incomplete::Keep); // a job that is complete is not run once more
    runner.setProgress([&runner](const JobRunner::Progress& progress) {
        if (progress.stepsDone == progress.steps)
            runner.stop();
    });
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(runner.run(*job).unreadPixels, std::uint64_t{block} * block);
        EXPECT_EQ(job->unreadPixels(), std::uint64_t{block} * block);
    }
}

TEST_F(UnreadInput, OfALostFileIsWhatStepsNeedOfIt)
{
    downsampling::makeTiles(in(), blocks(4, 2, 2, "PIXEL"), 2 * block, 2 * block, pixel);
    const auto job =
        make(DownsamplingStrategy::Max, in(), out(), {GdalFileType::TileSet, ImageAlphaType::NoAlpha});
    const QString lost = downsampling::tilePath(in(), 2, 1);
    std::filesystem::remove(lost.toStdString());
    const JobRunner::Result result = run(*job);
    EXPECT_EQ(result.outcome, Outcome::Finished);
    EXPECT_EQ(result.unreadPixels, 2u * 2 * block * 2 * block);
    expectFirst(*job, lost, 1, box(0, 0, 2 * block, 2 * block));
}

TEST_F(UnreadInput, KeepsItsFirstPlaceWhenTheJobIsDiscarded)
{
    rasters::make(in(), blocks(4, 4, 1, "PIXEL"), pixel);
    rasters::damageBlock(in(), block, 0, 1);
    const auto job = make(DownsamplingStrategy::Max, in(), out());
    EXPECT_EQ(run(*job).unreadPixels, std::uint64_t{block} * block);
    job->discard();
    EXPECT_EQ(job->unreadPixels(), std::uint64_t{block} * block);
    expectFirst(*job, in(), 1, box(block, 0, 2 * block, block));
}

TEST_F(UnreadInput, ThatNoStepNeedsIsNotCounted)
{
    // The last column of the file's blocks has one pixel, which falls in no block of two.
    rasters::Description description = blocks(2, 2, 1, "PIXEL");
    ++description.width;
    rasters::make(in(), description, pixel);
    rasters::damageBlock(in(), 2 * block, 0, 1);
    const auto job = make(DownsamplingStrategy::Average, in(), out(),
                          {GdalFileType::SingleFile, ImageAlphaType::NoAlpha, 2.0});
    EXPECT_EQ(run(*job).unreadPixels, 0u);
}

// ---- Alpha

TEST_F(UnreadInput, OfTheAlphaBandMakesItsPixelsTransparent)
{
    rasters::make(in(), blocks(2, 1, 2, "BAND"), [](int, int, int) { return 200.0; });
    rasters::damageBlock(in(), 0, 0, 2);
    auto job =
        make(DownsamplingStrategy::Max, in(), out(), {GdalFileType::SingleFile, ImageAlphaType::LastBand});
    EXPECT_EQ(run(*job).unreadPixels, std::uint64_t{block} * block);
    expectFirst(*job, in(), 2, box(0, 0, block, block));
    job.reset();
    Values alpha;
    Values values;
    for (int y = 0; y < block / 4; ++y)
        for (int x = 0; x < 2 * block / 4; ++x) {
            alpha.push_back(x < block / 4 ? 0.0 : 255.0);
            values.push_back(x < block / 4 ? 0.0 : 200.0); // -10000 is cut to what bytes hold
        }
    EXPECT_EQ(rasters::pixels(out(), 1), values);
    EXPECT_EQ(rasters::pixels(out(), 2), alpha);
}

TEST_F(UnreadInput, CountsInTheGaussiansAlphaBandAlone)
{
    rasters::make(in(), blocks(4, 4, 2, "BAND"), pixel);
    const Manner manner{GdalFileType::SingleFile, ImageAlphaType::LastBand};
    rasters::damageBlock(in(), block, 2 * block, 2);
    auto job = make(DownsamplingStrategy::Gauss, in(), out(), manner);
    const JobRunner::Result result = run(*job);
    EXPECT_EQ(result.outcome, Outcome::Finished);
    EXPECT_EQ(result.unreadPixels, std::uint64_t{block} * block);
    EXPECT_EQ(job->unreadPixels(), std::uint64_t{block} * block);
    expectFirst(*job, in(), 2, box(block, 2 * block, 2 * block, 3 * block));
    job.reset();

    rasters::damageBlock(in(), 0, 0, 1);
    job = make(DownsamplingStrategy::Gauss, in(), out(), manner);
    const LogCapture log;
    const JobRunner::Result failed = run(*job);
    EXPECT_EQ(failed.outcome, Outcome::Failed);
    EXPECT_EQ(failed.unreadPixels, 0u);
    EXPECT_FALSE(job->firstUnread());
    ASSERT_EQ(log.messages().size(), 1u) << log.text();
    EXPECT_EQ(log.messages()[0].text.find("Unable to read tile " + in().toStdString() + "': "), 0u);
}

// ---- The warp

TEST_F(UnreadInput, OfAWarpIsNotCountedAndItsFailureIsTold)
{
    rasters::make(in(), blocks(4, 4, 1, "PIXEL"), pixel);
    rasters::damageBlock(in(), block, block, 1);
    const auto job = make(DownsamplingStrategy::Warp, in(), out());
    const LogCapture log;
    const JobRunner::Result result = run(*job);
    EXPECT_EQ(result.outcome, Outcome::NotCompleted) << "GDAL has not refused the arguments";
    EXPECT_FALSE(result.error.text.isEmpty());
    EXPECT_EQ(result.unreadPixels, 0u);
    EXPECT_EQ(job->unreadPixels(), 0u);
    EXPECT_FALSE(job->firstUnread());
    EXPECT_EQ(log.text(), "7: Error code from GDAL: 0");
    EXPECT_EQ(m_folder.listing(), "in.tif");
}

// ---- Files that end early

/// Cuts a file off after that share of it.
void truncate(const QString& path, double share)
{
    const std::string name = path.toStdString();
    std::filesystem::resize_file(
        name, static_cast<std::uintmax_t>(share * static_cast<double>(std::filesystem::file_size(name))));
}

/// How many rows of a band GDAL itself cannot read, each with the file opened anew. They are the last ones.
int unreadableRows(const QString& path, int band)
{
    const auto canRead = [&](int y) {
        const rasters::Dataset dataset = rasters::open(path);
        const int width = dataset->GetRasterXSize();
        std::vector<unsigned char> row(static_cast<std::size_t>(width));
        return dataset->GetRasterBand(band)->RasterIO(GF_Read, 0, y, width, 1, row.data(), width, 1, GDT_Byte,
                                                      0, 0, nullptr) == CE_None;
    };
    int y = rasters::open(path)->GetRasterYSize();
    int unreadable = 0;
    while (y > 0 && !canRead(--y))
        ++unreadable;
    return unreadable;
}

constexpr int cutWidth = 160;
constexpr int cutHeight = 300;

int cutValue(int x, int y, int band)
{
    return (x / 2 * 7 + y / 2 * 3 + band * 31) % 256;
}

/// The largest of each two by two pixels, the last rows being 0.
Values cutMaxima(int band, int lost)
{
    Values values;
    for (int y = 0; y < cutHeight; y += 2)
        for (int x = 0; x < cutWidth; x += 2)
            values.push_back(y < cutHeight - lost ? cutValue(x, y, band) : 0);
    return values;
}

struct CutCase
{
    const char* name;
    const char* file;
    const char* driver; ///< none for an interlaced PNG
    std::vector<std::string> options;
};

/// Rasters of three bands.
class UnreadRest : public testing::TestWithParam<CutCase>
{
protected:
    void makeWhole() const
    {
        if (!GetParam().driver) {
            makeFile(m_in, zoo::interlacedPng(cutWidth, cutHeight, 3, [](int x, int y, int sample) {
                         return static_cast<unsigned char>(cutValue(x, y, sample + 1));
                     }));
            return;
        }
        rasters::Description description;
        description.width = cutWidth;
        description.height = cutHeight;
        description.bands = 3;
        description.driver = GetParam().driver;
        description.options = GetParam().options;
        rasters::make(m_in, description, cutValue);
    }

    TempFolder m_folder;
    QString m_in = m_folder / GetParam().file;
};

TEST_P(UnreadRest, IsCountedAndTheRowsBeforeAreKept)
{
    const QuietGdal quiet;
    makeWhole();
    truncate(m_in, 0.6);
    std::vector<int> lost;
    for (int band = 1; band <= 3; ++band)
        lost.push_back(unreadableRows(m_in, band));
    ASSERT_GT(lost[2], cutHeight / 4);

    auto job = make(DownsamplingStrategy::Max, m_in, m_folder / "out.tif",
                    {GdalFileType::SingleFile, ImageAlphaType::NoAlpha, 2e-5});
    const JobRunner::Result result = run(*job);
    EXPECT_EQ(result.outcome, Outcome::Finished);
    EXPECT_EQ(result.unreadPixels,
              std::uint64_t{cutWidth} * static_cast<std::uint64_t>(lost[0] + lost[1] + lost[2]));
    job.reset();
    for (int band = 1; band <= 3; ++band) {
        const int rows = lost[static_cast<std::size_t>(band - 1)];
        Values expected = cutMaxima(band, rows);
        const Values actual = rasters::pixels(m_folder / "out.tif", band);
        // Where the first lost row is the lower one of two, the upper one counts.
        if (rows % 2 == 1)
            for (int x = 0; x < cutWidth; x += 2)
                expected[static_cast<std::size_t>((cutHeight - rows) / 2 * (cutWidth / 2) + x / 2)] =
                    cutValue(x, cutHeight - rows - 1, band);
        EXPECT_EQ(downsampling::difference(expected, actual, cutWidth / 2), "") << "band " << band;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, UnreadRest,
    testing::Values(CutCase{"Strips", "in.tif", "GTiff", {"COMPRESS=LZW", "BLOCKYSIZE=1"}},
                    CutCase{"HighStrips", "in.tif", "GTiff", {"BLOCKYSIZE=50"}},
                    CutCase{"StripsOfBands", "in.tif", "GTiff", {"BLOCKYSIZE=50", "INTERLEAVE=BAND"}},
                    CutCase{"Png", "in.png", "PNG", {"ZLEVEL=1"}},
                    CutCase{"Interlaced", "in.png", nullptr, {}}),
    [](const auto& row) { return std::string(row.param.name); });

// Its rows come from the bottom up, so that the first ones are lost.
TEST(UnreadTop, OfABitmapIsCountedAndTheRowsBelowAreKept)
{
    const TempFolder folder;
    const QuietGdal quiet;
    const QString in = folder / "in.bmp";
    rasters::Description description;
    description.width = cutWidth;
    description.height = cutHeight;
    description.bands = 3;
    description.driver = "BMP";
    rasters::make(in, description, cutValue);
    // A header of 54 bytes, and rows of three bytes a pixel.
    const int kept = 100;
    std::filesystem::resize_file(in.toStdString(), 54 + std::uintmax_t{3} * cutWidth * kept + 7);
    auto job = make(DownsamplingStrategy::Max, in, folder / "out.tif",
                    {GdalFileType::SingleFile, ImageAlphaType::NoAlpha, 2e-5});
    EXPECT_EQ(run(*job).unreadPixels, std::uint64_t{3} * cutWidth * (cutHeight - kept));
    job.reset();
    for (int band = 1; band <= 3; ++band) {
        Values expected = cutMaxima(band, 0);
        std::fill_n(expected.begin(), (cutHeight - kept) / 2 * (cutWidth / 2), 0.0);
        EXPECT_EQ(downsampling::difference(expected, rasters::pixels(folder / "out.tif", band), cutWidth / 2),
                  "")
            << "band " << band;
    }
}

#ifdef VEXEL_TESTS_HAVE_COUNTING_FILES
// GDAL remembers that it could not decode the image as long as the file is kept open.
TEST(UnreadInterlacedImage, IsNotDecodedForEachOfItsRows)
{
    const TempFolder folder;
    const QuietGdal quiet;
    const QString in = folder / "in.png";
    makeFile(in, zoo::interlacedPng(500, 2000, 3,
                                    [](int x, int y, int) { return static_cast<unsigned char>(x ^ y); }));
    truncate(in, 0.98);
    CountingFiles files;
    const auto job = make(DownsamplingStrategy::Max, CountingFiles::pathOf(in), folder / "out.tif",
                          {GdalFileType::SingleFile, ImageAlphaType::NoAlpha, 4e-5});
    files.reset();
    EXPECT_EQ(run(*job).unreadPixels, 3u * 500 * 2000);
    EXPECT_LT(files.bytes(in), 20 * std::filesystem::file_size(in.toStdString()));
}
#endif

TEST_F(UnreadInput, OfSingleRowsIsNotTheRowsBetween)
{
    rasters::Description description = downsampling::mapped(cutWidth, cutHeight, GDT_Byte, 3);
    description.options = {"COMPRESS=LZW", "BLOCKYSIZE=1"};
    rasters::make(in(), description, pixel);
    for (const int y : {50, 90})
        rasters::damageBlock(in(), 0, y, 1);
    const auto job = make(DownsamplingStrategy::Max, in(), out());
    EXPECT_EQ(run(*job).unreadPixels, 2u * 3 * cutWidth);
    expectFirst(*job, in(), 1, box(0, 50, cutWidth, 51));
}

TEST_F(UnreadInput, OfOneFileCostsNothingOfAnotherThatIsReadWithIt)
{
    rasters::Description description = downsampling::mapped(2 * cutWidth, cutHeight, GDT_Byte, 3);
    description.driver = "PNG";
    description.options = {"WORLDFILE=YES"};
    const QString set = m_folder / "in.png";
    downsampling::makeTiles(set, description, cutWidth, cutHeight, pixel);
    const QString damaged = downsampling::tilePath(set, 1, 1);
    truncate(damaged, 0.5);
    const int lost = unreadableRows(damaged, 1);
    ASSERT_GT(lost, cutHeight / 4);
    // The border makes each step reach into the other one's file. That of the last blocks is cut, so that
    // they end before the last rows.
    CustomDownsampler job(set, out(), 4.0, [](const CustomDownsampler::Block& b) { return b(0, 0); },
                          {QString(), ImageAlphaType::NoAlpha, GdalFileType::TileSet, 0});
    const int border = 10;
    job.border = border;
    EXPECT_EQ(run(job).unreadPixels, std::uint64_t{3} * cutWidth * static_cast<std::uint64_t>(lost - border));
}

// ---- GDAL's messages

TEST_F(UnreadInput, LetsGdalTellTheSameOncePerStep)
{
    downsampling::makeTiles(in(), blocks(8, 4, 3, "BAND"), 4 * block, 4 * block, pixel);
    for (const int column : {1, 2})
        for (int y = 0; y < 4 * block; y += block)
            for (int band = 1; band <= 3; ++band)
                rasters::damageBlock(downsampling::tilePath(in(), column, 1), block, y, band);
    for (const DownsamplingStrategy strategy : {DownsamplingStrategy::Average, DownsamplingStrategy::Gauss}) {
        const LogCapture log;
        const auto job = make(strategy, in(), out(), {GdalFileType::TileSet, ImageAlphaType::NoAlpha, 4.0});
        for (std::size_t step = 0; step < 2; ++step) {
            std::map<std::string, int> heard;
            {
                const GdalHandler handler([&](CPLErr, const std::string& text) { ++heard[text]; });
                downsampling::doStep(*job, step);
            }
            EXPECT_FALSE(heard.empty());
            for (const auto& [text, times] : heard)
                EXPECT_EQ(times, 1) << text;
        }
    }
}

} // namespace
