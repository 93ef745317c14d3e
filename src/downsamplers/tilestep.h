#ifndef VEXEL_DOWNSAMPLERS_TILESTEP_H
#define VEXEL_DOWNSAMPLERS_TILESTEP_H

#include "workspace/geometry.h"

#include <cstdint>
#include <optional>

namespace vexel {

/// How blocks follow each other along both axes, in pixels of the input.
struct BlockSpacing
{
    double factor;     ///< from one block to the next, at least 0.5
    int border;        ///< added to a block on every side
    std::int64_t size; ///< edge of a block with its border
};

/// What downsampling one tile means in pixels: what is read, how it falls into blocks, where the results
/// belong. Everything here is arithmetic on boxes.
struct TileStep
{
    PixelBox readBox;     ///< the tile with a margin, cut at the raster's edge; in pixels of the input
    int xOffset;          ///< where the tile's corner lies in what is read
    int yOffset;          ///<
    BlockSpacing blocks;  ///< what the tile falls into
    std::int64_t rows;    ///< of the result
    std::int64_t columns; ///<
    PixelBox outBox;      ///< where the result belongs, in pixels of the output
};

/// Plans the step for `tile` of a raster with the given bounds.
///
/// The result has as many blocks as fit into the tile, or one row or column more where the output box is
/// larger by one: boxes are cut at truncated positions, and without it a seam would stay between one tile's
/// output and the next one's.
///
/// @param factor input pixels per output pixel, at least 0.5.
/// @param border input pixels added to a block on every side.
TileStep planTileStep(const PixelBox& tile, const PixelBox& bounds, double factor, int border);

/// The box grown by `margin` on every side, cut at the bounds.
PixelBox grownWithin(const PixelBox& box, std::int64_t margin, const PixelBox& bounds);

/// First row or column of block `index` without its border, in what is read. Each is truncated by itself, so
/// with a fractional factor blocks may overlap by a pixel or leave one out.
std::int64_t blockStart(std::int64_t index, double factor, int offset);

/// One block along one axis, with its border, cut to what was read.
struct BlockSpan
{
    std::int64_t start;
    std::int64_t length;
};

/// None for a block that starts beyond the `available` pixels.
std::optional<BlockSpan> blockSpan(std::int64_t index, const BlockSpacing& blocks, int offset,
                                   std::int64_t available);

/// The factor nearest to the wanted one at which a tile spans a whole number of output pixels; infinite for a
/// tile narrower than half an output pixel.
double factorAlignedToTile(int tileWidth, double factor);

} // namespace vexel

#endif
