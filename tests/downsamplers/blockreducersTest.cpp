#include "downsamplers/blockreducers.h"

#include "downsamplers/DownsamplerAverage.h"
#include "downsamplers/DownsamplerOp.h"
#include "downsamplers/DownsamplerPercentile.h"
#include "support/reducers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>

using namespace vexel;

namespace {

using Fold = DownsamplerOp<std::function<const float&(const float&, const float&)>>;
using FoldFunction = const float& (*)(const float&, const float&);

/// A fast reducer and the definition that it has to equal.
struct Reduction
{
    const char* name;
    std::function<float(PixelMatrix<float>&)> definition;
    std::unique_ptr<BlockReducer> (*make)(ReduceBlock);
};

std::vector<Reduction> reductions()
{
    return {
        {"average", [](PixelMatrix<float>& b) { return DirectReducer<DownsamplerAverage>()(b); },
         &makeAverageReducer},
        {"median", [](PixelMatrix<float>& b) { return DirectReducer<DownsamplerPercentile>(0.5)(b); },
         [](ReduceBlock one) { return makePercentileReducer(0.5, std::move(one)); }},
        {"percentile75", [](PixelMatrix<float>& b) { return DirectReducer<DownsamplerPercentile>(0.75)(b); },
         [](ReduceBlock one) { return makePercentileReducer(0.75, std::move(one)); }},
        {"min", [](PixelMatrix<float>& b) { return DirectReducer<Fold>(FoldFunction(std::min<float>))(b); },
         &makeMinReducer},
        {"max", [](PixelMatrix<float>& b) { return DirectReducer<Fold>(FoldFunction(std::max<float>))(b); },
         &makeMaxReducer}};
}

/// The same reducer on one block at a time, as the fast one hands over what it does not take.
ReduceBlock definitionOf(const Reduction& reduction)
{
    return [definition = reduction.definition](const PixelRows<float>& pixels, std::int64_t columns) {
        PixelMatrix<float> block(pixels.rows, columns);
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            std::copy_n(pixels.row(y), columns, block.data() + y * columns);
        return definition(block);
    };
}

bool sameBits(float a, float b)
{
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

/// Kinds of pixels, from plain ones to those that a fast road must not take for granted.
float pixelOf(int kind, std::mt19937& random)
{
    const auto plain = static_cast<float>(random() % 1000) * 0.1f;
    switch (kind) {
    case 0:
        return plain;
    case 1:
        return random() % 5 == 0 ? -10000.0f : plain;
    case 2: {
        const float odd[] = {-0.0f,     0.0f,     std::nanf(""), -9999.9990234375f,
                             -20000.0f, INFINITY, -INFINITY,     plain};
        return odd[random() % 8];
    }
    default:
        return -10000.0f;
    }
}

struct Strip
{
    BlockAxis axis;
    std::int64_t columns;
    std::int64_t rows;
};

Strip randomStrip(std::mt19937& random)
{
    const double factor = random() % 3 == 0 ? 0.5 + static_cast<double>(random() % 900) / 100.0
                                            : static_cast<double>(1 + random() % 9);
    const auto size = static_cast<std::int64_t>(factor + 0.5);
    const auto columns = static_cast<std::int64_t>(random() % 400) + 1;
    return {BlockAxis(static_cast<std::int64_t>(static_cast<double>(columns) / factor) + 1, factor,
                      static_cast<int>(random() % 3), 0, size, columns),
            columns, std::max<std::int64_t>(1, size - (random() % 4 == 0 ? 1 : 0))};
}

} // namespace

TEST(BlockReducers, EqualTheirDefinitionOnFloats)
{
    std::mt19937 random(17);
    for (const Reduction& reduction : reductions()) {
        const auto reducer = reduction.make(definitionOf(reduction));
        for (int round = 0; round < 60; ++round) {
            const Strip strip = randomStrip(random);
            const int kind = round % 4;
            PixelMatrix<float> pixels(strip.rows, strip.columns);
            for (Eigen::Index i = 0; i < pixels.size(); ++i)
                pixels.data()[i] = pixelOf(kind, random);
            std::vector<float> out(static_cast<std::size_t>(strip.axis.noBlocks()));
            reducer->reduce({pixels.data(), strip.columns, strip.rows}, strip.axis, 0, strip.axis.noBlocks(),
                            0, out.data());
            for (std::int64_t j = 0; j < strip.axis.noBlocks(); ++j) {
                PixelMatrix<float> block = pixels.middleCols(strip.axis.first(j), strip.axis.span(j).length);
                const float expected = reduction.definition(block);
                ASSERT_TRUE(sameBits(out[static_cast<std::size_t>(j)], expected))
                    << reduction.name << " round " << round << " block " << j << ": "
                    << out[static_cast<std::size_t>(j)] << " for " << expected;
            }
        }
    }
}

TEST(BlockReducers, EqualTheirDefinitionOnBytes)
{
    std::mt19937 random(19);
    for (const Reduction& reduction : reductions()) {
        const auto reducer = reduction.make(definitionOf(reduction));
        for (int round = 0; round < 60; ++round) {
            const Strip strip = randomStrip(random);
            const bool withAlpha = round % 2 == 1;
            PixelMatrix<unsigned char> pixels(strip.rows, strip.columns);
            PixelMatrix<unsigned char> alpha(strip.rows, strip.columns);
            for (Eigen::Index i = 0; i < pixels.size(); ++i) {
                pixels.data()[i] = static_cast<unsigned char>(random() % 256);
                alpha.data()[i] = static_cast<unsigned char>(random() % (round % 4 == 1 ? 2 : 9));
            }
            const PixelRows<unsigned char> alphaRows{alpha.data(), strip.columns, strip.rows};
            std::vector<float> out(static_cast<std::size_t>(strip.axis.noBlocks()));
            reducer->reduce({pixels.data(), strip.columns, strip.rows}, withAlpha ? &alphaRows : nullptr,
                            strip.axis, 0, strip.axis.noBlocks(), 0, out.data());
            for (std::int64_t j = 0; j < strip.axis.noBlocks(); ++j) {
                PixelMatrix<float> block(strip.rows, strip.axis.span(j).length);
                for (Eigen::Index y = 0; y < block.rows(); ++y)
                    for (Eigen::Index x = 0; x < block.cols(); ++x)
                        block(y, x) = withAlpha && alpha(y, strip.axis.first(j) + x) == 0
                                          ? -10000.0f
                                          : static_cast<float>(pixels(y, strip.axis.first(j) + x));
                const float expected = reduction.definition(block);
                ASSERT_TRUE(sameBits(out[static_cast<std::size_t>(j)], expected))
                    << reduction.name << " round " << round << " block " << j;
            }
        }
    }
}

namespace {

struct WideRow
{
    double factor;
    int offset;
    int border;
};

/// Compares each block of the axis with its definition.
void expectDefinition(const Reduction& reduction, const BlockAxis& axis,
                      const PixelMatrix<unsigned char>& pixels, const PixelMatrix<unsigned char>* alpha)
{
    const auto reducer = reduction.make(definitionOf(reduction));
    const PixelRows<unsigned char> rows{pixels.data(), pixels.cols(), pixels.rows()};
    const PixelRows<unsigned char> alphaRows{alpha ? alpha->data() : nullptr, pixels.cols(), pixels.rows()};
    std::vector<float> out(static_cast<std::size_t>(axis.noBlocks()) + 1, 4711.0f);
    reducer->reduce(rows, alpha ? &alphaRows : nullptr, axis, 0, axis.noBlocks(), 0, out.data());
    for (std::int64_t j = 0; j < axis.noBlocks(); ++j) {
        PixelMatrix<float> block = pixels.middleCols(axis.first(j), axis.span(j).length).cast<float>();
        for (Eigen::Index i = 0; alpha && i < block.size(); ++i)
            if ((*alpha)(i / block.cols(), axis.first(j) + i % block.cols()) == 0)
                block.data()[i] = -10000.0f;
        const float expected = reduction.definition(block);
        ASSERT_TRUE(sameBits(out[static_cast<std::size_t>(j)], expected))
            << "block " << j << ": " << out[static_cast<std::size_t>(j)] << " for " << expected;
    }
    EXPECT_EQ(out.back(), 4711.0f) << "beyond the last block";
}

} // namespace

// Bytes are joined 2048 columns at a time.
TEST(BlockReducers, EqualTheirDefinitionOnRowsOfSeveralChunks)
{
    std::mt19937 random(29);
    constexpr std::int64_t columns = 3 * 2048 + 211;
    for (const Reduction& reduction : reductions())
        for (const WideRow& row :
             {WideRow{2, 0, 0}, WideRow{3, 1, 0}, WideRow{2048.0 / 64, 0, 0}, WideRow{45, 0, 0},
              WideRow{89, 7, 0}, WideRow{2.994, 0, 0}, WideRow{2.5, 0, 0}, WideRow{3.4, 2, 0},
              WideRow{0.75, 0, 0}, WideRow{4, 2, 2}, WideRow{7.3, 0, 3}})
            for (const bool withAlpha : {false, true}) {
                SCOPED_TRACE(testing::Message() << reduction.name << ", factor " << row.factor << ", border "
                                                << row.border << (withAlpha ? ", alpha" : ""));
                const auto size = static_cast<std::int64_t>(row.factor + 2 * row.border + 0.5);
                const BlockAxis axis(columns, row.factor, row.offset, row.border, size, columns);
                PixelMatrix<unsigned char> pixels(std::min<std::int64_t>(size, 4), columns);
                PixelMatrix<unsigned char> alpha(pixels.rows(), columns);
                for (Eigen::Index i = 0; i < pixels.size(); ++i) {
                    pixels.data()[i] = static_cast<unsigned char>(random() % 256);
                    alpha.data()[i] = static_cast<unsigned char>(random() % 3);
                }
                expectDefinition(reduction, axis, pixels, withAlpha ? &alpha : nullptr);
            }
}

TEST(BlockReducers, TakeBlocksAsWideAsAChunk)
{
    std::mt19937 random(31);
    for (const Reduction& reduction : reductions()) {
        if (!reduction.make(definitionOf(reduction))->takesBytes(2048))
            continue;
        SCOPED_TRACE(reduction.name);
        const BlockAxis axis(4, 2048, 5, 0, 2048, 5000);
        ASSERT_EQ(axis.noBlocks(), 3);
        PixelMatrix<unsigned char> pixels(2, 5000);
        for (Eigen::Index i = 0; i < pixels.size(); ++i)
            pixels.data()[i] = static_cast<unsigned char>(20 + random() % 200);
        pixels(1, 5 + 2047) = 255;
        pixels(0, 5 + 2048) = 1;
        expectDefinition(reduction, axis, pixels, nullptr);
    }
    EXPECT_TRUE(makeMinReducer(nullptr)->takesBytes(2048));
    EXPECT_FALSE(makeMinReducer(nullptr)->takesBytes(2049));
    EXPECT_TRUE(makeMaxReducer(nullptr)->takesBytes(2048));
    EXPECT_FALSE(makeMaxReducer(nullptr)->takesBytes(2049));
}

TEST(BlockReducers, MeansOfBytesEqualTheRunningMeanUpToTheLargestBlock)
{
    std::mt19937 random(23);
    const auto reducer = makeAverageReducer(nullptr);
    ASSERT_TRUE(reducer->takesBytes(90));
    ASSERT_FALSE(reducer->takesBytes(91));
    for (const std::int64_t size : {3, 7, 16, 45, 89, 90}) {
        const std::int64_t columns = size * 32;
        PixelMatrix<unsigned char> pixels(size, columns);
        for (Eigen::Index i = 0; i < pixels.size(); ++i)
            pixels.data()[i] = static_cast<unsigned char>(random() % (size % 2 == 0 ? 256 : 3));
        const BlockAxis axis(32, static_cast<double>(size), 0, 0, size, columns);
        float out[32];
        reducer->reduce({pixels.data(), columns, size}, nullptr, axis, 0, 32, 0, out);
        for (std::int64_t j = 0; j < 32; ++j) {
            PixelMatrix<float> block = pixels.middleCols(j * size, size).cast<float>();
            ASSERT_EQ(out[j], DirectReducer<DownsamplerAverage>()(block)) << size;
        }
    }
}

TEST(BlockReducers, ReduceAPartOfAnAxis)
{
    const auto reducer = makeMaxReducer([](const PixelRows<float>& pixels, std::int64_t columns) {
        float largest = pixels.row(0)[0];
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            largest = std::max(largest, *std::max_element(pixels.row(y), pixels.row(y) + columns));
        return largest;
    });
    const std::vector<float> row = {5, 1, 2, 8, 3, 4};
    const BlockAxis axis(6, 2.0, 0, 0, 2, 12);
    float out[3] = {};
    // The row starts at pixel 4, which is block 2.
    reducer->reduce({row.data(), 6, 1}, axis, 2, 5, 4, out);
    EXPECT_EQ(out[0], 5);
    EXPECT_EQ(out[1], 8);
    EXPECT_EQ(out[2], 4);
}
