#ifndef VEXEL_DOWNSAMPLERS_LANEKERNELS_H
#define VEXEL_DOWNSAMPLERS_LANEKERNELS_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

/// The innermost loops of the block reducers, on plain rows. Either blocks are lanes: `lanes` of them go side
/// by side, and within each the order of operations is that of a block reduced by itself. Or, where the order
/// does not show, the rows of a row of blocks are joined column by column first, then the columns of each
/// block.
namespace vexel::kernels {

constexpr std::ptrdiff_t lanes = 32;

/// out[lane] := row[start[lane]]
void gather(const float* row, const std::int64_t* start, float* out);
void gather(const unsigned char* row, const std::int64_t* start, unsigned char* out);

/// The same for lanes that start `length` pixels apart: out[lane] := row[lane * length]
void gatherRegular(const float* row, std::ptrdiff_t length, float* out);
void gatherRegular(const unsigned char* row, std::ptrdiff_t length, unsigned char* out);

/// One step of the running mean of each lane: values not below `firstValidDouble` enter it.
void addToMeans(const float* values, double* counts, double* means);

/// One step of the fold of each lane; values not above `firstValidFloat` are passed over.
void foldMin(const float* values, float* chosen);
void foldMax(const float* values, float* chosen);

/// sums[x] += row[x]
void addRow(const unsigned char* row, std::uint16_t* sums, std::ptrdiff_t width);
/// sums[x] += row[x] and counts[x] += 1 where alpha[x] is not 0.
void addRow(const unsigned char* row, const unsigned char* alpha, std::uint16_t* sums, std::uint16_t* counts,
            std::ptrdiff_t width);
/// out[j] := the sum over the count of columns j * length to (j + 1) * length - 1, no-data where the count
/// is 0.
void meansOfBlocks(const std::uint16_t* sums, const std::uint16_t* counts, std::ptrdiff_t length,
                   std::ptrdiff_t blocks, float* out);

/// lowest[x] := the smaller of it and row[x].
void keepLowest(const unsigned char* row, unsigned char* lowest, std::ptrdiff_t width);
/// The same where alpha[x] is not 0.
void keepLowest(const unsigned char* row, const unsigned char* alpha, unsigned char* lowest,
                std::ptrdiff_t width);
/// out[j] := the smallest of columns j * length to (j + 1) * length - 1.
void lowestOfBlocks(const unsigned char* lowest, std::ptrdiff_t length, std::ptrdiff_t blocks,
                    unsigned char* out);

/// highest[x] := the larger of it and row[x].
void keepHighest(const unsigned char* row, unsigned char* highest, std::ptrdiff_t width);
/// The same where alpha[x] is not 0.
void keepHighest(const unsigned char* row, const unsigned char* alpha, unsigned char* highest,
                 std::ptrdiff_t width);
/// out[j] := the largest of columns j * length to (j + 1) * length - 1.
void highestOfBlocks(const unsigned char* highest, std::ptrdiff_t length, std::ptrdiff_t blocks,
                     unsigned char* out);

/// bad[lane] |= 1 where a plain comparison would not order the value: below `firstValidFloat`, NaN, or -0.
void markUnordered(const float* values, std::uint8_t* bad);

/// For rows of values, one of each lane: missing ones become infinite, valid[lane] += 1 for the others, and odd[lane] |= 1
/// for those of them that a plain comparison would not order.
void raiseMissing(float* values, std::ptrdiff_t rows, std::uint8_t* valid, std::uint8_t* odd);

/// The bits that any of the bytes has.
unsigned char joinedBits(const unsigned char* row, std::ptrdiff_t width);

/// out[lane] := the value of rank ranks[lane] among the `places` values of that lane, 255 at most; place p of all lanes
/// stands at `values + p * lanes`.
void selectInLanes(const unsigned char* values, std::ptrdiff_t places, const std::uint8_t* ranks,
                   unsigned char* out);

/// counts[lane] := how many of `places` values of that lane, 255 at most, are not 0.
void countOpaque(const unsigned char* alphas, std::ptrdiff_t places, std::uint8_t* counts);

constexpr std::ptrdiff_t quarters = 4;

/// counts[q] := how many values are not below thresholds[q] in quarter q of the columns of rows of `lanes` values.
void countAtLeast(const unsigned char* values, std::ptrdiff_t rows, const unsigned char* thresholds,
                  std::size_t* counts);

/// row[x] := 255 where alpha[x] is 0
void raiseTransparent(const unsigned char* alpha, unsigned char* row, std::ptrdiff_t width);

/// Integers in the order of the values, and of the same one only for the same bits or NaN.
constexpr std::int32_t keyOfNan = std::numeric_limits<std::int32_t>::max();
float valueOfKey(std::int32_t key);

struct KeyRange
{
    std::int32_t lowest;
    std::int32_t highest;
};

/// keys[i] := the key of values[i], at least one of them.
KeyRange orderedKeys(const float* values, std::int32_t* keys, std::ptrdiff_t count);

/// An exchange that puts the smaller value of two places first.
struct Comparator
{
    std::uint16_t low;
    std::uint16_t high;
};

/// Exchanges that bring the value of rank `k` of `n` places to place k; the others end up anywhere.
std::vector<Comparator> selectionNetwork(std::size_t n, std::size_t k);

/// Exchanges that bring all of `n` values into order.
std::vector<Comparator> sortingNetwork(std::size_t n);

/// Runs a network on each lane; place p of all lanes stands at `values + p * lanes`.
void runNetwork(const std::vector<Comparator>& network, float* values);
void runNetwork(const std::vector<Comparator>& network, unsigned char* values);

} // namespace vexel::kernels

#endif
