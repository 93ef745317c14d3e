#include "costfixtures.h"
#include "gaussfixtures.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// The Gaussian over a tile of several strips, and of several columns of them, beside small tiles of one strip each.

using namespace downsamplergausstest;

namespace {

using downsampling::mostPiecesOfAStrip;

struct StripCase
{
    const char* name;
    int width;
    int height;
    int block; ///< edge of the file's blocks
    int tile;  ///< edge of the small tiles, a multiple of the factor
    double factor;
};

class DownsamplerGaussStrips : public testing::TestWithParam<StripCase>
{};

TEST_P(DownsamplerGaussStrips, HaveTheBitsOfSmallTiles)
{
    const StripCase& row = GetParam();
    const TempFolder folder;
    const std::string block = std::to_string(row.block);
    downsampling::makeCells(folder / "in.tif", row.width, row.height, 4,
                            {"TILED=YES", "BLOCKXSIZE=" + block, "BLOCKYSIZE=" + block, "COMPRESS=LZW"});
    downsampling::makeTiles(folder / "set.tif", downsampling::mapped(row.width, row.height, GDT_Byte, 4),
                            row.tile, row.tile, downsampling::cellValue);
    const auto run = [&](const char* in, const char* out, const Manner& manner) {
        Job job(folder / in, folder / out, row.factor, manner);
        job.treatAsNoData(101.0); // read as floats, and holes in the blur
        const auto pieces = downsampling::countPieces(job);
        EXPECT_TRUE(downsampling::run(job));
        return *pieces;
    };
    EXPECT_GT(run("in.tif", "out.tif", kWithAlpha), mostPiecesOfAStrip);
    run("set.tif", "out.tif", kTilesWithAlpha);
    for (int band = 1; band <= 4; ++band)
        EXPECT_EQ(rasters::pixels(folder / "out.tif", band), rasters::pixels(folder / "out_1_1.tif", band))
            << "band " << band;
}

INSTANTIATE_TEST_SUITE_P(Rasters, DownsamplerGaussStrips,
                         testing::Values(StripCase{"OneAboveTheOther", 1200, 2400, 256, 600, 3},
                                         StripCase{"Columns", 6000, 1200, 1024, 1200, 4}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
