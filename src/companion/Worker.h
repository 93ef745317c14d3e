#ifndef VEXEL_COMPANION_WORKER_H
#define VEXEL_COMPANION_WORKER_H

#include "../export.h"
#include "StreamError.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace vexel {

class JobRunner;

/// Base class of stepwise jobs. A runner, `JobRunner` or one of the application's own, calls `do_init` once and then
/// `do_step` for each index below the number of steps.
class VEXEL_EXPORT Worker
{
public:
    /// @param concurrency how many steps a runner may run at the same time.
    explicit Worker(std::size_t concurrency);
    /// Does not call `discard`.
    virtual ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Called once before any step. Sets the number of steps; false means that the job cannot run.
    virtual bool do_init(std::size_t& steps) = 0;

    /// Does one step, counted from 0; false means that it failed, or was asked to stop by the progress callback.
    virtual bool do_step(std::size_t step) = 0;

    /// How many steps a runner may run at the same time.
    std::size_t concurrency() const { return m_concurrency; }

    /// Told the share of the running step that is done, from 0 to 1, after each piece of its work; false asks
    /// the step to stop.
    using Progress = std::function<bool(double share)>;

    /// Sets who is told; nobody by default. Called on the thread that runs the step, or one that works for
    /// it, and never by two at once. What it throws leaves `do_step`. Returns who was told before.
    Progress setProgress(Progress progress);

    /// Completes the job's result, once all steps are done: afterwards its files are there and whole, and `do_step` is
    /// false. Tells the progress from 0 to 1 as a step does, and stops when it is asked to; then nothing is left, as after
    /// `discard`. A second call says the same and does nothing. A job that makes no files has nothing to complete.
    ///
    /// A job that is destroyed without it completes its result all the same, but tells nobody whether that has worked.
    ///
    /// @return no error, or why there is no result: `Stopped` after a stop, `NotOpen` after `discard`. Where the raster is in
    ///         its place and only a file beside it is missing, the error has the path of that file.
    [[nodiscard]] StreamError complete();

    /// Gives up the job's result, finished or not: releases everything and removes what was made. The job
    /// cannot be run any more. Does nothing for a job that makes nothing.
    void discard();

protected:
    /// Reports the share of the running step that is done. False asks the step to stop: it should return
    /// false.
    bool reportProgress(double share) const;

    /// Reports that so many more pixels of the input could not be read, and that the running step goes on without them.
    /// `JobRunner::Result::unreadPixels` is the sum of a run.
    void reportUnread(std::uint64_t pixels);

    /// Sets what `discard` does.
    void onDiscard(std::function<void()> action);

    /// Sets what `complete` does. The action tells its progress by calling what it is given, and stops when that is false.
    ///
    /// @param share what completing takes of the whole job, from 0 to 1, by the bytes to be written for one.
    void onComplete(std::function<StreamError(const Progress& progress)> action,
                    std::function<double()> share = {});

    /// For the action of `onComplete`, where it returns an error although the raster is in its place and only a file
    /// beside it is missing: who runs the job discards nothing then.
    void keepDespiteError() { m_isKeptDespiteError = true; }

    /// True once `complete` or `discard` was called: there are no more steps.
    bool isOver() const { return m_isCompleting || m_isDiscarded; }

private:
    friend class JobRunner; // sums up what is reported, and counts completing into the progress

    double shareOfCompleting() const;

    std::size_t m_concurrency;
    Progress m_progress;
    std::function<void()> m_discard;
    std::function<StreamError(const Progress&)> m_complete;
    std::function<double()> m_shareOfCompleting;
    StreamError m_completed;     ///< what came of it
    bool m_isCompleting = false; ///< or has been completed
    bool m_isKeptDespiteError = false;
    bool m_isDiscarded = false;
    std::uint64_t m_unread = 0;
};

} // namespace vexel

#endif
