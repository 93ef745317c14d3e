#include "downsamplers/DownsamplerFactory.h"

#include "costfixtures.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/boxes.h"
#include "support/damage.h"
#include "support/downsampling.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
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

using Job = std::shared_ptr<vexel::DownsamplerBase>;

Job makeJob(const QString& in, const QString& out)
{
    Job job = vexel::DownsamplerFactory::createDownsampler(DownsamplingStrategy::Max, in, out, QString(),
                                                           factor, ImageAlphaType::NoAlpha,
                                                           vexel::GdalFileType::SingleFile);
    job->treatAsNoData(noByte);
    return job;
}

/// One step over the whole raster.
bool downsample(vexel::DownsamplerBase& job)
{
    const QuietGdal quiet;
    return downsampling::doStep(job);
}

double largestOfBlock(int i, int j, int band)
{
    // The cells of a value are as large as a block, and lie as the blocks do.
    return downsampling::cellValue(j * factor, i * factor, band);
}

/// What the raster gives without the block of the file that starts in column 0 and in row `lost`; none is lost below 0.
Values expectedBand(int band, int lost = -1)
{
    Values values;
    for (int i = 0; i < height / factor; ++i)
        for (int j = 0; j < outWidth; ++j) {
            const bool isLost =
                lost >= 0 && i * factor / fileBlock == lost / fileBlock && j * factor < fileBlock;
            values.push_back(isLost ? 0.0 : largestOfBlock(i, j, band));
        }
    return values;
}

class DownsamplerDamage : public testing::Test
{
protected:
    TempFolder m_folder;
};

TEST_F(DownsamplerDamage, CostsNoMoreThanTheBlock)
{
    makeRaster(m_folder / "in.tif", "PIXEL");
    // One in each strip, in the first column of the file's blocks.
    for (const int y : {1024, 2816}) {
        SCOPED_TRACE(y);
        const QString damaged = m_folder / "damaged.tif";
        std::filesystem::copy_file((m_folder / "in.tif").toStdString(), damaged.toStdString(),
                                   std::filesystem::copy_options::overwrite_existing);
        rasters::damageBlock(damaged, 0, y, 1);
        Job job = makeJob(damaged, m_folder / "out.tif");
        ASSERT_TRUE(downsample(*job));
        EXPECT_EQ(job->unreadPixels(), std::uint64_t{noBands} * fileBlock * fileBlock);
        const auto first = job->firstUnread();
        ASSERT_TRUE(first);
        EXPECT_EQ(first->file, damaged);
        EXPECT_EQ(first->band, 1u);
        EXPECT_EQ(boxText(first->box), boxText(box(0, y, fileBlock, y + fileBlock)));
        job.reset(); // completes the output
        for (int band = 1; band <= noBands; ++band)
            EXPECT_EQ(rasters::pixels(m_folder / "out.tif", band), expectedBand(band, y)) << band;
    }
}

TEST_F(DownsamplerDamage, OfOneBandCostsTheOthersNothing)
{
    makeRaster(m_folder / "in.tif", "BAND");
    const int y = 1024;
    const int damagedBand = 2;
    rasters::damageBlock(m_folder / "in.tif", 0, y, damagedBand);
    Job job = makeJob(m_folder / "in.tif", m_folder / "out.tif");
    ASSERT_TRUE(downsample(*job));
    EXPECT_EQ(job->unreadPixels(), std::uint64_t{fileBlock} * fileBlock);
    ASSERT_TRUE(job->firstUnread());
    EXPECT_EQ(job->firstUnread()->band, std::size_t{damagedBand});
    job.reset();
    for (int band = 1; band <= noBands; ++band)
        EXPECT_EQ(rasters::pixels(m_folder / "out.tif", band),
                  expectedBand(band, band == damagedBand ? y : -1))
            << band;
}

TEST(DownsamplerLostOutput, FailsTheStepInALaterStripToo)
{
    const TempFolder folder;
    makeRaster(folder / "in.tif", "PIXEL");
    const LogCapture log;
    const QuietGdal quiet;
    const std::string working = (folder / "out.tif_tmp.tif").toStdString();
    bool wasThere = false;
    double told = 0.0;
    Job job = makeJob(folder / "in.tif", folder / "out.tif");
    job->setProgress([&](double share) {
        wasThere = std::filesystem::remove(working) || wasThere;
        told = share;
        return true;
    });
    EXPECT_FALSE(downsample(*job));
    job.reset();
    EXPECT_TRUE(wasThere) << "there was no earlier strip";
    EXPECT_LT(told, 1.0) << "strips that could not be written were told of";
    EXPECT_NE(log.text().find("Unable to write tile to '" + (folder / "out.tif").toStdString() + "'"),
              std::string::npos)
        << log.text();
    EXPECT_EQ(folder.listing(), "in.tif");
}

} // namespace
