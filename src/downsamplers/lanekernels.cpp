#include "downsamplers/lanekernels.h"

#include "companion/compilerhints.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace vexel::kernels {

namespace {

constexpr double firstValid = -9999.999;
constexpr float firstValidFloat = static_cast<float>(-9999.999);

constexpr float noData = -10000.0f;

/// All bits of a byte where the alpha is not 0.
VEXEL_ALWAYS_INLINE unsigned char countedMask(unsigned char alpha)
{
    return alpha != 0 ? 0xFF : 0;
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
        const bool missing = value < firstValid;
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

VEXEL_MULTIVERSION unsigned char joinedBits(const unsigned char* row, std::ptrdiff_t width)
{
    unsigned char bits = 0;
    for (std::ptrdiff_t x = 0; x < width; ++x)
        bits = static_cast<unsigned char>(bits | row[x]);
    return bits;
}

std::vector<Comparator> selectionNetwork(std::size_t n, std::size_t k)
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
