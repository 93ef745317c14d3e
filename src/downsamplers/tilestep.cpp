#include "downsamplers/tilestep.h"

#include "workspace/arithmetic.h"

#include <algorithm>
#include <limits>

namespace vexel {

using arithmetic::roundHalfAway;
using arithmetic::saturate32;
using arithmetic::truncate;

namespace {

PixelBox outputBoxOf(const PixelBox& tile, double factor)
{
    const auto scaled = [factor](int pixel) { return saturate32(truncate(pixel / factor)); };
    const int x0 = scaled(tile.min_corner().x());
    const int y0 = scaled(tile.min_corner().y());
    const int x1 = scaled(tile.max_corner().x());
    const int y1 = scaled(tile.max_corner().y());
    return {PixelPoint(std::min(x0, x1), std::min(y0, y1)), PixelPoint(std::max(x0, x1), std::max(y0, y1))};
}

/// Number of results along one axis: the whole blocks of the tile, and the one more that its output box may
/// hold.
std::int64_t resultLength(int tileMin, int tileMax, int outMin, int outMax, double factor)
{
    const std::int64_t wholeBlocks = truncate((tileMax - tileMin) / factor);
    return std::max(wholeBlocks, std::int64_t{outMax} - outMin);
}

} // namespace

PixelBox grownWithin(const PixelBox& box, std::int64_t margin, const PixelBox& bounds)
{
    return {PixelPoint(
                saturate32(std::max<std::int64_t>(box.min_corner().x() - margin, bounds.min_corner().x())),
                saturate32(std::max<std::int64_t>(box.min_corner().y() - margin, bounds.min_corner().y()))),
            PixelPoint(
                saturate32(std::min<std::int64_t>(box.max_corner().x() + margin, bounds.max_corner().x())),
                saturate32(std::min<std::int64_t>(box.max_corner().y() + margin, bounds.max_corner().y())))};
}

TileStep planTileStep(const PixelBox& tile, const PixelBox& bounds, double factor, int border)
{
    const std::int64_t half = std::int64_t{saturate32(roundHalfAway(factor * 0.5))} + border;
    TileStep step{};
    step.readBox = grownWithin(tile, half, bounds);
    step.xOffset = tile.min_corner().x() - step.readBox.min_corner().x();
    step.yOffset = tile.min_corner().y() - step.readBox.min_corner().y();
    step.blocks = {factor, border, saturate32(roundHalfAway(factor + 2.0 * border))};
    step.outBox = outputBoxOf(tile, factor);
    step.rows = resultLength(tile.min_corner().y(), tile.max_corner().y(), step.outBox.min_corner().y(),
                             step.outBox.max_corner().y(), factor);
    step.columns = resultLength(tile.min_corner().x(), tile.max_corner().x(), step.outBox.min_corner().x(),
                                step.outBox.max_corner().x(), factor);
    return step;
}

std::int64_t blockStart(std::int64_t index, double factor, int offset)
{
    return truncate(static_cast<double>(index) * factor + offset);
}

std::optional<BlockSpan> blockSpan(std::int64_t index, const BlockSpacing& blocks, int offset,
                                   std::int64_t available)
{
    const std::int64_t start = blockStart(index, blocks.factor, offset);
    const std::int64_t length = std::min(blocks.size, available - start);
    if (length < 1)
        return std::nullopt;
    return BlockSpan{std::max<std::int64_t>(0, start - blocks.border), length};
}

double factorAlignedToTile(int tileWidth, double factor)
{
    const double width = tileWidth;
    const int outputPixels = saturate32(roundHalfAway(width / factor));
    return outputPixels == 0 ? std::numeric_limits<double>::infinity() : width / outputPixels;
}

} // namespace vexel
