#include "downsamplers/DownsamplerPercentile.h"

#include "downsamplers/blockreducers.h"
#include "workspace/arithmetic.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace vexel {

namespace {

/// Compared as a float, unlike in the other reducers, the value -9999.9990234375 is valid.
constexpr float firstValid = static_cast<float>(-9999.999);

/// Ascending with NaN last: a strict order, which a plain comparison is not when there are NaNs.
bool ascending(float a, float b)
{
    return a < b || (std::isnan(b) && !std::isnan(a));
}

float selectAt(std::vector<float>& values, std::uint64_t index)
{
    if (values.empty())
        throw std::logic_error("empty container");
    const std::uint64_t k = std::min<std::uint64_t>(index, values.size() - 1);
    const auto selected = values.begin() + static_cast<std::ptrdiff_t>(k);
    std::nth_element(values.begin(), selected, values.end(), ascending);
    return *selected;
}

} // namespace

DownsamplerPercentile::DownsamplerPercentile(const QString& inputPath, const QString& outputPath,
                                             const QString& wkt, double resolution, ImageAlphaType alphaType,
                                             GdalFileType fileType, double percentile)
    : DownsamplerBase(inputPath, outputPath, wkt, resolution, alphaType, fileType, NoAlignment),
      m_percentile(percentile)
{
    reduceWith(
        makePercentileReducer(percentile, [this](const PixelRows<float>& pixels, std::int64_t columns) {
            return representativeValue(blockAt(pixels, columns));
        }));
}

DownsamplerPercentile::DownsamplerPercentile(double percentile) : m_percentile(percentile) {}

float DownsamplerPercentile::representativeValue(const Block& block) const
{
    std::vector<float> valid;
    valid.reserve(static_cast<std::size_t>(block.size()));
    for (Eigen::Index y = 0; y < block.rows(); ++y)
        for (Eigen::Index x = 0; x < block.cols(); ++x)
            if (!(block(y, x) < firstValid))
                valid.push_back(block(y, x));
    // A single valid pixel counts as no-data here, unlike in the other reducers.
    if (valid.size() < 2)
        return -10000.0f;
    const double position = static_cast<double>(valid.size()) * m_percentile;
    return selectAt(valid, static_cast<std::uint64_t>(arithmetic::roundHalfAway(position)));
}

} // namespace vexel
