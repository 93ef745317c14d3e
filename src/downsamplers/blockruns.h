#ifndef VEXEL_DOWNSAMPLERS_BLOCKRUNS_H
#define VEXEL_DOWNSAMPLERS_BLOCKRUNS_H

#include "downsamplers/tilestep.h"

#include <cstdint>
#include <vector>

namespace vexel {

/// The blocks of one axis of a step, in pixels of what the step reads: block i covers [first(i), end(i)).
class BlockAxis
{
public:
    /// @param offset    where the first block starts without its border.
    /// @param available pixels that are read.
    BlockAxis(std::int64_t noBlocks, const BlockSpacing& blocks, int offset, std::int64_t available);
    /// Blocks of any length whose starts ascend.
    explicit BlockAxis(std::vector<BlockSpan> spans);

    std::int64_t noBlocks() const { return static_cast<std::int64_t>(m_spans.size()); }
    const BlockSpan& span(std::int64_t i) const { return m_spans[static_cast<std::size_t>(i)]; }
    std::int64_t first(std::int64_t i) const { return span(i).start; }
    std::int64_t end(std::int64_t i) const { return span(i).start + span(i).length; }
    /// Beyond the last pixel of any block. Where borders are cut at the first pixel that need not be the last
    /// one's.
    std::int64_t endOfAll() const { return m_endOfAll; }
    /// How many blocks, the first ones, are equally long and follow each other without gap or overlap.
    std::int64_t noRegular() const { return m_noRegular; }

private:
    std::vector<BlockSpan> m_spans; // those that hold pixels; their starts ascend
    std::int64_t m_endOfAll = 0;
    std::int64_t m_noRegular = 0;
};

/// A run of blocks along one axis, and the pixels that they need.
struct BlockRun
{
    std::int64_t firstBlock;
    std::int64_t endBlock;   ///< one beyond the last
    std::int64_t firstPixel; ///< of the first block
    std::int64_t endPixel;   ///< of the last block
    /// Up to where to read so that the next run, which keeps what it shares with this one, goes on at a
    /// boundary of the file's own blocks: `endPixel` or beyond.
    std::int64_t readEnd;

    std::int64_t noBlocks() const { return endBlock - firstBlock; }
    std::int64_t readLength() const { return readEnd - firstPixel; }
};

/// The last boundary at or before `pixel` of a grid that has one at `origin` and every `unit` pixels.
std::int64_t boundaryBefore(std::int64_t pixel, std::int64_t unit, std::int64_t origin);

/// Cuts the blocks of an axis into runs that need about `mostPixels` each, or one block of the axis or the
/// file if that is more. Runs end at boundaries of the file's own blocks.
///
/// @param fileBlock  length of the file's blocks.
/// @param fileOrigin where one of them starts, in pixels of what is read.
std::vector<BlockRun> cutIntoRuns(const BlockAxis& axis, std::int64_t mostPixels, std::int64_t fileBlock,
                                  std::int64_t fileOrigin);

} // namespace vexel

#endif
