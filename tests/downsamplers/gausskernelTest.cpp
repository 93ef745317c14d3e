#include "gausskernelfixtures.h"

#include <cfloat>

namespace {

using namespace gausskerneltest;

class GaussKernels : public KernelTest
{};

INSTANTIATE_TEST_SUITE_P(Kernels, GaussKernels, testing::ValuesIn(kernelCases), nameOf);

// ---- Weights

/// Those of a Gaussian, rounded to float once.
void expectGaussian(const std::vector<float>& weights, const KernelCase& row)
{
    const std::vector<double> exact = sampledGaussian(row.sigma, row.reach);
    ASSERT_EQ(weights.size(), exact.size());
    double sum = 0.0;
    for (std::size_t i = 0; i < exact.size(); ++i) {
        const auto weight = static_cast<double>(weights[i]);
        EXPECT_NEAR(weight, exact[i], 0.501 * FLT_EPSILON * exact[i]) << i;
        EXPECT_EQ(weights[i], weights[exact.size() - 1 - i]) << i;
        sum += weight;
    }
    EXPECT_NEAR(sum, 1.0, 0.5 * FLT_EPSILON);
}

TEST_P(GaussKernels, SizeIsReachOnBothSides)
{
    EXPECT_EQ(kernel.reach(), row.reach);
    EXPECT_EQ(kernel.size(), 2 * row.reach + 1);
}

TEST_P(GaussKernels, AnswerAnImpulseInARowByTheGaussian)
{
    std::vector<float> pixels(4 * reach + 5);
    pixels[2 * reach + 2] = 1.0f;
    const std::vector<float> sums = windowSums(kernel, pixels);
    // One window on either side does not hold it.
    ASSERT_EQ(sums.size(), size + 4);
    EXPECT_EQ(sums[1], 0.0f);
    EXPECT_EQ(sums[sums.size() - 2], 0.0f);
    expectGaussian(std::vector<float>(sums.begin() + 2, sums.end() - 2), row);
}

TEST_P(GaussKernels, AnswerAnImpulseInAColumnByTheGaussian)
{
    std::vector<float> ofBytes;
    std::vector<float> ofFloats;
    std::vector<float> ofValidBytes;
    std::vector<float> ofValidFloats;
    const Rows<unsigned char> opaque(size, std::vector<unsigned char>(1, 255));
    for (std::size_t k = 0; k < size; ++k) {
        const auto byteImage = impulse<unsigned char>(kernel.size(), 1, k, 0, 1);
        const auto floatImage = impulse<float>(kernel.size(), 1, k, 0, 1.0f);
        ofBytes.push_back(columnSums(kernel, byteImage)[0]);
        ofFloats.push_back(columnSums(kernel, floatImage)[0]);
        ofValidBytes.push_back(validColumns(kernel, byteImage, opaque).sums[0]);
        ofValidFloats.push_back(validColumns(kernel, floatImage).sums[0]);
    }
    for (const auto& weights : {ofBytes, ofFloats, ofValidBytes, ofValidFloats})
        expectGaussian(weights, row);
}

// ---- All pixels

TEST_P(GaussKernels, SumColumnsOfFloats)
{
    for (const Rows<float>& pixels : manyFloats(kernel.size(), columns)) {
        const std::vector<float> sums = columnSums(kernel, pixels);
        for (std::size_t x = 0; x < columns; ++x) {
            const Direct direct = directColumn(row, pixels, x);
            ASSERT_NEAR(static_cast<double>(sums[x]), direct.sum, direct.limit()) << x;
        }
    }
}

TEST_P(GaussKernels, SumColumnsOfBytes)
{
    const Rows<unsigned char> pixels = bytes(kernel.size(), columns);
    const std::vector<float> sums = columnSums(kernel, pixels);
    for (std::size_t x = 0; x < columns; ++x)
        ASSERT_NEAR(static_cast<double>(sums[x]), directColumn(row, pixels, x).sum, 0.01) << x;
}

TEST_P(GaussKernels, SumWindowsOfFloats)
{
    for (const Rows<float>& pixels : manyFloats(kernel.size(), size + 11)) {
        const std::vector<float> sums = windowSums(kernel, columnSums(kernel, pixels));
        for (std::size_t x = 0; x < sums.size(); ++x) {
            const Direct direct = directWindow(row, pixels, x);
            ASSERT_NEAR(static_cast<double>(sums[x]), direct.sum, direct.limit()) << x;
        }
    }
}

TEST_P(GaussKernels, SumWindowsOfBytes)
{
    const Rows<unsigned char> pixels = bytes(kernel.size(), size + 11);
    const std::vector<float> sums = windowSums(kernel, columnSums(kernel, pixels));
    for (std::size_t x = 0; x < sums.size(); ++x)
        ASSERT_NEAR(static_cast<double>(sums[x]), directWindow(row, pixels, x).sum, 0.01) << x;
}

TEST_P(GaussKernels, NanAndInfinitySpoilTheColumnsThatHoldThem)
{
    for (const float value : {notANumber, infinity, -infinity})
        for (const std::size_t k : {std::size_t{0}, reach, size - 1}) {
            const std::vector<float> sums =
                columnSums(kernel, impulse(kernel.size(), 20, k, 13, value, 3.0f));
            for (std::size_t x = 0; x < sums.size(); ++x)
                EXPECT_EQ(std::isfinite(sums[x]), x != 13) << value << " in row " << k << ", column " << x;
        }
}

TEST_P(GaussKernels, NanAndInfinitySpoilTheWindowsThatHoldThem)
{
    for (const float value : {notANumber, infinity, -infinity}) {
        std::vector<float> pixels(6 * reach + 20, -3.0f);
        const std::size_t spoilt = 3 * reach + 5;
        pixels[spoilt] = value;
        const std::vector<float> sums = windowSums(kernel, pixels);
        for (std::size_t x = 0; x < sums.size(); ++x)
            EXPECT_EQ(std::isfinite(sums[x]), x > spoilt || x + size <= spoilt)
                << value << " in window " << x;
    }
}

TEST_P(GaussKernels, LargestFloatsStayInTheirRange)
{
    for (const float value : {3e38f, -3e38f}) {
        const Rows<float> pixels(size, std::vector<float>(columns, value));
        for (const float sum : windowSums(kernel, columnSums(kernel, pixels)))
            ASSERT_NEAR(static_cast<double>(sum) / static_cast<double>(value), 1.0, 1e-6);
    }
    const Rows<float> high(size, std::vector<float>(columns, 3e38f));
    for (const float mean : windowMeans(kernel, validColumns(kernel, high)))
        ASSERT_EQ(mean, 3e38f);
    const Rows<float> both = drawn<float>(
        kernel.size(), columns, [](std::mt19937& random) { return random() % 2 == 0 ? 3e38f : -3e38f; });
    for (const float sum : windowSums(kernel, columnSums(kernel, both)))
        ASSERT_LE(std::abs(sum), 3.001e38f);
}

// ---- Where a window lies

TEST_P(GaussKernels, WindowsAreTheSameWhereverTheyLie)
{
    const std::vector<float> window = floats(1, size, 100.0, 2500.0)[0];
    const float expected = windowSums(kernel, window)[0];
    for (std::size_t start = 0; start < 70; ++start) {
        std::vector<float> pixels = floats(1, size + 70, -5e5, 5e5)[0];
        std::copy(window.begin(), window.end(), pixels.begin() + static_cast<std::ptrdiff_t>(start));
        EXPECT_EQ(windowSums(kernel, pixels)[start], expected) << start;
        // Alone, in a row that begins elsewhere.
        constexpr std::ptrdiff_t origin = 1000;
        const std::ptrdiff_t sample = origin + row.reach + static_cast<std::ptrdiff_t>(start) - 5;
        float alone = 0.0f;
        kernel.sumColumns(pixels.data() + 5, {&sample, 1, origin}, &alone);
        EXPECT_EQ(alone, expected) << start;
    }
}

class GaussKernelColumns : public ColumnsTest
{};

INSTANTIATE_TEST_SUITE_P(Counts, GaussKernelColumns, columnCounts, testing::PrintToStringParamName());

TEST_P(GaussKernelColumns, AreSummedAsEachByItself)
{
    const Rows<unsigned char> byteRows = bytes(kernel.size(), columns);
    const Rows<float> floatRows = floats(kernel.size(), columns, 100.0, 2500.0);
    const std::vector<float> ofBytes = columnSums(kernel, byteRows);
    const std::vector<float> ofFloats = columnSums(kernel, floatRows);
    for (std::size_t x = 0; x < columns; ++x) {
        ASSERT_EQ(ofBytes[x], columnSums(kernel, columnOf(byteRows, x))[0]) << x;
        ASSERT_EQ(ofFloats[x], columnSums(kernel, columnOf(floatRows, x))[0]) << x;
    }
}

TEST(GaussKernel, OneRowMayStandForSeveral)
{
    const GaussKernel kernel(1.835756, 9);
    const std::vector<float> pixels = floats(1, 50, 100.0, 2500.0)[0];
    const Rows<float> repeated(static_cast<std::size_t>(kernel.size()), pixels);
    const std::vector<const float*> same(static_cast<std::size_t>(kernel.size()), pixels.data());
    std::vector<float> sums(pixels.size());
    kernel.sumRows(same.data(), 50, sums.data());
    EXPECT_TRUE(sameBits(sums, columnSums(kernel, repeated)));
}

TEST(GaussKernel, RoundingStaysSmallInLongWindows)
{
    // The other direction rounds, too, by less: it adds eight sums.
    constexpr double part = 0.7;
    for (const KernelCase& row :
         {KernelCase{"FactorThousand", 41.53938, 208}, KernelCase{"", 83.07710, 415}}) {
        const GaussKernel kernel(row.sigma, row.reach);
        for (const Rows<float>& pixels : manyFloats(kernel.size(), 40)) {
            const std::vector<float> sums = columnSums(kernel, pixels);
            for (std::size_t x = 0; x < sums.size(); ++x) {
                const Direct direct = directColumn(row, pixels, x);
                EXPECT_NEAR(static_cast<double>(sums[x]), direct.sum, part * direct.limit()) << x;
            }
        }
    }
}

} // namespace
