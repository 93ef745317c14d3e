#include "downsamplers/blockreducers.h"

#include "companion/pixelvalues.h"
#include "downsamplers/lanegroups.h"
#include "downsamplers/lanekernels.h"

#include <algorithm>
#include <utility>

namespace vexel {

namespace {

using kernels::lanes;
using lanegroups::Starts;

/// Neighbouring blocks of a run.
struct BlockChunk
{
    std::int64_t firstBlock;
    std::int64_t endBlock;
    std::int64_t start; ///< of the first one in the rows
    std::int64_t end;   ///< beyond the last pixel of any
    bool isRegular;     ///< blocks of one length that follow each other without gap or overlap

    std::int64_t width() const { return end - start; }
};

/// Columns that are joined at a time: what they become stays in the nearest cache.
constexpr std::int64_t columnsAtATime = 2048;

/// The blocks from `first` on that so many columns hold, one at least.
BlockChunk chunkFrom(const BlockColumns& columns, std::int64_t first)
{
    const auto [start, length] = columns.block(first);
    if (first < columns.noRegular()) {
        const std::int64_t most = std::max<std::int64_t>(1, columnsAtATime / length);
        const std::int64_t end = std::min(columns.noRegular(), first + most);
        return {first, end, start, start + (end - first) * length, true};
    }
    BlockChunk chunk{first, first + 1, start, start + length, false};
    for (; chunk.endBlock < columns.noBlocks(); ++chunk.endBlock) {
        const BlockSpan next = columns.block(chunk.endBlock);
        if (next.start + next.length - start > columnsAtATime)
            break;
        chunk.end = std::max(chunk.end, next.start + next.length);
    }
    return chunk;
}

/// Calls `work(start, length, blocks)` for the blocks of a chunk, counted from its first pixel: once if they
/// are regular, else one by one.
template <class Work>
void forBlocks(const BlockColumns& columns, const BlockChunk& chunk, const Work& work)
{
    if (chunk.isRegular) {
        work(0, columns.block(chunk.firstBlock).length, chunk.endBlock - chunk.firstBlock);
        return;
    }
    for (std::int64_t i = chunk.firstBlock; i < chunk.endBlock; ++i)
        work(columns.block(i).start - chunk.start, columns.block(i).length, 1);
}

/// What mean, minimum and maximum have in common. Floats of a group of blocks side by side are added pixel by pixel, in
/// the order of a block reduced by itself. The order of bytes does not show in the result, so their rows are joined
/// first, column by column, then the columns of each block.
///
/// @tparam Strategy what is done, in two classes.
///                  - `Lanes`, for a group of blocks of floats: `start(values)` gets the first pixel of each block,
///                    `add(values)` every pixel, and `finish(out)` returns the results.
///                  - `Columns`, for a chunk of blocks of bytes: `start(bytes, start, width)`, then `add(row, width)` or
///                    `add(row, alpha, width)` for each row, and `finish(start, length, blocks, out)` for equally long
///                    blocks that follow each other.
template <class Strategy>
class JoiningReducer : public BlockReducer
{
public:
    explicit JoiningReducer(ReduceBlock reduceBlock) : m_reduceBlock(std::move(reduceBlock)) {}

    double nanosecondsPerFloat() const override { return Strategy::nanosecondsPerFloat; }
    double nanosecondsPerByte() const override { return 0.15; }

    bool takesBytes(std::int64_t blockSize) const override { return blockSize <= Strategy::largestOfBytes; }

    void reduce(const PixelRows<float>& pixels, const BlockColumns& columns, float* out) const override
    {
        const auto one = [&](std::int64_t start, std::int64_t length) {
            return m_reduceBlock({pixels.first + start, pixels.step, pixels.rows}, length);
        };
        const auto group = [&](const Starts& starts, std::int64_t length, float* results) {
            reduceGroup(pixels, starts, length, results);
            return lanegroups::Rest{0};
        };
        lanegroups::reduceInGroups(columns, out, one, group);
    }

    void reduce(const MaskedBytes& bytes, const BlockColumns& columns, float* out) const override
    {
        typename Strategy::Columns joined;
        for (std::int64_t first = 0; first < columns.noBlocks();) {
            const BlockChunk chunk = chunkFrom(columns, first);
            joinRows(bytes, chunk, joined);
            forBlocks(columns, chunk, [&](std::int64_t start, std::int64_t length, std::int64_t blocks) {
                joined.finish(start, length, blocks, out);
                out += blocks;
            });
            first = chunk.endBlock;
        }
    }

private:
    static void reduceGroup(const PixelRows<float>& pixels, const Starts& starts, std::int64_t length,
                            float* out)
    {
        float firstOnes[lanes];
        lanegroups::gather(pixels.row(0), starts, firstOnes);
        typename Strategy::Lanes joined;
        joined.start(firstOnes);
        lanegroups::forEachPixel(pixels, starts, length, [&](const float* values) { joined.add(values); });
        joined.finish(out);
    }

    static void joinRows(const MaskedBytes& bytes, const BlockChunk& chunk,
                         typename Strategy::Columns& joined)
    {
        joined.start(bytes, chunk.start, chunk.width());
        for (std::int64_t y = 0; y < bytes.pixels.rows; ++y) {
            const unsigned char* row = bytes.pixels.row(y) + chunk.start;
            if (bytes.alpha)
                joined.add(row, bytes.alpha->row(y) + chunk.start, chunk.width());
            else
                joined.add(row, chunk.width());
        }
    }

    ReduceBlock m_reduceBlock;
};

/// Mean: sums and counts.
struct Mean
{
    static constexpr double nanosecondsPerFloat = 1.0;

    /// A sum of so few bytes, divided, rounds to the same float as their running mean: its error stays below
    /// the distance of such a quotient from the nearest midpoint of two floats.
    static constexpr std::int64_t largestOfBytes = 90;

    class Lanes
    {
    public:
        void start(const float*)
        {
            std::fill_n(m_counts, lanes, 0.0);
            std::fill_n(m_means, lanes, 0.0);
        }

        void add(const float* values) { kernels::addToMeans(values, m_counts, m_means); }

        void finish(float* out) const
        {
            for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
                out[lane] = m_counts[lane] == 0.0 ? noData : static_cast<float>(m_means[lane]);
        }

    private:
        double m_counts[lanes];
        double m_means[lanes];
    };

    class Columns
    {
    public:
        void start(const MaskedBytes& bytes, std::int64_t, std::int64_t width)
        {
            std::fill_n(m_sums, width, std::uint16_t{0});
            std::fill_n(m_counts, width, static_cast<std::uint16_t>(bytes.alpha ? 0 : bytes.pixels.rows));
        }

        void add(const unsigned char* row, std::int64_t width) { kernels::addRow(row, m_sums, width); }

        void add(const unsigned char* row, const unsigned char* alpha, std::int64_t width)
        {
            kernels::addRow(row, alpha, m_sums, m_counts, width);
        }

        void finish(std::int64_t start, std::int64_t length, std::int64_t blocks, float* out) const
        {
            kernels::meansOfBlocks(m_sums + start, m_counts + start, length, blocks, out);
        }

    private:
        std::uint16_t m_sums[columnsAtATime];
        std::uint16_t m_counts[columnsAtATime];
    };
};

/// Minimum or maximum of floats. The order of the pixels decides which zero of either sign is taken.
template <void (*Fold)(const float*, float*)>
struct FoldOfFloats
{
    static constexpr double nanosecondsPerFloat = 0.7;
    static constexpr std::int64_t largestOfBytes = columnsAtATime;

    class Lanes
    {
    public:
        void start(const float* values) { std::copy_n(values, lanes, m_chosen); }
        void add(const float* values) { Fold(values, m_chosen); }
        void finish(float* out) const { std::copy_n(m_chosen, lanes, out); }

    private:
        float m_chosen[lanes];
    };
};

struct Min : FoldOfFloats<kernels::foldMin>
{
    class Columns
    {
    public:
        void start(const MaskedBytes& bytes, std::int64_t start, std::int64_t width)
        {
            m_firstAlpha = bytes.alpha ? bytes.alpha->row(0) + start : nullptr;
            std::fill_n(m_lowest, width, static_cast<unsigned char>(255));
        }

        void add(const unsigned char* row, std::int64_t width) { kernels::keepLowest(row, m_lowest, width); }

        void add(const unsigned char* row, const unsigned char* alpha, std::int64_t width)
        {
            kernels::keepLowest(row, alpha, m_lowest, width);
        }

        void finish(std::int64_t start, std::int64_t length, std::int64_t blocks, float* out) const
        {
            unsigned char results[columnsAtATime];
            kernels::lowestOfBlocks(m_lowest + start, length, blocks, results);
            for (std::int64_t j = 0; j < blocks; ++j) {
                // A block whose first pixel is missing is missing, whatever follows.
                const bool isMissing = m_firstAlpha && m_firstAlpha[start + j * length] == 0;
                out[j] = isMissing ? noData : static_cast<float>(results[j]);
            }
        }

    private:
        const unsigned char* m_firstAlpha;
        unsigned char m_lowest[columnsAtATime];
    };
};

struct Max : FoldOfFloats<kernels::foldMax>
{
    class Columns
    {
    public:
        void start(const MaskedBytes& bytes, std::int64_t, std::int64_t width)
        {
            std::fill_n(m_highest, width, static_cast<unsigned char>(0));
            std::fill_n(m_opaque, width, static_cast<unsigned char>(bytes.alpha ? 0 : 255));
        }

        void add(const unsigned char* row, std::int64_t width)
        {
            kernels::keepHighest(row, m_highest, width);
        }

        void add(const unsigned char* row, const unsigned char* alpha, std::int64_t width)
        {
            kernels::keepHighest(row, alpha, m_highest, width);
            kernels::keepHighest(alpha, m_opaque, width);
        }

        void finish(std::int64_t start, std::int64_t length, std::int64_t blocks, float* out) const
        {
            unsigned char results[columnsAtATime];
            unsigned char anyOpaque[columnsAtATime];
            kernels::highestOfBlocks(m_highest + start, length, blocks, results);
            kernels::highestOfBlocks(m_opaque + start, length, blocks, anyOpaque);
            for (std::int64_t j = 0; j < blocks; ++j)
                out[j] = anyOpaque[j] == 0 ? noData : static_cast<float>(results[j]);
        }

    private:
        unsigned char m_highest[columnsAtATime];
        unsigned char m_opaque[columnsAtATime];
    };
};

/// Blocks one by one.
class PlainReducer : public BlockReducer
{
public:
    explicit PlainReducer(ReduceBlock reduceBlock) : m_reduceBlock(std::move(reduceBlock)) {}

    bool takesBytes(std::int64_t) const override { return false; }
    double nanosecondsPerFloat() const override { return 4.0; }
    double nanosecondsPerByte() const override { return 4.0; }

    void reduce(const PixelRows<float>& pixels, const BlockColumns& columns, float* out) const override
    {
        for (std::int64_t j = 0; j < columns.noBlocks(); ++j) {
            const BlockSpan block = columns.block(j);
            *out++ = m_reduceBlock({pixels.first + block.start, pixels.step, pixels.rows}, block.length);
        }
    }
    void reduce(const MaskedBytes&, const BlockColumns&, float*) const override {}

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
    return std::make_unique<JoiningReducer<Mean>>(std::move(reduceBlock));
}

std::unique_ptr<BlockReducer> makeMinReducer(ReduceBlock reduceBlock)
{
    return std::make_unique<JoiningReducer<Min>>(std::move(reduceBlock));
}

std::unique_ptr<BlockReducer> makeMaxReducer(ReduceBlock reduceBlock)
{
    return std::make_unique<JoiningReducer<Max>>(std::move(reduceBlock));
}

} // namespace vexel
