#include "downsamplers/blockreducers.h"

#include "companion/pixelvalues.h"
#include "downsamplers/blockselection.h"
#include "downsamplers/lanegroups.h"
#include "downsamplers/lanekernels.h"
#include "downsamplers/orderstatistic.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <numeric>
#include <vector>

namespace vexel {

namespace {

using kernels::lanes;
using lanegroups::Rest;
using lanegroups::Starts;

using Bytes = PixelRows<unsigned char>;
using Floats = PixelRows<float>;

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

    void reduce(const Floats& pixels, const BlockColumns& columns, float* out) const override
    {
        FloatSelection selection(m_percentile);
        const auto one = [&](std::int64_t start, std::int64_t length) {
            return selection.reduce({pixels.first + start, pixels.step, pixels.rows}, length);
        };
        const auto group = [&](const Starts& starts, std::int64_t length, float* results) {
            return reduceGroup(pixels, starts, length, results);
        };
        lanegroups::reduceInGroups(columns, out, one, group);
    }

    void reduce(const MaskedBytes& bytes, const BlockColumns& columns, float* out) const override
    {
        ByteSelection selection(m_percentile);
        for (std::int64_t i = 0; i < columns.noBlocks();) {
            const std::int64_t length = columns.block(i).length;
            const std::int64_t noPixels = bytes.pixels.rows * length;
            if (isTaken(noPixels) && lanegroups::isGroup(columns, i)) {
                reduceGroup(bytes, lanegroups::startsOf(columns, i), length, out + i);
                i += lanes;
                continue;
            }
            std::array<BlockSpan, BytePanel::mostBlocks> blocks{};
            const std::int64_t first = i;
            while (i < columns.noBlocks() && i - first < ByteSelection::blocksAtATime(noPixels)) {
                blocks[static_cast<std::size_t>(i - first)] = columns.block(i);
                ++i;
            }
            selection.reduce(bytes, blocks.data(), static_cast<std::size_t>(i - first), out + first);
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
                lanegroups::gather(pixels.row(y) + x, starts, place);
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

    void reduceGroup(const MaskedBytes& bytes, const Starts& starts, std::int64_t length, float* out) const
    {
        const BlockSpan all{starts.at.front(), starts.at.back() + length - starts.at.front()};
        const bool isOpaque = !bytes.alpha || !hasZero(*bytes.alpha, all);
        if (!isOpaque && isTransparent(*bytes.alpha, all)) {
            std::fill_n(out, lanes, noData);
            return;
        }
        const std::int64_t places = bytes.pixels.rows * length;
        unsigned char values[mostPlaces * lanes];
        gatherAll(bytes.pixels, starts, length, values);
        if (isOpaque) {
            kernels::runNetwork(networkFor(places, m_selecting), values);
            std::copy_n(values + m_ranks[static_cast<std::size_t>(places)] * lanes, lanes, out);
        } else {
            unsigned char alphas[mostPlaces * lanes];
            gatherAll(*bytes.alpha, starts, length, alphas);
            selectValid(values, alphas, places, out);
        }
    }

    static void gatherAll(const Bytes& bytes, const Starts& starts, std::int64_t length, unsigned char* place)
    {
        for (std::int64_t y = 0; y < bytes.rows; ++y)
            for (std::int64_t x = 0; x < length; ++x, place += lanes)
                lanegroups::gather(bytes.row(y) + x, starts, place);
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

    static bool isTransparent(const Bytes& alpha, const BlockSpan& columns)
    {
        for (std::int64_t y = 0; y < alpha.rows; ++y)
            if (kernels::joinedBits(alpha.row(y) + columns.start, columns.length) != 0)
                return false;
        return true;
    }

    double m_percentile;
    std::array<std::uint8_t, mostPlaces + 1> m_ranks{}; // by the number of valid pixels
    std::vector<Network> m_selecting;                   // for 2 places and more
    std::vector<Network> m_sorting;
};

} // namespace

std::unique_ptr<BlockReducer> makePercentileReducer(double percentile)
{
    return std::make_unique<PercentileReducer>(percentile);
}

} // namespace vexel
