#include "companion/gaussrecursion.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

using vexel::GaussRecursion;
using vexel::ImagePart;

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

std::vector<std::ptrdiff_t> all(std::ptrdiff_t length)
{
    std::vector<std::ptrdiff_t> positions(static_cast<std::size_t>(length));
    std::iota(positions.begin(), positions.end(), 0);
    return positions;
}

bool sameBits(const Pixels& a, const Pixels& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

/// On both sides of what is filtered at a time.
constexpr std::ptrdiff_t lengths[] = {1,  2,  15,  16,  17,  31,  32,  33,  63,
                                      64, 65, 127, 128, 129, 255, 256, 257, 400};

/// Calls `compare(rows, columns, recursion)` for images of many shapes.
template <class Compare>
void forManyShapes(const Compare& compare)
{
    int order = 2;
    for (const std::ptrdiff_t rows : lengths)
        for (const std::ptrdiff_t columns : lengths) {
            SCOPED_TRACE(std::to_string(rows) + " x " + std::to_string(columns) + ", order " +
                         std::to_string(order));
            compare(rows, columns, GaussRecursion(order == 3 ? 40.0f : 2.5f, order));
            order = order == 4 ? 2 : order + 1;
        }
}

/// Pixels beyond the columns that are filtered, which stay as they are.
constexpr std::ptrdiff_t beyond = 3;

} // namespace

TEST(GaussRecursion, FiltersColumnsWhereTheyAreAsElsewhere)
{
    forManyShapes([](std::ptrdiff_t rows, std::ptrdiff_t columns, const GaussRecursion& recursion) {
        const std::ptrdiff_t step = columns + beyond;
        const Pixels pixels = noise(rows * step);
        Pixels elsewhere = pixels;
        recursion.filterColumns(ImagePart<const float>{pixels.data(), rows, columns, step}, all(rows),
                                {elsewhere.data(), rows, columns, step});
        Pixels inPlace = pixels;
        recursion.filterColumns({inPlace.data(), rows, columns, step});
        EXPECT_TRUE(sameBits(inPlace, elsewhere));
    });
}

TEST(GaussRecursion, FiltersRowsWhereTheyAreAsElsewhere)
{
    forManyShapes([](std::ptrdiff_t rows, std::ptrdiff_t columns, const GaussRecursion& recursion) {
        const std::ptrdiff_t step = columns + beyond;
        const Pixels pixels = noise(rows * step);
        Pixels elsewhere = pixels;
        recursion.filterRows({pixels.data(), rows, columns, step}, all(columns),
                             {elsewhere.data(), rows, columns, step});
        Pixels inPlace = pixels;
        recursion.filterRows({inPlace.data(), rows, columns, step});
        EXPECT_TRUE(sameBits(inPlace, elsewhere));
    });
}

TEST(GaussRecursion, FiltersRowsAsTheColumnsOfTheTurnedImage)
{
    forManyShapes([](std::ptrdiff_t rows, std::ptrdiff_t columns, const GaussRecursion& recursion) {
        Pixels image = noise(rows * columns);
        Pixels turned(image.size());
        const auto place = [&](std::ptrdiff_t y, std::ptrdiff_t x) {
            return static_cast<std::size_t>(y * columns + x);
        };
        const auto turnedPlace = [&](std::ptrdiff_t y, std::ptrdiff_t x) {
            return static_cast<std::size_t>(x * rows + y);
        };
        for (std::ptrdiff_t y = 0; y < rows; ++y)
            for (std::ptrdiff_t x = 0; x < columns; ++x)
                turned[turnedPlace(y, x)] = image[place(y, x)];
        recursion.filterRows({image.data(), rows, columns, columns});
        recursion.filterColumns({turned.data(), columns, rows, rows});
        Pixels turnedBack(image.size());
        for (std::ptrdiff_t y = 0; y < rows; ++y)
            for (std::ptrdiff_t x = 0; x < columns; ++x)
                turnedBack[place(y, x)] = turned[turnedPlace(y, x)];
        EXPECT_TRUE(sameBits(image, turnedBack));
    });
}
