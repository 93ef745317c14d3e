#include "downsamplers/DownsamplerFactory.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/exampledata.h"
#include "support/sampledgaussian.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

// The Gaussian downsampler beside a direct convolution in double precision.

namespace {

using vexel::GdalFileType;
using Values = std::vector<double>;

/// One band in memory.
struct Band
{
    int width;
    int height;
    Values pixels;

    double at(int x, int y) const
    {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
};

int centre(int index, double factor)
{
    return static_cast<int>(std::floor((index + 0.5) * factor));
}

/// One line convolved at the centre of each block of `factor` pixels; `step` leads from pixel to pixel.
void convolveLine(const double* line, int length, std::ptrdiff_t step, const Values& weights, double factor,
                  double* out, int results, std::ptrdiff_t outStep)
{
    const int reach = static_cast<int>(weights.size() / 2);
    Values padded;
    for (int i = -reach; i < length + reach; ++i)
        padded.push_back(line[std::clamp(i, 0, length - 1) * step]);
    for (int j = 0; j < results; ++j) {
        const double* first = padded.data() + centre(j, factor);
        double sum = 0.0;
        for (std::size_t i = 0; i < weights.size(); ++i)
            sum += weights.data()[i] * first[i];
        out[j * outStep] = sum;
    }
}

/// The band convolved, at the centre of each block of `factor` by `factor` pixels.
Values convolved(const Band& band, double sigma, double factor, int columns, int rows)
{
    const Values weights = sampledGaussian(sigma, static_cast<int>(std::round(5.0 * sigma)));
    Values narrow(static_cast<std::size_t>(columns) * static_cast<std::size_t>(band.height));
    for (int y = 0; y < band.height; ++y)
        convolveLine(band.pixels.data() + std::ptrdiff_t{y} * band.width, band.width, 1, weights, factor,
                     narrow.data() + std::ptrdiff_t{y} * columns, columns, 1);
    Values out(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    for (int x = 0; x < columns; ++x)
        convolveLine(narrow.data() + x, band.height, columns, weights, factor, out.data() + x, rows, columns);
    return out;
}

double largestDifference(const Values& a, const Values& b)
{
    EXPECT_EQ(a.size(), b.size());
    double largest = 0.0;
    for (std::size_t k = 0; k < std::min(a.size(), b.size()); ++k)
        largest = std::max(largest, std::isnan(a[k]) ? INFINITY : std::fabs(a[k] - b[k]));
    return largest;
}

void downsample(const QString& in, const QString& out, double resolution, GdalFileType type)
{
    const auto job =
        vexel::DownsamplerFactory::createDownsampler(vexel::DownsamplingStrategy::Gauss, in, out, QString(),
                                                     resolution, vexel::ImageAlphaType::NoAlpha, type);
    EXPECT_TRUE(downsampling::run(*job));
}

struct ReferenceCase
{
    const char* name;
    double requested;
    double halfFactor; ///< k of sqrt(3.37 k)
};

class DownsamplerGaussReference : public testing::TestWithParam<ReferenceCase>
{
protected:
    /// The factor at which a raster of that width is a whole number of output pixels wide.
    static double factorFor(int width) { return width / std::round(width / GetParam().requested); }

    static double sigma() { return std::sqrt(3.37 * GetParam().halfFactor); }

    /// Rounding of sums of floats between 0 and 255.
    static constexpr double toleranceOfFloats = 1e-5 * 255.0 + 1e-6 * 255.0;
    /// Half a level is what storing a byte rounds.
    static constexpr double toleranceOfBytes = 0.5 + 0.05;

    /// Downsamples bands of whole numbers from 0 to 255 as files of floats and of bytes.
    static void check(const std::vector<Band>& bands)
    {
        check(bands, GDT_Float32, toleranceOfFloats);
        check(bands, GDT_Byte, toleranceOfBytes);
    }

private:
    /// Compares all results with the convolution. Beyond the edge both go on with the pixels that stand there.
    static void check(const std::vector<Band>& bands, GDALDataType type, double tolerance)
    {
        const TempFolder folder;
        const int width = bands[0].width;
        const int height = bands[0].height;
        rasters::make(
            folder / "in.tif", downsampling::mapped(width, height, type, static_cast<int>(bands.size())),
            [&](int x, int y, int band) { return bands[static_cast<std::size_t>(band - 1)].at(x, y); });
        downsample(folder / "in.tif", folder / "out.tif", GetParam().requested, GdalFileType::SingleFile);
        const rasters::Dataset out = rasters::open(folder / "out.tif");
        ASSERT_TRUE(out);
        for (std::size_t k = 0; k < bands.size(); ++k)
            EXPECT_LT(largestDifference(convolved(bands[k], sigma(), factorFor(width), out->GetRasterXSize(),
                                                  out->GetRasterYSize()),
                                        rasters::pixels(folder / "out.tif", static_cast<int>(k + 1))),
                      tolerance)
                << GDALGetDataTypeName(type) << ", band " << k + 1;
    }
};

TEST_P(DownsamplerGaussReference, ColourSceneIsConvolved)
{
    const QString scene = exampleData("naip_washington_rgba.tif");
    std::vector<Band> bands;
    for (int band = 1; band <= 3; ++band)
        bands.push_back({640, 640, rasters::pixels(scene, band)});
    check(bands);
}

TEST_P(DownsamplerGaussReference, NoiseIsConvolved)
{
    Band grey{240, 200, {}};
    Band blackAndWhite{240, 200, {}};
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 240; ++x) {
            grey.pixels.push_back(std::floor(256.0 * rasters::noise(x, y, 1)));
            blackAndWhite.pixels.push_back(rasters::noise(x, y, 2) < 0.5 ? 0.0 : 255.0);
        }
    check({grey, blackAndWhite});
}

TEST_P(DownsamplerGaussReference, EdgesBetweenBlackAndWhiteAreConvolved)
{
    Band squares{240, 200, {}};
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 240; ++x)
            squares.pixels.push_back((x / 30 + y / 25) % 2 == 0 ? 0.0 : 255.0);
    check({squares});
}

INSTANTIATE_TEST_SUITE_P(Factors, DownsamplerGaussReference,
                         testing::Values(ReferenceCase{"One", 1, 1}, ReferenceCase{"Two", 2, 1},
                                         ReferenceCase{"Three", 3, 1}, ReferenceCase{"Four", 4, 2},
                                         ReferenceCase{"Fractional", 5.7, 3}, ReferenceCase{"Eight", 8, 4},
                                         ReferenceCase{"Sixteen", 16, 8}, ReferenceCase{"Forty", 40, 20}),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- Tile set and single file

struct SeamCase
{
    const char* name;
    int tileWidth;
    int tileHeight;
    int factor;
};

class DownsamplerGaussTiles : public testing::TestWithParam<SeamCase>
{};

// Windows take the pixels of other tiles, however far they reach, and sum them in the same order.
TEST_P(DownsamplerGaussTiles, HaveTheBitsOfASingleFile)
{
    const SeamCase& row = GetParam();
    for (const GDALDataType type : {GDT_Float32, GDT_Byte}) {
        SCOPED_TRACE(GDALGetDataTypeName(type));
        const TempFolder folder;
        const rasters::Description whole = downsampling::mapped(192, 144, type, 2);
        const auto value = [](int x, int y, int band) {
            const double noise = rasters::noise(x, y, band);
            return band == 1 ? 255.0 * noise : noise < 0.5 ? 0.0 : 255.0;
        };
        rasters::make(folder / "in.tif", whole, value);
        downsampling::makeTiles(folder / "set.tif", whole, row.tileWidth, row.tileHeight, value);
        downsample(folder / "in.tif", folder / "out.tif", row.factor, GdalFileType::SingleFile);
        downsample(folder / "set.tif", folder / "out.tif", row.factor, GdalFileType::TileSet);
        for (int band = 1; band <= 2; ++band)
            EXPECT_EQ(rasters::pixels(folder / "out.tif", band),
                      rasters::pixels(folder / "out_1_1.tif", band))
                << "band " << band;
    }
}

INSTANTIATE_TEST_SUITE_P(Tiles, DownsamplerGaussTiles,
                         testing::Values(SeamCase{"FactorTwo", 48, 48, 2}, SeamCase{"FactorThree", 48, 72, 3},
                                         SeamCase{"FactorFour", 64, 48, 4},
                                         SeamCase{"FactorEight", 48, 48, 8},
                                         SeamCase{"FactorSixteen", 48, 48, 16},
                                         SeamCase{"TilesNarrowerThanTheMargin", 16, 16, 16},
                                         SeamCase{"SmallerLastTiles", 80, 64, 4}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
