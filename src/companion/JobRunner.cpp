#include "companion/JobRunner.h"

#include "companion/Worker.h"

#include <exception>
#include <utility>

namespace vexel {

/// One run of one job.
class JobRunner::Run
{
public:
    Run(JobRunner& runner, Worker& job) : m_runner(runner), m_job(job)
    {
        job.setProgress([this](double share) {
            report(m_step, share);
            return !stopAsked();
        });
    }
    ~Run() { m_job.setProgress({}); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    Result result()
    {
        Result result{Outcome::Finished, {}, {}};
        try {
            result.outcome = runSteps(result.failedSteps);
        } catch (const std::exception& exception) {
            fail(result, QString::fromUtf8(exception.what()));
        } catch (...) {
            fail(result, QString("unknown exception"));
        }
        return result;
    }

private:
    using Clock = std::chrono::steady_clock;

    Outcome runSteps(std::vector<std::size_t>& failedSteps)
    {
        if (!m_job.do_init(m_steps))
            return Outcome::CouldNotStart;
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

    void fail(Result& result, const QString& text) const
    {
        result.outcome = Outcome::Failed;
        result.exceptionText = text;
        if (m_started)
            result.failedSteps.push_back(m_step);
    }

    bool stopAsked() const { return m_runner.m_stop.load(); }

    void report(std::size_t stepsDone, double shareOfNext) const
    {
        if (!m_runner.m_progress)
            return;
        Progress progress{};
        progress.stepsDone = stepsDone;
        progress.steps = m_steps;
        progress.share = (static_cast<double>(stepsDone) + shareOfNext) / static_cast<double>(m_steps);
        progress.elapsed = Clock::now() - m_start;
        if (progress.share > 0.0)
            progress.remaining = progress.elapsed * ((1.0 - progress.share) / progress.share);
        m_runner.m_progress(progress);
    }

    JobRunner& m_runner;
    Worker& m_job;
    std::size_t m_steps = 0;
    std::size_t m_step = 0;
    bool m_started = false;
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
    const Result result = Run(*this, job).result();
    if (result.outcome != Outcome::Finished && m_incomplete == Incomplete::Discard)
        job.discard();
    m_stop.store(false);
    return result;
}

} // namespace vexel
