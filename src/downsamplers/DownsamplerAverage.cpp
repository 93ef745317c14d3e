#include "downsamplers/DownsamplerAverage.h"

#include "companion/pixelvalues.h"
#include "downsamplers/blockreducers.h"

#include <cstdint>

namespace vexel {

DownsamplerAverage::DownsamplerAverage(const DownsamplerArguments& arguments)
    : DownsamplerBase(arguments, NoAlignment)
{
    reduceWith(makeAverageReducer([this](const PixelRows<float>& pixels, std::int64_t columns) {
        return representativeValue(blockAt(pixels, columns));
    }));
}

float DownsamplerAverage::representativeValue(const Block& block) const
{
    std::uint64_t count = 0;
    double mean = 0.0;
    for (Eigen::Index y = 0; y < block.rows(); ++y)
        for (Eigen::Index x = 0; x < block.cols(); ++x) {
            const double value = block(y, x);
            if (value < firstValidDouble)
                continue;
            ++count;
            // The running form, not a sum divided at the end: its rounding is part of the result.
            mean += (value - mean) / static_cast<double>(count);
        }
    return count == 0 ? noData : static_cast<float>(mean);
}

} // namespace vexel
