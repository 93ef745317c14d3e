#include "downsamplers/UnreadPixels.h"

#include "support/boxes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

using vexel::PixelRegion;
using vexel::UnreadPixels;

namespace {

constexpr int edge = 24;

/// The same set of pixels with a flag a pixel.
class Flags
{
public:
    std::uint64_t add(const vexel::PixelBox& box)
    {
        std::uint64_t added = 0;
        for (int y = box.min_corner().y(); y < box.max_corner().y(); ++y)
            for (int x = box.min_corner().x(); x < box.max_corner().x(); ++x)
                added += std::exchange(m_flags[static_cast<std::size_t>(y * edge + x)], true) ? 0u : 1u;
        return added;
    }

private:
    std::array<bool, edge * edge> m_flags{};
};

vexel::PixelBox randomBox(std::mt19937& random)
{
    const auto span = [&random] {
        const int a = static_cast<int>(random() % edge);
        const int b = static_cast<int>(random() % edge);
        return std::pair<int, int>(std::min(a, b), std::max(a, b) + 1);
    };
    const auto x = span();
    const auto y = span();
    return box(x.first, y.first, x.second, y.second);
}

TEST(PixelRegion, CountsEachPixelOnce)
{
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        PixelRegion region;
        Flags flags;
        for (int k = 0; k < 12; ++k) {
            const vexel::PixelBox next = randomBox(random);
            ASSERT_EQ(region.add(next), flags.add(next)) << "round " << round << ", " << boxText(next);
        }
    }
}

TEST(PixelRegion, HoldsMoreThan32Bits)
{
    constexpr int largest = 2147483647;
    PixelRegion region;
    EXPECT_EQ(region.add(box(0, 0, largest, largest)), std::uint64_t{largest} * largest);
    EXPECT_EQ(region.add(box(5, 5, largest, largest)), 0u);
}

TEST(PixelRegion, OfNeighboursIsOneBoxInWhateverOrderTheyCome)
{
    std::vector<vexel::PixelBox> blocks;
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x)
            blocks.push_back(box(16 * x, 8 * y, 16 * x + 16, 8 * y + 8));
    std::mt19937 random(2);
    for (int round = 0; round < 20; ++round) {
        PixelRegion region;
        for (const vexel::PixelBox& block : blocks)
            EXPECT_EQ(region.add(block), 128u);
        EXPECT_EQ(region.noBoxes(), 1u);
        std::shuffle(blocks.begin(), blocks.end(), random);
    }
}

TEST(PixelRegion, TakesABoxForEachOfThoseApart)
{
    PixelRegion region;
    for (int k = 0; k < 100; ++k)
        EXPECT_EQ(region.add(box(20 * (k % 10), 20 * (k / 10), 20 * (k % 10) + 10, 20 * (k / 10) + 10)),
                  100u);
    EXPECT_EQ(region.noBoxes(), 100u);
    EXPECT_EQ(region.add(box(0, 0, 10, 10)), 0u);
    EXPECT_EQ(region.noBoxes(), 100u) << "what is known already takes no more";
}

TEST(UnreadPixels, AreCountedForEachFileAndBand)
{
    UnreadPixels unread;
    EXPECT_EQ(unread.count(), 0u);
    for (const std::size_t file : {0u, 1u})
        for (const std::size_t band : {1u, 2u}) {
            EXPECT_EQ(unread.add({file, band, box(0, 0, 4, 4)}), 16u);
            EXPECT_EQ(unread.add({file, band, box(2, 2, 6, 6)}), 12u);
        }
    EXPECT_EQ(unread.count(), 4u * 28u);
}

} // namespace
