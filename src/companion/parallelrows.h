#ifndef VEXEL_COMPANION_PARALLELROWS_H
#define VEXEL_COMPANION_PARALLELROWS_H

#include <cstdint>
#include <exception>
#include <optional>
#include <utility>

/// Work of at most that many nanoseconds stays on the calling thread. A build under sanitizers lowers it, so that its
/// tests see a team in every loop.
#ifndef VEXEL_TEAM_NANOSECONDS
#define VEXEL_TEAM_NANOSECONDS (1 << 22)
#endif

namespace vexel {

inline constexpr std::int64_t worthATeam = VEXEL_TEAM_NANOSECONDS;

/// Calls `row(i, scratch)` for every i from 0 to `rows` - 1, spread over a thread team in equal runs. Each
/// thread that has a row makes its own scratch once, by `makeScratch()`.
///
/// An OpenMP loop must not let an exception out: the first one that a call throws is kept and rethrown here,
/// on the calling thread, once the team is done. Small jobs stay on the calling thread: the other threads of a
/// team go on spinning for some milliseconds after it, which takes processors from GDAL's threads.
///
/// @param nanosecondsPerRow how long a row takes, roughly, to tell whether a team pays.
template <class MakeScratch, class Row>
void parallelRows(std::int64_t rows, std::int64_t nanosecondsPerRow, const MakeScratch& makeScratch,
                  const Row& row)
{
    const bool useTeam = nanosecondsPerRow > 0 && rows > worthATeam / nanosecondsPerRow;
    std::exception_ptr failure;
    const auto guarded = [&failure](const auto& action) {
        try {
            action();
        } catch (...) {
#pragma omp critical(vexelParallelRowsFailure)
            if (!failure)
                failure = std::current_exception();
        }
    };
#pragma omp parallel if (useTeam)
    {
        std::optional<decltype(makeScratch())> scratch;
        bool isFirst = true;
#pragma omp for schedule(static)
        for (std::int64_t i = 0; i < rows; ++i) {
            if (std::exchange(isFirst, false))
                guarded([&] { scratch.emplace(makeScratch()); });
            if (scratch)
                guarded([&] { row(i, *scratch); });
        }
    }
    if (failure)
        std::rethrow_exception(failure);
}

/// The same for rows that need no scratch: calls `row(i)`.
template <class Row>
void parallelRows(std::int64_t rows, std::int64_t nanosecondsPerRow, const Row& row)
{
    struct Nothing
    {};
    parallelRows(
        rows, nanosecondsPerRow, [] { return Nothing(); }, [&row](std::int64_t i, Nothing&) { row(i); });
}

} // namespace vexel

#endif
