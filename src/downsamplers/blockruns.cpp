#include "downsamplers/blockruns.h"

#include <algorithm>
#include <utility>

namespace vexel {

BlockAxis::BlockAxis(std::int64_t noBlocks, const BlockSpacing& blocks, int offset, std::int64_t available)
{
    m_spans.reserve(static_cast<std::size_t>(noBlocks));
    for (std::int64_t i = 0; i < noBlocks; ++i) {
        const auto span = blockSpan(i, blocks, offset, available);
        if (!span)
            break; // those after it start later still
        const bool follows = i == 0 || (span->start == end(i - 1) && span->length == m_spans[0].length);
        if (m_noRegular == i && follows)
            ++m_noRegular;
        m_spans.push_back(*span);
        m_endOfAll = std::max(m_endOfAll, span->start + span->length);
    }
}

BlockAxis::BlockAxis(std::vector<BlockSpan> spans) : m_spans(std::move(spans))
{
    for (const BlockSpan& span : m_spans)
        m_endOfAll = std::max(m_endOfAll, span.start + span.length);
}

std::int64_t boundaryBefore(std::int64_t pixel, std::int64_t unit, std::int64_t origin)
{
    const std::int64_t distance = pixel - origin;
    return origin + (distance >= 0 ? distance / unit : (distance - unit + 1) / unit) * unit;
}

std::vector<BlockRun> cutIntoRuns(const BlockAxis& axis, std::int64_t mostPixels, std::int64_t fileBlock,
                                  std::int64_t fileOrigin)
{
    const std::int64_t unit = std::max<std::int64_t>(fileBlock, 1);
    const std::int64_t noBlocks = axis.noBlocks();
    std::vector<BlockRun> runs;
    std::int64_t formerReadEnd = noBlocks > 0 ? axis.first(0) : 0;
    for (std::int64_t block = 0; block < noBlocks;) {
        const std::int64_t firstPixel = axis.first(block);
        // At least one more block of the file than is there already.
        const std::int64_t limit =
            std::max(boundaryBefore(firstPixel + mostPixels, unit, fileOrigin),
                     boundaryBefore(std::max(firstPixel, formerReadEnd), unit, fileOrigin) + unit);
        std::int64_t end = block + 1;
        std::int64_t endPixel = axis.end(block);
        while (end < noBlocks && axis.end(end) <= limit)
            endPixel = std::max(endPixel, axis.end(end++));
        const std::int64_t boundary = std::max(limit, boundaryBefore(endPixel + unit - 1, unit, fileOrigin));
        formerReadEnd = std::max({formerReadEnd, endPixel, std::min(boundary, axis.endOfAll())});
        runs.push_back({block, end, firstPixel, endPixel, formerReadEnd});
        block = end;
    }
    return runs;
}

} // namespace vexel
