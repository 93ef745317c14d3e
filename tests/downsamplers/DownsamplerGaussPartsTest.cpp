#include "downsamplers/DownsamplerGauss.h"

#include "costfixtures.h"
#include "support/CountingFiles.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

// The Gaussian over a tile that is cut into parts, beside the same tile as a whole.

namespace {

using downsampling::countPieces;
using downsampling::doStep;
using vexel::GdalFileType;
using vexel::ImageAlphaType;
using Values = std::vector<double>;

/// A Gaussian that may take so much memory.
class Job : public vexel::DownsamplerGauss
{
public:
    Job(const QString& in, const QString& out, double resolution, double bytes,
        ImageAlphaType alphaType = ImageAlphaType::NoAlpha)
        : DownsamplerGauss(in, out, QString(), resolution, alphaType, GdalFileType::SingleFile)
    {
        workingSetBytes = bytes;
    }
};

constexpr double wholeTile = 1e12;

/// The bound that the class states for values in the range of bytes: parts reach so far beyond what they sample
/// that the response out there sums to less than a ten-thousandth.
constexpr double documentedBound = 0.02;

/// Random bytes, held as floats so that the results are not rounded.
double byteAt(int x, int y, int band)
{
    return std::floor(256.0 * rasters::noise(x, y, band));
}

/// Downsamples into a file and tells the number of parts, given the number of bands.
int downsample(const QString& in, const QString& out, double resolution, double bytes, int bands,
               ImageAlphaType alpha = ImageAlphaType::NoAlpha)
{
    Job job(in, out, resolution, bytes, alpha);
    const auto pieces = countPieces(job);
    EXPECT_TRUE(doStep(job));
    return *pieces / bands;
}

/// The largest difference of two values. No-data has to stand in the same places.
double largestDifference(const Values& whole, const Values& parts)
{
    EXPECT_EQ(whole.size(), parts.size());
    double largest = 0.0;
    for (std::size_t k = 0; k < std::min(whole.size(), parts.size()); ++k) {
        EXPECT_EQ(whole[k] == -10000.0, parts[k] == -10000.0) << "result " << k;
        largest = std::max(largest, std::abs(whole[k] - parts[k]));
    }
    return largest;
}

struct PartsCase
{
    const char* name;
    double factor;
    double bytes;
    int parts; ///< at least
};

class DownsamplerGaussParts : public testing::TestWithParam<PartsCase>
{};

/// Two bands: random bytes, held as floats so that the results are not rounded, and stripes of the lowest and
/// the highest byte, whose edges lie at all distances from where parts are cut.
double pixelAt(int x, int y, int band)
{
    return band == 1 ? byteAt(x, y, band) : (2 * x + 3 * y) / 277 % 2 * 255.0;
}

TEST_P(DownsamplerGaussParts, DifferFromTheWholeByLessThanTheDocumentedBound)
{
    const PartsCase& row = GetParam();
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(701, 803, GDT_Float32, 2), pixelAt);
    EXPECT_EQ(downsample(folder / "in.tif", folder / "whole.tif", row.factor, wholeTile, 2), 1);
    EXPECT_GE(downsample(folder / "in.tif", folder / "parts.tif", row.factor, row.bytes, 2), row.parts);
    for (int band = 1; band <= 2; ++band)
        EXPECT_LT(largestDifference(rasters::pixels(folder / "whole.tif", band),
                                    rasters::pixels(folder / "parts.tif", band)),
                  documentedBound)
            << "band " << band;
    const rasters::Dataset whole = rasters::open(folder / "whole.tif");
    const rasters::Dataset parts = rasters::open(folder / "parts.tif");
    EXPECT_EQ(whole->GetRasterXSize(), parts->GetRasterXSize());
    EXPECT_EQ(whole->GetRasterYSize(), parts->GetRasterYSize());
}

// A pixel takes about 8 bytes for two bands, and a little for the results: the tile takes 4.5 to 10 million.
INSTANTIATE_TEST_SUITE_P(
    Factors, DownsamplerGaussParts,
    testing::Values(PartsCase{"OneRows", 1, 2e6, 4}, PartsCase{"OneColumns", 1, 6e5, 12},
                    PartsCase{"TwoRows", 2, 1e6, 4}, PartsCase{"TwoColumns", 2, 4e5, 12},
                    PartsCase{"FractionRows", 2.994, 1e6, 4}, PartsCase{"FractionColumns", 2.994, 4e5, 12},
                    PartsCase{"FourRows", 4, 1e6, 4}, PartsCase{"FourColumns", 4, 5e5, 8},
                    PartsCase{"SevenAndAHalfRows", 7.5, 1.5e6, 3},
                    PartsCase{"SevenAndAHalfColumns", 7.5, 6e5, 8}, PartsCase{"SixteenRows", 16, 2e6, 2},
                    PartsCase{"SixteenColumns", 16, 8e5, 6}, PartsCase{"HalfRows", 0.5, 4e6, 4}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerGaussPartsOfColour, HaveTheWholesNoDataAndAlpha)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(700, 800, GDT_Float32, 3),
                  [](int x, int y, int band) {
                      const bool isOpaque = rasters::noise(x / 40, y / 40, 9) > 0.3;
                      return band < 3 ? byteAt(x, y, band) : isOpaque ? 255.0 : 0.0;
                  });
    EXPECT_EQ(
        downsample(folder / "in.tif", folder / "whole.tif", 3.0, wholeTile, 3, ImageAlphaType::LastBand), 1);
    EXPECT_GE(downsample(folder / "in.tif", folder / "parts.tif", 3.0, 8e5, 3, ImageAlphaType::LastBand), 6);
    for (int band = 1; band <= 2; ++band) {
        const Values whole = rasters::pixels(folder / "whole.tif", band);
        EXPECT_GT(std::count(whole.begin(), whole.end(), -10000.0), 1000);
        EXPECT_LT(largestDifference(whole, rasters::pixels(folder / "parts.tif", band)), documentedBound);
    }
    EXPECT_EQ(rasters::pixels(folder / "whole.tif", 3), rasters::pixels(folder / "parts.tif", 3));
}

TEST(DownsamplerGaussPartsWithHoles, HaveThemWhereTheWholeHasThem)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(700, 800, GDT_Float32), [](int x, int y, int band) {
        return rasters::noise(x / 9, y / 9, 9) > 0.9 ? (x % 2 ? -10000.0 : 77.0) : byteAt(x, y, band);
    });
    const auto run = [&](const char* name, double bytes) {
        Job job(folder / "in.tif", folder / name, 3.0, bytes);
        job.treatAsNoData(77.0);
        EXPECT_TRUE(doStep(job));
    };
    run("whole.tif", wholeTile);
    run("parts.tif", 4e5);
    const Values whole = rasters::pixels(folder / "whole.tif");
    EXPECT_GT(std::count(whole.begin(), whole.end(), -10000.0), 1000);
    // Holes are 40 times as far from the values as bytes are from each other.
    EXPECT_LT(largestDifference(whole, rasters::pixels(folder / "parts.tif")), documentedBound * 40);
}

TEST(DownsamplerGaussPartsOfTiles, AreThoseOfTheTile)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(900, 800, GDT_Float32), 450, 400, byteAt);
    const auto run = [&](const char* name, double bytes) {
        class TileJob : public vexel::DownsamplerGauss
        {
        public:
            TileJob(const QString& in, const QString& out, double most)
                : DownsamplerGauss(in, out, QString(), 3.0, ImageAlphaType::NoAlpha, GdalFileType::TileSet)
            {
                workingSetBytes = most;
            }
        };
        TileJob job(folder / "in.tif", folder / name, bytes);
        EXPECT_TRUE(downsampling::run(job));
    };
    run("whole.tif", wholeTile);
    run("parts.tif", 2e5);
    EXPECT_LT(largestDifference(rasters::pixels(folder / "whole_1_1.tif"),
                                rasters::pixels(folder / "parts_1_1.tif")),
              documentedBound);
}

#ifdef VEXEL_TESTS_HAVE_COUNTING_FILES

class DownsamplerGaussPartFetches : public testing::Test
{
protected:
    /// Downsamples four bands of bytes by 4 in parts.
    BlockFetches fetchesOf(const std::vector<std::string>& options, double bytes)
    {
        const QString in = m_folder / "in.tif";
        downsampling::makeCells(in, 1000, 1500, 4, options);
        Job job(CountingFiles::pathOf(in), m_folder / "out.tif", 4.0, bytes);
        const auto pieces = countPieces(job);
        m_files.reset();
        EXPECT_TRUE(doStep(job));
        EXPECT_GT(*pieces / 4, 4) << "parts";
        EXPECT_EQ(m_files.opens(in), 1);
        job.discard();
        return m_files.fetches(in);
    }

    const std::vector<std::string> m_tiles{"TILED=YES", "BLOCKXSIZE=64", "BLOCKYSIZE=64", "COMPRESS=LZW"};
    const std::vector<std::string> m_strips{"BLOCKYSIZE=30", "COMPRESS=LZW"};

private:
    TempFolder m_folder;
    CountingFiles m_files;
};

TEST_F(DownsamplerGaussPartFetches, OfRowsAreOneABlock)
{
    for (const auto& options : {m_tiles, m_strips}) {
        const BlockFetches fetches = fetchesOf(options, 2e6);
        EXPECT_EQ(fetches.fewest, 1);
        EXPECT_EQ(fetches.most, 1);
    }
}

// The tile is two columns of 500 pixels, which reach 20 beyond: neighbours share one of 16 columns of blocks, or
// two.
TEST_F(DownsamplerGaussPartFetches, OfColumnsAreTwoWhereTheyOverlap)
{
    const BlockFetches tiles = fetchesOf(m_tiles, 7e5);
    EXPECT_EQ(tiles.fewest, 1);
    EXPECT_EQ(tiles.most, 2);
    EXPECT_LE(tiles.perBlock(), 1.125);
    const BlockFetches strips = fetchesOf(m_strips, 7e5);
    EXPECT_EQ(strips.fewest, 2);
    EXPECT_EQ(strips.most, 2);
}

#endif

} // namespace
