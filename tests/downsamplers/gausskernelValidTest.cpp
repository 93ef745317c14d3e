#include "gausskernelfixtures.h"

// The sampled Gaussian of valid pixels alone.

namespace {

using namespace gausskerneltest;

class GaussKernelsOfValidPixels : public KernelTest
{};

INSTANTIATE_TEST_SUITE_P(Kernels, GaussKernelsOfValidPixels, testing::ValuesIn(kernelCases), nameOf);

TEST_P(GaussKernelsOfValidPixels, AreSummedByColumns)
{
    Rows<float> pixels = floats(kernel.size(), columns, -100.0, 100.0);
    makeHoles(pixels, 20, 23);
    const ValidColumns valid = validColumns(kernel, pixels);
    const std::vector<double> weights = sampledGaussian(row.sigma, row.reach);
    for (std::size_t x = 0; x < columns; ++x) {
        Direct direct;
        for (std::size_t k = 0; k < size; ++k)
            if (pixels[k][x] != noData)
                add(direct, weights[k], static_cast<double>(pixels[k][x]));
        EXPECT_NEAR(static_cast<double>(valid.sums[x]), direct.sum, 1e-6 * 100.0) << x;
        EXPECT_NEAR(static_cast<double>(valid.weights[x]), direct.weight, 1e-6) << x;
        EXPECT_EQ(static_cast<double>(valid.lowest[x]), direct.lowest) << x;
        EXPECT_EQ(static_cast<double>(valid.highest[x]), direct.highest) << x;
    }
}

TEST_P(GaussKernelsOfValidPixels, MeansOfFloatsLeaveHolesOut)
{
    for (Rows<float> pixels : {floats(kernel.size(), 2 * size + 30, -1.0, 1.0),
                               floats(kernel.size(), 2 * size + 30, 5e5, 5e5 + 8)}) {
        makeHoles(pixels, 20, 25 + size);
        const std::vector<float> means = windowMeans(kernel, validColumns(kernel, pixels));
        for (std::size_t x = 0; x<means.size(); x += reach> 100 ? 31 : 1) {
            const Direct direct = directWindow(
                row, pixels, x, [&](std::size_t k, std::size_t i) { return pixels[k][i] != noData; });
            if (direct.weight == 0.0) {
                ASSERT_FALSE(std::isfinite(means[x])) << x;
                continue;
            }
            const auto mean = static_cast<double>(means[x]);
            ASSERT_NEAR(mean, direct.mean(), direct.limit()) << x;
            ASSERT_GE(mean, direct.lowest) << x;
            ASSERT_LE(mean, direct.highest) << x;
        }
        EXPECT_FALSE(std::isfinite(means[22])) << "a window without valid pixels";
    }
}

TEST_P(GaussKernelsOfValidPixels, MeansOfBytesLeaveTransparencyOut)
{
    const Rows<unsigned char> pixels = bytes(kernel.size(), size + 30);
    const Rows<unsigned char> alphas = alphaBytes(kernel.size(), size + 30);
    const std::vector<float> means = windowMeans(kernel, validColumns(kernel, pixels, alphas));
    for (std::size_t x = 0; x<means.size(); x += reach> 100 ? 7 : 1) {
        const Direct direct =
            directWindow(row, pixels, x, [&](std::size_t k, std::size_t i) { return alphas[k][i] != 0; });
        if (direct.weight == 0.0) {
            ASSERT_FALSE(std::isfinite(means[x])) << x;
            continue;
        }
        ASSERT_NEAR(static_cast<double>(means[x]), direct.mean(), 0.01) << x;
        ASSERT_GE(static_cast<double>(means[x]), direct.lowest) << x;
        ASSERT_LE(static_cast<double>(means[x]), direct.highest) << x;
    }
}

TEST_P(GaussKernelsOfValidPixels, WhatIsUnderTransparencyDoesNotCount)
{
    const Rows<unsigned char> alphas = alphaBytes(kernel.size(), columns);
    Rows<unsigned char> pixels = bytes(kernel.size(), columns);
    Rows<unsigned char> opaque = alphas;
    const std::vector<float> means = windowMeans(kernel, validColumns(kernel, pixels, alphas));
    for (std::size_t k = 0; k < size; ++k)
        for (std::size_t x = 0; x < columns; ++x) {
            pixels[k][x] = alphas[k][x] == 0 ? 255 : pixels[k][x];
            opaque[k][x] = alphas[k][x] == 0 ? 0 : 255;
        }
    EXPECT_TRUE(sameBits(windowMeans(kernel, validColumns(kernel, pixels, opaque)), means));
}

TEST_P(GaussKernelsOfValidPixels, AConstantWithHolesStaysTheSame)
{
    Rows<float> pixels(size, std::vector<float>(columns, 7.3f));
    makeHoles(pixels, 0, 0);
    pixels[reach].assign(columns, 7.3f);
    for (const float mean : windowMeans(kernel, validColumns(kernel, pixels)))
        ASSERT_EQ(mean, 7.3f);
}

TEST_P(GaussKernelsOfValidPixels, AWindowWithOneValidPixelIsThatPixel)
{
    for (const float value : {7.3f, -0.1f, -9999.0f, 3e38f, 1e-40f, 0.0f})
        for (const std::size_t k : {std::size_t{0}, reach / 2, reach, size - 1}) {
            const Rows<float> pixels = impulse(kernel.size(), 4 * reach + 1, k, 2 * reach, value, noData);
            for (const float mean : windowMeans(kernel, validColumns(kernel, pixels)))
                ASSERT_EQ(mean, value) << "row " << k;
        }
    const Rows<unsigned char> pixels(size, std::vector<unsigned char>(4 * reach + 1, 77));
    const Rows<unsigned char> alphas = impulse<unsigned char>(kernel.size(), 4 * reach + 1, 0, 2 * reach, 1);
    for (const float mean : windowMeans(kernel, validColumns(kernel, pixels, alphas)))
        ASSERT_EQ(mean, 77.0f);
}

TEST_P(GaussKernelsOfValidPixels, NanAndInfinityAreValid)
{
    for (const float value : {notANumber, infinity})
        for (const std::size_t k : {std::size_t{0}, reach, size - 1}) {
            const std::size_t spoilt = 3 * reach + 5;
            Rows<float> pixels = impulse(kernel.size(), 6 * reach + 20, k, spoilt, value, -3.0f);
            const std::vector<float> means = windowMeans(kernel, validColumns(kernel, pixels));
            for (std::size_t x = 0; x < means.size(); ++x)
                EXPECT_EQ(std::isfinite(means[x]), x > spoilt || x + size <= spoilt)
                    << value << " in row " << k << ", window " << x;
        }
}

TEST(GaussKernelOfValidPixels, BeginAtTheFloatNextToTheThreshold)
{
    const GaussKernel kernel(1.0, 1);
    struct Case
    {
        float value;
        bool isValid;
    };
    // The first is the float nearest to -9999.999.
    for (const Case& pixel :
         {Case{-9999.9990234375f, true}, Case{std::nextafter(-9999.9990234375f, -2e4f), false},
          Case{noData, false}, Case{-3e38f, false}, Case{-infinity, false}, Case{notANumber, true},
          Case{infinity, true}}) {
        const ValidColumns valid = validColumns(kernel, impulse(3, 1, 1, 0, pixel.value, noData));
        EXPECT_EQ(valid.weights[0] > 0.0f, pixel.isValid) << pixel.value;
        const std::vector<float> means =
            windowMeans(kernel, validColumns(kernel, impulse(3, 3, 1, 2, pixel.value, 5.0f)));
        if (!pixel.isValid)
            EXPECT_EQ(means[0], 5.0f) << pixel.value;
        else if (std::isfinite(pixel.value))
            EXPECT_LT(means[0], -100.0f) << pixel.value;
        else
            EXPECT_FALSE(std::isfinite(means[0])) << pixel.value;
    }
}

// ---- Where a window lies

TEST_P(GaussKernelsOfValidPixels, MeansAreTheSameWhereverTheyLie)
{
    Rows<float> window = floats(kernel.size(), size, 100.0, 2500.0);
    makeHoles(window, 0, 0);
    window[reach][reach] = 100.0f;
    const float expected = windowMeans(kernel, validColumns(kernel, window))[0];
    for (std::size_t start = 0; start < 40; start += 3) {
        Rows<float> pixels = floats(kernel.size(), size + 40, -9000.0, 5e5);
        for (std::size_t k = 0; k < size; ++k)
            std::copy(window[k].begin(), window[k].end(),
                      pixels[k].begin() + static_cast<std::ptrdiff_t>(start));
        ValidColumns valid = validColumns(kernel, pixels);
        EXPECT_EQ(windowMeans(kernel, valid)[start], expected) << start;
        constexpr std::ptrdiff_t origin = -1000;
        const std::ptrdiff_t sample = origin + row.reach;
        float alone = 0.0f;
        kernel.meanOfColumns(valid.from(start), {&sample, 1, origin}, &alone);
        EXPECT_EQ(alone, expected) << start;
    }
}

class GaussKernelColumnsOfValidPixels : public ColumnsTest
{};

INSTANTIATE_TEST_SUITE_P(Counts, GaussKernelColumnsOfValidPixels, columnCounts,
                         testing::PrintToStringParamName());

void expectColumn(const ValidColumns& all, std::size_t x, const ValidColumns& alone)
{
    ASSERT_EQ(all.sums[x], alone.sums[0]) << x;
    ASSERT_EQ(all.weights[x], alone.weights[0]) << x;
    ASSERT_EQ(all.lowest[x], alone.lowest[0]) << x;
    ASSERT_EQ(all.highest[x], alone.highest[0]) << x;
}

TEST_P(GaussKernelColumnsOfValidPixels, AreSummedAsEachByItself)
{
    const Rows<unsigned char> byteRows = bytes(kernel.size(), columns);
    const Rows<unsigned char> alphas = alphaBytes(kernel.size(), columns);
    Rows<float> floatRows = floats(kernel.size(), columns, 100.0, 2500.0);
    makeHoles(floatRows, 2040, 2043);
    const ValidColumns ofBytes = validColumns(kernel, byteRows, alphas);
    const ValidColumns ofFloats = validColumns(kernel, floatRows);
    for (std::size_t x = 0; x < columns; ++x) {
        expectColumn(ofBytes, x, validColumns(kernel, columnOf(byteRows, x), columnOf(alphas, x)));
        expectColumn(ofFloats, x, validColumns(kernel, columnOf(floatRows, x)));
    }
}

TEST(GaussKernelOfValidPixels, RoundingStaysSmallInLongWindows)
{
    // The other direction rounds, too, by less: it adds eight sums.
    constexpr double part = 0.7;
    for (const KernelCase& row : longKernels) {
        const GaussKernel kernel(row.sigma, row.reach);
        const Rows<float> heights = floats(kernel.size(), 40, 5e5, 5e5 + 8);
        const ValidColumns valid = validColumns(kernel, heights);
        for (std::size_t x = 0; x < valid.sums.size(); ++x) {
            const Direct direct = directColumn(row, heights, x);
            EXPECT_NEAR(static_cast<double>(valid.sums[x]) / static_cast<double>(valid.weights[x]),
                        direct.mean(), part * direct.limit())
                << x;
        }
    }
}

} // namespace
