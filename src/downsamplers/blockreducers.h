#ifndef VEXEL_DOWNSAMPLERS_BLOCKREDUCERS_H
#define VEXEL_DOWNSAMPLERS_BLOCKREDUCERS_H

#include "downsamplers/BlockReducer.h"

#include <functional>
#include <memory>

namespace vexel {

/// What a block means by itself, for blocks that the kernels do not take: the definition that they equal.
using ReduceBlock = std::function<float(const PixelRows<float>& pixels, std::int64_t columns)>;

/// Reduces blocks one by one, and takes no bytes.
std::unique_ptr<BlockReducer> makePlainReducer(ReduceBlock reduceBlock);

std::unique_ptr<BlockReducer> makeAverageReducer(ReduceBlock reduceBlock);
std::unique_ptr<BlockReducer> makePercentileReducer(double percentile);
std::unique_ptr<BlockReducer> makeMinReducer(ReduceBlock reduceBlock);
std::unique_ptr<BlockReducer> makeMaxReducer(ReduceBlock reduceBlock);

} // namespace vexel

#endif
