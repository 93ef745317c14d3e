#include "companion/JobRunner.h"

#include "companion/Worker.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

namespace vexel {

namespace {

/// What an action of the job threw, as text; none if it came to its end.
template <class Action>
std::optional<QString> textThrownBy(const Action& action)
{
    try {
        action();
        return std::nullopt;
    } catch (const std::exception& exception) {
        return QString::fromUtf8(exception.what());
    } catch (...) {
        return QString("unknown exception");
    }
}

/// A share as a step told it, which may be any number.
double fromZeroToOne(double share)
{
    return share > 0.0 ? std::min(share, 1.0) : 0.0; // 0 for NaN
}

} // namespace

/// One run of one job.
class JobRunner::Run
{
public:
    Run(JobRunner& runner, Worker& job) : m_runner(runner), m_job(job)
    {
        m_job.m_unread = 0;
        m_jobsOwnProgress = job.setProgress([this](double share) {
            if (m_started)
                report(m_step, fromZeroToOne(share));
            return !stopAsked();
        });
    }
    ~Run() { m_job.setProgress(std::move(m_jobsOwnProgress)); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    Result result()
    {
        Result result{Outcome::Finished, {}, {}, 0, {}};
        const auto thrown = textThrownBy([&] {
            result.outcome = runSteps(result.failedSteps);
            if (result.outcome == Outcome::Finished)
                result.outcome = complete(result.error);
        });
        if (thrown)
            fail(result, *thrown);
        result.unreadPixels = m_job.m_unread;
        return result;
    }

private:
    using Clock = std::chrono::steady_clock;

    Outcome runSteps(std::vector<std::size_t>& failedSteps)
    {
        if (stopAsked())
            return Outcome::Cancelled;
        if (!m_job.do_init(m_steps))
            return Outcome::CouldNotStart;
        m_shareOfCompleting = m_job.shareOfCompleting();
        m_start = Clock::now();
        m_started = true;
        for (m_step = 0; m_step < m_steps; ++m_step) {
            if (stopAsked())
                return Outcome::Cancelled;
            if (!m_job.do_step(m_step)) {
                if (stopAsked())
                    return Outcome::Cancelled;
                failedSteps.push_back(m_step);
                if (m_runner.m_incomplete == Incomplete::Discard)
                    return Outcome::Failed;
            }
            report(m_step + 1, 0.0);
        }
        return failedSteps.empty() ? Outcome::Finished : Outcome::Failed;
    }

    Outcome complete(StreamError& error)
    {
        if (m_job.m_complete && stopAsked())
            return Outcome::Cancelled;
        m_isCompleting = true;
        const StreamError failure = m_job.complete();
        if (failure.code == StreamError::Code::Stopped)
            return Outcome::Cancelled;
        if (failure) {
            error = failure;
            return Outcome::NotCompleted;
        }
        if (m_share < 1.0 && m_shareOfCompleting > 0.0)
            report(m_steps, 1.0);
        return Outcome::Finished;
    }

    void fail(Result& result, const QString& text) const
    {
        result.outcome = Outcome::Failed;
        result.exceptionText = text;
        // A step may be among them already: what threw may have been the report about its failure.
        std::vector<std::size_t>& failed = result.failedSteps;
        if (m_started && !m_isCompleting && (failed.empty() || failed.back() != m_step))
            failed.push_back(m_step);
    }

    bool stopAsked() const { return m_runner.m_stop.load(); }

    /// @param shareOfNext of the step after those that are done, or of completing after the last one.
    double shareOfAll(std::size_t stepsDone, double shareOfNext) const
    {
        if (m_isCompleting)
            return 1.0 - m_shareOfCompleting * (1.0 - shareOfNext);
        return (1.0 - m_shareOfCompleting) * (static_cast<double>(stepsDone) + shareOfNext) /
               static_cast<double>(m_steps);
    }

    void report(std::size_t stepsDone, double shareOfNext)
    {
        if (!m_runner.m_progress)
            return;
        const double share = shareOfAll(stepsDone, shareOfNext);
        m_share = std::max(m_share, share);
        Progress progress{};
        progress.stepsDone = stepsDone;
        progress.steps = m_steps;
        progress.share = m_share;
        progress.elapsed = Clock::now() - m_start;
        if (progress.share > 0.0)
            progress.remaining = progress.elapsed * ((1.0 - progress.share) / progress.share);
        m_runner.m_progress(progress);
    }

    JobRunner& m_runner;
    Worker& m_job;
    Worker::Progress m_jobsOwnProgress;
    std::size_t m_steps = 0;
    std::size_t m_step = 0;
    double m_share = 0.0; // told so far
    double m_shareOfCompleting = 0.0;
    bool m_started = false;
    bool m_isCompleting = false;
    Clock::time_point m_start;
};

JobRunner::JobRunner() = default;

JobRunner::~JobRunner() = default;

void JobRunner::setProgress(std::function<void(const Progress&)> progress)
{
    m_progress = std::move(progress);
}

void JobRunner::setIncomplete(Incomplete incomplete)
{
    m_incomplete = incomplete;
}

void JobRunner::stop() noexcept
{
    m_stop.store(true);
}

JobRunner::Result JobRunner::run(Worker& job)
{
    if (job.m_isCompleting) {
        m_stop.store(false);
        return {Outcome::CouldNotStart,
                {},
                {},
                0,
                {StreamError::Code::NotOpen, QString(), "The job has been completed"}};
    }
    Result result = Run(*this, job).result();
    const bool isKept = m_incomplete == Incomplete::Keep ||
                        (result.outcome == Outcome::NotCompleted && job.m_isKeptDespiteError);
    if (result.outcome != Outcome::Finished && !isKept) {
        const auto thrown = textThrownBy([&job] { job.discard(); });
        if (thrown && result.exceptionText.isEmpty())
            result.exceptionText = *thrown;
    }
    m_stop.store(false);
    return result;
}

} // namespace vexel
