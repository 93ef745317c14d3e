#ifndef VEXEL_COMPANION_JOBRUNNER_H
#define VEXEL_COMPANION_JOBRUNNER_H

#include "../export.h"
#include "StreamError.h"

#include <QString>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace vexel {

class Worker;

/// Runs a job step by step on the calling thread, reports its progress, and stops it when you ask.
///
/// @code
/// JobRunner runner;
/// runner.setProgress([](const JobRunner::Progress& p) { std::cout << 100 * p.share << " %\r"; });
/// const JobRunner::Result result = runner.run(*job);
/// if (result.outcome == JobRunner::Outcome::NotCompleted)
///     std::cerr << result.error << std::endl; // Finished: the files are there and whole
/// @endcode
///
/// A runner runs one job at a time and takes no lock. You can call `stop` from other threads and from signal handlers.
/// You must call everything else on the thread that runs the job.
class VEXEL_EXPORT JobRunner
{
public:
    /// How a job ended.
    enum class Outcome : std::int32_t
    {
        Finished = 0,      ///< every step succeeded, and the job's files are there and whole
        Cancelled = 1,     ///< `stop` was called before the end
        CouldNotStart = 2, ///< `do_init` returned false, or the job was completed before. No step was run.
        /// A step failed or threw. The outcome is the same if `do_init` or completing threw, and `failedSteps` is empty
        /// then.
        Failed = 3,
        /// Every step succeeded, but a file could not be completed: `error` has its path and the reason. If the raster
        /// is in its place and only a file next to it could not be written, nothing is discarded.
        NotCompleted = 4
    };

    /// How far a job is.
    struct Progress
    {
        std::size_t stepsDone; ///< number of completed steps, equal to `steps` while the files are completed
        std::size_t steps;     ///< number of all steps
        /// Share of the whole job that is done, from 0 to 1. It includes the running step and completing the files, and
        /// it never falls.
        double share;
        std::chrono::duration<double> elapsed;   ///< time since the first step began
        std::chrono::duration<double> remaining; ///< from `share` and `elapsed`, 0 before anything is done
    };

    /// Outcome of a run, with the reasons.
    struct Result
    {
        Outcome outcome;                      ///< how it ended
        std::vector<std::size_t> failedSteps; ///< indices of the failed steps, from 0, ascending
        QString exceptionText; ///< text of the exception that ended the job, or else of an exception from
                               ///< discarding it. Empty if nothing was thrown.
        /// Number of input pixels that could not be read, in steps that went on without them. If no step failed, the
        /// outcome is `Finished` nevertheless.
        std::uint64_t unreadPixels = 0;
        StreamError error = {}; ///< why the job was `NotCompleted` or could not start, if that is known
    };

    /// Creates a runner that reports no progress and discards incomplete results.
    JobRunner();
    /// You must not destroy a runner while it runs a job.
    ~JobRunner();
    JobRunner(const JobRunner&) = delete;
    JobRunner& operator=(const JobRunner&) = delete;

    /// Sets the function that receives the progress. By default progress is not reported.
    ///
    /// It is called after each step, after each piece of work within a step, and while files are completed. The call
    /// comes from the thread that runs the job or from a thread that works for it, but never from two threads at once.
    /// If the function throws, the job ends as if a step had thrown.
    void setProgress(std::function<void(const Progress&)> progress);

    /// Decides about the result of a job that was cancelled or failed.
    ///
    /// By default the result is discarded (`Worker::discard`), and the first failed step ends the job. If you keep the
    /// result, the steps after a failed one are run too. An exception ends the job in either case.
    enum class Incomplete : std::int32_t
    {
        Discard = 0, ///< nothing is left of the result
        Keep = 1     ///< the result stays as it is
    };
    /// Sets whether an incomplete result is discarded or kept. The default is `Incomplete::Discard`.
    void setIncomplete(Incomplete incomplete);

    /// Asks the running job to stop, or the next job not to begin. You can call it from any thread and from a signal
    /// handler.
    ///
    /// A running job ends after the piece of work that it is doing. This includes completing: if it is stopped there,
    /// nothing is left of the files. If the next job is asked not to begin, its `do_init` is not called either. A
    /// request counts for one run.
    void stop() noexcept;

    /// Runs the job: calls `do_init` once, then the steps in order, and then `Worker::complete` unless a step has
    /// failed.
    ///
    /// Exceptions of the job do not leave this function: `Result::exceptionText` has their text. A job that has been
    /// completed before is not run, and stays as it is. During the run the job's own progress callback is not called,
    /// because the runner sets one for itself. The former callback is set again afterwards.
    Result run(Worker& job);

private:
    class Run;

    std::function<void(const Progress&)> m_progress;
    Incomplete m_incomplete = Incomplete::Discard;
    std::atomic<bool> m_stop{false};
};

} // namespace vexel

#endif
