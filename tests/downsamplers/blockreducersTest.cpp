#include "downsamplers/blockreducers.h"

#include "downsamplers/DownsamplerAverage.h"
#include "downsamplers/DownsamplerOp.h"
#include "downsamplers/DownsamplerPercentile.h"
#include "support/reducers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

using namespace vexel;

namespace {

using Fold = DownsamplerOp<std::function<const float&(const float&, const float&)>>;
using FoldFunction = const float& (*)(const float&, const float&);

using Definition = std::function<float(PixelMatrix<float>&)>;

/// A fast reducer and the definition that it has to equal.
struct Reduction
{
    const char* name;
    Definition definition;
    std::unique_ptr<BlockReducer> (*make)(ReduceBlock);
};

std::vector<Reduction> reductions()
{
    return {
        {"average", [](PixelMatrix<float>& b) { return DirectReducer<DownsamplerAverage>()(b); },
         &makeAverageReducer},
        {"median", [](PixelMatrix<float>& b) { return DirectReducer<DownsamplerPercentile>(0.5)(b); },
         [](ReduceBlock) { return makePercentileReducer(0.5); }},
        {"percentile75", [](PixelMatrix<float>& b) { return DirectReducer<DownsamplerPercentile>(0.75)(b); },
         [](ReduceBlock) { return makePercentileReducer(0.75); }},
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

PixelRows<float> rowsOf(const PixelMatrix<float>& pixels)
{
    return {pixels.data(), pixels.cols(), pixels.rows()};
}

MaskedBytes bytesOf(const PixelMatrix<unsigned char>& pixels,
                    const PixelMatrix<unsigned char>* alpha = nullptr)
{
    MaskedBytes bytes{{pixels.data(), pixels.cols(), pixels.rows()}, std::nullopt};
    if (alpha)
        bytes.alpha = {alpha->data(), alpha->cols(), alpha->rows()};
    return bytes;
}

/// All blocks, over rows that start at pixel 0 of the axis.
BlockColumns allOf(const BlockAxis& axis)
{
    return {axis, {0, axis.noBlocks(), 0, axis.endOfAll(), axis.endOfAll()}};
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
    return {BlockAxis(static_cast<std::int64_t>(static_cast<double>(columns) / factor) + 1, {factor, 0, size},
                      static_cast<int>(random() % 3), columns),
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
            reducer->reduce(rowsOf(pixels), allOf(strip.axis), out.data());
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
            std::vector<float> out(static_cast<std::size_t>(strip.axis.noBlocks()));
            reducer->reduce(bytesOf(pixels, withAlpha ? &alpha : nullptr), allOf(strip.axis), out.data());
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
void expectDefinition(const BlockReducer& reducer, const Definition& definition, const BlockAxis& axis,
                      const PixelMatrix<unsigned char>& pixels, const PixelMatrix<unsigned char>* alpha)
{
    std::vector<float> out(static_cast<std::size_t>(axis.noBlocks()) + 1, 4711.0f);
    reducer.reduce(bytesOf(pixels, alpha), allOf(axis), out.data());
    for (std::int64_t j = 0; j < axis.noBlocks(); ++j) {
        PixelMatrix<float> block = pixels.middleCols(axis.first(j), axis.span(j).length).cast<float>();
        for (Eigen::Index i = 0; alpha && i < block.size(); ++i)
            if ((*alpha)(i / block.cols(), axis.first(j) + i % block.cols()) == 0)
                block.data()[i] = -10000.0f;
        const float expected = definition(block);
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
    for (const Reduction& reduction : reductions()) {
        const auto reducer = reduction.make(definitionOf(reduction));
        for (const WideRow& row :
             {WideRow{2, 0, 0}, WideRow{3, 1, 0}, WideRow{2048.0 / 64, 0, 0}, WideRow{45, 0, 0},
              WideRow{89, 7, 0}, WideRow{2.994, 0, 0}, WideRow{2.5, 0, 0}, WideRow{3.4, 2, 0},
              WideRow{0.75, 0, 0}, WideRow{4, 2, 2}, WideRow{7.3, 0, 3}})
            for (const bool withAlpha : {false, true}) {
                SCOPED_TRACE(testing::Message() << reduction.name << ", factor " << row.factor << ", border "
                                                << row.border << (withAlpha ? ", alpha" : ""));
                const auto size = static_cast<std::int64_t>(row.factor + 2 * row.border + 0.5);
                const BlockAxis axis(columns, {row.factor, row.border, size}, row.offset, columns);
                PixelMatrix<unsigned char> pixels(std::min<std::int64_t>(size, 4), columns);
                PixelMatrix<unsigned char> alpha(pixels.rows(), columns);
                for (Eigen::Index i = 0; i < pixels.size(); ++i) {
                    pixels.data()[i] = static_cast<unsigned char>(random() % 256);
                    alpha.data()[i] = static_cast<unsigned char>(random() % 3);
                }
                expectDefinition(*reducer, reduction.definition, axis, pixels, withAlpha ? &alpha : nullptr);
            }
    }
}

TEST(BlockReducers, TakeBlocksAsWideAsAChunk)
{
    std::mt19937 random(31);
    for (const Reduction& reduction : reductions()) {
        const auto reducer = reduction.make(definitionOf(reduction));
        if (!reducer->takesBytes(2048))
            continue;
        SCOPED_TRACE(reduction.name);
        const BlockAxis axis(4, {2048, 0, 2048}, 5, 5000);
        ASSERT_EQ(axis.noBlocks(), 3);
        PixelMatrix<unsigned char> pixels(2, 5000);
        for (Eigen::Index i = 0; i < pixels.size(); ++i)
            pixels.data()[i] = static_cast<unsigned char>(20 + random() % 200);
        pixels(1, 5 + 2047) = 255;
        pixels(0, 5 + 2048) = 1;
        expectDefinition(*reducer, reduction.definition, axis, pixels, nullptr);
    }
    EXPECT_TRUE(makeMinReducer(nullptr)->takesBytes(2048));
    EXPECT_FALSE(makeMinReducer(nullptr)->takesBytes(2049));
    EXPECT_TRUE(makeMaxReducer(nullptr)->takesBytes(2048));
    EXPECT_FALSE(makeMaxReducer(nullptr)->takesBytes(2049));
}

namespace {

float ofBits(std::uint32_t bits)
{
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::uint32_t bitsOf(float value)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

struct FloatKind
{
    const char* name;
    std::function<float(std::mt19937&)> draw;
};

/// What a selection might get wrong: values of one order and different bits, far apart, or all the same.
std::vector<FloatKind> floatKinds()
{
    const auto number = [](std::mt19937& random) {
        return static_cast<float>(random() % 5000) * 0.37f - 900.0f;
    };
    const auto oneOf = [](std::vector<float> values) {
        return [values](std::mt19937& random) { return values[random() % values.size()]; };
    };
    const auto mostly = [](unsigned int oneIn, auto usual, auto rare) {
        return [=](std::mt19937& random) { return random() % oneIn == 0 ? rare(random) : usual(random); };
    };
    const auto anyBits = [](std::mt19937& random) { return ofBits(static_cast<std::uint32_t>(random())); };
    const float large = std::numeric_limits<float>::max();
    const auto zeros = oneOf({-0.0f, 0.0f});
    const auto nans =
        oneOf({ofBits(0x7FC00000u), ofBits(0xFFC00001u), ofBits(0x7FC12345u), ofBits(0x7FFFFFFFu)});
    const auto infinities = oneOf({INFINITY, -INFINITY, large, -large});
    const auto holes = oneOf({-10000.0f, -INFINITY, -20000.0f});
    return {{"numbers", number},
            {"holes", mostly(5, number, holes)},
            {"few valid", mostly(60, holes, number)},
            {"none valid", holes},
            {"zeros of both signs", zeros},
            {"a few zeros of both signs", mostly(3, number, zeros)},
            {"zeros among holes", mostly(3, zeros, holes)},
            {"NaN", mostly(4, number, nans)},
            {"mostly NaN", mostly(4, nans, number)},
            {"NaN and infinities", mostly(2, nans, infinities)},
            {"infinities", mostly(3, number, infinities)},
            {"the threshold", mostly(3, number, oneOf({-9999.9990234375f, -9999.998046875f, -10000.0f}))},
            {"one value", oneOf({312.25f})},
            {"two values", oneOf({312.25f, -7.5f})},
            {"close together, some far away",
             mostly(
                 50, [](std::mt19937& random) { return 300.0f + static_cast<float>(random() % 999) * 1e-4f; },
                 oneOf({0.0f, -9000.0f, large}))},
            {"tiny",
             [](std::mt19937& random) { return ofBits(1u + static_cast<std::uint32_t>(random() % 4000)); }},
            {"any bits", anyBits}};
}

struct BlockShape
{
    const char* name;
    double factor;
    int border;
    std::int64_t rows;
};

const BlockShape blockShapes[] = {{"Small", 4, 0, 4},
                                  {"SmallAndIrregular", 3.4, 0, 3},
                                  {"OnePixel", 1, 0, 1},
                                  {"JustLarge", 13, 0, 5},
                                  {"OddEdge", 9, 0, 9},
                                  {"WholePanels", 16, 0, 16},
                                  {"Irregular", 12.7, 0, 13},
                                  {"Overlapping", 9, 3, 15},
                                  {"MoreRowsThan255", 48, 0, 45},
                                  {"FlatAndWide", 150, 0, 2},
                                  {"Alone", 133, 0, 130}};

/// The axis of a shape: a few groups, a rest, and blocks that the raster's edge cuts.
Strip stripOf(const BlockShape& shape)
{
    const std::int64_t noBlocks = shape.factor > 100 ? 3 : shape.factor > 40 ? 9 : 75;
    const auto size = static_cast<std::int64_t>(shape.factor + 2 * shape.border + 0.5);
    const std::int64_t columns =
        static_cast<std::int64_t>(static_cast<double>(noBlocks) * shape.factor) - size / 3;
    return {BlockAxis(noBlocks, {shape.factor, shape.border, size}, 0, columns), columns, shape.rows};
}

class Percentiles : public testing::TestWithParam<BlockShape>
{};

} // namespace

TEST_P(Percentiles, OfFloatsHaveTheBitsOfTheDefinition)
{
    std::mt19937 random(37);
    const Strip strip = stripOf(GetParam());
    for (const double percentile : {0.0, 0.5, 0.75, 1.0})
        for (const FloatKind& kind : floatKinds()) {
            const DirectReducer<DownsamplerPercentile> definition(percentile);
            PixelMatrix<float> pixels(strip.rows, strip.columns);
            for (Eigen::Index i = 0; i < pixels.size(); ++i)
                pixels.data()[i] = kind.draw(random);
            std::vector<float> out(static_cast<std::size_t>(strip.axis.noBlocks()) + 1, 4711.0f);
            makePercentileReducer(percentile)->reduce(rowsOf(pixels), allOf(strip.axis), out.data());
            for (std::int64_t j = 0; j < strip.axis.noBlocks(); ++j) {
                const float expected =
                    definition(pixels, 0, strip.axis.first(j), strip.rows, strip.axis.span(j).length);
                ASSERT_EQ(bitsOf(out[static_cast<std::size_t>(j)]), bitsOf(expected))
                    << kind.name << ", " << percentile << ", block " << j << ": "
                    << out[static_cast<std::size_t>(j)] << " for " << expected;
            }
            ASSERT_EQ(out.back(), 4711.0f) << "beyond the last block";
        }
}

TEST_P(Percentiles, OfBytesEqualTheDefinition)
{
    using Draw = std::function<unsigned int(std::mt19937&)>;
    const Draw values[] = {[](std::mt19937& random) { return random() % 256; },
                           [](std::mt19937& random) { return random() % 3 * 127; },
                           [](std::mt19937&) { return 255; }, [](std::mt19937&) { return 0; }};
    const Draw alphas[] = {nullptr, [](std::mt19937& random) { return random() % 9; },
                           [](std::mt19937& random) { return random() % 40 == 0 ? 1 : 0; },
                           [](std::mt19937&) { return 255; }, [](std::mt19937&) { return 0; }};
    std::mt19937 random(41);
    const Strip strip = stripOf(GetParam());
    for (const double percentile : {0.0, 0.5, 0.75, 1.0})
        for (const Draw& value : values)
            for (const Draw& alphaValue : alphas) {
                PixelMatrix<unsigned char> pixels(strip.rows, strip.columns);
                PixelMatrix<unsigned char> alpha(strip.rows, strip.columns);
                for (Eigen::Index i = 0; i < pixels.size(); ++i) {
                    pixels.data()[i] = static_cast<unsigned char>(value(random));
                    alpha.data()[i] = static_cast<unsigned char>(alphaValue ? alphaValue(random) : 0);
                }
                SCOPED_TRACE(testing::Message() << percentile << ", values " << &value - values << ", alpha "
                                                << &alphaValue - alphas);
                const DirectReducer<DownsamplerPercentile> definition(percentile);
                const auto definitionOfBlock = [&](PixelMatrix<float>& block) { return definition(block); };
                expectDefinition(*makePercentileReducer(percentile), definitionOfBlock, strip.axis, pixels,
                                 alphaValue ? &alpha : nullptr);
            }
}

INSTANTIATE_TEST_SUITE_P(Blocks, Percentiles, testing::ValuesIn(blockShapes),
                         [](const auto& row) { return std::string(row.param.name); });

namespace {

/// A block of that edge in which each of the values 0, 1, 2, … stands once.
PixelMatrix<float> permutation(std::int64_t edge)
{
    PixelMatrix<float> block(edge, edge);
    for (Eigen::Index i = 0; i < block.size(); ++i)
        block.data()[i] = static_cast<float>(i * 37 % block.size()); // 37 is prime to each size here
    return block;
}

} // namespace

TEST(Percentiles, OfLargeBlocksStandAtTheRoundedIndex)
{
    PixelMatrix<float> floats = permutation(32);
    PixelMatrix<unsigned char> bytes = permutation(16).cast<unsigned char>();
    const auto ofFloats = [&](double percentile) {
        float out = 0.0f;
        makePercentileReducer(percentile)
            ->reduce(rowsOf(floats), allOf(BlockAxis(1, {32, 0, 32}, 0, 32)), &out);
        return out;
    };
    const auto ofBytes = [&](double percentile) {
        float out = 0.0f;
        makePercentileReducer(percentile)
            ->reduce(bytesOf(bytes), allOf(BlockAxis(1, {16, 0, 16}, 0, 16)), &out);
        return out;
    };
    EXPECT_EQ(ofFloats(0.0), 0.0f);
    EXPECT_EQ(ofFloats(0.5), 512.0f);
    EXPECT_EQ(ofFloats(0.75), 768.0f);
    EXPECT_EQ(ofFloats(1.0), 1023.0f);
    EXPECT_EQ(ofBytes(0.0), 0.0f);
    EXPECT_EQ(ofBytes(0.5), 128.0f);
    EXPECT_EQ(ofBytes(0.75), 192.0f);
    EXPECT_EQ(ofBytes(1.0), 255.0f);
    floats.bottomRows(16).setConstant(-10000.0f);
    floats(0, 0) = -10000.0f; // it was 0; 511 values of the upper half of the rows are left
    std::vector<float> left(floats.data() + 1, floats.data() + 512);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(ofFloats(0.5), left[256]);  // round(255.5)
    EXPECT_EQ(ofFloats(0.75), left[383]); // round(383.25)
}

TEST(Percentiles, OfLargeBlocksTakeTwoValidPixels)
{
    const BlockAxis axis(6, {10.0, 0, 10}, 0, 60);
    PixelMatrix<float> floats = PixelMatrix<float>::Constant(10, 60, -10000.0f);
    PixelMatrix<unsigned char> bytes = PixelMatrix<unsigned char>::Constant(10, 60, 77);
    PixelMatrix<unsigned char> alpha = PixelMatrix<unsigned char>::Zero(10, 60);
    const auto set = [&](Eigen::Index y, Eigen::Index x, int value) {
        floats(y, x) = static_cast<float>(value);
        bytes(y, x) = static_cast<unsigned char>(value);
        alpha(y, x) = 1;
    };
    set(3, 14, 9); // one in block 1
    set(9, 29, 5); // two in block 2
    set(0, 20, 3);
    set(0, 50, 255); // and in block 5
    set(9, 59, 255);
    const float expected[] = {-10000.0f, -10000.0f, 5.0f, -10000.0f, -10000.0f, 255.0f};
    float out[6];
    makePercentileReducer(0.75)->reduce(rowsOf(floats), allOf(axis), out);
    for (int j = 0; j < 6; ++j)
        EXPECT_EQ(out[j], expected[j]) << "floats, block " << j;
    makePercentileReducer(0.75)->reduce(bytesOf(bytes, &alpha), allOf(axis), out);
    for (int j = 0; j < 6; ++j)
        EXPECT_EQ(out[j], expected[j]) << "bytes, block " << j;
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
        const BlockAxis axis(32, {static_cast<double>(size), 0, size}, 0, columns);
        float out[32];
        reducer->reduce(bytesOf(pixels), allOf(axis), out);
        for (std::int64_t j = 0; j < 32; ++j) {
            PixelMatrix<float> block = pixels.middleCols(j * size, size).cast<float>();
            ASSERT_EQ(out[j], DirectReducer<DownsamplerAverage>()(block)) << size;
        }
    }
}

TEST(BlockReducers, ReduceAPartOfAnAxis)
{
    std::mt19937 random(43);
    constexpr std::int64_t columns = 3000;
    constexpr std::int64_t noRows = 4;
    PixelMatrix<float> floats(noRows, columns);
    PixelMatrix<unsigned char> bytes(noRows, columns);
    PixelMatrix<unsigned char> alpha(noRows, columns);
    for (Eigen::Index i = 0; i < floats.size(); ++i) {
        floats.data()[i] = pixelOf(1, random);
        bytes.data()[i] = static_cast<unsigned char>(random() % 256);
        alpha.data()[i] = static_cast<unsigned char>(random() % 4);
    }
    for (const Reduction& reduction : reductions())
        for (const double factor : {3.0, 2.5, 21.0}) {
            SCOPED_TRACE(testing::Message() << reduction.name << ", factor " << factor);
            const auto noBlocks = static_cast<std::int64_t>(columns / factor);
            const BlockAxis axis(noBlocks, {factor, 0, static_cast<std::int64_t>(factor + 0.5)}, 0, columns);
            const auto reducer = reduction.make(definitionOf(reduction));
            std::vector<float> all(static_cast<std::size_t>(noBlocks));
            std::vector<float> allOfBytes(all.size());
            reducer->reduce(rowsOf(floats), allOf(axis), all.data());
            reducer->reduce(bytesOf(bytes, &alpha), allOf(axis), allOfBytes.data());
            for (const std::int64_t first : {std::int64_t{1}, noBlocks / 3, noBlocks - 40}) {
                const std::int64_t end = std::min(first + 101, noBlocks);
                const std::int64_t start = axis.first(first);
                const BlockColumns part{axis, {first, end, start, axis.end(end - 1), axis.end(end - 1)}};
                const MaskedBytes partOfBytes{
                    {bytes.data() + start, columns, noRows},
                    PixelRows<unsigned char>{alpha.data() + start, columns, noRows}};
                std::vector<float> out(static_cast<std::size_t>(end - first));
                const auto expectPartOf = [&](const std::vector<float>& whole) {
                    for (std::size_t i = 0; i < out.size(); ++i)
                        ASSERT_EQ(out[i], whole[static_cast<std::size_t>(first) + i]) << first << " + " << i;
                };
                reducer->reduce(PixelRows<float>{floats.data() + start, columns, noRows}, part, out.data());
                expectPartOf(all);
                reducer->reduce(partOfBytes, part, out.data());
                expectPartOf(allOfBytes);
            }
        }
}

TEST(BlockReducers, ReduceAPartOfARow)
{
    const auto reducer = makeMaxReducer([](const PixelRows<float>& pixels, std::int64_t columns) {
        float largest = pixels.row(0)[0];
        for (std::int64_t y = 0; y < pixels.rows; ++y)
            largest = std::max(largest, *std::max_element(pixels.row(y), pixels.row(y) + columns));
        return largest;
    });
    const std::vector<float> row = {5, 1, 2, 8, 3, 4};
    const BlockAxis axis(6, {2.0, 0, 2}, 0, 12);
    float out[3] = {};
    // The row starts at pixel 4, which is block 2.
    reducer->reduce(PixelRows<float>{row.data(), 6, 1}, {axis, {2, 5, 4, 10, 10}}, out);
    EXPECT_EQ(out[0], 5);
    EXPECT_EQ(out[1], 8);
    EXPECT_EQ(out[2], 4);
}
