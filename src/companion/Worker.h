#ifndef VEXEL_COMPANION_WORKER_H
#define VEXEL_COMPANION_WORKER_H

#include "../export.h"
#include "StreamError.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace vexel {

class JobRunner;

/// Base class of jobs that do their work in steps.
///
/// A runner calls `do_init` once and then `do_step` for each index below the number of steps. You can use `JobRunner`
/// or write your own runner.
class VEXEL_EXPORT Worker
{
public:
    /// Creates a job.
    ///
    /// @param concurrency the number of steps that a runner can run at the same time.
    explicit Worker(std::size_t concurrency);
    /// Does not call `discard`.
    virtual ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Prepares the job. The runner calls it once, before any step.
    ///
    /// @param steps set to the number of steps.
    /// @return false if the job cannot run.
    virtual bool do_init(std::size_t& steps) = 0;

    /// Does one step.
    ///
    /// @param step counted from 0.
    /// @return false if the step failed, or if the progress callback asked it to stop.
    virtual bool do_step(std::size_t step) = 0;

    /// Returns the number of steps that a runner can run at the same time.
    std::size_t concurrency() const { return m_concurrency; }

    /// Function that receives the progress of the running step after each piece of its work.
    ///
    /// `share` is the part of the step that is done, from 0 to 1. Return false to ask the step to stop.
    using Progress = std::function<bool(double share)>;

    /// Sets the function that receives the progress, and returns the former one. By default there is no such function.
    ///
    /// It is called on the thread that runs the step or on a thread that works for it, but never on two threads at
    /// once. An exception that it throws leaves `do_step`.
    Progress setProgress(Progress progress);

    /// Completes the job's result: afterwards its files are there and whole. You should call it after the last step.
    ///
    /// It reports its progress from 0 to 1 as a step does, and you can stop it in the same way. After a stop nothing is
    /// left, as after `discard`. Once it was called, `do_step` returns false. A second call returns the same answer and
    /// does nothing. A job that makes no files has nothing to complete.
    ///
    /// If you destroy a job without completing it, its result is completed nevertheless, but you cannot learn whether
    /// that worked.
    ///
    /// @return no error, or the reason why there is no result: `Stopped` after a stop, `NotOpen` after `discard`. If
    ///         the raster is in its place and only a file next to it is missing, the error has the path of that file.
    [[nodiscard]] StreamError complete();

    /// Discards the job's result, whether it is finished or not: releases everything and removes the files that the job
    /// made. You cannot run the job any more. A job that makes no files has nothing to remove.
    void discard();

protected:
    /// Reports the progress of the running step.
    ///
    /// @param share the part of the step that is done, from 0 to 1.
    /// @return false if the step is asked to stop. `do_step` should then return false.
    bool reportProgress(double share) const;

    /// Reports input pixels that could not be read while the running step goes on without them.
    ///
    /// @param pixels the number of such pixels since the last call. `JobRunner::Result::unreadPixels` is the sum of a
    ///               run.
    void reportUnread(std::uint64_t pixels);

    /// Sets the action of `discard`.
    void onDiscard(std::function<void()> action);

    /// Sets the action of `complete`.
    ///
    /// @param action must call the function that it receives to report its progress, and stop if that returns false.
    /// @param share  returns the part of the whole job that completing takes, from 0 to 1. You can estimate it, for
    ///               example by the bytes to be written. Without it the part is 0.
    void onComplete(std::function<StreamError(const Progress& progress)> action,
                    std::function<double()> share = {});

    /// Keeps the result although completing returns an error, so that a runner does not discard it.
    ///
    /// Call it in the action of `onComplete` if the raster is in its place and only a file next to it is missing.
    void keepDespiteError() { m_isKeptDespiteError = true; }

    /// Returns true once `complete` or `discard` was called. No step can be run then.
    bool isOver() const { return m_isCompleting || m_isDiscarded; }

private:
    friend class JobRunner; // sums up what is reported, and counts completing into the progress

    double shareOfCompleting() const;

    std::size_t m_concurrency;
    Progress m_progress;
    std::function<void()> m_discard;
    std::function<StreamError(const Progress&)> m_complete;
    std::function<double()> m_shareOfCompleting;
    StreamError m_completed;     ///< the answer of `complete`
    bool m_isCompleting = false; ///< true also after completing
    bool m_isKeptDespiteError = false;
    bool m_isDiscarded = false;
    std::uint64_t m_unread = 0;
};

} // namespace vexel

#endif
