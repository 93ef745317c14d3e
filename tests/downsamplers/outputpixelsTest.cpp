#include "downsamplers/outputpixels.h"

#include <gtest/gtest.h>

#include <gdal.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

/// GDAL's own conversion, as a write does it.
std::vector<unsigned char> byGdal(std::vector<float> values)
{
    std::vector<unsigned char> bytes(values.size());
    GDALCopyWords(values.data(), GDT_Float32, sizeof(float), bytes.data(), GDT_Byte, 1,
                  static_cast<int>(values.size()));
    return bytes;
}

void expectAsGdal(const std::vector<float>& values)
{
    std::vector<unsigned char> bytes(values.size());
    vexel::toOutput(values.data(), static_cast<std::ptrdiff_t>(values.size()), bytes.data());
    const std::vector<unsigned char> expected = byGdal(values);
    for (std::size_t i = 0; i < values.size(); ++i)
        ASSERT_EQ(int{bytes[i]}, int{expected[i]}) << values[i];
}

} // namespace

TEST(OutputPixels, AreRoundedUpAtHalves)
{
    const float values[] = {0.0f, 0.49f, 0.5f, 1.5f, 254.4f, 254.5f, 255.0f, 300.0f, -0.5f, -10000.0f};
    unsigned char bytes[10];
    vexel::toOutput(values, 10, bytes);
    const unsigned char expected[] = {0, 0, 1, 2, 254, 255, 255, 255, 0, 0};
    EXPECT_EQ(std::memcmp(bytes, expected, sizeof bytes), 0);
}

TEST(OutputPixels, AreWhatGdalMakesOfFloats)
{
    const float inf = std::numeric_limits<float>::infinity();
    std::vector<float> values = {inf,
                                 -inf,
                                 std::numeric_limits<float>::quiet_NaN(),
                                 -0.0f,
                                 0.49999997f,
                                 std::numeric_limits<float>::max(),
                                 std::numeric_limits<float>::denorm_min()};
    for (int n = -2; n <= 258; ++n)
        for (const float offset : {-0.5f, 0.0f, 0.5f}) {
            const float value = static_cast<float>(n) + offset;
            values.insert(values.end(), {value, std::nextafterf(value, inf), std::nextafterf(value, -inf)});
        }
    expectAsGdal(values);
}

TEST(OutputPixels, AreWhatGdalMakesOfAnyBits)
{
    std::mt19937 random(5);
    std::vector<float> values(200000);
    for (float& value : values) {
        const auto bits = static_cast<std::uint32_t>(random());
        std::memcpy(&value, &bits, sizeof value);
    }
    expectAsGdal(values);
    // Means of bytes, as most are.
    for (float& value : values)
        value = static_cast<float>(random() % 65025) / static_cast<float>(1 + random() % 255);
    expectAsGdal(values);
}

TEST(OutputPixels, OfFloatsAreTheFloats)
{
    const float values[] = {1.25f, -10000.0f};
    float out[2] = {};
    vexel::toOutput(values, 2, out);
    EXPECT_EQ(out[0], 1.25f);
    EXPECT_EQ(out[1], -10000.0f);
}
