#include "companion/gaussrecursion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using vexel::GaussRecursion;

namespace {

using Pixels = std::vector<float>;

/// Numbers of many sizes and both signs: sums of them show where a state was rounded.
Pixels noise(std::ptrdiff_t count)
{
    std::mt19937 random(5);
    Pixels pixels(static_cast<std::size_t>(count));
    for (float& pixel : pixels) {
        const float value = static_cast<float>(random() % (1u << 24)) - static_cast<float>(1u << 23);
        pixel = random() % 4 == 0 ? value * 1e-6f : value;
    }
    return pixels;
}

bool sameBits(const Pixels& a, const Pixels& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

/// On both sides of what is filtered at a time.
constexpr std::ptrdiff_t lengths[] = {1,  2,  15,  16,  17,  31,  32,  33,  63,
                                      64, 65, 127, 128, 129, 255, 256, 257, 400};

struct Filter
{
    float sigma;
    int order;
};

/// Calls `check(rows, columns, filter)` for images of many shapes.
template <class Check>
void forManyShapes(const Check& check)
{
    int order = 2;
    for (const std::ptrdiff_t rows : lengths)
        for (const std::ptrdiff_t columns : lengths) {
            SCOPED_TRACE(std::to_string(rows) + " x " + std::to_string(columns) + ", order " +
                         std::to_string(order));
            check(rows, columns, Filter{order == 3 ? 40.0f : 2.5f, order});
            order = order == 4 ? 2 : order + 1;
        }
}

/// Pixels beyond the columns that are filtered, which stay as they are.
constexpr std::ptrdiff_t beyond = 3;

using Complex = std::complex<double>;

/// Answers an impulse at distance n by the real part of weight pole^n.
struct Mode
{
    Complex pole;
    Complex weight;
};

/// Those of a filter: the fits to exp(-t^2/2), t in sigmas, by the sum of weight exp(exponent t).
std::vector<Mode> modesOf(const Filter& filter)
{
    struct Term
    {
        Complex weight;
        Complex exponent;
    };
    const std::vector<Term> fits[] = {
        {{{0.8794951524173352, -1.744273811947493}, {-1.2617485584439294, 0.8074735107531777}}},
        {{{-0.7728509952139817, -0.9920012788213765}, {-1.481080110004796, 1.460985306352379}},
         {{1.7224422878782244, 0.0}, {-1.5412348739137216, 0.0}}},
        {{{1.6194411475754398, -3.4259184813593277}, {-1.756063692287148, 0.6271598227706522}},
         {{-0.6472581739790457, 0.19493176792554073}, {-1.6899432788219053, 1.9927202136325814}}}};
    std::vector<Mode> modes;
    double sum = 0.0;
    for (const Term& term : fits[filter.order - 2]) {
        modes.push_back({std::exp(term.exponent / static_cast<double>(filter.sigma)), term.weight});
        sum += (term.weight * (1.0 + modes.back().pole) / (1.0 - modes.back().pole)).real();
    }
    for (Mode& mode : modes)
        mode.weight /= sum;
    return modes;
}

/// One line by itself, forward and backward for each mode, all of it in double. The pixels at its ends go on for ever.
std::vector<double> filteredLine(const std::vector<double>& line, const std::vector<Mode>& modes)
{
    std::vector<double> smooth(line.size(), 0.0);
    for (const Mode& mode : modes) {
        Complex state = line.front() / (1.0 - mode.pole);
        for (std::size_t i = 0; i < line.size(); ++i) {
            state = mode.pole * state + line[i];
            smooth[i] += (mode.weight * state).real();
        }
        state = line.back() / (1.0 - mode.pole);
        for (std::size_t i = line.size(); i-- > 0;) {
            smooth[i] += (mode.weight * mode.pole * state).real();
            state = mode.pole * state + line[i];
        }
    }
    return smooth;
}

/// Lines of an image, along rows or along columns.
struct Lines
{
    std::ptrdiff_t count;
    std::ptrdiff_t length;
    std::ptrdiff_t lineStep;
    std::ptrdiff_t pixelStep;
};

/// The largest difference between the lines of `filtered` and those of `pixels`, each filtered by itself, as a part of
/// the largest pixel.
double largestDifference(const Pixels& filtered, const Pixels& pixels, const Lines& lines,
                         const Filter& filter)
{
    const std::vector<Mode> modes = modesOf(filter);
    double difference = 0.0;
    double largest = 0.0;
    std::vector<double> line(static_cast<std::size_t>(lines.length));
    for (std::ptrdiff_t i = 0; i < lines.count; ++i) {
        const auto place = [&](std::size_t k) {
            return static_cast<std::size_t>(i * lines.lineStep +
                                            static_cast<std::ptrdiff_t>(k) * lines.pixelStep);
        };
        for (std::size_t k = 0; k < line.size(); ++k) {
            line[k] = static_cast<double>(pixels[place(k)]);
            largest = std::max(largest, std::abs(line[k]));
        }
        const std::vector<double> expected = filteredLine(line, modes);
        for (std::size_t k = 0; k < line.size(); ++k)
            difference =
                std::max(difference, std::abs(static_cast<double>(filtered[place(k)]) - expected[k]));
    }
    return difference / largest;
}

bool sameBeyond(const Pixels& a, const Pixels& b, std::ptrdiff_t columns)
{
    const auto step = static_cast<std::size_t>(columns + beyond);
    for (std::size_t i = 0; i < a.size(); ++i)
        if (i % step >= static_cast<std::size_t>(columns) && a[i] != b[i])
            return false;
    return true;
}

/// What goes forward is rounded to float once, and the sum of both directions once more.
constexpr double twoRoundings = 2 * FLT_EPSILON;

} // namespace

TEST(GaussRecursion, FiltersEachColumnByItself)
{
    forManyShapes([](std::ptrdiff_t rows, std::ptrdiff_t columns, const Filter& filter) {
        const std::ptrdiff_t step = columns + beyond;
        const Pixels pixels = noise(rows * step);
        Pixels filtered = pixels;
        GaussRecursion(filter.sigma, filter.order).filterColumns({filtered.data(), rows, columns, step});
        EXPECT_LE(largestDifference(filtered, pixels, {columns, rows, 1, step}, filter), twoRoundings);
        EXPECT_TRUE(sameBeyond(filtered, pixels, columns));
    });
}

TEST(GaussRecursion, FiltersEachRowByItself)
{
    forManyShapes([](std::ptrdiff_t rows, std::ptrdiff_t columns, const Filter& filter) {
        const std::ptrdiff_t step = columns + beyond;
        const Pixels pixels = noise(rows * step);
        Pixels filtered = pixels;
        GaussRecursion(filter.sigma, filter.order).filterRows({filtered.data(), rows, columns, step});
        EXPECT_LE(largestDifference(filtered, pixels, {rows, columns, step, 1}, filter), twoRoundings);
        EXPECT_TRUE(sameBeyond(filtered, pixels, columns));
    });
}

// Columns keep states on the way and rows do not, so that a state that was rounded shows.
TEST(GaussRecursion, FiltersRowsAsTheColumnsOfTheTurnedImage)
{
    forManyShapes([](std::ptrdiff_t rows, std::ptrdiff_t columns, const Filter& filter) {
        const GaussRecursion recursion(filter.sigma, filter.order);
        Pixels image = noise(rows * columns);
        const auto turned = [](const Pixels& pixels, std::ptrdiff_t height, std::ptrdiff_t width) {
            Pixels columnByColumn;
            for (std::ptrdiff_t x = 0; x < width; ++x)
                for (std::ptrdiff_t y = 0; y < height; ++y)
                    columnByColumn.push_back(pixels[static_cast<std::size_t>(y * width + x)]);
            return columnByColumn;
        };
        Pixels other = turned(image, rows, columns);
        recursion.filterRows({image.data(), rows, columns, columns});
        recursion.filterColumns({other.data(), columns, rows, rows});
        EXPECT_TRUE(sameBits(image, turned(other, columns, rows)));
    });
}
