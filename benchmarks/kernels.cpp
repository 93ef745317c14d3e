// The inner loops of the downsamplers, without files: block reducers and the Gaussian.

#include "companion/PixelMatrix.h"
#include "companion/gaussblur.h"
#include "downsamplers/BlockReducer.h"
#include "downsamplers/DownsamplerAverage.h"
#include "downsamplers/DownsamplerOp.h"
#include "downsamplers/DownsamplerPercentile.h"
#include "downsamplers/blockreducers.h"
#include "downsamplers/blockruns.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

using namespace vexel;

namespace {

constexpr std::int64_t side = 2048;

void countPixels(benchmark::State& state)
{
    state.counters["pixels"] = benchmark::Counter(static_cast<double>(side * side * state.iterations()),
                                                  benchmark::Counter::kIsRate);
}

/// A reducer of blocks that opens no files.
template <class Reducer>
class Direct : public Reducer
{
public:
    template <class... Arguments>
    explicit Direct(Arguments... arguments) : Reducer(arguments...)
    {}

    float reduce(const PixelRows<float>& pixels, std::int64_t columns) const
    {
        return this->representativeValue(vexel::blockAt(pixels, columns));
    }
};

template <class Reducer, class... Arguments>
ReduceBlock definition(Arguments... arguments)
{
    auto direct = std::make_shared<Direct<Reducer>>(arguments...);
    return [direct](const PixelRows<float>& pixels, std::int64_t columns) {
        return direct->reduce(pixels, columns);
    };
}

// As the library folds.
using Choice = std::function<const float&(const float&, const float&)>;
using ChoiceFunction = const float& (*)(const float&, const float&);

struct Strategy
{
    const char* name;
    std::unique_ptr<BlockReducer> (*make)();
};

const std::vector<Strategy>& strategies()
{
    static const std::vector<Strategy> all = {
        {"average", [] { return makeAverageReducer(definition<DownsamplerAverage>()); }},
        {"median", [] { return makePercentileReducer(0.5); }},
        {"percentile75", [] { return makePercentileReducer(0.75); }},
        {"min",
         [] { return makeMinReducer(definition<DownsamplerOp<Choice>>(ChoiceFunction(std::min<float>))); }},
        {"max",
         [] { return makeMaxReducer(definition<DownsamplerOp<Choice>>(ChoiceFunction(std::max<float>))); }},
    };
    return all;
}

enum class Holes
{
    None,
    Some ///< a tenth of the pixels
};

PixelMatrix<float> floats(Holes holes)
{
    std::mt19937 random(1);
    PixelMatrix<float> pixels(side, side);
    for (Eigen::Index i = 0; i < pixels.size(); ++i) {
        const auto value = static_cast<float>(random() % 100000) * 0.01f;
        pixels.data()[i] = holes == Holes::Some && random() % 10 == 0 ? -10000.0f : value;
    }
    return pixels;
}

PixelMatrix<unsigned char> bytes(unsigned int seed, bool isAlpha)
{
    std::mt19937 random(seed);
    PixelMatrix<unsigned char> pixels(side, side);
    for (Eigen::Index i = 0; i < pixels.size(); ++i)
        pixels.data()[i] =
            static_cast<unsigned char>(isAlpha ? (random() % 10 == 0 ? 0 : 255) : random() % 256);
    return pixels;
}

/// Calls `reduceRow(y)` for the first pixel row of each row of blocks.
template <class ReduceRow>
void forEachBlockRow(std::int64_t blockSize, const ReduceRow& reduceRow)
{
    for (std::int64_t y = 0; y + blockSize <= side; y += blockSize)
        reduceRow(y);
}

BlockAxis axisOf(std::int64_t blockSize)
{
    return {side / blockSize, {static_cast<double>(blockSize), 0, blockSize}, 0, side};
}

BlockColumns allOf(const BlockAxis& axis)
{
    return {axis, {0, axis.noBlocks(), 0, side, side}};
}

template <class T>
PixelRows<T> rowsAt(const PixelMatrix<T>& pixels, std::int64_t y, std::int64_t blockSize)
{
    return {pixels.data() + y * side, side, blockSize};
}

void reduceFloats(benchmark::State& state, const Strategy& strategy, std::int64_t blockSize, Holes holes)
{
    const std::unique_ptr<BlockReducer> reducer = strategy.make();
    const PixelMatrix<float> pixels = floats(holes);
    const BlockAxis axis = axisOf(blockSize);
    std::vector<float> out(static_cast<std::size_t>(axis.noBlocks()));
    for ([[maybe_unused]] auto _ : state)
        forEachBlockRow(blockSize, [&](std::int64_t y) {
            reducer->reduce(rowsAt(pixels, y, blockSize), allOf(axis), out.data());
            benchmark::DoNotOptimize(out.data());
        });
    countPixels(state);
}

void reduceBytes(benchmark::State& state, const Strategy& strategy, std::int64_t blockSize, Holes holes)
{
    const std::unique_ptr<BlockReducer> reducer = strategy.make();
    if (!reducer->takesBytes(blockSize)) {
        state.SkipWithError("bytes are reduced as floats");
        return;
    }
    const PixelMatrix<unsigned char> pixels = bytes(1, /*isAlpha=*/false);
    const PixelMatrix<unsigned char> alpha = bytes(2, /*isAlpha=*/true);
    const BlockAxis axis = axisOf(blockSize);
    std::vector<float> out(static_cast<std::size_t>(axis.noBlocks()));
    for ([[maybe_unused]] auto _ : state)
        forEachBlockRow(blockSize, [&](std::int64_t y) {
            MaskedBytes rows{rowsAt(pixels, y, blockSize), std::nullopt};
            if (holes == Holes::Some)
                rows.alpha = rowsAt(alpha, y, blockSize);
            reducer->reduce(rows, allOf(axis), out.data());
            benchmark::DoNotOptimize(out.data());
        });
    countPixels(state);
}

void blur(benchmark::State& state, float sigma)
{
    const PixelMatrix<float> pixels = floats(Holes::None);
    PixelMatrix<float> blurred;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        blurred = pixels;
        state.ResumeTiming();
        gauss_iir2d(blurred, sigma, 4);
        benchmark::DoNotOptimize(blurred.data());
    }
    countPixels(state);
}

std::string reducerName(const Strategy& strategy, const char* type, std::int64_t blockSize, Holes holes)
{
    return std::string("reduce/") + strategy.name + "/" + type + "/" + std::to_string(blockSize) +
           (holes == Holes::Some ? "/holes" : "/full");
}

const bool registered = [] {
    for (const Strategy& strategy : strategies())
        for (const std::int64_t blockSize : {2, 3, 4, 8, 9, 16, 32})
            for (const Holes holes : {Holes::None, Holes::Some}) {
                benchmark::RegisterBenchmark(reducerName(strategy, "bytes", blockSize, holes).c_str(),
                                             reduceBytes, strategy, blockSize, holes);
                benchmark::RegisterBenchmark(reducerName(strategy, "floats", blockSize, holes).c_str(),
                                             reduceFloats, strategy, blockSize, holes);
            }
    for (const float sigma : {1.84f, 2.6f, 3.67f})
        benchmark::RegisterBenchmark(("gauss_iir2d/" + std::to_string(sigma).substr(0, 4)).c_str(), blur,
                                     sigma)
            ->UseRealTime();
    return true;
}();

} // namespace
