#include "downsamplers/lanekernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

using namespace vexel;
using kernels::lanes;

TEST(SelectionNetwork, BringsTheValueOfARankToItsPlace)
{
    std::mt19937 random(5);
    for (std::size_t n = 1; n <= 64; ++n)
        for (const std::size_t k : {std::size_t{0}, n / 2, 3 * n / 4, n - 1}) {
            const auto network = kernels::selectionNetwork(n, k);
            std::vector<float> values(n * lanes);
            for (float& value : values)
                value = static_cast<float>(random() % 50);
            std::vector<float> expected(lanes);
            for (std::ptrdiff_t lane = 0; lane < lanes; ++lane) {
                std::vector<float> column;
                for (std::size_t place = 0; place < n; ++place)
                    column.push_back(values[place * lanes + static_cast<std::size_t>(lane)]);
                std::sort(column.begin(), column.end());
                expected[static_cast<std::size_t>(lane)] = column[k];
            }
            kernels::runNetwork(network, values.data());
            for (std::size_t lane = 0; lane < lanes; ++lane)
                ASSERT_EQ(values[k * lanes + lane], expected[lane]) << n << " places, rank " << k;
        }
}

TEST(SelectionNetwork, LeavesOutWhatDoesNotMatter)
{
    // Eight places take 19 exchanges to sort; the smallest alone needs seven.
    EXPECT_EQ(kernels::selectionNetwork(8, 0).size(), 7u);
    EXPECT_LT(kernels::selectionNetwork(64, 32).size(), 543u);
    EXPECT_TRUE(kernels::selectionNetwork(1, 0).empty());
}

TEST(LaneKernels, MarkWhatAComparisonDoesNotOrder)
{
    std::array<float, lanes> values{};
    values.fill(1.0f);
    values[1] = -10000.0f;
    values[2] = -9999.9990234375f;
    values[3] = std::nanf("");
    values[4] = -0.0f;
    values[5] = 0.0f;
    values[6] = std::nextafter(-9999.9990234375f, -20000.0f);
    values[7] = INFINITY;
    std::array<std::uint8_t, lanes> bad{};
    bad[31] = 1;
    kernels::markUnordered(values.data(), bad.data());
    for (std::size_t lane = 0; lane < lanes; ++lane)
        EXPECT_EQ(bad[lane] != 0, lane == 1 || lane == 3 || lane == 4 || lane == 6 || lane == 31) << lane;
}

TEST(LaneKernels, FoldsKeepTheFirstOfTwoThatCompareEqualAndOfANumberAndNan)
{
    const float nan = std::nanf("");
    const struct
    {
        float first;
        float second;
    } pairs[] = {{-0.0f, 0.0f}, {0.0f, -0.0f}, {nan, 1.0f}, {1.0f, nan}};
    for (const auto fold : {kernels::foldMin, kernels::foldMax})
        for (const auto& pair : pairs) {
            std::array<float, lanes> values{};
            std::array<float, lanes> chosen{};
            values.fill(pair.second);
            chosen.fill(pair.first);
            fold(values.data(), chosen.data());
            for (const float value : chosen) {
                EXPECT_EQ(std::isnan(value), std::isnan(pair.first)) << pair.first << ", " << pair.second;
                EXPECT_EQ(std::signbit(value), std::signbit(pair.first)) << pair.first << ", " << pair.second;
            }
        }
}
