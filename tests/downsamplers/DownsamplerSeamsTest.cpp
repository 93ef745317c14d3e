#include "downsamplers/DownsamplerFactory.h"

#include "costfixtures.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

// Rasters that take several strips and several columns of strips, against plain loops over the whole raster, to the
// bit. They have to be large, so this file is compiled with optimisation.

namespace {

using vexel::DownsamplingStrategy;
using vexel::ImageAlphaType;

constexpr float noData = -10000.0f;

/// Rows of the raster's own blocks. No strip is lower, so that one row of them is too wide for a strip.
constexpr int fileBlock = 1024;

struct SeamCase
{
    const char* name;
    GDALDataType type;
    int width;
    int height;
    double factor;
    bool alpha; ///< of the second band
};

void PrintTo(const SeamCase& c, std::ostream* stream)
{
    *stream << c.name;
}

constexpr int noBands = 2;

/// The bands one after the other, row by row.
using Pixels = std::vector<float>;

std::size_t bandSize(const SeamCase& c)
{
    return static_cast<std::size_t>(c.width) * static_cast<std::size_t>(c.height);
}

/// Well mixed bits for a sample.
std::uint32_t mixed(std::size_t sample)
{
    auto bits = static_cast<std::uint32_t>(sample) * 2654435761u;
    bits = (bits ^ (bits >> 15)) * 2246822519u;
    return bits ^ (bits >> 13);
}

/// Every eighth pixel is no-data or, in an alpha band, transparent.
Pixels samples(const SeamCase& c)
{
    Pixels pixels(bandSize(c) * noBands);
    for (std::size_t k = 0; k < pixels.size(); ++k) {
        const std::uint32_t bits = mixed(k);
        const bool isAlpha = c.alpha && k >= bandSize(c);
        const bool isMissing = (bits >> 29) == 0;
        if (isAlpha)
            pixels[k] = isMissing ? 0.0f : 255.0f;
        else if (c.type == GDT_Byte)
            pixels[k] = static_cast<float>(bits & 255u);
        else
            pixels[k] = isMissing ? noData : static_cast<float>(bits & 0xFFFFFFu) * 1e-3f - 5000.0f;
    }
    return pixels;
}

void makeRaster(const QString& path, const SeamCase& c, const Pixels& pixels)
{
    GDALAllRegister();
    rasters::Description description = downsampling::mapped(c.width, c.height, c.type, noBands);
    CPLStringList options;
    for (const char* option : {"TILED=YES", "INTERLEAVE=PIXEL", "BLOCKXSIZE=1024"})
        options.AddString(option);
    options.SetNameValue("BLOCKYSIZE", std::to_string(fileBlock).c_str());
    const rasters::Dataset dataset(GetGDALDriverManager()->GetDriverByName("GTiff")->Create(
        path.toUtf8().constData(), c.width, c.height, noBands, c.type, options.List()));
    if (!dataset || dataset->SetGeoTransform(description.geotransform->data()) != CE_None ||
        dataset->RasterIO(GF_Write, 0, 0, c.width, c.height, const_cast<float*>(pixels.data()), c.width,
                          c.height, GDT_Float32, noBands, nullptr, 0, 0, 0, nullptr) != CE_None)
        throw std::runtime_error("GDAL cannot write " + path.toStdString());
}

// ---- The reductions, each over the values of a block in row-major order

bool isValid(float value)
{
    return !(value < -9999.999f);
}

float meanOf(Pixels& block)
{
    double mean = 0.0;
    double count = 0.0;
    for (const float value : block)
        if (isValid(value))
            mean += (value - mean) / ++count;
    return count == 0.0 ? noData : static_cast<float>(mean);
}

float percentileOf(Pixels& block, double fraction)
{
    block.erase(std::partition(block.begin(), block.end(), isValid), block.end());
    if (block.size() < 2)
        return noData;
    const auto rank = static_cast<std::size_t>(static_cast<double>(block.size()) * fraction + 0.5);
    const auto place = block.begin() + static_cast<std::ptrdiff_t>(std::min(rank, block.size() - 1));
    std::nth_element(block.begin(), place, block.end());
    return *place;
}

/// Starts with the first value, valid or not.
template <class IsBetter>
float bestOf(const Pixels& block, const IsBetter& isBetter)
{
    float best = block.front();
    for (const float value : block)
        if (isValid(value) && isBetter(value, best))
            best = value;
    return best;
}

struct Strategy
{
    DownsamplingStrategy value;
    std::function<float(Pixels&)> reduce; ///< may reorder the block
};

const std::vector<Strategy>& strategies()
{
    static const std::vector<Strategy> all = {
        {DownsamplingStrategy::Average, meanOf},
        {DownsamplingStrategy::Median, [](Pixels& block) { return percentileOf(block, 0.5); }},
        {DownsamplingStrategy::Percentile75, [](Pixels& block) { return percentileOf(block, 0.75); }},
        {DownsamplingStrategy::Min, [](Pixels& block) { return bestOf(block, std::less<float>()); }},
        {DownsamplingStrategy::Max, [](Pixels& block) { return bestOf(block, std::greater<float>()); }}};
    return all;
}

/// What becomes of one band, in the pixel type of the file.
Pixels reduced(const SeamCase& c, const Pixels& pixels, int band, const Strategy& strategy)
{
    const bool isAlpha = c.alpha && band == noBands;
    const float* const values = pixels.data() + bandSize(c) * static_cast<std::size_t>(band - 1);
    const float* const alpha = c.alpha && !isAlpha ? pixels.data() + bandSize(c) : nullptr;
    const int size = static_cast<int>(c.factor + 0.5);
    Pixels result;
    Pixels block;
    for (int i = 0; i < static_cast<int>(c.height / c.factor); ++i)
        for (int j = 0; j < static_cast<int>(c.width / c.factor); ++j) {
            const int top = static_cast<int>(i * c.factor);
            const int left = static_cast<int>(j * c.factor);
            block.clear();
            for (int y = top; y < std::min(top + size, c.height); ++y)
                for (int x = left; x < std::min(left + size, c.width); ++x) {
                    const std::size_t k = static_cast<std::size_t>(y) * static_cast<std::size_t>(c.width) +
                                          static_cast<std::size_t>(x);
                    block.push_back(alpha && alpha[k] == 0.0f ? noData : values[k]);
                }
            const float value = strategy.reduce(block);
            result.push_back(isAlpha ? (value > 127.5f ? 255.0f : 0.0f) : value);
        }
    if (c.type == GDT_Byte)
        for (float& value : result)
            value = std::floor(std::max(value, 0.0f) + 0.5f);
    return result;
}

class DownsamplerSeams : public testing::TestWithParam<SeamCase>
{
protected:
    void SetUp() override
    {
        m_pixels = samples(GetParam());
        makeRaster(m_folder / "in.tif", GetParam(), m_pixels);
    }

    void run(const Strategy& strategy) const
    {
        const auto job = vexel::DownsamplerFactory::createDownsampler(
            strategy.value, m_folder / "in.tif", m_folder / "out.tif", QString(), GetParam().factor,
            GetParam().alpha ? ImageAlphaType::LastBand : ImageAlphaType::NoAlpha,
            vexel::GdalFileType::SingleFile);
        const auto strips = downsampling::countPieces(*job);
        ASSERT_TRUE(downsampling::doStep(*job));
        // Were there one column, it would have a strip for each row of the raster's blocks at most.
        EXPECT_GT(*strips, (GetParam().height + fileBlock - 1) / fileBlock) << "there are no columns";
    }

    TempFolder m_folder;
    Pixels m_pixels;
};

TEST_P(DownsamplerSeams, DoNotShow)
{
    for (const Strategy& strategy : strategies()) {
        SCOPED_TRACE("strategy " + std::to_string(static_cast<int>(strategy.value)));
        ASSERT_NO_FATAL_FAILURE(run(strategy));
        for (int band = 1; band <= noBands; ++band) {
            const Pixels expected = reduced(GetParam(), m_pixels, band, strategy);
            EXPECT_EQ(downsampling::difference({expected.begin(), expected.end()},
                                               rasters::pixels(m_folder / "out.tif", band),
                                               static_cast<int>(GetParam().width / GetParam().factor)),
                      "")
                << "band " << band;
        }
    }
}

// Blocks of 2.6 pixels are 3 wide and overlap, those of 3.4 leave gaps. The strips of bytes hold four times the pixels.
INSTANTIATE_TEST_SUITE_P(Rasters, DownsamplerSeams,
                         testing::Values(SeamCase{"FloatBlocksOverlap", GDT_Float32, 7200, 1060, 2.6, false},
                                         SeamCase{"FloatWithAlphaAndGaps", GDT_Float32, 7200, 1060, 3.4,
                                                  true},
                                         SeamCase{"FloatWholeFactor", GDT_Float32, 7200, 1060, 3.0, false},
                                         SeamCase{"BytesWithAlpha", GDT_Byte, 19000, 1060, 1.6, true}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
