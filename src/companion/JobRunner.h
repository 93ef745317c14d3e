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

/// Runs a stepwise job on the calling thread, tells how far it is, and stops it when asked.
///
/// @code
/// JobRunner runner;
/// runner.setProgress([](const JobRunner::Progress& p) { std::cout << 100 * p.share << " %\r"; });
/// const JobRunner::Result result = runner.run(*job);
/// if (result.outcome == JobRunner::Outcome::NotCompleted)
///     std::cerr << result.error << std::endl; // Finished: the files are there and whole
/// @endcode
///
/// Takes no lock. A runner runs one job at a time; `stop` is for other threads and signal handlers, everything else
/// for the one that runs the job.
class VEXEL_EXPORT JobRunner
{
public:
    /// How a job ended.
    enum class Outcome : std::int32_t
    {
        Finished = 0,      ///< every step succeeded, and the job's files are there and whole
        Cancelled = 1,     ///< `stop` was called before the end
        CouldNotStart = 2, ///< `do_init` said so, or the job was completed before; no step was run
        Failed = 3,        ///< a step failed, or threw; or completing threw, which leaves `failedSteps` empty
        /// Every step succeeded, but a file could not be completed: `error` says which one and why. Where that is only a
        /// file beside the raster, which is in its place itself, nothing is discarded.
        NotCompleted = 4
    };

    /// How far a job is.
    struct Progress
    {
        std::size_t stepsDone; ///< completed steps; all of them while the files are completed
        std::size_t steps;     ///< of how many
        /// Of the whole job that is done, from 0 to 1, the running step and completing the files included; never falls.
        double share;
        std::chrono::duration<double> elapsed;   ///< since the first step began
        std::chrono::duration<double> remaining; ///< estimated from both; 0 before anything is done
    };

    /// What became of a job.
    struct Result
    {
        Outcome outcome;                      ///< how it ended
        std::vector<std::size_t> failedSteps; ///< indices, ascending
        QString exceptionText; ///< what the exception that ended the job says, or else one that came of
                               ///< discarding it; empty if there was none
        /// Pixels of the input that could not be read, in steps that went on without them. If no step failed, the
        /// outcome is `Finished` all the same.
        std::uint64_t unreadPixels = 0;
        StreamError error = {}; ///< why it was `NotCompleted` or could not start, where that is known
    };

    /// Nobody is told the progress, and incomplete results are discarded.
    JobRunner();
    /// No job may be running.
    ~JobRunner();
    JobRunner(const JobRunner&) = delete;
    JobRunner& operator=(const JobRunner&) = delete;

    /// Sets who is told the progress, after each step and each piece of one, and while files are completed; nobody by default. Called on the
    /// thread that runs the job or one that works for it, never by two at once. What it throws ends the job
    /// as a step's own exception does.
    void setProgress(std::function<void(const Progress&)> progress);

    /// What is done with the result of a job that was cancelled or failed. By default it is discarded
    /// (`Worker::discard`) and the first failed step ends the job. When it is kept, the steps after a failed
    /// one are run too.
    enum class Incomplete : std::int32_t
    {
        Discard = 0, ///< nothing is left of it
        Keep = 1     ///< it stays as it is
    };
    /// Sets what is done with an incomplete result; `Incomplete::Discard` until then.
    void setIncomplete(Incomplete incomplete);

    /// Asks the running job to stop, or the next one to not begin (its `do_init` is not called either); it
    /// ends after the piece of work that it is at, while files are completed too: then nothing is left of them. May be called from any thread and from a signal handler.
    /// Holds for one run.
    void stop() noexcept;

    /// Runs the job: `do_init` once, then the steps in order, and completes it (`Worker::complete`) unless a step has
    /// failed. Lets no exception of the job out. A job that is complete already is not run, and stays as it is. The job's own
    /// progress callback is not called during the run, and is set again after it.
    Result run(Worker& job);

private:
    class Run;

    std::function<void(const Progress&)> m_progress;
    Incomplete m_incomplete = Incomplete::Discard;
    std::atomic<bool> m_stop{false};
};

} // namespace vexel

#endif
