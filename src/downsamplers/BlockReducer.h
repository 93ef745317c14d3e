#ifndef VEXEL_DOWNSAMPLERS_BLOCKREDUCER_H
#define VEXEL_DOWNSAMPLERS_BLOCKREDUCER_H

#include "companion/PixelMatrix.h"
#include "downsamplers/blockruns.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace vexel {

/// Rows of pixels that a row of blocks covers.
template <class T>
struct PixelRows
{
    const T* first;      ///< row 0
    std::ptrdiff_t step; ///< elements from one row to the next
    std::int64_t rows;

    const T* row(std::int64_t y) const { return first + y * step; }
};

/// The pixels of one block in place: rows, columns and a row stride.
using BlockPixels = Eigen::Ref<PixelMatrix<float>, 0, Eigen::OuterStride<>>;

/// A block of that many columns, as `DownsamplerBase::representativeValue` takes it.
BlockPixels blockAt(const PixelRows<float>& pixels, std::int64_t columns);

/// Bytes, and the alpha that tells which of them are missing: those it is 0 for.
struct MaskedBytes
{
    PixelRows<unsigned char> pixels;
    std::optional<PixelRows<unsigned char>> alpha; ///< none if no pixel is missing
};

/// The blocks of a run of columns, over rows of pixels whose element 0 is the run's first pixel.
struct BlockColumns
{
    const BlockAxis& axis;
    BlockRun run;

    std::int64_t noBlocks() const { return run.endBlock - run.firstBlock; }

    /// Where block `i` of the run is in the rows.
    BlockSpan block(std::int64_t i) const
    {
        const BlockSpan& span = axis.span(run.firstBlock + i);
        return {span.start - run.firstPixel, span.length};
    }

    /// How many blocks of the run, the first ones, are equally long and follow each other without gap or overlap.
    std::int64_t noRegular() const
    {
        return std::max<std::int64_t>(0, std::min(axis.noRegular(), run.endBlock) - run.firstBlock);
    }
};

/// Reduces whole rows of blocks at a time, many blocks side by side: the fast form of
/// `DownsamplerBase::representativeValue`, which it equals to the bit. Called from several threads at once.
class BlockReducer
{
public:
    virtual ~BlockReducer() = default;

    /// Makes one value of each block of `columns` over all of the given rows.
    virtual void reduce(const PixelRows<float>& pixels, const BlockColumns& columns, float* out) const = 0;
    virtual void reduce(const MaskedBytes& bytes, const BlockColumns& columns, float* out) const = 0;

    /// How long a pixel takes, roughly.
    virtual double nanosecondsPerFloat() const = 0;
    virtual double nanosecondsPerByte() const = 0;

    /// Whether bytes may be handed over as they are for blocks of that edge.
    virtual bool takesBytes(std::int64_t blockSize) const = 0;
};

} // namespace vexel

#endif
