#include "downsamplers/blockreducers.h"

#include "downsamplers/blockselection.h"
#include "downsamplers/lanekernels.h"
#include "downsamplers/orderstatistic.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <numeric>
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

/// Bit i set: block i of a group has to be reduced by itself.
using Rest = std::uint32_t;

/// Whether `lanes` blocks from `block` on are equally wide.
bool isGroup(const BlockAxis& columns, std::int64_t block, std::int64_t endBlock)
{
    // Spans ascend to the raster's edge, so the last of a group tells whether all have that length.
    return block + lanes <= endBlock && columns.span(block + lanes - 1).length == columns.span(block).length;
}

Starts startsOf(const BlockAxis& columns, std::int64_t block, std::int64_t firstPixel)
{
    Starts starts{};
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
        starts.at[static_cast<std::size_t>(lane)] = columns.first(block + lane) - firstPixel;
    starts.distance = block + lanes <= columns.noRegular() ? columns.span(block).length : 0;
    return starts;
}

/// Calls `group(starts, length, out)` for groups of blocks, and `one(start, length)` for the rest.
template <class One, class Group>
void reduceAll(const BlockAxis& columns, std::int64_t firstBlock, std::int64_t endBlock,
               std::int64_t firstPixel, float* out, const One& one, const Group& group)
{
    for (std::int64_t j = firstBlock; j < endBlock; ++j, ++out) {
        const std::int64_t length = columns.span(j).length;
        if (isGroup(columns, j, endBlock)) {
            const Starts starts = startsOf(columns, j, firstPixel);
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
    virtual Rest reduceGroup(const Floats& pixels, const Starts& starts, std::int64_t length,
                             float* out) const = 0;

    float reduceBlock(const Floats& pixels, std::int64_t length) const
    {
        return m_reduceBlock(pixels, length);
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

/// Percentile. Small blocks go side by side, each as a lane; larger ones are selected from by themselves.
class PercentileReducer : public BlockReducer
{
public:
    explicit PercentileReducer(double percentile) : m_percentile(percentile)
    {
        for (std::size_t n = 2; n <= mostPlaces; ++n) {
            m_ranks[n] = static_cast<std::uint8_t>(orderstatistic::rankOf(percentile, n));
            m_selecting.push_back(kernels::selectionNetwork(n, m_ranks[n]));
            m_sorting.push_back(kernels::sortingNetwork(n));
        }
    }

    bool takesBytes(std::int64_t) const override { return true; }

    double nanosecondsPerFloat() const override { return 2.5; }
    double nanosecondsPerByte() const override { return 1.0; }

    void reduce(const Floats& pixels, const BlockAxis& columns, std::int64_t firstBlock,
                std::int64_t endBlock, std::int64_t firstPixel, float* out) const override
    {
        FloatSelection selection(m_percentile);
        const auto one = [&](std::int64_t start, std::int64_t length) {
            return selection.reduce({pixels.first + start, pixels.step, pixels.rows}, length);
        };
        const auto group = [&](const Starts& starts, std::int64_t length, float* results) {
            return reduceGroup(pixels, starts, length, results);
        };
        reduceAll(columns, firstBlock, endBlock, firstPixel, out, one, group);
    }

    void reduce(const Bytes& pixels, const Bytes* alpha, const BlockAxis& columns, std::int64_t firstBlock,
                std::int64_t endBlock, std::int64_t firstPixel, float* out) const override
    {
        ByteSelection selection(m_percentile);
        while (firstBlock < endBlock) {
            const std::int64_t length = columns.span(firstBlock).length;
            std::int64_t count = lanes;
            if (isTaken(pixels.rows * length) && isGroup(columns, firstBlock, endBlock)) {
                reduceGroup(pixels, alpha, startsOf(columns, firstBlock, firstPixel), length, out);
            } else {
                std::array<BlockSpan, BytePanel::mostBlocks> blocks{};
                const auto most =
                    static_cast<std::int64_t>(ByteSelection::blocksAtATime(pixels.rows * length));
                count = std::min(endBlock - firstBlock, most);
                for (std::int64_t i = 0; i < count; ++i)
                    blocks[static_cast<std::size_t>(i)] = {columns.first(firstBlock + i) - firstPixel,
                                                           columns.span(firstBlock + i).length};
                selection.reduce(pixels, alpha, blocks.data(), static_cast<std::size_t>(count), out);
            }
            firstBlock += count;
            out += count;
        }
    }

private:
    using Network = std::vector<kernels::Comparator>;

    /// Larger blocks go faster by themselves.
    static constexpr std::int64_t mostPlaces = 64;

    static bool isTaken(std::int64_t places) { return places >= 2 && places <= mostPlaces; }

    static const Network& networkFor(std::int64_t places, const std::vector<Network>& networks)
    {
        return networks[static_cast<std::size_t>(places) - 2];
    }

    Rest reduceGroup(const Floats& pixels, const Starts& starts, std::int64_t length, float* out) const
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
        if (isAnySet(bad))
            return selectValid(values, places, out);
        kernels::runNetwork(networkFor(places, m_selecting), values);
        std::copy_n(values + m_ranks[static_cast<std::size_t>(places)] * lanes, lanes, out);
        return 0;
    }

    /// Where values are missing, each lane has a rank of its own.
    Rest selectValid(float* values, std::int64_t places, float* out) const
    {
        std::uint8_t valid[lanes] = {};
        std::uint8_t odd[lanes] = {};
        kernels::raiseMissing(values, places, valid, odd);
        kernels::runNetwork(networkFor(places, m_sorting), values);
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            out[lane] = valid[lane] < 2 ? noData : values[m_ranks[valid[lane]] * lanes + lane];
        return restOf(odd);
    }

    static bool isAnySet(const std::uint8_t* flags)
    {
        std::array<std::uint64_t, lanes / sizeof(std::uint64_t)> words{};
        std::memcpy(words.data(), flags, sizeof words);
        return std::accumulate(words.begin(), words.end(), std::uint64_t{0}, std::bit_or<>()) != 0;
    }

    static Rest restOf(const std::uint8_t* odd)
    {
        Rest rest = 0;
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            rest |= static_cast<Rest>(odd[lane] != 0) << lane;
        return rest;
    }

    void reduceGroup(const Bytes& pixels, const Bytes* alpha, const Starts& starts, std::int64_t length,
                     float* out) const
    {
        const std::int64_t width = starts.at.back() + length - starts.at.front();
        const bool opaque = !alpha || isOpaque(*alpha, starts.at.front(), width);
        if (!opaque && isTransparent(*alpha, starts.at.front(), width)) {
            std::fill_n(out, lanes, noData);
            return;
        }
        unsigned char values[mostPlaces * lanes];
        gatherAll(pixels, starts, length, values);
        const std::int64_t places = pixels.rows * length;
        if (opaque) {
            kernels::runNetwork(networkFor(places, m_selecting), values);
            std::copy_n(values + m_ranks[static_cast<std::size_t>(places)] * lanes, lanes, out);
        } else {
            unsigned char alphas[mostPlaces * lanes];
            gatherAll(*alpha, starts, length, alphas);
            selectValid(values, alphas, places, out);
        }
    }

    static void gatherAll(const Bytes& bytes, const Starts& starts, std::int64_t length, unsigned char* place)
    {
        for (std::int64_t y = 0; y < bytes.rows; ++y)
            for (std::int64_t x = 0; x < length; ++x, place += lanes)
                gather(bytes.row(y) + x, starts, place);
    }

    /// The same for bytes.
    void selectValid(unsigned char* values, const unsigned char* alphas, std::int64_t places,
                     float* out) const
    {
        std::uint8_t valid[lanes];
        kernels::countOpaque(alphas, places, valid);
        kernels::raiseTransparent(alphas, values, places * lanes); // last in order
        std::uint8_t ranks[lanes];
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            ranks[lane] = m_ranks[valid[lane]];
        unsigned char selected[lanes];
        kernels::selectInLanes(values, places, ranks, selected);
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            out[lane] = valid[lane] < 2 ? noData : static_cast<float>(selected[lane]);
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

    double m_percentile;
    std::array<std::uint8_t, mostPlaces + 1> m_ranks{}; // by the number of valid pixels
    std::vector<Network> m_selecting;                   // for 2 places and more
    std::vector<Network> m_sorting;
};

/// Blocks one by one.
class PlainReducer : public BlockReducer
{
public:
    explicit PlainReducer(ReduceBlock reduceBlock) : m_reduceBlock(std::move(reduceBlock)) {}

    bool takesBytes(std::int64_t) const override { return false; }
    double nanosecondsPerFloat() const override { return 4.0; }
    double nanosecondsPerByte() const override { return 4.0; }

    void reduce(const Floats& pixels, const BlockAxis& columns, std::int64_t firstBlock,
                std::int64_t endBlock, std::int64_t firstPixel, float* out) const override
    {
        for (std::int64_t j = firstBlock; j < endBlock; ++j) {
            const BlockSpan& span = columns.span(j);
            *out++ = m_reduceBlock({pixels.first + span.start - firstPixel, pixels.step, pixels.rows},
                                   span.length);
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

std::unique_ptr<BlockReducer> makePercentileReducer(double percentile)
{
    return std::make_unique<PercentileReducer>(percentile);
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
