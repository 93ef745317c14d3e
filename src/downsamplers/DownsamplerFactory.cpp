#include "downsamplers/DownsamplerFactory.h"

#include "downsamplers/DownsamplerArguments.h"
#include "downsamplers/DownsamplerAverage.h"
#include "downsamplers/DownsamplerGauss.h"
#include "downsamplers/DownsamplerOp.h"
#include "downsamplers/DownsamplerPercentile.h"
#include "downsamplers/DownsamplerWarp.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace vexel::DownsamplerFactory {

namespace {

using ChoiceOp = DownsamplerOp<std::function<const float&(const float&, const float&)>>;
using ChoiceFunction = const float& (*)(const float&, const float&);

} // namespace

std::shared_ptr<DownsamplerBase> createDownsampler(DownsamplingStrategy strategy, const QString& inputPath,
                                                   const QString& outputPath, const QString& wkt,
                                                   double resolution, ImageAlphaType alphaType,
                                                   GdalFileType fileType)
{
    const DownsamplerArguments arguments{inputPath, outputPath, wkt, resolution, alphaType, fileType};
    switch (strategy) {
    case DownsamplingStrategy::Gauss:
    case DownsamplingStrategy::GaussAlias:
        return std::make_shared<DownsamplerGauss>(inputPath, outputPath, wkt, resolution, alphaType,
                                                  fileType);
    case DownsamplingStrategy::Average:
        return std::make_shared<DownsamplerAverage>(arguments);
    case DownsamplingStrategy::Median:
        return std::make_shared<DownsamplerPercentile>(arguments, 0.5);
    case DownsamplingStrategy::Percentile75:
        return std::make_shared<DownsamplerPercentile>(arguments, 0.75);
    case DownsamplingStrategy::Min:
        return std::make_shared<ChoiceOp>(arguments, ChoiceFunction(std::min<float>), &makeMinReducer);
    case DownsamplingStrategy::Max:
        return std::make_shared<ChoiceOp>(arguments, ChoiceFunction(std::max<float>), &makeMaxReducer);
    case DownsamplingStrategy::Warp:
        return std::make_shared<DownsamplerWarp>(inputPath, outputPath, wkt, resolution, alphaType);
    }
    throw std::logic_error("Undefined value for DownsamplingStrategy");
}

} // namespace vexel::DownsamplerFactory
