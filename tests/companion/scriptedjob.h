#ifndef VEXEL_TESTS_COMPANION_SCRIPTEDJOB_H
#define VEXEL_TESTS_COMPANION_SCRIPTEDJOB_H

#include "companion/JobRunner.h"
#include "companion/Worker.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <vector>

/// What the tests of the job runner share.
namespace jobrunnertest {

using vexel::JobRunner;
using Incomplete = JobRunner::Incomplete;
using Steps = std::vector<std::size_t>;

/// A job whose steps are functions of the test; counts what is called.
class ScriptedJob : public vexel::Worker
{
public:
    explicit ScriptedJob(std::size_t steps) : Worker(1), m_steps(steps)
    {
        onDiscard([this] { ++discarded; });
    }

    std::function<bool()> init = [] { return true; };
    std::function<bool(std::size_t)> step = [](std::size_t) { return true; };

    using vexel::Worker::isOver;
    using vexel::Worker::keepDespiteError;
    using vexel::Worker::onComplete;
    using vexel::Worker::onDiscard;
    using vexel::Worker::reportProgress;
    using vexel::Worker::reportUnread;

    int inits = 0;
    int discarded = 0;
    Steps run;
    std::vector<std::thread::id> threads;

private:
    bool do_init(std::size_t& steps) override
    {
        ++inits;
        threads.push_back(std::this_thread::get_id());
        steps = m_steps;
        return init();
    }

    bool do_step(std::size_t index) override
    {
        run.push_back(index);
        threads.push_back(std::this_thread::get_id());
        return step(index);
    }

    std::size_t m_steps;
};

inline std::string text(const JobRunner::Result& result)
{
    return result.exceptionText.toStdString();
}

/// Collects what a runner tells.
inline std::vector<JobRunner::Progress> progressOf(ScriptedJob& job, JobRunner::Result& result,
                                                   Incomplete incomplete = Incomplete::Discard)
{
    std::vector<JobRunner::Progress> told;
    JobRunner runner;
    runner.setIncomplete(incomplete);
    runner.setProgress([&](const JobRunner::Progress& progress) { told.push_back(progress); });
    result = runner.run(job);
    return told;
}

} // namespace jobrunnertest

#endif
