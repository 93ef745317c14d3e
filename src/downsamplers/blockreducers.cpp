#include "downsamplers/blockreducers.h"

#include "downsamplers/lanekernels.h"
#include "workspace/arithmetic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

namespace vexel {

namespace {

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

using Bytes = PixelRows<unsigned char>;
using Floats = PixelRows<float>;

constexpr float noData = -10000.0f;

/// Copies one block of bytes into floats, missing pixels as no-data.
void copyBlock(const Bytes& pixels, const Bytes* alpha, std::int64_t start, std::int64_t length, float* out)
{
    for (std::int64_t y = 0; y < pixels.rows; ++y)
        for (std::int64_t x = start; x < start + length; ++x)
            *out++ = alpha && alpha->row(y)[x] == 0 ? noData : static_cast<float>(pixels.row(y)[x]);
}

/// Common road of the reducers for floats: groups of equally wide blocks go to the kernels, the rest one by one.
class LaneReducer : public BlockReducer
{
public:
    explicit LaneReducer(ReduceBlock reduceBlock) : m_reduceBlock(std::move(reduceBlock)) {}

    void reduce(const Floats& pixels, const BlockAxis& columns, std::int64_t firstBlock,
                std::int64_t endBlock, std::int64_t firstPixel, float* out) const override
    {
        const auto one = [&](std::int64_t start, std::int64_t length) {
            return reduceBlock({pixels.first + start, pixels.step, pixels.rows}, length);
        };
        const auto group = [&](const Starts& starts, std::int64_t length, float* results) {
            return reduceGroup(pixels, starts, length, results);
        };
        reduceAll(columns, firstBlock, endBlock, firstPixel, out, one, group);
    }

protected:
    /// Bit i set: block i of the group has to be reduced by itself.
    using Rest = std::uint32_t;

    virtual Rest reduceGroup(const Floats& pixels, const Starts& starts, std::int64_t length,
                             float* out) const = 0;

    float reduceBlock(const Floats& pixels, std::int64_t length) const
    {
        return m_reduceBlock(pixels, length);
    }

    template <class One, class Group>
    static void reduceAll(const BlockAxis& columns, std::int64_t firstBlock, std::int64_t endBlock,
                          std::int64_t firstPixel, float* out, const One& one, const Group& group)
    {
        Starts starts{};
        for (std::int64_t j = firstBlock; j < endBlock; ++j, ++out) {
            const std::int64_t length = columns.span(j).length;
            // Spans ascend to the raster's edge, so the last of a group tells whether all have that length.
            if (j + lanes <= endBlock && columns.span(j + lanes - 1).length == length) {
                for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
                    starts.at[static_cast<std::size_t>(lane)] = columns.first(j + lane) - firstPixel;
                starts.distance = j + lanes <= columns.noRegular() ? length : 0;
                for (Rest rest = group(starts, length, out), lane = 0; rest != 0; rest >>= 1, ++lane)
                    if (rest & 1u)
                        out[lane] = one(starts.at[lane], length);
                j += lanes - 1;
                out += lanes - 1;
            } else {
                *out = one(columns.first(j) - firstPixel, length);
            }
        }
    }

private:
    ReduceBlock m_reduceBlock;
};

/// Neighbouring blocks of a row of blocks.
struct BlockChunk
{
    std::int64_t firstBlock;
    std::int64_t endBlock;
    std::int64_t firstPixel; ///< of the axis
    std::int64_t endPixel;
    bool isRegular; ///< blocks of one length that follow each other without gap or overlap

    std::int64_t blocks() const { return endBlock - firstBlock; }
    std::int64_t width() const { return endPixel - firstPixel; }
};

/// The blocks from `block` on that `mostPixels` pixels hold, one at least.
BlockChunk chunkFrom(const BlockAxis& columns, std::int64_t block, std::int64_t endBlock,
                     std::int64_t mostPixels)
{
    const std::int64_t first = columns.first(block);
    if (block < columns.noRegular()) {
        const std::int64_t length = columns.span(block).length;
        const std::int64_t end =
            std::min({endBlock, columns.noRegular(), block + std::max<std::int64_t>(1, mostPixels / length)});
        return {block, end, first, first + (end - block) * length, true};
    }
    BlockChunk chunk{block, block + 1, first, columns.end(block), false};
    while (chunk.endBlock < endBlock && columns.end(chunk.endBlock) - first <= mostPixels)
        chunk.endPixel = std::max(chunk.endPixel, columns.end(chunk.endBlock++));
    return chunk;
}

/// Columns that are joined at a time: what they become stays in the nearest cache.
constexpr std::int64_t columnsAtATime = 2048;

/// Calls `work(chunk)` for chunk after chunk of the blocks.
template <class Work>
void forChunks(const BlockAxis& columns, std::int64_t firstBlock, std::int64_t endBlock, const Work& work)
{
    while (firstBlock < endBlock) {
        const BlockChunk chunk = chunkFrom(columns, firstBlock, endBlock, columnsAtATime);
        work(chunk);
        firstBlock = chunk.endBlock;
    }
}

/// Calls `work(start, length, blocks)` for the blocks of a chunk, counted from its first pixel: once if they
/// are regular, else one by one.
template <class Work>
void forBlocks(const BlockAxis& columns, const BlockChunk& chunk, const Work& work)
{
    if (chunk.isRegular) {
        work(0, columns.span(chunk.firstBlock).length, chunk.blocks());
        return;
    }
    for (std::int64_t j = chunk.firstBlock; j < chunk.endBlock; ++j)
        work(columns.first(j) - chunk.firstPixel, columns.span(j).length, 1);
}

/// Mean. Bytes are summed column by column.
class AverageReducer : public LaneReducer
{
public:
    using LaneReducer::LaneReducer;
    using LaneReducer::reduce;

    /// A sum of so few bytes, divided, rounds to the same float as their running mean: its error stays below
    /// the distance of such a quotient from the nearest midpoint of two floats.
    bool takesBytes(std::int64_t blockSize) const override { return blockSize <= 90; }

    double nanosecondsPerFloat() const override { return 2.0; }
    double nanosecondsPerByte() const override { return 0.15; }

    void reduce(const Bytes& pixels, const Bytes* alpha, const BlockAxis& columns, std::int64_t firstBlock,
                std::int64_t endBlock, std::int64_t firstPixel, float* out) const override
    {
        std::uint16_t sums[columnsAtATime];
        std::uint16_t counts[columnsAtATime];
        forChunks(columns, firstBlock, endBlock, [&](const BlockChunk& chunk) {
            const std::int64_t first = chunk.firstPixel - firstPixel;
            std::fill_n(sums, chunk.width(), std::uint16_t{0});
            std::fill_n(counts, chunk.width(), static_cast<std::uint16_t>(alpha ? 0 : pixels.rows));
            for (std::int64_t y = 0; y < pixels.rows; ++y) {
                if (alpha)
                    kernels::addRow(pixels.row(y) + first, alpha->row(y) + first, sums, counts,
                                    chunk.width());
                else
                    kernels::addRow(pixels.row(y) + first, sums, chunk.width());
            }
            forBlocks(columns, chunk, [&](std::int64_t start, std::int64_t length, std::int64_t blocks) {
                kernels::meansOfBlocks(sums + start, counts + start, length, blocks, out);
                out += blocks;
            });
        });
    }

private:
    Rest reduceGroup(const Floats& pixels, const Starts& starts, std::int64_t length,
                     float* out) const override
    {
        float values[lanes];
        double counts[lanes] = {};
        double means[lanes] = {};
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            for (std::int64_t x = 0; x < length; ++x) {
                gather(pixels.row(y) + x, starts, values);
                kernels::addToMeans(values, counts, means);
            }
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            out[lane] = counts[lane] == 0.0 ? noData : static_cast<float>(means[lane]);
        return 0;
    }
};

/// Minimum or maximum of floats, in the order of a block reduced by itself: it decides which zero of either
/// sign is taken.
template <void (*Fold)(const float*, float*)>
class FoldReducer : public LaneReducer
{
public:
    using LaneReducer::LaneReducer;

    double nanosecondsPerFloat() const override { return 0.7; }

private:
    Rest reduceGroup(const Floats& pixels, const Starts& starts, std::int64_t length,
                     float* out) const override
    {
        float values[lanes];
        gather(pixels.row(0), starts, out);
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            for (std::int64_t x = 0; x < length; ++x) {
                gather(pixels.row(y) + x, starts, values);
                Fold(values, out);
            }
        return 0;
    }
};

class MinReducer : public FoldReducer<kernels::foldMin>
{
public:
    using FoldReducer::FoldReducer;
    using FoldReducer::reduce;

    bool takesBytes(std::int64_t blockSize) const override { return blockSize <= columnsAtATime; }

    double nanosecondsPerByte() const override { return 0.15; }

    void reduce(const Bytes& pixels, const Bytes* alpha, const BlockAxis& columns, std::int64_t firstBlock,
                std::int64_t endBlock, std::int64_t firstPixel, float* out) const override
    {
        unsigned char lowest[columnsAtATime];
        unsigned char results[columnsAtATime];
        forChunks(columns, firstBlock, endBlock, [&](const BlockChunk& chunk) {
            const std::int64_t first = chunk.firstPixel - firstPixel;
            std::fill_n(lowest, chunk.width(), static_cast<unsigned char>(255));
            for (std::int64_t y = 0; y < pixels.rows; ++y) {
                if (alpha)
                    kernels::keepLowest(pixels.row(y) + first, alpha->row(y) + first, lowest, chunk.width());
                else
                    kernels::keepLowest(pixels.row(y) + first, lowest, chunk.width());
            }
            forBlocks(columns, chunk, [&](std::int64_t start, std::int64_t length, std::int64_t blocks) {
                kernels::lowestOfBlocks(lowest + start, length, blocks, results);
                for (std::int64_t j = 0; j < blocks; ++j) {
                    // A block whose first pixel is missing is missing, whatever follows.
                    const bool missing = alpha && alpha->row(0)[first + start + j * length] == 0;
                    *out++ = missing ? noData : static_cast<float>(results[j]);
                }
            });
        });
    }
};

class MaxReducer : public FoldReducer<kernels::foldMax>
{
public:
    using FoldReducer::FoldReducer;
    using FoldReducer::reduce;

    bool takesBytes(std::int64_t blockSize) const override { return blockSize <= columnsAtATime; }

    double nanosecondsPerByte() const override { return 0.15; }

    void reduce(const Bytes& pixels, const Bytes* alpha, const BlockAxis& columns, std::int64_t firstBlock,
                std::int64_t endBlock, std::int64_t firstPixel, float* out) const override
    {
        unsigned char highest[columnsAtATime];
        unsigned char opaque[columnsAtATime];
        unsigned char results[columnsAtATime];
        unsigned char anyOpaque[columnsAtATime];
        forChunks(columns, firstBlock, endBlock, [&](const BlockChunk& chunk) {
            const std::int64_t first = chunk.firstPixel - firstPixel;
            std::fill_n(highest, chunk.width(), static_cast<unsigned char>(0));
            std::fill_n(opaque, chunk.width(), static_cast<unsigned char>(alpha ? 0 : 255));
            for (std::int64_t y = 0; y < pixels.rows; ++y) {
                if (!alpha) {
                    kernels::keepHighest(pixels.row(y) + first, highest, chunk.width());
                    continue;
                }
                kernels::keepHighest(pixels.row(y) + first, alpha->row(y) + first, highest, chunk.width());
                kernels::keepHighest(alpha->row(y) + first, opaque, chunk.width());
            }
            forBlocks(columns, chunk, [&](std::int64_t start, std::int64_t length, std::int64_t blocks) {
                kernels::highestOfBlocks(highest + start, length, blocks, results);
                kernels::highestOfBlocks(opaque + start, length, blocks, anyOpaque);
                for (std::int64_t j = 0; j < blocks; ++j)
                    *out++ = anyOpaque[j] == 0 ? noData : static_cast<float>(results[j]);
            });
        });
    }
};

class PercentileReducer : public LaneReducer
{
public:
    PercentileReducer(double percentile, ReduceBlock reduceBlock)
        : LaneReducer(std::move(reduceBlock)), m_percentile(percentile)
    {
        for (std::size_t n = 2; n <= mostPlaces; ++n)
            m_networks.push_back(kernels::selectionNetwork(n, rank(n)));
    }

    using LaneReducer::reduce;

    bool takesBytes(std::int64_t) const override { return true; }

    double nanosecondsPerFloat() const override { return 2.0; }
    double nanosecondsPerByte() const override { return 0.8; }

    void reduce(const Bytes& pixels, const Bytes* alpha, const BlockAxis& columns, std::int64_t firstBlock,
                std::int64_t endBlock, std::int64_t firstPixel, float* out) const override
    {
        std::vector<float> block;
        const auto one = [&](std::int64_t start, std::int64_t length) {
            block.resize(static_cast<std::size_t>(pixels.rows * length));
            copyBlock(pixels, alpha, start, length, block.data());
            return reduceBlock({block.data(), length, pixels.rows}, length);
        };
        const auto group = [&](const Starts& starts, std::int64_t length, float* results) {
            const std::int64_t width = starts.at.back() + length - starts.at.front();
            const bool opaque = !alpha || isOpaque(*alpha, starts.at.front(), width);
            if (!opaque && isTransparent(*alpha, starts.at.front(), width)) {
                std::fill_n(results, lanes, noData);
                return Rest{0};
            }
            return reduceGroup(pixels, opaque ? nullptr : alpha, starts, length, results);
        };
        reduceAll(columns, firstBlock, endBlock, firstPixel, out, one, group);
    }

private:
    /// Beyond so many pixels a block costs less when a partial selection is made of it alone.
    static constexpr std::size_t mostPlaces = 64;

    std::size_t rank(std::size_t n) const
    {
        const std::int64_t k = arithmetic::roundHalfAway(static_cast<double>(n) * m_percentile);
        return std::min(static_cast<std::size_t>(k), n - 1);
    }

    bool isTaken(std::int64_t places) const { return places >= 2 && places <= std::int64_t{mostPlaces}; }

    const std::vector<kernels::Comparator>& networkFor(std::int64_t places) const
    {
        return m_networks[static_cast<std::size_t>(places) - 2];
    }

    static bool isOpaque(const Bytes& alpha, std::int64_t start, std::int64_t width)
    {
        for (std::int64_t y = 0; y < alpha.rows; ++y)
            if (std::memchr(alpha.row(y) + start, 0, static_cast<std::size_t>(width)))
                return false;
        return true;
    }

    static bool isTransparent(const Bytes& alpha, std::int64_t start, std::int64_t width)
    {
        for (std::int64_t y = 0; y < alpha.rows; ++y)
            if (kernels::joinedBits(alpha.row(y) + start, width) != 0)
                return false;
        return true;
    }

    static void markTransparent(const unsigned char* alpha, const Starts& starts, std::uint8_t* bad)
    {
        for (std::size_t lane = 0; lane < starts.at.size(); ++lane)
            bad[lane] = static_cast<std::uint8_t>(bad[lane] | (alpha[starts.at[lane]] == 0));
    }

    static Rest restOf(const std::uint8_t* bad)
    {
        Rest rest = 0;
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            rest |= static_cast<Rest>(bad[lane] != 0) << lane;
        return rest;
    }

    Rest reduceGroup(const Floats& pixels, const Starts& starts, std::int64_t length,
                     float* out) const override
    {
        const std::int64_t places = pixels.rows * length;
        if (!isTaken(places))
            return ~Rest{0};
        float values[mostPlaces * lanes];
        std::uint8_t bad[lanes] = {};
        float* place = values;
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            for (std::int64_t x = 0; x < length; ++x, place += lanes) {
                gather(pixels.row(y) + x, starts, place);
                kernels::markUnordered(place, bad);
            }
        kernels::runNetwork(networkFor(places), values);
        std::copy_n(values + rank(static_cast<std::size_t>(places)) * lanes, lanes, out);
        return restOf(bad);
    }

    Rest reduceGroup(const Bytes& pixels, const Bytes* alpha, const Starts& starts, std::int64_t length,
                     float* out) const
    {
        const std::int64_t places = pixels.rows * length;
        if (!isTaken(places))
            return ~Rest{0};
        unsigned char values[mostPlaces * lanes];
        std::uint8_t bad[lanes] = {};
        unsigned char* place = values;
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            for (std::int64_t x = 0; x < length; ++x, place += lanes) {
                gather(pixels.row(y) + x, starts, place);
                if (alpha)
                    markTransparent(alpha->row(y) + x, starts, bad);
            }
        kernels::runNetwork(networkFor(places), values);
        std::copy_n(values + rank(static_cast<std::size_t>(places)) * lanes, lanes, out);
        return restOf(bad);
    }

    double m_percentile;
    std::vector<std::vector<kernels::Comparator>> m_networks; // for 2 places and more
};

/// Blocks one by one.
class PlainReducer : public BlockReducer
{
public:
    explicit PlainReducer(ReduceBlock reduceBlock) : m_reduceBlock(std::move(reduceBlock)) {}

    bool takesBytes(std::int64_t) const override { return false; }
    double nanosecondsPerFloat() const override { return 4.0; }
    double nanosecondsPerByte() const override { return 4.0; }

    void reduce(const Floats& pixels, const BlockAxis& columns, std::int64_t firstBlock, std::int64_t endBlock,
                std::int64_t firstPixel, float* out) const override
    {
        for (std::int64_t j = firstBlock; j < endBlock; ++j) {
            const BlockSpan& span = columns.span(j);
            *out++ = m_reduceBlock({pixels.first + span.start - firstPixel, pixels.step, pixels.rows}, span.length);
        }
    }

    void reduce(const Bytes&, const Bytes*, const BlockAxis&, std::int64_t, std::int64_t, std::int64_t,
                float*) const override
    {}

private:
    ReduceBlock m_reduceBlock;
};

} // namespace

BlockPixels blockAt(const PixelRows<float>& pixels, std::int64_t columns)
{
    // The view is read only; Eigen has no reference with a stride to what is constant in the signature that
    // is fixed.
    using View = Eigen::Map<PixelMatrix<float>, 0, Eigen::OuterStride<>>;
    return BlockPixels(
        View(const_cast<float*>(pixels.first), pixels.rows, columns, Eigen::OuterStride<>(pixels.step)));
}

std::unique_ptr<BlockReducer> makePlainReducer(ReduceBlock reduceBlock)
{
    return std::make_unique<PlainReducer>(std::move(reduceBlock));
}

std::unique_ptr<BlockReducer> makeAverageReducer(ReduceBlock reduceBlock)
{
    return std::make_unique<AverageReducer>(std::move(reduceBlock));
}

std::unique_ptr<BlockReducer> makePercentileReducer(double percentile, ReduceBlock reduceBlock)
{
    return std::make_unique<PercentileReducer>(percentile, std::move(reduceBlock));
}

std::unique_ptr<BlockReducer> makeMinReducer(ReduceBlock reduceBlock)
{
    return std::make_unique<MinReducer>(std::move(reduceBlock));
}

std::unique_ptr<BlockReducer> makeMaxReducer(ReduceBlock reduceBlock)
{
    return std::make_unique<MaxReducer>(std::move(reduceBlock));
}

} // namespace vexel
