#include "costfixtures.h"
#include "downsamplers/DownsamplerFactory.h"
#include "support/CacheSize.h"
#include "support/CountingFiles.h"
#include "support/CustomDownsampler.h"
#include "support/OpenCounter.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// What a step costs, counted: blocks fetched, bytes read.

namespace {

using downsampling::cellValue;
using downsampling::countPieces;
using downsampling::doStep;
using downsampling::makeCells;
using downsampling::mebi;
using downsampling::mostPiecesOfAStrip;
using vexel::DownsamplingStrategy;
using vexel::GdalFileType;
using vexel::ImageAlphaType;

/// The strategies that read their tiles themselves.
struct Strategy
{
    const char* name;
    DownsamplingStrategy value;
};

constexpr Strategy average{"Average", DownsamplingStrategy::Average};
constexpr Strategy gauss{"Gauss", DownsamplingStrategy::Gauss};
constexpr Strategy median{"Median", DownsamplingStrategy::Median};
constexpr Strategy percentile75{"Percentile75", DownsamplingStrategy::Percentile75};
constexpr Strategy minimum{"Min", DownsamplingStrategy::Min};
constexpr Strategy maximum{"Max", DownsamplingStrategy::Max};

std::shared_ptr<vexel::DownsamplerBase> makeJob(const Strategy& strategy, const QString& in,
                                                const QString& out, double factor,
                                                ImageAlphaType alpha = ImageAlphaType::NoAlpha)
{
    return vexel::DownsamplerFactory::createDownsampler(strategy.value, in, out, QString(), factor, alpha,
                                                        GdalFileType::SingleFile);
}

/// A no-data value that no byte has. For its sake the raster is read as floats, which take four times the
/// memory.
constexpr double noByte = 1000.0;

#ifdef VEXEL_TESTS_HAVE_COUNTING_FILES

using Options = std::vector<std::string>;

struct Layout
{
    const char* name;
    Options options;
};

const std::vector<Layout> layouts = {
    {"tiled", {"TILED=YES", "BLOCKXSIZE=64", "BLOCKYSIZE=48", "INTERLEAVE=PIXEL", "COMPRESS=LZW"}},
    {"tiled, a block a band",
     {"TILED=YES", "BLOCKXSIZE=64", "BLOCKYSIZE=48", "INTERLEAVE=BAND", "COMPRESS=LZW"}},
    {"striped", {"BLOCKYSIZE=7", "INTERLEAVE=PIXEL", "COMPRESS=LZW"}}};

/// What is read twice: the start of the file, which GDAL looks at to find out the format, and the two numbers
/// that the directory holds for each block.
std::uint64_t headerBytes(std::uint64_t blocks)
{
    return 4096 + 16 * blocks;
}

std::uint64_t sizeOf(const QString& file)
{
    return std::filesystem::file_size(file.toStdString());
}

/// @param unused blocks of the file that no block of the step reaches.
void expectBlocksReadOnce(const CountingFiles& files, const QString& in, std::uint64_t unused = 0)
{
    const BlockFetches fetches = files.fetches(in);
    EXPECT_EQ(fetches.most, 1);
    EXPECT_EQ(fetches.fetches, fetches.blocks - unused);
    EXPECT_EQ(files.opens(in), 1);
    EXPECT_LE(files.bytes(in), sizeOf(in) + headerBytes(fetches.blocks));
}

// ---- A tile of one strip

class DownsamplerFetches : public testing::TestWithParam<Strategy>
{
protected:
    void check(const QString& in, double factor, ImageAlphaType alpha)
    {
        const auto job = makeJob(GetParam(), CountingFiles::pathOf(in), m_folder / "out.tif", factor, alpha);
        m_files.reset();
        ASSERT_TRUE(doStep(*job));
        expectBlocksReadOnce(m_files, in);
        job->discard();
    }

    TempFolder m_folder;
    CountingFiles m_files;
};

TEST_P(DownsamplerFetches, EachBlockOnceWhateverTheBands)
{
    for (const Layout& layout : layouts)
        for (const int bands : {1, 2, 3, 4}) {
            const QString in = m_folder / "in.tif";
            makeCells(in, 190, 172, bands, layout.options);
            for (const double factor : {2.0, 3.0, 4.0, 2.994})
                for (const ImageAlphaType alpha : {ImageAlphaType::NoAlpha, ImageAlphaType::LastBand}) {
                    if (bands == 1 && alpha == ImageAlphaType::LastBand)
                        continue;
                    SCOPED_TRACE(testing::Message()
                                 << layout.name << ", " << bands << " bands, factor " << factor
                                 << (alpha == ImageAlphaType::LastBand ? ", alpha" : ""));
                    check(in, factor, alpha);
                }
        }
}

INSTANTIATE_TEST_SUITE_P(Strategies, DownsamplerFetches,
                         testing::Values(average, gauss, median, percentile75, minimum, maximum),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- A tile of several strips

class DownsamplerStripFetches : public testing::TestWithParam<Strategy>
{};

TEST_P(DownsamplerStripFetches, EachBlockOnceWhereStripsMeet)
{
    const TempFolder folder;
    CountingFiles files;
    const QString in = folder / "in.tif";
    makeCells(in, 1200, 4000, 4,
              {"TILED=YES", "BLOCKXSIZE=256", "BLOCKYSIZE=256", "INTERLEAVE=PIXEL", "COMPRESS=LZW"});
    for (const double factor : {3.0, 2.994}) {
        SCOPED_TRACE(factor);
        const auto job = makeJob(GetParam(), CountingFiles::pathOf(in), folder / "out.tif", factor,
                                 ImageAlphaType::LastBand);
        job->treatAsNoData(noByte);
        const auto strips = countPieces(*job);
        files.reset();
        ASSERT_TRUE(doStep(*job));
        EXPECT_GT(*strips, mostPiecesOfAStrip);
        expectBlocksReadOnce(files, in);
        job->discard();
    }
}

INSTANTIATE_TEST_SUITE_P(Strategies, DownsamplerStripFetches,
                         testing::Values(average, gauss, median, percentile75, minimum, maximum),
                         [](const auto& row) { return std::string(row.param.name); });

struct StripLayout
{
    const char* name;
    Options options;
    std::uint64_t beyondBorders = 0; ///< blocks that only the cut border of the last block would reach
};

class DownsamplerStripLayouts : public testing::TestWithParam<StripLayout>
{};

TEST_P(DownsamplerStripLayouts, AreReadOnceWithABorderToo)
{
    const TempFolder folder;
    CountingFiles files;
    const QString in = folder / "in.tif";
    makeCells(in, 1200, 4000, 4, GetParam().options);
    for (const int border : {0, 2}) {
        SCOPED_TRACE(border);
        CustomDownsampler job(CountingFiles::pathOf(in), folder / "out.tif", 2.5,
                              [](const CustomDownsampler::Block& block) { return block(0, 0); });
        job.border = border;
        const auto strips = countPieces(job);
        files.reset();
        ASSERT_TRUE(doStep(job));
        EXPECT_GT(*strips, mostPiecesOfAStrip);
        expectBlocksReadOnce(files, in, border == 0 ? 0 : GetParam().beyondBorders);
        job.discard();
    }
}

// The last block of 2.5 pixels starts at row 3997. With a border of 2 it starts at 3995 and has the 3 rows
// that there are from 3997 on.
INSTANTIATE_TEST_SUITE_P(
    Files, DownsamplerStripLayouts,
    testing::Values(StripLayout{"Tiles", {"TILED=YES", "BLOCKXSIZE=256", "BLOCKYSIZE=256", "COMPRESS=LZW"}},
                    StripLayout{"LowTiles", {"TILED=YES", "BLOCKXSIZE=512", "BLOCKYSIZE=16", "COMPRESS=LZW"}},
                    StripLayout{
                        "TilesABand",
                        {"TILED=YES", "BLOCKXSIZE=256", "BLOCKYSIZE=256", "INTERLEAVE=BAND", "COMPRESS=LZW"}},
                    StripLayout{"Strips", {"BLOCKYSIZE=7", "COMPRESS=LZW"}},
                    StripLayout{"Rows", {"BLOCKYSIZE=1", "COMPRESS=LZW"}, 2},
                    StripLayout{"OneStrip", {"BLOCKYSIZE=4000", "INTERLEAVE=PIXEL", "COMPRESS=LZW"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerStrips, OfBytesHoldFourTimesThePixels)
{
    const TempFolder folder;
    CountingFiles files;
    const QString in = folder / "in.tif";
    makeCells(in, 1200, 4000, 4, {"TILED=YES", "BLOCKXSIZE=256", "BLOCKYSIZE=256", "COMPRESS=LZW"});
    int strips[2] = {};
    for (const int asFloats : {0, 1}) {
        const auto job = makeJob(maximum, CountingFiles::pathOf(in), folder / "out.tif", 16.0);
        if (asFloats)
            job->treatAsNoData(noByte);
        const auto pieces = countPieces(*job);
        ASSERT_TRUE(doStep(*job));
        strips[asFloats] = *pieces;
        job->discard();
    }
    // Of 4.8 million pixels in 16 rows of blocks, a strip of bytes holds 8.3 million and one of floats 2.1. The bytes are
    // two transfers of 16 MiB, the floats three strips of two each.
    EXPECT_EQ(strips[0], 2 + 1);
    EXPECT_EQ(strips[1], 3 * (2 + 1));
}

// ---- Columns of strips

/// One axis of the blocks of a whole raster, as the class documents them.
struct Span
{
    int start;
    int length;
};

Span spanOf(int block, double factor, int border, int size)
{
    const int start = static_cast<int>(block * factor);
    const int length = std::min(static_cast<int>(std::floor(factor + 2.0 * border + 0.5)), size - start);
    return {std::max(0, start - border), length};
}

int largestOf(const Span& columns, const Span& rows, int band)
{
    int largest = 0;
    for (int y = rows.start; y < rows.start + rows.length; ++y)
        for (int x = columns.start; x < columns.start + columns.length; ++x)
            largest = std::max(largest, cellValue(x, y, band));
    return largest;
}

struct WideCase
{
    const char* name;
    int width;
    int height;
    double factor;
    int border;
    bool asFloats;
};

/// Rasters whose rows of blocks, of 4 MiB each, are too wide for a strip.
class DownsamplerColumns : public testing::TestWithParam<WideCase>
{
protected:
    static std::unique_ptr<CustomDownsampler> floatJob(const QString& in, const QString& out)
    {
        auto job = std::make_unique<CustomDownsampler>(
            in, out, GetParam().factor,
            [](const CustomDownsampler::Block& block) { return block.maxCoeff(); });
        job->border = GetParam().border;
        return job;
    }

    static std::shared_ptr<vexel::DownsamplerBase> job(const QString& in, const QString& out)
    {
        if (GetParam().asFloats)
            return floatJob(in, out);
        return makeJob(maximum, in, out, GetParam().factor);
    }

    static void expectMaxima(const QString& path, int band)
    {
        const WideCase& row = GetParam();
        const std::vector<double> pixels = rasters::pixels(path, band);
        const int rows = static_cast<int>(row.height / row.factor);
        const auto columns = pixels.size() / static_cast<std::size_t>(rows);
        ASSERT_EQ(columns, static_cast<std::size_t>(row.width / row.factor));
        int wrong = 0;
        for (std::size_t place = 0; place < pixels.size(); ++place) {
            const int i = static_cast<int>(place / columns);
            const int j = static_cast<int>(place % columns);
            const int expected = largestOf(spanOf(j, row.factor, row.border, row.width),
                                           spanOf(i, row.factor, row.border, row.height), band);
            if (pixels[place] != expected && ++wrong < 4)
                ADD_FAILURE() << "band " << band << ", column " << j << ", row " << i << ": " << pixels[place]
                              << " for " << expected;
        }
        EXPECT_EQ(wrong, 0);
    }
};

TEST_P(DownsamplerColumns, AreReadOnceAndLeaveNoSeam)
{
    const TempFolder folder;
    CountingFiles files;
    const QString in = folder / "in.tif";
    makeCells(in, GetParam().width, GetParam().height, 4,
              {"TILED=YES", "BLOCKXSIZE=1024", "BLOCKYSIZE=1024", "COMPRESS=LZW"});
    auto running = job(CountingFiles::pathOf(in), folder / "out.tif");
    const auto strips = countPieces(*running);
    files.reset();
    ASSERT_TRUE(doStep(*running));
    EXPECT_GT(*strips, (GetParam().height + 1023) / 1024 * mostPiecesOfAStrip) << "there are no columns";
    expectBlocksReadOnce(files, in);
    running.reset(); // completes the output
    for (int band = 1; band <= 4; ++band)
        expectMaxima(folder / "out.tif", band);
}

INSTANTIATE_TEST_SUITE_P(Rasters, DownsamplerColumns,
                         testing::Values(WideCase{"Whole", 7000, 2100, 4.0, 0, true},
                                         WideCase{"BlocksStraddleTheCut", 7000, 1100, 3.0, 0, true},
                                         WideCase{"BlocksOverlap", 7000, 1100, 2.6, 0, true},
                                         WideCase{"Border", 7000, 1100, 7.0, 3, true},
                                         WideCase{"Bytes", 20000, 1100, 3.0, 0, false}),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- GDAL's cache

class DownsamplerCache : public testing::TestWithParam<Strategy>
{};

TEST_P(DownsamplerCache, MayBeSmall)
{
    const TempFolder folder;
    CountingFiles files;
    const QString in = folder / "in.tif";
    makeCells(in, 1200, 4000, 4,
              {"TILED=YES", "BLOCKXSIZE=256", "BLOCKYSIZE=256", "INTERLEAVE=PIXEL", "COMPRESS=LZW"});
    std::uint64_t bytes[2] = {};
    const char* const names[2] = {"small.tif", "large.tif"};
    for (const int k : {0, 1}) {
        const CacheSize cache((k == 0 ? 1 : 256) * mebi);
        const auto job = makeJob(GetParam(), CountingFiles::pathOf(in), folder / names[k], 3.0);
        job->treatAsNoData(noByte);
        files.reset();
        ASSERT_TRUE(doStep(*job));
        bytes[k] = files.bytes(in);
    }
    EXPECT_EQ(bytes[0], bytes[1]);
    for (int band = 1; band <= 4; ++band)
        EXPECT_EQ(rasters::pixels(folder / names[0], band), rasters::pixels(folder / names[1], band));
}

INSTANTIATE_TEST_SUITE_P(Strategies, DownsamplerCache, testing::Values(average, gauss),
                         [](const auto& row) { return std::string(row.param.name); });

#endif // VEXEL_TESTS_HAVE_COUNTING_FILES

// ---- Formats that are decoded from the top

TEST(DownsamplerSequentialFile, IsDecodedFromTheTopOnce)
{
    const TempFolder folder;
    const QString in = folder / "in.png";
    rasters::Description description{3000, 3000, 3};
    description.driver = "PNG";
    description.options = {"ZLEVEL=1"};
    rasters::make(in, description, [](int x, int y, int) { return (x + y) & 1; });
#ifdef VEXEL_TESTS_HAVE_COUNTING_FILES
    CountingFiles files;
    const QString path = CountingFiles::pathOf(in);
#else
    const QString path = in;
#endif
    OpenCounter opens;
    const auto job = makeJob(average, path, folder / "out.tif", 3.0 * 1e-5);
    job->treatAsNoData(noByte);
    const auto strips = countPieces(*job);
    opens.reset();
#ifdef VEXEL_TESTS_HAVE_COUNTING_FILES
    files.reset();
#endif
    ASSERT_TRUE(doStep(*job));
    EXPECT_GT(*strips, mostPiecesOfAStrip);
    EXPECT_EQ(opens.opens(path), 1);
#ifdef VEXEL_TESTS_HAVE_COUNTING_FILES
    EXPECT_LE(files.bytes(in), sizeOf(in) + headerBytes(0));
    EXPECT_EQ(files.opens(in), 1);
#endif
    job->discard();
}

} // namespace
