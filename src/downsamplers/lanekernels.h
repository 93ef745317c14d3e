#ifndef VEXEL_DOWNSAMPLERS_LANEKERNELS_H
#define VEXEL_DOWNSAMPLERS_LANEKERNELS_H

#include <cstddef>
#include <cstdint>
#include <vector>

/// The innermost loops of the block reducers, on plain rows. Blocks are lanes: `lanes` of them go side by
/// side, and within each the order of operations is that of a block reduced by itself.
namespace vexel::kernels {

constexpr std::ptrdiff_t lanes = 32;

/// out[lane] := row[start[lane]]
void gather(const float* row, const std::int64_t* start, float* out);
void gather(const unsigned char* row, const std::int64_t* start, unsigned char* out);

/// One step of the running mean of each lane: values not below -9999.999 enter it.
void addToMeans(const float* values, double* counts, double* means);

/// One step of the fold of each lane; values below -9999.999 are passed over.
void foldMin(const float* values, float* chosen);
void foldMax(const float* values, float* chosen);

/// sums[x] += row[x]
void addRow(const unsigned char* row, std::uint16_t* sums, std::ptrdiff_t width);
/// sums[x] += row[x] and counts[x] += 1 where alpha[x] is not 0.
void addRow(const unsigned char* row, const unsigned char* alpha, std::uint16_t* sums, std::uint16_t* counts,
            std::ptrdiff_t width);

/// bad[lane] |= 1 where a plain comparison would not order the value: below -9999.999 as a float, NaN, or -0.
void markUnordered(const float* values, std::uint8_t* bad);

/// An exchange that puts the smaller value of two places first.
struct Comparator
{
    std::uint16_t low;
    std::uint16_t high;
};

/// Exchanges that bring the value of rank `k` of `n` places to place k; the others end up anywhere.
std::vector<Comparator> selectionNetwork(std::size_t n, std::size_t k);

/// Runs a network on each lane; place p of all lanes stands at `values + p * lanes`.
void runNetwork(const std::vector<Comparator>& network, float* values);
void runNetwork(const std::vector<Comparator>& network, unsigned char* values);

} // namespace vexel::kernels

#endif
