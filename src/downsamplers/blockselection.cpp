#include "downsamplers/blockselection.h"

#include "companion/pixelvalues.h"
#include "downsamplers/lanekernels.h"
#include "downsamplers/orderstatistic.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

namespace vexel {

namespace {

/// So few values are selected from directly.
constexpr std::size_t fewValues = 32;

/// Into so many classes values are sorted at a time.
constexpr std::uint32_t classes = 128;

using Key = std::int32_t;

std::uint32_t distance(Key from, Key to)
{
    return static_cast<std::uint32_t>(to) - static_cast<std::uint32_t>(from);
}

/// The class that holds the value of rank `rank`, which becomes its rank within that class.
std::uint32_t classOfRank(const std::uint32_t* counts, std::size_t& rank)
{
    std::uint32_t k = 0;
    for (; rank >= counts[k]; ++k)
        rank -= counts[k];
    return k;
}

} // namespace

float FloatSelection::reduce(const PixelRows<float>& pixels, std::int64_t columns)
{
    const std::size_t n = copyValid(pixels, columns);
    if (n < 2)
        return noData;
    const std::size_t rank = orderstatistic::rankOf(m_percentile, n);
    if (n <= fewValues)
        return orderstatistic::select(m_values.data(), n, rank);
    const Key key = selectKey(n, rank);
    const float value = kernels::valueOfKey(key);
    // Values of one order and different bits: which of them it is depends on the order of the pixels.
    if (key == kernels::keyOfNan || (value == 0.0f && hasBothZeros(n)))
        return orderstatistic::select(m_values.data(), n, rank);
    return value;
}

/// Returns how many there are; they stand in the order of the pixels.
std::size_t FloatSelection::copyValid(const PixelRows<float>& pixels, std::int64_t columns)
{
    m_values.resize(std::max(m_values.size(), static_cast<std::size_t>(pixels.rows * columns)));
    float* end = m_values.data();
    for (std::int64_t y = 0; y < pixels.rows; ++y) {
        const float* row = pixels.row(y);
        for (std::int64_t x = 0; x < columns; ++x) {
            *end = row[x];
            end += row[x] < firstValidFloat ? 0 : 1;
        }
    }
    return static_cast<std::size_t>(end - m_values.data());
}

/// Sorts the keys into classes of equal width, goes on with those of the class that holds the rank, and so on.
std::int32_t FloatSelection::selectKey(std::size_t n, std::size_t rank)
{
    m_keys.resize(m_values.size());
    Key* const keys = m_keys.data();
    auto [lowest, highest] = kernels::orderedKeys(m_values.data(), keys, static_cast<std::ptrdiff_t>(n));
    while (lowest < highest) {
        if (n <= fewValues) {
            std::nth_element(keys, keys + rank, keys + n);
            return keys[rank];
        }
        int shift = 0;
        while (distance(lowest, highest) >> shift >= classes)
            ++shift;
        const auto classOf = [lowest = lowest, shift](Key key) { return distance(lowest, key) >> shift; };
        std::uint32_t counts[classes] = {};
        for (std::size_t i = 0; i < n; ++i)
            ++counts[classOf(keys[i])];
        const std::uint32_t chosen = classOfRank(counts, rank);
        std::size_t kept = 0;
        for (std::size_t i = 0; i < n; ++i) {
            keys[kept] = keys[i];
            kept += classOf(keys[i]) == chosen ? 1 : 0;
        }
        n = kept;
        const auto extremes = std::minmax_element(keys, keys + n);
        lowest = *extremes.first;
        highest = *extremes.second;
    }
    return lowest;
}

bool FloatSelection::hasBothZeros(std::size_t n) const
{
    bool negative = false;
    bool positive = false;
    for (std::size_t i = 0; i < n; ++i) {
        negative |= m_values[i] == 0.0f && std::signbit(m_values[i]);
        positive |= m_values[i] == 0.0f && !std::signbit(m_values[i]);
    }
    return negative && positive;
}

namespace {

using Bytes = PixelRows<unsigned char>;

constexpr auto panelColumns = static_cast<std::size_t>(kernels::lanes);
constexpr std::size_t quarter = panelColumns / BytePanel::mostBlocks;

/// Copies a row of a block and returns where the next one goes. Most are too short to be worth a call.
unsigned char* copyRow(const unsigned char* from, std::int64_t length, unsigned char* to)
{
    constexpr std::int64_t word = 8;
    if (length < word || length > 8 * word)
        return std::copy_n(from, length, to);
    for (std::int64_t x = 0; x + word <= length; x += word)
        std::memcpy(to + x, from + x, word);
    std::memcpy(to + length - word, from + length - word, word);
    return to + length;
}

unsigned char* copyBlock(const Bytes& pixels, const BlockSpan& block, unsigned char* to)
{
    for (std::int64_t y = 0; y < pixels.rows; ++y)
        to = copyRow(pixels.row(y) + block.start, block.length, to);
    return to;
}

std::size_t noPixels(const Bytes& pixels, const BlockSpan& block)
{
    return static_cast<std::size_t>(pixels.rows * block.length);
}

/// Each block's value that `needed` of its bytes are not below, bit by bit from the highest on: one is set if enough
/// values are as large with it.
std::array<unsigned char, BytePanel::mostBlocks> select(const BytePanel& panel,
                                                        const BytePanel::Counts& needed)
{
    std::array<unsigned char, BytePanel::mostBlocks> found{};
    for (unsigned int bit = 128; bit != 0; bit /= 2) {
        auto tried = found;
        for (unsigned char& value : tried)
            value = static_cast<unsigned char>(value | bit);
        const BytePanel::Counts atLeast = panel.countAtLeast(tried);
        for (std::size_t i = 0; i < found.size(); ++i)
            found[i] = atLeast[i] >= needed[i] ? tried[i] : found[i];
    }
    return found;
}

} // namespace

std::size_t BytePanel::columnsPerBlock() const
{
    return m_isSingle ? panelColumns : quarter;
}

void BytePanel::fill(const Bytes& pixels, const BlockSpan* blocks, std::size_t count, unsigned char padding)
{
    std::size_t mostPixels = 0;
    for (std::size_t i = 0; i < count; ++i)
        mostPixels = std::max(mostPixels, noPixels(pixels, blocks[i]));
    m_isSingle = count == 1;
    m_rows = (mostPixels + columnsPerBlock() - 1) / columnsPerBlock();
    m_bytes.resize(std::max(m_bytes.size(), m_rows * panelColumns));
    if (m_isSingle) {
        std::fill(copyBlock(pixels, blocks[0], m_bytes.data()), m_bytes.data() + places(), padding);
        return;
    }
    m_line.resize(std::max(m_line.size(), places()));
    for (std::size_t i = 0; i < count; ++i) {
        std::fill(copyBlock(pixels, blocks[i], m_line.data()), m_line.data() + places(), padding);
        unsigned char* to = m_bytes.data() + i * quarter;
        for (std::size_t row = 0; row < m_rows; ++row, to += panelColumns)
            std::memcpy(to, m_line.data() + row * quarter, quarter);
    }
}

void BytePanel::raiseTransparent(const BytePanel& alpha)
{
    kernels::raiseTransparent(alpha.m_bytes.data(), m_bytes.data(),
                              static_cast<std::ptrdiff_t>(m_rows * panelColumns));
}

BytePanel::Counts BytePanel::countAtLeast(std::array<unsigned char, mostBlocks> thresholds) const
{
    static_assert(mostBlocks == kernels::quarters);
    if (m_isSingle)
        thresholds.fill(thresholds[0]);
    Counts counts{};
    kernels::countAtLeast(m_bytes.data(), static_cast<std::ptrdiff_t>(m_rows), thresholds.data(),
                          counts.data());
    if (m_isSingle)
        counts[0] = std::accumulate(counts.begin(), counts.end(), std::size_t{0});
    return counts;
}

std::int64_t ByteSelection::blocksAtATime(std::int64_t pixels)
{
    constexpr std::int64_t mostPixelsSideBySide = 1 << 14;
    return pixels <= mostPixelsSideBySide ? std::int64_t{BytePanel::mostBlocks} : 1;
}

void ByteSelection::reduce(const MaskedBytes& bytes, const BlockSpan* blocks, std::size_t count, float* out)
{
    const auto hasMissing = [&](const BlockSpan& block) { return hasZero(*bytes.alpha, block); };
    BytePanel::Counts valid{};
    m_values.fill(bytes.pixels, blocks, count, 255);
    if (bytes.alpha && std::any_of(blocks, blocks + count, hasMissing)) {
        m_alpha.fill(*bytes.alpha, blocks, count, 0);
        valid = m_alpha.countAtLeast({1, 1, 1, 1});
        m_values.raiseTransparent(m_alpha); // last in order, like the padding
    } else {
        for (std::size_t i = 0; i < count; ++i)
            valid[i] = noPixels(bytes.pixels, blocks[i]);
    }
    BytePanel::Counts needed{};
    for (std::size_t i = 0; i < count; ++i)
        needed[i] =
            m_values.places() - orderstatistic::rankOf(m_percentile, std::max<std::size_t>(valid[i], 1));
    const auto found = select(m_values, needed);
    for (std::size_t i = 0; i < count; ++i)
        out[i] = valid[i] < 2 ? noData : static_cast<float>(found[i]);
}

bool hasZero(const Bytes& bytes, const BlockSpan& columns)
{
    for (std::int64_t y = 0; y < bytes.rows; ++y)
        if (std::memchr(bytes.row(y) + columns.start, 0, static_cast<std::size_t>(columns.length)))
            return true;
    return false;
}

} // namespace vexel
