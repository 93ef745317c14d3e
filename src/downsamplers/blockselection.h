#ifndef VEXEL_DOWNSAMPLERS_BLOCKSELECTION_H
#define VEXEL_DOWNSAMPLERS_BLOCKSELECTION_H

#include "downsamplers/BlockReducer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vexel {

/// Percentiles of blocks of floats of any size, one by one. An object keeps its memory from block to block.
class FloatSelection
{
public:
    explicit FloatSelection(double percentile) : m_percentile(percentile) {}

    /// What `DownsamplerPercentile::representativeValue` makes of the block, to the bit.
    float reduce(const PixelRows<float>& pixels, std::int64_t columns);

private:
    std::size_t copyValid(const PixelRows<float>& pixels, std::int64_t columns);
    std::int32_t selectKey(std::size_t n, std::size_t rank);
    bool hasBothZeros(std::size_t n) const;

    double m_percentile;
    std::vector<float> m_values;
    std::vector<std::int32_t> m_keys;
};

/// Bytes of a few blocks in rows of `kernels::lanes`: each block in a quarter of the columns, or a single one in all.
class BytePanel
{
public:
    static constexpr std::size_t mostBlocks = 4;

    /// How many of each block's bytes.
    using Counts = std::array<std::size_t, mostBlocks>;

    /// Takes the pixels of `count` blocks, and `padding` up to the end of the last row.
    void fill(const PixelRows<unsigned char>& pixels, const BlockSpan* blocks, std::size_t count,
              unsigned char padding);

    /// Makes 255 of the bytes for which `alpha`, which the same blocks of another band were taken by, has 0.
    void raiseTransparent(const BytePanel& alpha);

    /// Bytes of one block with its padding.
    std::size_t places() const { return m_rows * columnsPerBlock(); }

    Counts countAtLeast(std::array<unsigned char, mostBlocks> thresholds) const;

private:
    std::size_t columnsPerBlock() const;

    std::vector<unsigned char> m_bytes;
    std::vector<unsigned char> m_line; ///< one block, pixel by pixel
    std::size_t m_rows = 0;
    bool m_isSingle = false;
};

/// Percentiles of blocks of bytes of any size, a few side by side. An object keeps its memory from block to block.
class ByteSelection
{
public:
    explicit ByteSelection(double percentile) : m_percentile(percentile) {}

    /// How many blocks of so many pixels go together at best: large ones alone, for the sake of memory.
    static std::int64_t blocksAtATime(std::int64_t pixels);

    /// What `DownsamplerPercentile::representativeValue` makes of the blocks.
    ///
    /// @param blocks where each starts in the rows, and its columns.
    /// @param count  of the blocks, from 1 to `BytePanel::mostBlocks`.
    /// @param out    one result for each block.
    void reduce(const MaskedBytes& bytes, const BlockSpan* blocks, std::size_t count, float* out);

private:
    double m_percentile;
    BytePanel m_values;
    BytePanel m_alpha;
};

/// Whether any of the bytes in those columns is 0.
bool hasZero(const PixelRows<unsigned char>& bytes, const BlockSpan& columns);

} // namespace vexel

#endif
