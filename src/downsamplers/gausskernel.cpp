#include "downsamplers/gausskernel.h"

#include "companion/compilerhints.h"
#include "companion/pixelvalues.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vexel {

namespace {

/// Columns whose sums stay in the first-level cache while the rows of a window are added to them.
constexpr std::ptrdiff_t chunk = 2048;

/// Partial sums of a window of columns, each of every eighth pixel: what one register of AVX holds.
constexpr int lanes = 8;

constexpr float infinity = std::numeric_limits<float>::infinity();

std::vector<float> weightsOf(double sigma, int reach)
{
    std::vector<double> weights(static_cast<std::size_t>(2 * reach + 1));
    double sum = 0.0;
    for (int i = -reach; i <= reach; ++i)
        sum += weights[static_cast<std::size_t>(i + reach)] = std::exp(-0.5 * i * i / (sigma * sigma));
    std::vector<float> scaled;
    scaled.reserve(weights.size());
    for (const double weight : weights)
        scaled.push_back(static_cast<float>(weight / sum));
    return scaled;
}

/// The weight of rows k and 2 reach - k of a window. The middle row is its own partner: halves of it add up exactly.
VEXEL_ALWAYS_INLINE float pairWeight(const float* weights, int reach, int k)
{
    return k < reach ? weights[k] : 0.5f * weights[k];
}

/// Adds two rows of the same weight. The sum of two bytes is exact.
VEXEL_ALWAYS_INLINE void addPair(const unsigned char* a, const unsigned char* b, float weight,
                                 std::ptrdiff_t columns, float* sums)
{
    for (std::ptrdiff_t x = 0; x < columns; ++x)
        sums[x] += weight * static_cast<float>(a[x] + b[x]);
}

/// That of two floats may leave their range, though the mean of them does not.
VEXEL_ALWAYS_INLINE void addPair(const float* a, const float* b, float weight, std::ptrdiff_t columns,
                                 float* sums)
{
    for (std::ptrdiff_t x = 0; x < columns; ++x)
        sums[x] += weight * a[x] + weight * b[x];
}

/// From the outermost rows inwards: those of little weight come first, so that rounding stays small in long windows.
template <class T>
VEXEL_ALWAYS_INLINE void sumRowsOf(const T* const* rows, const float* weights, int reach,
                                   std::ptrdiff_t columns, float* out)
{
    for (std::ptrdiff_t x = 0; x < columns; x += chunk) {
        const std::ptrdiff_t count = std::min(chunk, columns - x);
        std::fill_n(out + x, count, 0.0f);
        for (int k = 0; k <= reach; ++k)
            addPair(rows[k] + x, rows[2 * reach - k] + x, pairWeight(weights, reach, k), count, out + x);
    }
}

VEXEL_MULTIVERSION void sumByteRows(const unsigned char* const* rows, const float* weights, int reach,
                                    std::ptrdiff_t columns, float* out)
{
    sumRowsOf(rows, weights, reach, columns, out);
}

VEXEL_MULTIVERSION void sumFloatRows(const float* const* rows, const float* weights, int reach,
                                     std::ptrdiff_t columns, float* out)
{
    sumRowsOf(rows, weights, reach, columns, out);
}

/// The bytes of a window whose alpha is not 0.
struct OpaqueBytes
{
    const unsigned char* pixels;
    const unsigned char* alphas;

    VEXEL_ALWAYS_INLINE float value(std::ptrdiff_t x) const { return static_cast<float>(pixels[x]); }
    VEXEL_ALWAYS_INLINE bool isValid(std::ptrdiff_t x) const { return alphas[x] != 0; }
};

struct Floats
{
    const float* pixels;

    VEXEL_ALWAYS_INLINE float value(std::ptrdiff_t x) const { return pixels[x]; }
    VEXEL_ALWAYS_INLINE bool isValid(std::ptrdiff_t x) const { return !(pixels[x] < firstValidFloat); }
};

/// What a pixel adds to its column: if it is not valid, nothing.
struct Share
{
    float sum;
    float weight;
    float lowest;
    float highest;
};

template <class Pixels>
VEXEL_ALWAYS_INLINE Share shareOf(const Pixels& pixels, std::ptrdiff_t x, float weight)
{
    const float value = pixels.value(x);
    const bool isValid = pixels.isValid(x);
    return {isValid ? weight * value : 0.0f, isValid ? weight : 0.0f, isValid ? value : infinity,
            isValid ? value : -infinity};
}

/// NaN is passed over.
VEXEL_ALWAYS_INLINE float lower(float value, float lowest)
{
    return value < lowest ? value : lowest;
}
VEXEL_ALWAYS_INLINE float higher(float value, float highest)
{
    return value > highest ? value : highest;
}

/// Adds two rows of the same weight.
template <class Pixels>
VEXEL_ALWAYS_INLINE void addValidPair(const Pixels& a, const Pixels& b, float weight, std::ptrdiff_t columns,
                                      float* __restrict sums, float* __restrict weights,
                                      float* __restrict lowest, float* __restrict highest)
{
    for (std::ptrdiff_t x = 0; x < columns; ++x) {
        const Share ofA = shareOf(a, x, weight);
        const Share ofB = shareOf(b, x, weight);
        sums[x] += ofA.sum + ofB.sum;
        weights[x] += ofA.weight + ofB.weight;
        lowest[x] = lower(ofB.lowest, lower(ofA.lowest, lowest[x]));
        highest[x] = higher(ofB.highest, higher(ofA.highest, highest[x]));
    }
}

/// From the outermost rows inwards, too.
///
/// @param row makes the pixels of row k of the window from column x on.
template <class Row>
VEXEL_ALWAYS_INLINE void sumValidRowsOf(const Row& row, const float* weights, int reach,
                                        std::ptrdiff_t columns, const ValidSums& out)
{
    for (std::ptrdiff_t x = 0; x < columns; x += chunk) {
        const std::ptrdiff_t count = std::min(chunk, columns - x);
        std::fill_n(out.sums + x, count, 0.0f);
        std::fill_n(out.weights + x, count, 0.0f);
        std::fill_n(out.lowest + x, count, infinity);
        std::fill_n(out.highest + x, count, -infinity);
        for (int k = 0; k <= reach; ++k)
            addValidPair(row(k, x), row(2 * reach - k, x), pairWeight(weights, reach, k), count, out.sums + x,
                         out.weights + x, out.lowest + x, out.highest + x);
    }
}

VEXEL_MULTIVERSION void sumOpaqueRows(const unsigned char* const* rows, const unsigned char* const* alphas,
                                      const float* weights, int reach, std::ptrdiff_t columns,
                                      const ValidSums& out)
{
    const auto row = [&](int k, std::ptrdiff_t x) { return OpaqueBytes{rows[k] + x, alphas[k] + x}; };
    sumValidRowsOf(row, weights, reach, columns, out);
}

VEXEL_MULTIVERSION void sumValidFloatRows(const float* const* rows, const float* weights, int reach,
                                          std::ptrdiff_t columns, const ValidSums& out)
{
    const auto row = [&](int k, std::ptrdiff_t x) { return Floats{rows[k] + x}; };
    sumValidRowsOf(row, weights, reach, columns, out);
}

VEXEL_ALWAYS_INLINE float sumWindow(const float* pixels, const float* weights, int size)
{
    float sums[lanes] = {};
    int i = 0;
    for (; i + lanes <= size; i += lanes)
        for (int lane = 0; lane < lanes; ++lane)
            sums[lane] += weights[i + lane] * pixels[i + lane];
    float rest = 0.0f;
    for (; i < size; ++i)
        rest += weights[i] * pixels[i];
    for (int half = lanes / 2; half > 0; half /= 2)
        for (int lane = 0; lane < half; ++lane)
            sums[lane] += sums[lane + half];
    return sums[0] + rest;
}

/// The first of the pixels of a window in the order of `isBefore`, which none of them is NaN for.
template <class IsBefore>
VEXEL_ALWAYS_INLINE float firstOfWindow(const float* pixels, int size, const IsBefore& isBefore)
{
    float firsts[lanes];
    std::fill_n(firsts, lanes, pixels[0]);
    int i = 0;
    for (; i + lanes <= size; i += lanes)
        for (int lane = 0; lane < lanes; ++lane)
            firsts[lane] = isBefore(pixels[i + lane], firsts[lane]) ? pixels[i + lane] : firsts[lane];
    float first = pixels[0];
    for (; i < size; ++i)
        first = isBefore(pixels[i], first) ? pixels[i] : first;
    for (const float other : firsts)
        first = isBefore(other, first) ? other : first;
    return first;
}

VEXEL_MULTIVERSION void sumWindows(const float* row, const float* weights, int reach,
                                   const SampledPixels& samples, float* out)
{
    for (std::ptrdiff_t j = 0; j < samples.count; ++j)
        out[j] = sumWindow(row + samples.at(j) - reach, weights, 2 * reach + 1);
}

VEXEL_MULTIVERSION void meanOfWindows(const ValidSums& rows, const float* weights, int reach,
                                      const SampledPixels& samples, float* out)
{
    const int size = 2 * reach + 1;
    for (std::ptrdiff_t j = 0; j < samples.count; ++j) {
        const std::ptrdiff_t start = samples.at(j) - reach;
        const float mean =
            sumWindow(rows.sums + start, weights, size) / sumWindow(rows.weights + start, weights, size);
        const float lowest = firstOfWindow(rows.lowest + start, size, [](float a, float b) { return a < b; });
        const float highest =
            firstOfWindow(rows.highest + start, size, [](float a, float b) { return a > b; });
        const float notBelow = mean < lowest ? lowest : mean;
        out[j] = notBelow > highest ? highest : notBelow;
    }
}

} // namespace

GaussKernel::GaussKernel(double sigma, int reach) : m_reach(reach), m_weights(weightsOf(sigma, reach)) {}

void GaussKernel::sumRows(const unsigned char* const* rows, std::ptrdiff_t columns, float* out) const
{
    sumByteRows(rows, m_weights.data(), m_reach, columns, out);
}

void GaussKernel::sumRows(const float* const* rows, std::ptrdiff_t columns, float* out) const
{
    sumFloatRows(rows, m_weights.data(), m_reach, columns, out);
}

void GaussKernel::sumColumns(const float* row, const SampledPixels& samples, float* out) const
{
    sumWindows(row, m_weights.data(), m_reach, samples, out);
}

void GaussKernel::sumValidRows(const unsigned char* const* rows, const unsigned char* const* alphas,
                               std::ptrdiff_t columns, const ValidSums& out) const
{
    sumOpaqueRows(rows, alphas, m_weights.data(), m_reach, columns, out);
}

void GaussKernel::sumValidRows(const float* const* rows, std::ptrdiff_t columns, const ValidSums& out) const
{
    sumValidFloatRows(rows, m_weights.data(), m_reach, columns, out);
}

void GaussKernel::meanOfColumns(const ValidSums& rows, const SampledPixels& samples, float* out) const
{
    meanOfWindows(rows, m_weights.data(), m_reach, samples, out);
}

} // namespace vexel
