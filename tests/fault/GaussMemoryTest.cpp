#include "companion/gaussblur.h"
#include "fault/allocations.h"
#include "support/Threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

// The Gaussian filter works in place: whatever the shape of the image, its scratch is a small part of it.

namespace {

namespace allocations = faults::allocations;

struct SizeCase
{
    const char* name;
    std::int64_t rows;
    std::int64_t columns;
};

constexpr std::int64_t pixelBytes = 4;

/// What a thread may take for a pass along lines: 64 KiB and 32 lines, or as many as there are.
std::uint64_t bytesOfThread(std::int64_t lines, std::int64_t length)
{
    return static_cast<std::uint64_t>((std::int64_t{64} << 10) +
                                      std::min<std::int64_t>(32, lines) * length * pixelBytes);
}

/// The same for both passes, in all threads that have a line of their own.
std::uint64_t bytesOfTeam(const SizeCase& size, std::int64_t threads)
{
    const auto ofLines = [&](std::int64_t lines, std::int64_t length) {
        return static_cast<std::uint64_t>(std::min(threads, lines)) * bytesOfThread(lines, length);
    };
    return ofLines(size.rows, size.columns) + ofLines(size.columns, size.rows);
}

class GaussBlurMemory : public testing::TestWithParam<SizeCase>
{};

TEST_P(GaussBlurMemory, IsBoundWhateverTheShape)
{
    const SizeCase& size = GetParam();
    vexel::PixelMatrix<float> image = vexel::PixelMatrix<float>::Constant(size.rows, size.columns, 7.0f);
    for (const int threads : {1, 4}) {
        const Threads team(threads);
        for (const int order : {2, 4}) {
            allocations::count();
            vexel::gauss_iir2d(image, 3.0f, order);
            EXPECT_LE(allocations::stopAndSum(), bytesOfTeam(size, threads))
                << "order " << order << ", " << threads << " threads";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, GaussBlurMemory,
                         testing::Values(SizeCase{"Pixel", 1, 1}, SizeCase{"Column", 1000000, 1},
                                         SizeCase{"Row", 1, 1000000}, SizeCase{"FewColumns", 200000, 31},
                                         SizeCase{"FewRows", 31, 200000}, SizeCase{"Square", 5000, 5000}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
