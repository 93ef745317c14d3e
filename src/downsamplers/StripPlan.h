#ifndef VEXEL_DOWNSAMPLERS_STRIPPLAN_H
#define VEXEL_DOWNSAMPLERS_STRIPPLAN_H

#include "downsamplers/blockruns.h"
#include "workspace/geometry.h"

#include <cstdint>
#include <vector>

namespace vexel {

/// Memory for the pixels of a step: two strips, one of which is read while the other one is reduced, what the latter
/// becomes, and the columns that are kept for later strips. More only where a single row of blocks needs it.
constexpr double stripBudgetBytes = 64.0 * 1024 * 1024;

/// What strips are cut from: the blocks of a tile along both axes, and where they lie.
struct StripLayout
{
    PixelBox readBox;       ///< in pixels of the input
    int xOffset;            ///< a column of what is read where the file's blocks start
    int yOffset;            ///< the same for rows
    std::int64_t blockSize; ///< edge of the largest block
    BlockAxis rows;         ///< in pixels of what is read
    BlockAxis columns;      ///<
};

/// How much memory strips take.
struct StripCost
{
    double bytesPerPixel;  ///< of the input, all bands
    double bytesPerResult; ///< all bands
    double pixelsPerResult;
};

/// One strip: whole rows of blocks of a column of strips.
struct StripPlace
{
    BlockRun columns;
    BlockRun rows;
    bool isFirstOfColumn;
    std::int64_t keptColumns; ///< its last ones, which the next column of strips begins with

    std::int64_t pixels() const { return columns.readLength() * rows.readLength(); }
};

/// Decides the size of strips: cuts one tile into strips of whole rows of blocks, and into columns of strips where a row
/// of the file's blocks would be too large.
///
/// Rows that two strips share are kept from one to the next, so that every block of the file is read once. So are
/// columns that two columns of strips share, for the height of the tile, unless they would take more than an eighth of
/// the memory: then what lies along the seam is read twice.
class StripPlan
{
public:
    /// @param blockWidth  of the file's blocks.
    /// @param blockHeight of the file's blocks.
    StripPlan(StripLayout layout, int blockWidth, int blockHeight, const StripCost& cost);

    const StripLayout& layout() const { return m_layout; }
    /// From west to east, and each column from north to south.
    const std::vector<StripPlace>& strips() const { return m_strips; }
    /// What the largest strip needs.
    std::int64_t mostPixels() const;
    /// Rows of what is read.
    std::int64_t height() const { return heightOf(m_layout.readBox); }

private:
    StripLayout m_layout;
    std::vector<StripPlace> m_strips;
};

} // namespace vexel

#endif
