#include "downsamplers/DownsamplerFactory.h"

#include "costfixtures.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/damage.h"
#include "support/downsampling.h"
#include "support/files.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

// What becomes of an earlier output, and of a part of a new one, when a job fails.

namespace {

using vexel::DownsamplingStrategy;

void downsample(DownsamplingStrategy strategy, const TempFolder& folder)
{
    const LogCapture log;
    const QuietProcess quiet;
    const auto job = vexel::DownsamplerFactory::createDownsampler(
        strategy, folder / "in.tif", folder / "out.tif", QString(), 2.0, vexel::ImageAlphaType::NoAlpha,
        vexel::GdalFileType::SingleFile);
    downsampling::run(*job);
}

class EarlierOutput : public testing::TestWithParam<int>
{};

TEST_P(EarlierOutput, IsKeptWhereTheInputIsMissing)
{
    const TempFolder folder;
    const auto strategy = static_cast<DownsamplingStrategy>(GetParam());
    const std::string names[] = {"out.tfw", "out.tif", "out.tif.aux.xml"};
    for (const std::string& name : names)
        makeFile(folder / name.c_str(), "earlier " + name);
    try {
        downsample(strategy, folder);
    } catch (const std::runtime_error&) {
        // Those that open the input when they are made.
    }
    EXPECT_EQ(folder.listing(), "out.tfw out.tif out.tif.aux.xml");
    for (const std::string& name : names)
        EXPECT_EQ(fileText(folder / name.c_str()), "earlier " + name);
}

INSTANTIATE_TEST_SUITE_P(Strategies, EarlierOutput, testing::Range(0, 8),
                         [](const auto& row) { return std::to_string(row.param); });

TEST(WarpThatFails, LeavesNoPartOfItsOutput)
{
    const TempFolder folder;
    downsampling::makeCells(folder / "in.tif", 1024, 1024, 1,
                            {"TILED=YES", "BLOCKXSIZE=256", "BLOCKYSIZE=256", "COMPRESS=DEFLATE"});
    downsample(DownsamplingStrategy::Warp, folder);
    ASSERT_EQ(folder.listing(), "in.tif out.tif");
    rasters::damageBlock(folder / "in.tif", 1000, 1000, 1);
    downsample(DownsamplingStrategy::Warp, folder);
    EXPECT_EQ(folder.listing(), "in.tif");
}

} // namespace
