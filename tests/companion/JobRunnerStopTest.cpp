#include "companion/JobRunner.h"

#include "scriptedjob.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace jobrunnertest;
using Outcome = JobRunner::Outcome;

TEST(JobRunnerStop, BeforeTheRunNothingBegins)
{
    ScriptedJob job(3);
    JobRunner runner;
    runner.stop();
    const JobRunner::Result result = runner.run(job);
    EXPECT_EQ(result.outcome, Outcome::Cancelled);
    EXPECT_EQ(job.inits, 0);
    EXPECT_EQ(job.run, Steps());
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobRunnerStop, DuringInitNoStepIsRun)
{
    ScriptedJob job(3);
    JobRunner runner;
    job.init = [&] {
        runner.stop();
        return true;
    };
    EXPECT_EQ(runner.run(job).outcome, Outcome::Cancelled);
    EXPECT_EQ(job.run, Steps());
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobRunnerStop, HoldsForOneRun)
{
    JobRunner runner;
    runner.stop();
    ScriptedJob first(2);
    EXPECT_EQ(runner.run(first).outcome, Outcome::Cancelled);
    ScriptedJob second(2);
    EXPECT_EQ(runner.run(second).outcome, Outcome::Finished);
    EXPECT_EQ(second.run, (Steps{0, 1}));
}

TEST(JobRunnerStop, AfterTheEndOfAFailedRunIsForgottenToo)
{
    JobRunner runner;
    ScriptedJob failing(1);
    failing.step = [&](std::size_t) -> bool {
        runner.stop();
        throw std::runtime_error("broken");
    };
    EXPECT_EQ(runner.run(failing).outcome, Outcome::Failed);
    ScriptedJob second(1);
    EXPECT_EQ(runner.run(second).outcome, Outcome::Finished);
}

TEST(JobRunnerStop, BetweenStepsEndsTheJobThere)
{
    ScriptedJob job(5);
    JobRunner runner;
    runner.setProgress([&](const JobRunner::Progress& progress) {
        if (progress.stepsDone == 2)
            runner.stop();
    });
    const JobRunner::Result result = runner.run(job);
    EXPECT_EQ(result.outcome, Outcome::Cancelled);
    EXPECT_EQ(result.failedSteps, Steps());
    EXPECT_EQ(job.run, (Steps{0, 1}));
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobRunnerStop, WithinAStepIsToldToTheStep)
{
    ScriptedJob job(3);
    JobRunner runner;
    runner.setProgress([&](const JobRunner::Progress& progress) {
        if (progress.share >= 0.5)
            runner.stop();
    });
    int pieces = 0;
    job.step = [&](std::size_t) {
        for (int piece = 1; piece <= 4; ++piece) {
            ++pieces;
            if (!job.reportProgress(piece / 4.0))
                return false;
        }
        return true;
    };
    const JobRunner::Result result = runner.run(job);
    EXPECT_EQ(result.outcome, Outcome::Cancelled);
    EXPECT_EQ(result.failedSteps, Steps());
    EXPECT_EQ(pieces, 6); // 1 + 2 / 4 of three steps are half of the job
    EXPECT_EQ(job.run, (Steps{0, 1}));
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobRunnerStop, WorksWithoutAProgressCallback)
{
    ScriptedJob job(3);
    JobRunner runner;
    std::vector<bool> goOn;
    job.step = [&](std::size_t) {
        goOn.push_back(job.reportProgress(0.25));
        runner.stop();
        goOn.push_back(job.reportProgress(0.5));
        return false;
    };
    EXPECT_EQ(runner.run(job).outcome, Outcome::Cancelled);
    EXPECT_EQ(goOn, (std::vector<bool>{true, false}));
}

TEST(JobRunnerStop, KeepsTheResultIfToldTo)
{
    ScriptedJob job(4);
    JobRunner runner;
    runner.setIncomplete(Incomplete::Keep);
    job.step = [&](std::size_t index) {
        if (index == 2)
            runner.stop();
        return index != 1;
    };
    const JobRunner::Result result = runner.run(job);
    EXPECT_EQ(result.outcome, Outcome::Cancelled);
    EXPECT_EQ(result.failedSteps, Steps{1});
    EXPECT_EQ(job.run, (Steps{0, 1, 2}));
    EXPECT_EQ(job.discarded, 0);
}

TEST(JobRunnerStop, ComesTooLateForAJobWhoseLastStepSucceeded)
{
    ScriptedJob job(2);
    JobRunner runner;
    job.step = [&](std::size_t index) {
        if (index == 1)
            runner.stop();
        return true;
    };
    EXPECT_EQ(runner.run(job).outcome, Outcome::Finished);
    EXPECT_EQ(job.discarded, 0);
}

TEST(JobRunnerStop, MayBeAskedFromAnotherThread)
{
    ScriptedJob job(1);
    JobRunner runner;
    std::promise<void> begun;
    job.step = [&](std::size_t) {
        begun.set_value();
        while (job.reportProgress(0.5))
            std::this_thread::yield();
        return false;
    };
    std::thread other([&] {
        begun.get_future().wait();
        runner.stop();
    });
    EXPECT_EQ(runner.run(job).outcome, Outcome::Cancelled);
    other.join();
    EXPECT_EQ(job.discarded, 1);
}
