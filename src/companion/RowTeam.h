#ifndef VEXEL_COMPANION_ROWTEAM_H
#define VEXEL_COMPANION_ROWTEAM_H

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>

namespace vexel {

/// Threads that work on rows while the thread that leads them does something else: reads the next rows, say.
///
/// Those that have nothing to do sleep: a thread that waits at a barrier of OpenMP spins for some milliseconds first,
/// which takes its processor from the threads that GDAL decodes with.
///
/// @tparam Scratch what each thread makes for itself before its first row.
template <class Scratch>
class RowTeam
{
public:
    using MakeScratch = std::function<Scratch()>;
    using Row = std::function<void(std::int64_t row, Scratch& scratch)>;

    /// Calls `lead(team)` on this thread and lets an OpenMP team help it, if there is one: not within another team,
    /// nor with a limit of one thread. What `lead` throws comes out once the others have stopped.
    template <class Lead>
    static void run(bool useTeam, MakeScratch makeScratch, const Lead& lead)
    {
        RowTeam team(std::move(makeScratch));
        std::exception_ptr failure;
#pragma omp parallel if (useTeam)
        {
#pragma omp master
            {
                try {
                    lead(team);
                } catch (...) {
                    failure = std::current_exception();
                }
                team.close();
            }
            team.help();
        }
        if (failure)
            std::rethrow_exception(failure);
    }

    /// Hands out rows 0 to `rows` - 1, in runs of equal length. Those handed out before must be finished.
    void start(std::int64_t rows, Row row)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_row = std::move(row);
            m_rows = rows;
            m_next = 0;
            m_rowsAtATime = std::max<std::int64_t>(1, rows / runs);
        }
        m_changed.notify_all();
    }

    /// Takes part in the rows until all are done. Rethrows the first exception that one of them threw; the rest of the
    /// rows is then left out.
    void finish()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (m_next < m_rows)
            doSome(lock, m_leadersScratch);
        m_changed.wait(lock, [this] { return m_running == 0; });
        if (m_failure)
            std::rethrow_exception(std::exchange(m_failure, nullptr));
    }

private:
    /// Enough for threads that are not equally fast to end at about the same time.
    static constexpr std::int64_t runs = 64;

    explicit RowTeam(MakeScratch makeScratch) : m_makeScratch(std::move(makeScratch)) {}

    /// Lets the others go. Rows that nobody has begun with are left out.
    void close()
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_next = m_rows;
            m_isClosed = true;
        }
        m_changed.notify_all();
    }

    void help()
    {
        std::optional<Scratch> scratch;
        std::unique_lock<std::mutex> lock(m_mutex);
        while (true) {
            m_changed.wait(lock, [this] { return m_isClosed || m_next < m_rows; });
            if (m_isClosed)
                return;
            doSome(lock, scratch);
        }
    }

    /// Does the next run of rows, without the lock meanwhile.
    void doSome(std::unique_lock<std::mutex>& lock, std::optional<Scratch>& scratch)
    {
        const std::int64_t first = m_next;
        const std::int64_t end = m_next = std::min(m_rows, first + m_rowsAtATime);
        ++m_running;
        lock.unlock();
        std::exception_ptr failure;
        try {
            if (!scratch)
                scratch.emplace(m_makeScratch());
            for (std::int64_t row = first; row < end; ++row)
                m_row(row, *scratch);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        if (failure && !m_failure)
            m_failure = failure;
        if (m_failure)
            m_next = m_rows;
        if (--m_running == 0 && m_next == m_rows)
            m_changed.notify_all();
    }

    MakeScratch m_makeScratch;
    std::optional<Scratch> m_leadersScratch;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    Row m_row;
    std::int64_t m_rows = 0;
    std::int64_t m_next = 0; ///< the first row that nobody has begun with
    std::int64_t m_rowsAtATime = 1;
    int m_running = 0; ///< threads that are at work
    bool m_isClosed = false;
    std::exception_ptr m_failure;
};

} // namespace vexel

#endif
