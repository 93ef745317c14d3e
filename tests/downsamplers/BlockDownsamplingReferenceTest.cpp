#include "downsamplers/DownsamplerFactory.h"

#include "support/TempFolder.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

// The whole road from file to file against plain loops over rasters in memory. Both are compiled without
// fused multiply-add, so the results have to be equal to the bit.

namespace {

using Floats = std::vector<float>;

struct Scene
{
    std::string name;
    GDALDataType type = GDT_Float32;
    int width = 1;
    int height = 1;
    int bands = 1;
    int tileWidth = 0; ///< 0: a single file
    int tileHeight = 0;
    double factor = 1.0;
    std::int64_t res = 100000;
    bool alpha = false;
    unsigned seed = 0;
    bool holes = true;
    bool nans = false;

    double resolution() const { return factor * static_cast<double>(res) / 100000.0; }
    bool isTiled() const { return tileWidth > 0; }
    bool isFloat() const { return type == GDT_Float32 || type == GDT_Float64; }
};

void PrintTo(const Scene& scene, std::ostream* stream)
{
    *stream << scene.name << ": " << GDALGetDataTypeName(scene.type) << ", " << scene.width << " x "
            << scene.height << " x " << scene.bands << " in tiles of " << scene.tileWidth << " x "
            << scene.tileHeight << ", factor " << scene.factor << ", resolution " << scene.res
            << (scene.alpha ? ", alpha" : "") << (scene.holes ? ", holes" : "") << (scene.nans ? ", NaN" : "")
            << ", seed " << scene.seed;
}

/// Patches of about four pixels that are transparent or missing, and single pixels.
bool isHole(const Scene& scene, int x, int y)
{
    return scene.holes && (rasters::noise(x / 4, y / 4, 91, scene.seed) < 0.25 ||
                           rasters::noise(x, y, 92, scene.seed) < 0.1);
}

double value(const Scene& scene, int x, int y, int band)
{
    const double n = rasters::noise(x, y, band, scene.seed);
    if (scene.alpha && band == scene.bands)
        return isHole(scene, x, y) ? 0.0 : n < 0.2 ? 1.0 + std::floor(n * 1000.0) : 255.0;
    if (scene.nans && n < 0.01)
        return std::numeric_limits<double>::quiet_NaN();
    if (isHole(scene, x + 17 * band, y))
        return n < 0.05 ? -20000.0 : n < 0.1 ? -9999.9990234375 : -10000.0;
    switch (scene.type) {
    case GDT_Byte:
        return std::floor(n * 256.0);
    case GDT_UInt16:
        return std::floor(n * 65536.0);
    case GDT_Int16:
        return std::floor(n * 30000.0) - 9000.0;
    case GDT_UInt32:
    case GDT_Int32:
        return std::floor(n * 2.0e9);
    default:
        return static_cast<float>(n * 3000.0 - 1000.0);
    }
}

/// A band of the input as 32-bit floats, read by GDAL from one file.
Floats loaded(const QString& path, int band)
{
    const std::vector<double> values = rasters::pixels(path, band);
    return Floats(values.begin(), values.end());
}

std::int64_t rounded(double v)
{
    return static_cast<std::int64_t>(v < 0.0 ? v - 0.5 : v + 0.5);
}

int truncated(double v)
{
    return static_cast<int>(v);
}

// ---- The reductions, each over the values of a block in row-major order

float meanOf(const Floats& block)
{
    double mean = 0.0;
    std::uint64_t count = 0;
    for (const float pixel : block) {
        const double v = pixel;
        if (v < -9999.999)
            continue;
        ++count;
        mean = mean + (v - mean) / static_cast<double>(count);
    }
    return count == 0 ? -10000.0f : static_cast<float>(mean);
}

float percentileOf(const Floats& block, double fraction)
{
    Floats valid;
    for (const float v : block)
        if (!(v < -9999.999f))
            valid.push_back(v);
    if (valid.size() < 2)
        return -10000.0f;
    std::sort(valid.begin(), valid.end(),
              [](float a, float b) { return std::isnan(b) ? !std::isnan(a) : a < b; });
    const std::int64_t index = rounded(static_cast<double>(valid.size()) * fraction);
    return valid[std::min(static_cast<std::size_t>(index), valid.size() - 1)];
}

float minOf(const Floats& block)
{
    float smallest = block.front();
    for (const float v : block)
        if (!(static_cast<double>(v) < -9999.999) && smallest > v)
            smallest = v;
    return smallest;
}

float maxOf(const Floats& block)
{
    float largest = block.front();
    for (const float v : block)
        if (!(static_cast<double>(v) < -9999.999) && v > largest)
            largest = v;
    return largest;
}

float reduced(int strategy, const Floats& block)
{
    switch (strategy) {
    case 2:
        return meanOf(block);
    case 3:
        return percentileOf(block, 0.5);
    case 4:
        return percentileOf(block, 0.75);
    case 5:
        return minOf(block);
    default:
        return maxOf(block);
    }
}

// ---- The framework, tile after tile

struct Output
{
    int width;
    int height;
    std::vector<Floats> bands;
};

/// One axis of a tile: where it lies, what is read for it, and which output pixels it computes.
struct Span
{
    Span(int tileStart, int tileEnd, int rasterEnd, double f)
        : readStart(std::max(tileStart - truncated(f * 0.5 + 0.5), 0)),
          readEnd(std::min(tileEnd + truncated(f * 0.5 + 0.5), rasterEnd)), offset(tileStart - readStart),
          outStart(truncated(tileStart / f)), outEnd(truncated(tileEnd / f))
    {}

    /// Start of the block of output pixel `k` of the tile, in the raster.
    int blockStart(int k, double f) const
    {
        const double product = k * f;
        return readStart + truncated(product + offset);
    }

    int readStart;
    int readEnd;
    int offset;
    int outStart;
    int outEnd;
};

void computeTile(const Scene& scene, int strategy, const Floats& data, double f, const Span& xs,
                 const Span& ys, int outWidth, int outHeight, bool isAlphaBand, Floats& result)
{
    const int size = truncated(f + 0.5);
    Floats block;
    for (int i = 0; i < ys.outEnd - ys.outStart; ++i)
        for (int j = 0; j < xs.outEnd - xs.outStart; ++j) {
            const int y0 = ys.blockStart(i, f);
            const int x0 = xs.blockStart(j, f);
            if (y0 >= ys.readEnd || x0 >= xs.readEnd || ys.outStart + i >= outHeight ||
                xs.outStart + j >= outWidth)
                continue;
            block.clear();
            for (int y = y0; y < std::min(y0 + size, ys.readEnd); ++y)
                for (int x = x0; x < std::min(x0 + size, xs.readEnd); ++x)
                    block.push_back(data[static_cast<std::size_t>(y) * static_cast<std::size_t>(scene.width) +
                                         static_cast<std::size_t>(x)]);
            float v = reduced(strategy, block);
            if (isAlphaBand)
                v = v > 127.5f ? 255.0f : 0.0f;
            result[static_cast<std::size_t>(ys.outStart + i) * static_cast<std::size_t>(outWidth) +
                   static_cast<std::size_t>(xs.outStart + j)] = v;
        }
}

Output reference(const Scene& scene, int strategy, const std::vector<Floats>& input)
{
    const double pixel =
        (static_cast<double>(scene.res) * 1e-5 + static_cast<double>(scene.res) * 1e-5) * 0.5;
    const double f = scene.resolution() / pixel;
    const std::int64_t outRes = rounded(static_cast<double>(scene.res) * f);
    Output output;
    output.width = static_cast<int>(scene.width * scene.res / outRes);
    output.height = static_cast<int>(scene.height * scene.res / outRes);
    const int tileWidth = scene.isTiled() ? scene.tileWidth : scene.width;
    const int tileHeight = scene.isTiled() ? scene.tileHeight : scene.height;

    for (int band = 1; band <= scene.bands; ++band) {
        const bool isAlphaBand = scene.alpha && band == scene.bands;
        Floats data = input[static_cast<std::size_t>(band - 1)];
        if (scene.alpha && !isAlphaBand)
            for (std::size_t k = 0; k < data.size(); ++k)
                if (input.back()[k] == 0.0f)
                    data[k] = -10000.0f;
        Floats result(static_cast<std::size_t>(output.width) * static_cast<std::size_t>(output.height),
                      -10000.0f);
        for (int x = 0; x < scene.width; x += tileWidth)
            for (int y = 0; y < scene.height; y += tileHeight)
                computeTile(scene, strategy, data, f,
                            Span(x, std::min(x + tileWidth, scene.width), scene.width, f),
                            Span(y, std::min(y + tileHeight, scene.height), scene.height, f), output.width,
                            output.height, isAlphaBand, result);
        output.bands.push_back(std::move(result));
    }
    return output;
}

// ---- Comparison

void makeScene(const Scene& scene, const TempFolder& folder)
{
    const rasters::Description description =
        downsampling::mapped(scene.width, scene.height, scene.type, scene.bands, scene.res);
    const auto pixel = [&](int x, int y, int band) { return value(scene, x, y, band); };
    rasters::make(folder / "in.tif", description, pixel);
    if (scene.isTiled())
        downsampling::makeTiles(folder / "in.tif", description, scene.tileWidth, scene.tileHeight, pixel);
}

void expectEqualToReference(const Scene& scene)
{
    const TempFolder folder;
    makeScene(scene, folder);
    std::vector<Floats> input;
    for (int band = 1; band <= scene.bands; ++band)
        input.push_back(loaded(folder / "in.tif", band));

    for (const int strategy : {2, 3, 4, 5, 6}) {
        SCOPED_TRACE("strategy " + std::to_string(strategy) + ", " + testing::PrintToString(scene));
        EXPECT_TRUE(downsampling::run(*vexel::DownsamplerFactory::createDownsampler(
            static_cast<vexel::DownsamplingStrategy>(strategy), folder / "in.tif", folder / "out.tif",
            QString(), scene.resolution(),
            scene.alpha ? vexel::ImageAlphaType::LastBand : vexel::ImageAlphaType::NoAlpha,
            scene.isTiled() ? vexel::GdalFileType::TileSet : vexel::GdalFileType::SingleFile)));
        const QString written =
            scene.isTiled() ? downsampling::tilePath(folder / "out.tif", 1, 1) : folder / "out.tif";
        const Output expected = reference(scene, strategy, input);
        {
            const rasters::Dataset output = rasters::open(written);
            ASSERT_TRUE(output);
            ASSERT_EQ(output->GetRasterXSize(), expected.width);
            ASSERT_EQ(output->GetRasterYSize(), expected.height);
            ASSERT_EQ(output->GetRasterCount(), scene.bands);
        }
        for (int band = 1; band <= scene.bands; ++band)
            EXPECT_EQ(
                downsampling::difference(
                    downsampling::stored(expected.bands[static_cast<std::size_t>(band - 1)], scene.type),
                    rasters::pixels(written, band), expected.width),
                "")
                << "band " << band;
    }
}

Scene scene(const char* name, GDALDataType type, double factor, int bands, bool alpha, int tileWidth,
            int tileHeight)
{
    Scene made;
    made.name = name;
    made.type = type;
    made.width = 83;
    made.height = 61;
    made.bands = bands;
    made.factor = factor;
    made.alpha = alpha;
    made.tileWidth = tileWidth;
    made.tileHeight = tileHeight;
    made.seed = 7;
    made.nans = made.isFloat();
    return made;
}

class BlockDownsampling : public testing::TestWithParam<Scene>
{};

TEST_P(BlockDownsampling, EqualsPlainLoops)
{
    expectEqualToReference(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Scenes, BlockDownsampling,
                         testing::Values(scene("FloatFactorOne", GDT_Float32, 1.0, 1, false, 0, 0),
                                         scene("FloatFactorTwo", GDT_Float32, 2.0, 1, false, 0, 0),
                                         scene("FloatSingleFile", GDT_Float32, 2.994, 2, false, 0, 0),
                                         scene("FloatTiles", GDT_Float32, 2.994, 2, false, 13, 11),
                                         scene("FloatTilesWithAlpha", GDT_Float32, 3.3, 3, true, 20, 17),
                                         scene("FloatTilesNarrowerThanABlock", GDT_Float32, 5.2, 1, false, 3,
                                               4),
                                         scene("FloatFactorBelowOne", GDT_Float32, 0.7, 1, false, 20, 17),
                                         scene("FloatLargeFactor", GDT_Float32, 17.7, 1, false, 40, 61),
                                         scene("DoubleTiles", GDT_Float64, 1.37, 1, false, 19, 23),
                                         scene("ByteColourWithAlpha", GDT_Byte, 3.3, 4, true, 0, 0),
                                         scene("ByteColourWithAlphaTiles", GDT_Byte, 1.37, 4, true, 31, 30),
                                         scene("ByteGrayWithAlphaTiles", GDT_Byte, 2.994, 2, true, 11, 9),
                                         scene("ByteAlphaAlone", GDT_Byte, 2.0, 1, true, 15, 15),
                                         scene("ByteColour", GDT_Byte, 4.0, 3, false, 0, 0),
                                         scene("Int16Tiles", GDT_Int16, 3.0, 1, false, 7, 7),
                                         scene("Int16FiveBands", GDT_Int16, 2.5, 5, false, 25, 61),
                                         scene("UInt16Tiles", GDT_UInt16, 2.994, 2, true, 30, 30),
                                         scene("Int32Tiles", GDT_Int32, 3.3, 1, false, 30, 30),
                                         scene("UInt32SingleFile", GDT_UInt32, 1.37, 1, false, 0, 0)),
                         [](const auto& row) { return row.param.name; });

/// Any scene, drawn by a fixed generator.
Scene randomScene(std::mt19937& generator)
{
    const auto below = [&](unsigned count) { return static_cast<int>(generator() % count); };
    const std::vector<GDALDataType> types = {GDT_Byte,   GDT_Byte,  GDT_Int16,   GDT_Float32,
                                             GDT_UInt16, GDT_Int32, GDT_Float32, GDT_Float64};
    const std::vector<double> factors = {1.0, 1.37, 2.0, 2.994, 3.0, 3.3, 4.75, 0.5, 0.81};
    const std::vector<std::int64_t> resolutions = {100000, 25000, 7, 123457, 1, 50};
    Scene scene;
    scene.name = "Random";
    scene.type = types[static_cast<std::size_t>(below(8))];
    scene.width = 5 + below(60);
    scene.height = 5 + below(60);
    scene.bands = 1 + below(4);
    if (below(3) != 0) {
        scene.tileWidth = 1 + below(static_cast<unsigned>(scene.width));
        scene.tileHeight = 1 + below(static_cast<unsigned>(scene.height));
        // A tile set of very many files is slow to make and shows no more.
        scene.tileWidth = std::max(scene.tileWidth, scene.width / 6);
        scene.tileHeight = std::max(scene.tileHeight, scene.height / 6);
    }
    // The rest of the factor gives it a long fraction.
    scene.factor = factors[static_cast<std::size_t>(below(9))] + (below(2) ? below(1000) * 1e-7 : 0.0);
    scene.res = resolutions[static_cast<std::size_t>(below(6))];
    scene.alpha = below(2) == 1;
    scene.holes = below(4) != 0;
    scene.nans = scene.isFloat() && below(3) == 0;
    scene.seed = static_cast<unsigned>(generator());
    return scene;
}

class BlockDownsamplingRandom : public testing::TestWithParam<unsigned>
{};

TEST_P(BlockDownsamplingRandom, EqualsPlainLoops)
{
    std::mt19937 generator(GetParam());
    for (int k = 0; k < 8; ++k)
        expectEqualToReference(randomScene(generator));
}

INSTANTIATE_TEST_SUITE_P(Seeds, BlockDownsamplingRandom, testing::Range(1u, 13u));

// ---- GDAL's own average as the judge

struct PeerCase
{
    const char* name;
    GDALDataType type;
    int factor;
    double relative; ///< GDAL sums in floats of its own order; integers come out the same
};

class BlockDownsamplingPeer : public testing::TestWithParam<PeerCase>
{};

TEST_P(BlockDownsamplingPeer, AverageAgreesWithGdals)
{
    const PeerCase& row = GetParam();
    const TempFolder folder;
    const int width = 15 * row.factor;
    const int height = 11 * row.factor;
    Scene full;
    full.type = row.type;
    full.holes = false;
    full.seed = 3;
    rasters::make(folder / "in.tif", downsampling::mapped(width, height, row.type),
                  [&](int x, int y, int band) { return std::abs(value(full, x, y, band)); });
    EXPECT_TRUE(downsampling::run(*vexel::DownsamplerFactory::createDownsampler(
        vexel::DownsamplingStrategy::Average, folder / "in.tif", folder / "out.tif", QString(), row.factor,
        vexel::ImageAlphaType::NoAlpha, vexel::GdalFileType::SingleFile)));

    GDALRasterIOExtraArg how;
    INIT_RASTERIO_EXTRA_ARG(how);
    how.eResampleAlg = GRIORA_Average;
    std::vector<double> peer(15 * 11);
    const rasters::Dataset input = rasters::open(folder / "in.tif");
    ASSERT_EQ(input->GetRasterBand(1)->RasterIO(GF_Read, 0, 0, width, height, peer.data(), 15, 11,
                                                GDT_Float64, 0, 0, &how),
              CE_None);
    const std::vector<double> ours = rasters::pixels(folder / "out.tif");
    ASSERT_EQ(ours.size(), peer.size());
    for (std::size_t k = 0; k < peer.size(); ++k)
        EXPECT_NEAR(ours[k], peer[k], row.relative * peer[k]) << k;
}

INSTANTIATE_TEST_SUITE_P(Rows, BlockDownsamplingPeer,
                         testing::Values(PeerCase{"ByteByTwo", GDT_Byte, 2, 0.0},
                                         PeerCase{"ByteByThree", GDT_Byte, 3, 0.0},
                                         PeerCase{"ByteByEight", GDT_Byte, 8, 0.0},
                                         PeerCase{"UInt16ByFive", GDT_UInt16, 5, 0.0},
                                         PeerCase{"FloatByTwo", GDT_Float32, 2, 1e-6},
                                         PeerCase{"FloatBySeven", GDT_Float32, 7, 1e-6}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
