#ifndef VEXEL_TESTS_DOWNSAMPLERS_GAUSSKERNELFIXTURES_H
#define VEXEL_TESTS_DOWNSAMPLERS_GAUSSKERNELFIXTURES_H

#include "downsamplers/gausskernel.h"
#include "support/sampledgaussian.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

/// What the tests of the sampled Gaussian share: ways to run a kernel, direct sums in double, and pixels.
namespace gausskerneltest {

using vexel::GaussKernel;
using vexel::SampledPixels;
using vexel::ValidSums;

inline constexpr float infinity = std::numeric_limits<float>::infinity();
inline constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
inline constexpr float noData = -10000.0f;

template <class T>
using Rows = std::vector<std::vector<T>>;

struct KernelCase
{
    const char* name;
    double sigma;
    int reach;
};

inline void PrintTo(const KernelCase& row, std::ostream* out)
{
    *out << row.name;
}

// Those of the factors 2, 4, 8 and 1024, and windows shorter and just longer than a register.
inline constexpr KernelCase kernelCases[] = {
    {"PixelAlone", 1.0, 0},        {"ThreePixels", 0.4, 1},           {"SevenPixels", 0.7, 3},
    {"NinePixels", 0.8, 4},        {"FactorTwo", 1.835756, 9},        {"FactorFour", 2.596151, 13},
    {"FactorEight", 3.671512, 18}, {"FactorThousand", 41.53938, 208},
};

/// Those of the factors 1024 and 4096.
inline constexpr KernelCase longKernels[] = {{"FactorThousand", 41.53938, 208},
                                             {"FactorFourThousand", 83.07710, 415}};

inline std::string nameOf(const testing::TestParamInfo<KernelCase>& row)
{
    return row.param.name;
}

// ---- Running a kernel

template <class T>
std::vector<const T*> firstsOf(const Rows<T>& rows)
{
    std::vector<const T*> firsts;
    for (const std::vector<T>& row : rows)
        firsts.push_back(row.data());
    return firsts;
}

/// Arrays of as many as there are columns.
struct ValidColumns
{
    explicit ValidColumns(std::size_t columns)
        : sums(columns), weights(columns), lowest(columns), highest(columns)
    {}

    ValidSums all() { return from(0); }
    ValidSums from(std::size_t column)
    {
        return {sums.data() + column, weights.data() + column, lowest.data() + column,
                highest.data() + column};
    }

    std::vector<float> sums;
    std::vector<float> weights;
    std::vector<float> lowest;
    std::vector<float> highest;
};

template <class T>
std::vector<float> columnSums(const GaussKernel& kernel, const Rows<T>& rows)
{
    std::vector<float> sums(rows.front().size());
    kernel.sumRows(firstsOf(rows).data(), static_cast<std::ptrdiff_t>(sums.size()), sums.data());
    return sums;
}

inline ValidColumns validColumns(const GaussKernel& kernel, const Rows<float>& rows)
{
    ValidColumns columns(rows.front().size());
    kernel.sumValidRows(firstsOf(rows).data(), static_cast<std::ptrdiff_t>(rows.front().size()),
                        columns.all());
    return columns;
}

inline ValidColumns validColumns(const GaussKernel& kernel, const Rows<unsigned char>& rows,
                                 const Rows<unsigned char>& alphas)
{
    ValidColumns columns(rows.front().size());
    kernel.sumValidRows(firstsOf(rows).data(), firstsOf(alphas).data(),
                        static_cast<std::ptrdiff_t>(rows.front().size()), columns.all());
    return columns;
}

/// Every column whose window lies in a row.
inline std::vector<std::ptrdiff_t> wholeWindows(const GaussKernel& kernel, std::size_t columns)
{
    std::vector<std::ptrdiff_t> samples;
    for (std::ptrdiff_t x = kernel.reach(); x + kernel.reach() < static_cast<std::ptrdiff_t>(columns); ++x)
        samples.push_back(x);
    return samples;
}

inline SampledPixels sampled(const std::vector<std::ptrdiff_t>& samples)
{
    return {samples.data(), static_cast<std::ptrdiff_t>(samples.size()), 0};
}

inline std::vector<float> windowSums(const GaussKernel& kernel, const std::vector<float>& row)
{
    const std::vector<std::ptrdiff_t> samples = wholeWindows(kernel, row.size());
    std::vector<float> sums(samples.size());
    kernel.sumColumns(row.data(), sampled(samples), sums.data());
    return sums;
}

inline std::vector<float> windowMeans(const GaussKernel& kernel, ValidColumns columns)
{
    const std::vector<std::ptrdiff_t> samples = wholeWindows(kernel, columns.sums.size());
    std::vector<float> means(samples.size());
    kernel.meanOfColumns(columns.all(), sampled(samples), means.data());
    return means;
}

// ---- What is expected

/// Sums in double over the valid pixels of a window.
struct Direct
{
    double mean() const { return sum / weight; }
    double limit() const
    {
        return 1e-5 * (highest - lowest) + 1e-6 * std::max(std::abs(lowest), std::abs(highest));
    }

    double sum = 0.0;
    double weight = 0.0;
    double lowest = std::numeric_limits<double>::infinity();
    double highest = -std::numeric_limits<double>::infinity();
};

inline void add(Direct& direct, double weight, double value)
{
    direct.sum += weight * value;
    direct.weight += weight;
    direct.lowest = std::min(direct.lowest, value);
    direct.highest = std::max(direct.highest, value);
}

/// @param isValid of row and column.
template <class T, class IsValid>
Direct directWindow(const KernelCase& kernel, const Rows<T>& rows, std::size_t start, const IsValid& isValid)
{
    const std::vector<double> weights = sampledGaussian(kernel.sigma, kernel.reach);
    Direct direct;
    for (std::size_t k = 0; k < weights.size(); ++k)
        for (std::size_t i = 0; i < weights.size(); ++i)
            if (isValid(k, start + i))
                add(direct, weights[k] * weights[i], static_cast<double>(rows[k][start + i]));
    return direct;
}

template <class T>
Direct directWindow(const KernelCase& kernel, const Rows<T>& rows, std::size_t start)
{
    return directWindow(kernel, rows, start, [](std::size_t, std::size_t) { return true; });
}

template <class T>
Direct directColumn(const KernelCase& kernel, const Rows<T>& rows, std::size_t x)
{
    const std::vector<double> weights = sampledGaussian(kernel.sigma, kernel.reach);
    Direct direct;
    for (std::size_t k = 0; k < weights.size(); ++k)
        add(direct, weights[k], static_cast<double>(rows[k][x]));
    return direct;
}

inline bool sameBits(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// ---- Pixels

/// A row of windows of a kernel, drawn by `draw(random)`.
template <class T, class Draw>
Rows<T> drawn(int rows, std::size_t columns, const Draw& draw)
{
    std::mt19937 random(11);
    Rows<T> pixels(static_cast<std::size_t>(rows), std::vector<T>(columns));
    for (std::vector<T>& row : pixels)
        for (T& pixel : row)
            pixel = static_cast<T>(draw(random));
    return pixels;
}

inline Rows<unsigned char> bytes(int rows, std::size_t columns)
{
    return drawn<unsigned char>(rows, columns, [](std::mt19937& random) { return random() % 256; });
}

/// One in three is 0.
inline Rows<unsigned char> alphaBytes(int rows, std::size_t columns)
{
    return drawn<unsigned char>(
        rows, columns, [](std::mt19937& random) { return random() % 3 == 0 ? 0 : 1 + random() % 255; });
}

inline Rows<float> floats(int rows, std::size_t columns, double lowest, double highest)
{
    return drawn<float>(rows, columns, [=](std::mt19937& random) {
        return lowest + (highest - lowest) * static_cast<double>(random()) / 4294967295.0;
    });
}

/// Of all that floats are used for: the whole range, heights, and little on top of much.
inline std::vector<Rows<float>> manyFloats(int rows, std::size_t columns)
{
    return {floats(rows, columns, -1.0, 1.0), floats(rows, columns, 100.0, 2500.0),
            floats(rows, columns, 1e6, 1e6 + 8), floats(rows, columns, 5e5, 5e5),
            drawn<float>(rows, columns, [](std::mt19937& random) {
                return std::ldexp(static_cast<double>(random()) - 2147483648.0,
                                  static_cast<int>(random() % 120) - 60);
            })};
}

/// Each third pixel invalid, and the columns from `first` to `end` all of them.
inline void makeHoles(Rows<float>& rows, std::size_t first, std::size_t end)
{
    std::mt19937 random(12);
    for (std::vector<float>& row : rows)
        for (std::size_t x = 0; x < row.size(); ++x)
            if (random() % 3 == 0 || (x >= first && x < end))
                row[x] = noData;
}

/// An image of one value but for one pixel.
template <class T>
Rows<T> impulse(int rows, std::size_t columns, std::size_t row, std::size_t column, T value, T others = T())
{
    Rows<T> pixels(static_cast<std::size_t>(rows), std::vector<T>(columns, others));
    pixels[row][column] = value;
    return pixels;
}

/// Runs for each kernel.
class KernelTest : public testing::TestWithParam<KernelCase>
{
protected:
    const KernelCase& row = GetParam();
    const GaussKernel kernel{row.sigma, row.reach};
    const std::size_t reach = static_cast<std::size_t>(row.reach);
    const std::size_t size = 2 * reach + 1;
    /// Of whole registers and a rest.
    const std::size_t columns = size + 44;
};

/// Columns on both sides of what is summed at a time.
class ColumnsTest : public testing::TestWithParam<std::size_t>
{
protected:
    const std::size_t columns = GetParam();
    const GaussKernel kernel{1.835756, 9};
};

inline const auto columnCounts = testing::Values(1, 2, 2047, 2048, 2049, 4095, 4096, 4097);

template <class T>
Rows<T> columnOf(const Rows<T>& rows, std::size_t x)
{
    Rows<T> column;
    for (const std::vector<T>& row : rows)
        column.push_back({row[x]});
    return column;
}

} // namespace gausskerneltest

#endif
