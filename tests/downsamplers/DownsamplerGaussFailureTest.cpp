#include "downsamplers/DownsamplerGauss.h"

#include "costfixtures.h"
#include "gaussfixtures.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/damage.h"
#include "support/downsampling.h"
#include "support/gdalhandlers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

using namespace downsamplergausstest;

namespace {

using downsampling::doStep;
using downsampling::isErrnoText;
using Values = std::vector<double>;

std::string readFailure(const QString& path)
{
    return "Unable to read tile " + path.toStdString() + "': ";
}

TEST(DownsamplerGaussFailure, ClosedInputIsLogged)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 3),
                  [](int, int, int) { return 7.0; });
    for (const Manner& manner : {Manner{}, kWithAlpha}) {
        Job job(folder / "in.tif", folder / "out.tif", 2.0, manner);
        job.input.close();
        const LogCapture log;
        errno = EACCES;
        EXPECT_FALSE(doStep(job, 0));
        ASSERT_EQ(log.messages().size(), 1u) << log.text();
        EXPECT_EQ(log.messages()[0].level, 7);
        EXPECT_EQ(log.messages()[0].category, "");
        EXPECT_EQ(log.messages()[0].text, readFailure(folder / "in.tif") + std::strerror(EACCES));
    }
}

TEST(DownsamplerGaussFailure, ClosedInputOfAlphaAloneLeavesNoData)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Float32),
                  [](int, int, int) { return 255.0; });
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
        job.input.close();
        const LogCapture log;
        EXPECT_TRUE(doStep(job, 0));
        EXPECT_EQ(log.text(), "");
    }
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), Values(16, -10000.0));
}

TEST(DownsamplerGaussFailure, LostInputIsLoggedOnce)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 3),
                  [](int, int, int) { return 7.0; });
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
        std::filesystem::remove((folder / "in.tif").toStdString());
        const LogCapture log;
        EXPECT_FALSE(doStep(job, 0));
        ASSERT_EQ(log.messages().size(), 1u) << log.text();
        EXPECT_EQ(log.messages()[0].level, 7);
        const std::string start = readFailure(folder / "in.tif");
        const std::string text = log.messages()[0].text;
        EXPECT_EQ(text.substr(0, start.size()), start);
        EXPECT_TRUE(isErrnoText(text.substr(start.size()))) << text;
    }
    EXPECT_EQ(folder.listing(), "") << "nothing was written";
}

TEST(DownsamplerGaussFailure, LostTileFailsTheStepsThatReachIt)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(96, 32, GDT_Float32), 32, 32,
                            [](int, int, int) { return 7.0; });
    Job job(folder / "in.tif", folder / "out.tif", 2.0, kTiles);
    std::filesystem::remove((folder / "in_3_1.tif").toStdString());
    const LogCapture log;
    EXPECT_TRUE(doStep(job, 0));
    EXPECT_EQ(log.text(), "");
    EXPECT_FALSE(doStep(job, 1)) << "its margin reaches into the third tile";
    EXPECT_FALSE(doStep(job, 2));
    EXPECT_EQ(log.messages().size(), 2u);
    EXPECT_EQ(log.messages()[0].text.find(readFailure(folder / "in.tif")), 0u) << "the set's path";
}

TEST(DownsamplerGaussFailure, AlphaThatCannotBeReadIsNone)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Float32),
                  [](int, int, int) { return 255.0; });
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
        std::filesystem::remove((folder / "in.tif").toStdString());
        const LogCapture log;
        EXPECT_TRUE(doStep(job, 0));
        EXPECT_EQ(log.text(), "");
    }
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), Values(16, 0.0));
}

TEST(DownsamplerGaussFailure, WriteIsLoggedWithItsBox)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(96, 64, GDT_Float32, 2), 32, 32,
                            [](int, int, int) { return 7.0; });
    Job job(folder / "in.tif", folder / "out.tif", 4.0, kTiles);
    job.output.close();
    const LogCapture log;
    EXPECT_FALSE(doStep(job, 0));
    EXPECT_FALSE(doStep(job, 5));
    ASSERT_EQ(log.messages().size(), 2u) << "a step ends with its first band: " << log.text();
    const char* boxes[] = {"RECT{POINT(0, 0), POINT(8, 8)}", "RECT{POINT(16, 8), POINT(24, 16)}"};
    for (std::size_t k = 0; k < 2; ++k) {
        EXPECT_EQ(log.messages()[k].level, 7);
        EXPECT_EQ(log.messages()[k].category, "");
        const std::string text = log.messages()[k].text;
        const std::string start = std::string("Unable to write tile ") + boxes[k] + " to '" +
                                  (folder / "out.tif").toStdString() + "': ";
        EXPECT_EQ(text.substr(0, start.size()), start);
        EXPECT_TRUE(isErrnoText(text.substr(start.size()))) << text;
    }
}

std::string writeFailure(const char* box, const QString& path)
{
    return std::string("Unable to write tile ") + box + " to '" + path.toStdString() + "': ";
}

TEST(DownsamplerGaussFailure, WriteOfAStripIsLoggedWithTheBoxOfTheTile)
{
    const TempFolder folder;
    downsampling::makeSparse(folder / "in.tif", 3000, 4000, 4);
    Job job(folder / "in.tif", folder / "out.tif", 4.0);
    const auto pieces = downsampling::countPieces(job);
    EXPECT_TRUE(doStep(job));
    ASSERT_GT(*pieces, downsampling::mostPiecesOfAStrip);
    job.output.close();
    const LogCapture log;
    EXPECT_FALSE(doStep(job));
    ASSERT_EQ(log.messages().size(), 1u) << log.text();
    EXPECT_EQ(
        log.messages()[0].text.find(writeFailure("RECT{POINT(0, 0), POINT(750, 1000)}", folder / "out.tif")),
        0u)
        << log.text();
}

/// Bands of which the second one cannot be read.
class DownsamplerGaussSecondBand : public testing::Test
{
protected:
    DownsamplerGaussSecondBand()
    {
        rasters::Description bands = downsampling::mapped(64, 64, GDT_Byte, 3);
        bands.options = {"COMPRESS=LZW", "INTERLEAVE=BAND", "BLOCKYSIZE=64"};
        rasters::make(m_folder / "in.tif", bands, [](int, int, int band) { return 10.0 * band; });
        rasters::damageBlock(m_folder / "in.tif", 0, 0, 2);
    }

    TempFolder m_folder;
    QuietGdal m_quiet;
};

TEST_F(DownsamplerGaussSecondBand, IsToldOfAndTheFirstIsKept)
{
    {
        Job job(m_folder / "in.tif", m_folder / "out.tif", 4.0);
        const LogCapture log;
        EXPECT_FALSE(doStep(job));
        ASSERT_EQ(log.messages().size(), 1u) << log.text();
        EXPECT_EQ(log.messages()[0].text.find(readFailure(m_folder / "in.tif")), 0u) << log.text();
        EXPECT_EQ(job.unreadPixels(), 0u) << "it has not counted as zeros";
    }
    EXPECT_EQ(rasters::pixels(m_folder / "out.tif", 1), Values(256, 10.0));
    EXPECT_EQ(rasters::pixels(m_folder / "out.tif", 2), Values(256, 0.0));
}

TEST_F(DownsamplerGaussSecondBand, IsNotReachedIfTheFirstCannotBeWritten)
{
    Job job(m_folder / "in.tif", m_folder / "out.tif", 4.0);
    job.output.close();
    const LogCapture log;
    EXPECT_FALSE(doStep(job));
    ASSERT_EQ(log.messages().size(), 1u) << log.text();
    EXPECT_EQ(
        log.messages()[0].text.find(writeFailure("RECT{POINT(0, 0), POINT(16, 16)}", m_folder / "out.tif")),
        0u)
        << log.text();
}

TEST(DownsamplerGaussFailure, OfATileWithoutResultsIsLoggedToo)
{
    const TempFolder folder;
    // The third tile is one pixel wide, a quarter of a result.
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(65, 32, GDT_Float32), 32, 32,
                            [](int, int, int) { return 7.0; });
    Job job(folder / "in.tif", folder / "out.tif", 4.0, kTiles);
    {
        const LogCapture log;
        EXPECT_TRUE(doStep(job, 2));
        EXPECT_EQ(log.text(), "");
    }
    job.output.close();
    {
        const LogCapture log;
        EXPECT_FALSE(doStep(job, 2));
        ASSERT_EQ(log.messages().size(), 1u) << log.text();
        EXPECT_EQ(
            log.messages()[0].text.find(writeFailure("RECT{POINT(16, 0), POINT(16, 8)}", folder / "out.tif")),
            0u)
            << log.text();
    }
    job.input.close();
    const LogCapture log;
    EXPECT_FALSE(doStep(job, 2));
    ASSERT_EQ(log.messages().size(), 1u) << log.text();
    EXPECT_EQ(log.messages()[0].text.find(readFailure(folder / "in.tif")), 0u) << log.text();
}

TEST(DownsamplerGaussFailure, JobIsUsableAfterIt)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Float32, 2),
                  [](int, int, int band) { return band == 1 ? 50.0 : 255.0; });
    {
        Job job(folder / "in.tif", folder / "out.tif", 2.0, kWithAlpha);
        std::filesystem::rename((folder / "in.tif").toStdString(), (folder / "aside.tif").toStdString());
        {
            const LogCapture quiet;
            EXPECT_FALSE(doStep(job, 0));
        }
        std::filesystem::rename((folder / "aside.tif").toStdString(), (folder / "in.tif").toStdString());
        EXPECT_TRUE(doStep(job, 0));
    }
    EXPECT_NEAR(rasters::pixels(folder / "out.tif", 1)[5], 50.0, kRounding);
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), Values(16, 255.0));
}

} // namespace
