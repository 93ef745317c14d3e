#include "downsamplers/DownsamplerPercentile.h"

#include "companion/pixelvalues.h"
#include "downsamplers/blockreducers.h"
#include "downsamplers/orderstatistic.h"

#include <cstddef>
#include <vector>

namespace vexel {

DownsamplerPercentile::DownsamplerPercentile(const DownsamplerArguments& arguments, double percentile)
    : DownsamplerBase(arguments, NoAlignment), m_percentile(percentile)
{
    reduceWith(makePercentileReducer(percentile));
}

DownsamplerPercentile::DownsamplerPercentile(double percentile) : m_percentile(percentile) {}

float DownsamplerPercentile::representativeValue(const Block& block) const
{
    std::vector<float> valid;
    valid.reserve(static_cast<std::size_t>(block.size()));
    for (Eigen::Index y = 0; y < block.rows(); ++y)
        for (Eigen::Index x = 0; x < block.cols(); ++x)
            if (!(block(y, x) < firstValidFloat))
                valid.push_back(block(y, x));
    // A single valid pixel counts as no-data here, unlike in the other reducers: it does not tell how values are
    // distributed.
    if (valid.size() < 2)
        return noData;
    return orderstatistic::select(valid.data(), valid.size(),
                                  orderstatistic::rankOf(m_percentile, valid.size()));
}

} // namespace vexel
