#include "downsamplers/lanekernels.h"

#include "companion/compilerhints.h"
#include "companion/pixelvalues.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

namespace vexel::kernels {

namespace {

/// All bits of a byte where the alpha is not 0. A choice in its place keeps GCC from making vectors of some loops.
VEXEL_ALWAYS_INLINE unsigned char countedMask(unsigned char alpha)
{
    return static_cast<unsigned char>(-static_cast<int>(alpha != 0));
}

/// Calls `work` with the length, as a constant where it is a common one: strides that are known make vectors.
template <class Work>
VEXEL_ALWAYS_INLINE void withLength(std::ptrdiff_t length, const Work& work)
{
    switch (length) {
    case 2:
        return work(std::integral_constant<std::ptrdiff_t, 2>());
    case 3:
        return work(std::integral_constant<std::ptrdiff_t, 3>());
    case 4:
        return work(std::integral_constant<std::ptrdiff_t, 4>());
    case 8:
        return work(std::integral_constant<std::ptrdiff_t, 8>());
    default:
        return work(length);
    }
}

/// counts[lane] := how many of up to 255 values are not below thresholds[lane].
VEXEL_ALWAYS_INLINE void countInLanes(const unsigned char* values, std::ptrdiff_t rows,
                                      const unsigned char* thresholds, std::uint8_t* counts)
{
    std::uint8_t atLeast[lanes] = {}; // a local array stays in registers
    for (std::ptrdiff_t y = 0; y < rows; ++y)
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
            const int isCounted = values[y * lanes + lane] >= thresholds[lane] ? 1 : 0;
            atLeast[lane] = static_cast<std::uint8_t>(atLeast[lane] + isCounted);
        }
    std::copy_n(atLeast, lanes, counts);
}

/// Turns the order of the bits of negative floats round, and back.
VEXEL_ALWAYS_INLINE std::int32_t orderedBits(std::int32_t bits)
{
    return bits ^ (-static_cast<std::int32_t>(bits < 0) & std::numeric_limits<std::int32_t>::max());
}

template <class T>
VEXEL_ALWAYS_INLINE void runNetworkOn(const Comparator* first, const Comparator* end, T* values)
{
    for (const Comparator* c = first; c != end; ++c) {
        T* __restrict low = values + c->low * lanes;
        T* __restrict high = values + c->high * lanes;
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
            const T a = low[lane];
            const T b = high[lane];
            low[lane] = b < a ? b : a;
            high[lane] = b < a ? a : b;
        }
    }
}

} // namespace

void gather(const float* row, const std::int64_t* start, float* out)
{
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
        out[lane] = row[start[lane]];
}

void gather(const unsigned char* row, const std::int64_t* start, unsigned char* out)
{
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
        out[lane] = row[start[lane]];
}

VEXEL_MULTIVERSION void gatherRegular(const float* __restrict row, std::ptrdiff_t length,
                                      float* __restrict out)
{
    withLength(length, [&](auto n) {
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            out[lane] = row[lane * n];
    });
}

VEXEL_MULTIVERSION void gatherRegular(const unsigned char* __restrict row, std::ptrdiff_t length,
                                      unsigned char* __restrict out)
{
    withLength(length, [&](auto n) {
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            out[lane] = row[lane * n];
    });
}

VEXEL_MULTIVERSION void addToMeans(const float* __restrict values, double* __restrict counts,
                                   double* __restrict means)
{
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
        const auto value = static_cast<double>(values[lane]);
        const bool missing = value < firstValidDouble;
        const double count = counts[lane] + 1.0;
        const double mean = means[lane] + (value - means[lane]) / count;
        counts[lane] = missing ? counts[lane] : count;
        means[lane] = missing ? means[lane] : mean;
    }
}

VEXEL_MULTIVERSION void foldMin(const float* __restrict values, float* __restrict chosen)
{
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
        const float value = values[lane];
        const bool taken = value < chosen[lane] && !(value <= firstValidFloat);
        chosen[lane] = taken ? value : chosen[lane];
    }
}

VEXEL_MULTIVERSION void foldMax(const float* __restrict values, float* __restrict chosen)
{
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
        const float value = values[lane];
        const bool taken = chosen[lane] < value && !(value <= firstValidFloat);
        chosen[lane] = taken ? value : chosen[lane];
    }
}

VEXEL_MULTIVERSION void addRow(const unsigned char* __restrict row, std::uint16_t* __restrict sums,
                               std::ptrdiff_t width)
{
    for (std::ptrdiff_t x = 0; x < width; ++x)
        sums[x] = static_cast<std::uint16_t>(sums[x] + row[x]);
}

VEXEL_MULTIVERSION void addRow(const unsigned char* __restrict row, const unsigned char* __restrict alpha,
                               std::uint16_t* __restrict sums, std::uint16_t* __restrict counts,
                               std::ptrdiff_t width)
{
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        const unsigned char counted = countedMask(alpha[x]);
        sums[x] = static_cast<std::uint16_t>(sums[x] + (row[x] & counted));
        counts[x] = static_cast<std::uint16_t>(counts[x] + (counted & 1));
    }
}

VEXEL_MULTIVERSION void meansOfBlocks(const std::uint16_t* sums, const std::uint16_t* counts,
                                      std::ptrdiff_t length, std::ptrdiff_t blocks, float* out)
{
    withLength(length, [&](auto n) {
        for (std::ptrdiff_t j = 0; j < blocks; ++j) {
            int sum = 0;
            int count = 0;
            for (std::ptrdiff_t k = 0; k < n; ++k) {
                sum += sums[j * n + k];
                count += counts[j * n + k];
            }
            out[j] = count == 0 ? noData : static_cast<float>(sum) / static_cast<float>(count);
        }
    });
}

VEXEL_MULTIVERSION void keepLowest(const unsigned char* __restrict row, unsigned char* __restrict lowest,
                                   std::ptrdiff_t width)
{
    for (std::ptrdiff_t x = 0; x < width; ++x)
        lowest[x] = std::min(lowest[x], row[x]);
}

VEXEL_MULTIVERSION void keepLowest(const unsigned char* __restrict row, const unsigned char* __restrict alpha,
                                   unsigned char* __restrict lowest, std::ptrdiff_t width)
{
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        const auto value = static_cast<unsigned char>(row[x] | ~countedMask(alpha[x]));
        lowest[x] = std::min(lowest[x], value);
    }
}

VEXEL_MULTIVERSION void lowestOfBlocks(const unsigned char* lowest, std::ptrdiff_t length,
                                       std::ptrdiff_t blocks, unsigned char* out)
{
    withLength(length, [&](auto n) {
        for (std::ptrdiff_t j = 0; j < blocks; ++j) {
            unsigned char least = 255;
            for (std::ptrdiff_t k = 0; k < n; ++k)
                least = std::min(least, lowest[j * n + k]);
            out[j] = least;
        }
    });
}

VEXEL_MULTIVERSION void keepHighest(const unsigned char* __restrict row, unsigned char* __restrict highest,
                                    std::ptrdiff_t width)
{
    for (std::ptrdiff_t x = 0; x < width; ++x)
        highest[x] = std::max(highest[x], row[x]);
}

VEXEL_MULTIVERSION void keepHighest(const unsigned char* __restrict row,
                                    const unsigned char* __restrict alpha, unsigned char* __restrict highest,
                                    std::ptrdiff_t width)
{
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        const auto value = static_cast<unsigned char>(row[x] & countedMask(alpha[x]));
        highest[x] = std::max(highest[x], value);
    }
}

VEXEL_MULTIVERSION void highestOfBlocks(const unsigned char* highest, std::ptrdiff_t length,
                                        std::ptrdiff_t blocks, unsigned char* out)
{
    withLength(length, [&](auto n) {
        for (std::ptrdiff_t j = 0; j < blocks; ++j) {
            unsigned char most = 0;
            for (std::ptrdiff_t k = 0; k < n; ++k)
                most = std::max(most, highest[j * n + k]);
            out[j] = most;
        }
    });
}

VEXEL_MULTIVERSION void markUnordered(const float* __restrict values, std::uint8_t* __restrict bad)
{
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, values + lane, sizeof bits);
        const bool ordered = values[lane] >= firstValidFloat && bits != 0x80000000u;
        bad[lane] = static_cast<std::uint8_t>(bad[lane] | (ordered ? 0 : 1));
    }
}

VEXEL_MULTIVERSION void raiseMissing(float* __restrict values, std::ptrdiff_t rows,
                                     std::uint8_t* __restrict valid, std::uint8_t* __restrict odd)
{
    for (std::ptrdiff_t y = 0; y < rows; ++y, values += lanes)
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
            std::uint32_t bits = 0;
            std::memcpy(&bits, values + lane, sizeof bits);
            const float value = values[lane];
            const bool missing = value < firstValidFloat;
            const bool isOdd = value != value || bits == 0x80000000u;
            values[lane] = missing ? std::numeric_limits<float>::infinity() : value;
            valid[lane] = static_cast<std::uint8_t>(valid[lane] + (missing ? 0 : 1));
            odd[lane] = static_cast<std::uint8_t>(odd[lane] | (isOdd ? 1 : 0));
        }
}

VEXEL_MULTIVERSION unsigned char joinedBits(const unsigned char* row, std::ptrdiff_t width)
{
    unsigned char bits = 0;
    for (std::ptrdiff_t x = 0; x < width; ++x)
        bits = static_cast<unsigned char>(bits | row[x]);
    return bits;
}

VEXEL_MULTIVERSION void selectInLanes(const unsigned char* values, std::ptrdiff_t places,
                                      const std::uint8_t* ranks, unsigned char* out)
{
    // Bit by bit from the highest on: one is set if enough values are as large with it.
    unsigned char found[lanes] = {};
    std::uint8_t needed[lanes];
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
        needed[lane] = static_cast<std::uint8_t>(places - ranks[lane]);
    for (int bit = 128; bit != 0; bit /= 2) {
        unsigned char tried[lanes];
        std::uint8_t atLeast[lanes];
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            tried[lane] = static_cast<unsigned char>(found[lane] | bit);
        countInLanes(values, places, tried, atLeast);
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            found[lane] = atLeast[lane] >= needed[lane] ? tried[lane] : found[lane];
    }
    std::copy_n(found, lanes, out);
}

VEXEL_MULTIVERSION void countOpaque(const unsigned char* alphas, std::ptrdiff_t places, std::uint8_t* counts)
{
    unsigned char least[lanes];
    std::fill_n(least, lanes, static_cast<unsigned char>(1));
    countInLanes(alphas, places, least, counts);
}

VEXEL_MULTIVERSION void countAtLeast(const unsigned char* values, std::ptrdiff_t rows,
                                     const unsigned char* thresholds, std::size_t* counts)
{
    constexpr std::ptrdiff_t columns = lanes / quarters;
    constexpr std::ptrdiff_t mostRows = std::numeric_limits<std::uint8_t>::max();
    unsigned char columnThresholds[lanes];
    for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
        columnThresholds[lane] = thresholds[lane / columns];
    std::fill_n(counts, quarters, std::size_t{0});
    for (std::ptrdiff_t y = 0; y < rows; y += mostRows) {
        std::uint8_t columnCounts[lanes];
        countInLanes(values + y * lanes, std::min(mostRows, rows - y), columnThresholds, columnCounts);
        for (std::ptrdiff_t lane = 0; lane < lanes; ++lane)
            counts[lane / columns] += columnCounts[lane];
    }
}

VEXEL_MULTIVERSION void raiseTransparent(const unsigned char* __restrict alpha, unsigned char* __restrict row,
                                         std::ptrdiff_t width)
{
    for (std::ptrdiff_t x = 0; x < width; ++x)
        row[x] = static_cast<unsigned char>(row[x] | ~countedMask(alpha[x]));
}

float valueOfKey(std::int32_t key)
{
    const std::int32_t bits = orderedBits(key);
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

VEXEL_MULTIVERSION KeyRange orderedKeys(const float* __restrict values, std::int32_t* __restrict keys,
                                        std::ptrdiff_t count)
{
    constexpr std::int32_t infinity = 0x7F800000;
    std::int32_t lowest = std::numeric_limits<std::int32_t>::max();
    std::int32_t highest = std::numeric_limits<std::int32_t>::min();
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        std::int32_t bits = 0;
        std::memcpy(&bits, values + i, sizeof bits);
        const std::int32_t nanMask = -static_cast<std::int32_t>((bits & keyOfNan) > infinity);
        const std::int32_t key = (orderedBits(bits) & ~nanMask) | (keyOfNan & nanMask);
        keys[i] = key;
        lowest = std::min(lowest, key);
        highest = std::max(highest, key);
    }
    return {lowest, highest};
}

std::vector<Comparator> sortingNetwork(std::size_t n)
{
    // Batcher's odd-even merge sort for any n.
    std::vector<Comparator> sorting;
    for (std::size_t p = 1; p < n; p += p)
        for (std::size_t q = p; q >= 1; q /= 2)
            for (std::size_t j = q % p; j + q < n; j += 2 * q)
                for (std::size_t i = 0; i < std::min(q, n - j - q); ++i)
                    if ((i + j) / (2 * p) == (i + j + q) / (2 * p))
                        sorting.push_back(
                            {static_cast<std::uint16_t>(i + j), static_cast<std::uint16_t>(i + j + q)});
    return sorting;
}

std::vector<Comparator> selectionNetwork(std::size_t n, std::size_t k)
{
    const std::vector<Comparator> sorting = sortingNetwork(n);
    // Exchanges that no longer reach the wanted place are left out, from the last one back.
    std::vector<bool> matters(n, false);
    matters[k] = true;
    std::vector<Comparator> selecting;
    for (auto c = sorting.rbegin(); c != sorting.rend(); ++c)
        if (matters[c->low] || matters[c->high]) {
            matters[c->low] = matters[c->high] = true;
            selecting.push_back(*c);
        }
    std::reverse(selecting.begin(), selecting.end());
    return selecting;
}

VEXEL_MULTIVERSION void runNetwork(const std::vector<Comparator>& network, float* values)
{
    runNetworkOn(network.data(), network.data() + network.size(), values);
}

VEXEL_MULTIVERSION void runNetwork(const std::vector<Comparator>& network, unsigned char* values)
{
    runNetworkOn(network.data(), network.data() + network.size(), values);
}

} // namespace vexel::kernels
