#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLEROP_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLEROP_H

#include "companion/pixelvalues.h"
#include "downsamplers/DownsamplerArguments.h"
#include "downsamplers/DownsamplerBase.h"
#include "downsamplers/blockreducers.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace vexel {

/// Downsamples by folding each block's pixels with a binary operation that chooses one of its two arguments.
///
/// @tparam F callable as `const float&(const float&, const float&)`, from several threads at once.
template <class F>
class DownsamplerOp : public DownsamplerBase
{
public:
    /// @param makeReducer makes the fast form of `op`, if there is one.
    DownsamplerOp(const DownsamplerArguments& arguments, F op,
                  std::unique_ptr<BlockReducer> (*makeReducer)(ReduceBlock) = nullptr)
        : DownsamplerBase(arguments, NoAlignment), m_op(std::move(op))
    {
        if (makeReducer)
            reduceWith(makeReducer([this](const PixelRows<float>& pixels, std::int64_t columns) {
                return representativeValue(blockAt(pixels, columns));
            }));
    }
    DownsamplerOp(const QString& inputPath, const QString& outputPath, const QString& wkt, double resolution,
                  ImageAlphaType alphaType, GdalFileType fileType, F op)
        : DownsamplerOp(DownsamplerArguments{inputPath, outputPath, wkt, resolution, alphaType, fileType},
                        std::move(op))
    {}

protected:
    explicit DownsamplerOp(F op) : m_op(std::move(op)) {}

    /// Folds the valid pixels in row-major order, starting from the first pixel whether it is valid or not: a
    /// minimum over a block whose first pixel is no-data is no-data, and a block without valid pixels gives
    /// its first one.
    float representativeValue(const Block& block) const override
    {
        float chosen = block(0, 0);
        for (Eigen::Index y = 0; y < block.rows(); ++y)
            for (Eigen::Index x = 0; x < block.cols(); ++x) {
                const float value = block(y, x);
                if (static_cast<double>(value) < firstValidDouble)
                    continue;
                chosen = m_op(chosen, value);
            }
        return chosen;
    }

private:
    F m_op;
};

} // namespace vexel

#endif
