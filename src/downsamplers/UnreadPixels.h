#ifndef VEXEL_DOWNSAMPLERS_UNREADPIXELS_H
#define VEXEL_DOWNSAMPLERS_UNREADPIXELS_H

#include "downsamplers/blockwiseread.h"
#include "workspace/geometry.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace vexel {

/// A set of pixels, kept as runs in rows: it takes memory for its outline, whatever its area.
class PixelRegion
{
public:
    /// Adds a box with an area. Returns how many of its pixels are new.
    std::uint64_t add(const PixelBox& box);

    /// Number of boxes that the set is kept as.
    std::size_t noBoxes() const;

private:
    /// Half-open, disjoint, from west to east; none touches the next one.
    using Runs = std::vector<std::pair<int, int>>;

    /// Consecutive rows that have the same pixels.
    struct Rows
    {
        int end;
        Runs runs;
    };

    static std::int64_t addRun(Runs& runs, int first, int end);
    void cutAt(int y);
    void joinAt(int y);

    std::map<int, Rows> m_rows; // by their first row; they do not overlap
};

/// The pixels of a raster set that could not be read, each band's counted once.
class UnreadPixels
{
public:
    /// Notes a part of a file. Returns how many of its pixels are new.
    std::uint64_t add(const UnreadBlock& block);

    /// Number of pixels of all bands.
    std::uint64_t count() const { return m_count; }

private:
    using FileAndBand = std::pair<std::size_t, std::size_t>;

    std::map<FileAndBand, PixelRegion> m_regions;
    std::uint64_t m_count = 0;
};

} // namespace vexel

#endif
