#ifndef VEXEL_COMPANION_PARALLELROWS_H
#define VEXEL_COMPANION_PARALLELROWS_H

#include <cstdint>
#include <exception>

namespace vexel {

/// Calls `row(i)` for every i from 0 to `rows` - 1, spread over a thread team in equal runs.
///
/// An OpenMP loop must not let an exception out: the first one that a call throws is kept and rethrown here,
/// on the calling thread, once the team is done. Small jobs stay on the calling thread.
///
/// @param pixelsPerRow how much work a row is, to tell whether a team pays.
template <class Row>
void parallelRows(std::int64_t rows, std::int64_t pixelsPerRow, const Row& row)
{
    constexpr std::int64_t worthATeam = 1 << 14;
    const bool useTeam = pixelsPerRow > 0 && rows > worthATeam / pixelsPerRow;
    std::exception_ptr failure;
#pragma omp parallel for schedule(static) if (useTeam)
    for (std::int64_t i = 0; i < rows; ++i) {
        try {
            row(i);
        } catch (...) {
#pragma omp critical(vexelParallelRowsFailure)
            if (!failure)
                failure = std::current_exception();
        }
    }
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace vexel

#endif
