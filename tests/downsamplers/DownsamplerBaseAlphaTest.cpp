#include "downsamplers/DownsamplerBase.h"

#include "basefixtures.h"
#include "support/CustomDownsampler.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <mutex>
#include <vector>

using namespace downsamplerbasetest;

namespace {

using vexel::ImageAlphaType;
using Values = std::vector<double>;

DownsamplerSetup withAlpha()
{
    DownsamplerSetup setup;
    setup.alpha = ImageAlphaType::LastBand;
    return setup;
}

TEST(DownsamplerBaseAlpha, ExactlyZeroMasksTheOtherBands)
{
    const TempFolder folder;
    const Values alphas = {0, 255, 0.001, -0.0, -1, std::nan("")};
    rasters::make(folder / "in.tif", downsampling::mapped(6, 1, GDT_Float32, 3), [&](int x, int, int band) {
        return band == 3 ? alphas[static_cast<std::size_t>(x)] : 10.0 * band + x;
    });
    downsample(folder / "in.tif", folder / "out.tif", 1.0, first, withAlpha());
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 1), (Values{-10000, 11, 12, -10000, 14, 15}));
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), (Values{-10000, 21, 22, -10000, 24, 25}));
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 3), (Values{0, 255, 0, 0, 0, 0}));
}

TEST(DownsamplerBaseAlpha, WithoutAlphaTypeTheLastBandIsABandAsAnyOther)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(2, 1, GDT_Float32, 2),
                  [](int x, int, int band) { return band == 2 ? 100.0 * x : 5.0; });
    downsample(folder / "in.tif", folder / "out.tif", 1.0, first);
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 1), (Values{5, 5}));
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), (Values{0, 100}));
}

TEST(DownsamplerBaseAlpha, ReducedAlphaIsCutAtHalf)
{
    const TempFolder folder;
    // Blocks of two by two with means of 127.5, 127.75, 127.25, 255 and 0.
    const Values sums = {510, 511, 509, 1020, 0};
    rasters::make(
        folder / "in.tif", downsampling::mapped(10, 2, GDT_Float32, 2), [&](int x, int y, int band) {
            return band == 2 ? (x % 2 == 0 && y == 0 ? sums[static_cast<std::size_t>(x / 2)] : 0.0) : 1.0;
        });
    downsample(folder / "in.tif", folder / "out.tif", 2.0, mean, withAlpha());
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), (Values{0, 255, 0, 255, 0}));
}

TEST(DownsamplerBaseAlpha, OnlyBandIsReducedAndCutButNotMasked)
{
    const TempFolder folder;
    const Values alphas = {255, 1, 0, 0, 255, 255, 0, 0};
    rasters::make(folder / "in.tif", downsampling::mapped(8, 1, GDT_Float32),
                  [&](int x, int, int) { return alphas[static_cast<std::size_t>(x)]; });
    std::mutex mutex;
    std::vector<float> seen;
    downsample(
        folder / "in.tif", folder / "out.tif", 1.0,
        [&](const Block& block) {
            const std::lock_guard<std::mutex> lock(mutex);
            seen.push_back(block(0, 0));
            return block(0, 0) / 2.0f + (block(0, 0) > 1.0f ? 0.5f : 0.0f);
        },
        withAlpha());
    EXPECT_EQ(std::multiset<float>(seen.begin(), seen.end()),
              (std::multiset<float>{0, 0, 0, 0, 1, 255, 255, 255}))
        << "the zeros stay zeros";
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), (Values{255, 0, 0, 0, 255, 255, 0, 0}));
}

TEST(DownsamplerBaseAlpha, MasksTheMarginOfATileToo)
{
    const TempFolder folder;
    // Blocks start at 0, 3, 7, 10 of two tiles; with a border, the block at 7 begins in the first tile.
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(14, 3, GDT_Float32, 2), 7, 3,
                            [](int x, int, int band) { return band == 2 ? (x == 6 ? 0 : 255) : x; });
    {
        DownsamplerSetup setup = asTiles();
        setup.alpha = ImageAlphaType::LastBand;
        CustomDownsampler job(folder / "in.tif", folder / "out.tif", 3.0, first, setup);
        job.border = 1;
        EXPECT_TRUE(downsampling::run(job));
    }
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif", 1), (Values{0, 2, -10000, 9}));
}

TEST(DownsamplerBaseAlpha, HolesOfBytesAreZero)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 2, GDT_Byte, 4),
                  [](int x, int, int band) { return band == 4 ? (x < 2 ? 0 : 255) : 40 * band; });
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first, withAlpha());
    for (int band = 1; band <= 3; ++band)
        EXPECT_EQ(rasters::pixels(folder / "out.tif", band), (Values{0, 40.0 * band}));
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 4), (Values{0, 255}));
}

} // namespace
