#include "downsamplers/DownsamplerFactory.h"

#include "costfixtures.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/damage.h"
#include "support/downsampling.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cpl_error.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// Rasters of several strips whose reading or writing fails somewhere: what it costs.

namespace {

using vexel::DownsamplingStrategy;
using vexel::ImageAlphaType;

using Values = std::vector<double>;

constexpr int width = 1200;
constexpr int height = 4000;
constexpr int noBands = 4;
constexpr int fileBlock = 256;
constexpr int factor = 4;
constexpr int outWidth = width / factor;

/// A no-data value that no byte has. For its sake the raster is read as floats, so that it takes two strips.
constexpr double noByte = 1000.0;

void makeRaster(const QString& path, const char* interleave)
{
    downsampling::makeCells(path, width, height, noBands,
                            {"TILED=YES", "BLOCKXSIZE=256", "BLOCKYSIZE=256", "COMPRESS=DEFLATE",
                             std::string("INTERLEAVE=") + interleave});
}

/// One step over the whole raster. `afterStrip(n)` is called once strip `n`, counted from 1, is written.
bool downsample(
    const QString& in, const QString& out, const std::function<void(int)>& afterStrip = [](int) {})
{
    CPLErrorHandlerPusher quiet(CPLQuietErrorHandler);
    const auto job = vexel::DownsamplerFactory::createDownsampler(DownsamplingStrategy::Max, in, out,
                                                                  QString(), factor, ImageAlphaType::NoAlpha,
                                                                  vexel::GdalFileType::SingleFile);
    job->treatAsNoData(noByte);
    int strips = 0;
    job->setProgress([&](double) {
        afterStrip(++strips);
        return true;
    });
    const bool done = downsampling::doStep(*job);
    EXPECT_GT(strips, 0);
    return done;
}

/// The rows of the output from input row `first` to `end` - 1.
Values rowsOf(const Values& pixels, int first, int end)
{
    const auto at = [&](int row) { return pixels.begin() + std::ptrdiff_t{row / factor} * outWidth; };
    return Values(at(first), at(end));
}

double largestOfBlock(int i, int j, int band)
{
    // The cells of a value are as large as a block, and lie as the blocks do.
    return downsampling::cellValue(j * factor, i * factor, band);
}

/// What the undamaged raster gives.
Values expectedBand(int band)
{
    Values values;
    for (int i = 0; i < height / factor; ++i)
        for (int j = 0; j < outWidth; ++j)
            values.push_back(largestOfBlock(i, j, band));
    return values;
}

class DownsamplerDamage : public testing::Test
{
protected:
    /// Rows that one transfer may take with it: those of 16 MiB, in whole blocks of the file.
    static constexpr int rowsAtRisk = 1024;

    void expectOnlyAround(int y, int band) const
    {
        const Values actual = rasters::pixels(m_folder / "out.tif", band);
        const Values expected = expectedBand(band);
        EXPECT_EQ(rowsOf(actual, 0, y - rowsAtRisk), rowsOf(expected, 0, y - rowsAtRisk)) << "north";
        EXPECT_EQ(rowsOf(actual, y + rowsAtRisk, height), rowsOf(expected, y + rowsAtRisk, height))
            << "south";
        const int top = y / fileBlock * fileBlock;
        EXPECT_EQ(rowsOf(actual, top, top + fileBlock)[0], 0.0) << "the damage does not show";
    }

    TempFolder m_folder;
};

TEST_F(DownsamplerDamage, CostsNoMoreThanATransfer)
{
    makeRaster(m_folder / "in.tif", "PIXEL");
    // One in each strip, in the first column of the file's blocks.
    for (const int y : {1100, 2900}) {
        SCOPED_TRACE(y);
        const QString damaged = m_folder / "damaged.tif";
        std::filesystem::copy_file((m_folder / "in.tif").toStdString(), damaged.toStdString(),
                                   std::filesystem::copy_options::overwrite_existing);
        rasters::damageBlock(damaged, 0, y, 1);
        ASSERT_TRUE(downsample(damaged, m_folder / "out.tif"));
        for (int band = 1; band <= noBands; ++band)
            expectOnlyAround(y, band);
    }
}

TEST_F(DownsamplerDamage, OfOneBandCostsTheOthersNothing)
{
    makeRaster(m_folder / "in.tif", "BAND");
    const int y = 1100;
    const int damagedBand = 2;
    rasters::damageBlock(m_folder / "in.tif", 0, y, damagedBand);
    ASSERT_TRUE(downsample(m_folder / "in.tif", m_folder / "out.tif"));
    for (int band = 1; band <= noBands; ++band) {
        SCOPED_TRACE(band);
        if (band == damagedBand)
            expectOnlyAround(y, band);
        else
            EXPECT_EQ(rasters::pixels(m_folder / "out.tif", band), expectedBand(band));
    }
}

TEST(DownsamplerLostOutput, FailsTheStepInALaterStripToo)
{
    const TempFolder folder;
    makeRaster(folder / "in.tif", "PIXEL");
    const LogCapture log;
    const std::string working = (folder / "out.tif_tmp.tif").toStdString();
    int strips = 0;
    EXPECT_FALSE(downsample(folder / "in.tif", folder / "out.tif", [&](int strip) {
        strips = strip;
        std::filesystem::remove(working);
    }));
    EXPECT_EQ(strips, 1) << "strips that could not be written were told of";
    EXPECT_NE(log.text().find("Unable to write tile to '" + (folder / "out.tif").toStdString() + "'"),
              std::string::npos)
        << log.text();
    EXPECT_EQ(folder.listing(), "in.tif");
}

} // namespace
