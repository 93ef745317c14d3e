#include "downsamplers/lanekernels.h"

#include "companion/multiversion.h"

#include <algorithm>
#include <cstring>

namespace vexel::kernels {

namespace {

constexpr double firstValid = -9999.999;
constexpr float firstValidFloat = static_cast<float>(-9999.999);

template <class T>
inline __attribute__((always_inline)) void runNetworkOn(const Comparator* first, const Comparator* end,
                                                        T* values)
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
        const bool valid = alpha[x] != 0;
        sums[x] = static_cast<std::uint16_t>(sums[x] + (valid ? row[x] : 0));
        counts[x] = static_cast<std::uint16_t>(counts[x] + (valid ? 1 : 0));
    }
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
