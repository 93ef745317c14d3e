#include "downsamplers/blockreducers.h"
#include "fault/allocations.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

// A raster has millions of blocks: what a percentile needs is allocated once for a row of them.

namespace {

using namespace vexel;
namespace allocations = faults::allocations;

struct Row
{
    std::int64_t edge;
    std::int64_t noBlocks;

    std::int64_t columns() const { return edge * noBlocks; }
    std::size_t pixels() const { return static_cast<std::size_t>(edge * columns()); }
    BlockAxis axis() const { return {noBlocks, {static_cast<double>(edge), 0, edge}, 0, columns()}; }
};

BlockColumns allOf(const BlockAxis& axis)
{
    return {axis, {0, axis.noBlocks(), 0, axis.endOfAll(), axis.endOfAll()}};
}

template <class Reduce>
std::uint64_t bytesOf(const Reduce& reduce)
{
    allocations::count();
    reduce();
    return allocations::stopAndSum();
}

/// One pixel in seven is missing.
std::uint64_t bytesForFloats(const Row& row)
{
    std::vector<float> pixels(row.pixels());
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = i % 7 == 0 ? -10000.0f : static_cast<float>(i * 31 % 1009);
    std::vector<float> out(static_cast<std::size_t>(row.noBlocks));
    const auto reducer = makePercentileReducer(0.5);
    const BlockAxis axis = row.axis();
    const PixelRows<float> rows{pixels.data(), row.columns(), row.edge};
    return bytesOf([&] { reducer->reduce(rows, allOf(axis), out.data()); });
}

std::uint64_t bytesForBytes(const Row& row)
{
    std::vector<unsigned char> pixels(row.pixels());
    std::vector<unsigned char> alpha(row.pixels());
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = static_cast<unsigned char>(i * 31 % 251);
        alpha[i] = i % 7 == 0 ? 0 : 1;
    }
    std::vector<float> out(static_cast<std::size_t>(row.noBlocks));
    const auto reducer = makePercentileReducer(0.5);
    const BlockAxis axis = row.axis();
    const MaskedBytes bytes{{pixels.data(), row.columns(), row.edge},
                            PixelRows<unsigned char>{alpha.data(), row.columns(), row.edge}};
    return bytesOf([&] { reducer->reduce(bytes, allOf(axis), out.data()); });
}

TEST(ReducerMemory, IsAllocatedOncePerRowOfBlocks)
{
    for (const std::int64_t edge : {3, 8, 9, 16, 150}) {
        const Row few{edge, 4};
        const Row many{edge, 63};
        EXPECT_LE(bytesForFloats(many), bytesForFloats(few)) << "floats, blocks of " << edge;
        EXPECT_LE(bytesForBytes(many), bytesForBytes(few)) << "bytes, blocks of " << edge;
    }
}

} // namespace
