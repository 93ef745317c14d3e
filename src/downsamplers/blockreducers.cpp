#include "downsamplers/blockreducers.h"

#include "downsamplers/lanekernels.h"
#include "workspace/arithmetic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <mutex>
#include <utility>
#include <vector>

namespace vexel {

namespace {

using kernels::lanes;
using Starts = std::array<std::int64_t, static_cast<std::size_t>(lanes)>;
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

/// Common road of the reducers: groups of equally wide blocks go to the kernels, the rest one by one.
class LaneReducer : public BlockReducer
{
public:
    explicit LaneReducer(ReduceBlock reduceBlock) : m_reduceBlock(std::move(reduceBlock)) {}

    void reduce(const Floats& pixels, const BlockAxis& columns, std::int64_t firstBlock,
                std::int64_t endBlock, std::int64_t firstPixel, float* out) const override
    {
        const auto one = [&](std::int64_t start, std::int64_t length) {
            return m_reduceBlock({pixels.first + start, pixels.step, pixels.rows}, length);
        };
        const auto group = [&](const Starts& starts, std::int64_t length, float* results) {
            return reduceGroup(pixels, starts, length, results);
        };
        reduceAll(columns, firstBlock, endBlock, firstPixel, out, one, group);
    }

    void reduce(const Bytes& pixels, const Bytes* alpha, const BlockAxis& columns, std::int64_t firstBlock,
                std::int64_t endBlock, std::int64_t firstPixel, float* out) const override
    {
        std::vector<float> block;
        const auto one = [&](std::int64_t start, std::int64_t length) {
            block.resize(static_cast<std::size_t>(pixels.rows * length));
            copyBlock(pixels, alpha, start, length, block.data());
            return m_reduceBlock({block.data(), length, pixels.rows}, length);
        };
        const auto group = [&](const Starts& starts, std::int64_t length, float* results) {
            return reduceGroup(pixels, alpha, starts, length, results);
        };
        reduceAll(columns, firstBlock, endBlock, firstPixel, out, one, group);
    }

protected:
    /// Bit i set: block i of the group has to be reduced by itself.
    using Rest = std::uint32_t;

    virtual Rest reduceGroup(const Floats& pixels, const Starts& starts, std::int64_t length,
                             float* out) const = 0;
    virtual Rest reduceGroup(const Bytes& pixels, const Bytes* alpha, const Starts& starts,
                             std::int64_t length, float* out) const = 0;

private:
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
                    starts[static_cast<std::size_t>(lane)] = columns.first(j + lane) - firstPixel;
                for (Rest rest = group(starts, length, out), lane = 0; rest != 0; rest >>= 1, ++lane)
                    if (rest & 1u)
                        out[lane] = one(starts[lane], length);
                j += lanes - 1;
                out += lanes - 1;
            } else {
                *out = one(columns.first(j) - firstPixel, length);
            }
        }
    }

    ReduceBlock m_reduceBlock;
};

class AverageReducer : public LaneReducer
{
public:
    using LaneReducer::LaneReducer;

    /// A sum of so few bytes, divided, rounds to the same float as their running mean: its error stays below
    /// the distance of such a quotient from the nearest midpoint of two floats.
    bool takesBytes(std::int64_t blockSize) const override { return blockSize <= largestBlock; }

private:
    static constexpr std::int64_t largestBlock = 90;
    /// Of a group: blocks start at most one pixel more apart than they are wide.
    static constexpr std::int64_t mostColumns = lanes * (largestBlock + 1);

    Rest reduceGroup(const Floats& pixels, const Starts& starts, std::int64_t length,
                     float* out) const override
    {
        float values[lanes];
        double counts[lanes] = {};
        double means[lanes] = {};
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            for (std::int64_t x = 0; x < length; ++x) {
                kernels::gather(pixels.row(y) + x, starts.data(), values);
                kernels::addToMeans(values, counts, means);
            }
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            out[lane] = counts[lane] == 0.0 ? noData : static_cast<float>(means[lane]);
        return 0;
    }

    Rest reduceGroup(const Bytes& pixels, const Bytes* alpha, const Starts& starts, std::int64_t length,
                     float* out) const override
    {
        const std::int64_t first = starts.front();
        const std::int64_t width = starts.back() + length - first;
        std::uint16_t sums[mostColumns] = {};
        std::uint16_t counts[mostColumns];
        std::fill_n(counts, width, static_cast<std::uint16_t>(alpha ? 0 : pixels.rows));
        for (std::int64_t y = 0; y < pixels.rows; ++y) {
            if (alpha)
                kernels::addRow(pixels.row(y) + first, alpha->row(y) + first, sums, counts, width);
            else
                kernels::addRow(pixels.row(y) + first, sums, width);
        }
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
            const auto start = static_cast<std::size_t>(starts[static_cast<std::size_t>(lane)] - first);
            unsigned sum = 0;
            unsigned count = 0;
            for (std::size_t x = start; x < start + static_cast<std::size_t>(length); ++x) {
                sum += sums[x];
                count += counts[x];
            }
            out[lane] = count == 0 ? noData : static_cast<float>(sum) / static_cast<float>(count);
        }
        return 0;
    }
};

/// Minimum or maximum, in the order of a block reduced by itself: it decides which zero of either sign is
/// taken.
template <void (*Fold)(const float*, float*)>
class FoldReducer : public LaneReducer
{
public:
    using LaneReducer::LaneReducer;

    bool takesBytes(std::int64_t) const override { return true; }

private:
    Rest reduceGroup(const Floats& pixels, const Starts& starts, std::int64_t length,
                     float* out) const override
    {
        float values[lanes];
        kernels::gather(pixels.row(0), starts.data(), out);
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            for (std::int64_t x = 0; x < length; ++x) {
                kernels::gather(pixels.row(y) + x, starts.data(), values);
                Fold(values, out);
            }
        return 0;
    }

    Rest reduceGroup(const Bytes& pixels, const Bytes* alpha, const Starts& starts, std::int64_t length,
                     float* out) const override
    {
        float values[lanes];
        const auto gather = [&](std::int64_t y, std::int64_t x, float* to) {
            for (std::size_t lane = 0; lane < starts.size(); ++lane) {
                const std::int64_t at = starts[lane] + x;
                to[lane] = alpha && alpha->row(y)[at] == 0 ? noData : static_cast<float>(pixels.row(y)[at]);
            }
        };
        gather(0, 0, out);
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            for (std::int64_t x = 0; x < length; ++x) {
                gather(y, x, values);
                Fold(values, out);
            }
        return 0;
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

    bool takesBytes(std::int64_t) const override { return true; }

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
                kernels::gather(pixels.row(y) + x, starts.data(), place);
                kernels::markUnordered(place, bad);
            }
        kernels::runNetwork(networkFor(places), values);
        std::copy_n(values + rank(static_cast<std::size_t>(places)) * lanes, lanes, out);
        return restOf(bad);
    }

    Rest reduceGroup(const Bytes& pixels, const Bytes* alpha, const Starts& starts, std::int64_t length,
                     float* out) const override
    {
        const std::int64_t places = pixels.rows * length;
        if (!isTaken(places))
            return ~Rest{0};
        unsigned char values[mostPlaces * lanes];
        std::uint8_t bad[lanes] = {};
        unsigned char* place = values;
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            for (std::int64_t x = 0; x < length; ++x, place += lanes) {
                kernels::gather(pixels.row(y) + x, starts.data(), place);
                if (alpha)
                    for (std::size_t lane = 0; lane < starts.size(); ++lane)
                        bad[lane] =
                            static_cast<std::uint8_t>(bad[lane] | (alpha->row(y)[starts[lane] + x] == 0));
            }
        kernels::runNetwork(networkFor(places), values);
        std::copy_n(values + rank(static_cast<std::size_t>(places)) * lanes, lanes, out);
        return restOf(bad);
    }

    double m_percentile;
    std::vector<std::vector<kernels::Comparator>> m_networks; // for 2 places and more
};

} // namespace

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
    return std::make_unique<FoldReducer<kernels::foldMin>>(std::move(reduceBlock));
}

std::unique_ptr<BlockReducer> makeMaxReducer(ReduceBlock reduceBlock)
{
    return std::make_unique<FoldReducer<kernels::foldMax>>(std::move(reduceBlock));
}

} // namespace vexel
