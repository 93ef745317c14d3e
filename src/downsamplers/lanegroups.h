#ifndef VEXEL_DOWNSAMPLERS_LANEGROUPS_H
#define VEXEL_DOWNSAMPLERS_LANEGROUPS_H

#include "downsamplers/BlockReducer.h"
#include "downsamplers/lanekernels.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// Groups of `kernels::lanes` equally wide blocks, each of which becomes a lane of the kernels.
namespace vexel::lanegroups {

using kernels::lanes;

/// Where the blocks of a group start.
struct Starts
{
    std::array<std::int64_t, static_cast<std::size_t>(lanes)> at{};
    std::int64_t distance = 0; ///< from one to the next, 0 if they differ
};

/// One pixel of each block of a group.
template <class T>
void gather(const T* pixels, const Starts& starts, T* out)
{
    if (starts.distance > 0)
        kernels::gatherRegular(pixels + starts.at[0], starts.distance, out);
    else
        kernels::gather(pixels, starts.at.data(), out);
}

/// Calls `work(values)` for each pixel of the blocks of a group, in row-major order, with the values of all lanes.
template <class T, class Work>
void forEachPixel(const PixelRows<T>& pixels, const Starts& starts, std::int64_t length, const Work& work)
{
    T values[lanes];
    for (std::int64_t y = 0; y < pixels.rows; ++y)
        for (std::int64_t x = 0; x < length; ++x) {
            gather(pixels.row(y) + x, starts, values);
            work(values);
        }
}

/// Whether a group starts at block `i`.
inline bool isGroup(const BlockColumns& columns, std::int64_t i)
{
    // Spans ascend to the raster's edge, so the last of a group tells whether all have that length.
    return i + lanes <= columns.noBlocks() && columns.block(i + lanes - 1).length == columns.block(i).length;
}

inline Starts startsOf(const BlockColumns& columns, std::int64_t i)
{
    Starts starts{};
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
        starts.at[static_cast<std::size_t>(lane)] = columns.block(i + lane).start;
    starts.distance = i + lanes <= columns.noRegular() ? columns.block(i).length : 0;
    return starts;
}

/// Bit i set: block i of a group has to be reduced by itself.
using Rest = std::uint32_t;

/// Calls `group(starts, length, out)`, which returns a `Rest`, for groups of blocks, and `one(start, length)` for the
/// others.
template <class One, class Group>
void reduceInGroups(const BlockColumns& columns, float* out, const One& one, const Group& group)
{
    for (std::int64_t i = 0; i < columns.noBlocks();) {
        const BlockSpan block = columns.block(i);
        if (!isGroup(columns, i)) {
            out[i++] = one(block.start, block.length);
            continue;
        }
        const Starts starts = startsOf(columns, i);
        for (Rest rest = group(starts, block.length, out + i), lane = 0; rest != 0; rest >>= 1, ++lane)
            if (rest & 1u)
                out[i + lane] = one(starts.at[lane], block.length);
        i += lanes;
    }
}

} // namespace vexel::lanegroups

#endif
