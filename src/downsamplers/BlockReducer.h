#ifndef VEXEL_DOWNSAMPLERS_BLOCKREDUCER_H
#define VEXEL_DOWNSAMPLERS_BLOCKREDUCER_H

#include "companion/PixelMatrix.h"
#include "downsamplers/tilestrips.h"

#include <cstddef>
#include <cstdint>

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

/// Reduces whole rows of blocks at a time, many blocks side by side: the fast form of
/// `DownsamplerBase::representativeValue`, which it equals to the bit. Called from several threads at once.
class BlockReducer
{
public:
    virtual ~BlockReducer() = default;

    /// Reduces the blocks `firstBlock` to `endBlock` - 1 of `columns` over the given rows, whose first
    /// element is pixel `firstPixel` of that axis.
    virtual void reduce(const PixelRows<float>& pixels, const BlockAxis& columns, std::int64_t firstBlock,
                        std::int64_t endBlock, std::int64_t firstPixel, float* out) const = 0;

    /// The same for bytes, where `alpha`, null if there is none, tells which are missing: those it is 0 for.
    virtual void reduce(const PixelRows<unsigned char>& pixels, const PixelRows<unsigned char>* alpha,
                        const BlockAxis& columns, std::int64_t firstBlock, std::int64_t endBlock,
                        std::int64_t firstPixel, float* out) const = 0;

    /// How long a pixel takes, roughly.
    virtual double nanosecondsPerFloat() const = 0;
    virtual double nanosecondsPerByte() const = 0;

    /// Whether bytes may be handed over as they are for blocks of that edge.
    virtual bool takesBytes(std::int64_t blockSize) const = 0;
};

} // namespace vexel

#endif
