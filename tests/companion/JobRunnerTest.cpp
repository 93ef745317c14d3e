#include "companion/JobRunner.h"

#include "scriptedjob.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace jobrunnertest;
using Outcome = JobRunner::Outcome;

TEST(JobRunner, OutcomesHaveFixedNumbers)
{
    EXPECT_EQ(static_cast<int>(Outcome::Finished), 0);
    EXPECT_EQ(static_cast<int>(Outcome::Cancelled), 1);
    EXPECT_EQ(static_cast<int>(Outcome::CouldNotStart), 2);
    EXPECT_EQ(static_cast<int>(Outcome::Failed), 3);
    EXPECT_EQ(static_cast<int>(Incomplete::Discard), 0);
    EXPECT_EQ(static_cast<int>(Incomplete::Keep), 1);
}

TEST(JobRunner, RunsInitOnceAndThenTheStepsInOrder)
{
    ScriptedJob job(4);
    const JobRunner::Result result = JobRunner().run(job);
    EXPECT_EQ(result.outcome, Outcome::Finished);
    EXPECT_EQ(result.failedSteps, Steps());
    EXPECT_EQ(text(result), "");
    EXPECT_EQ(job.inits, 1);
    EXPECT_EQ(job.run, (Steps{0, 1, 2, 3}));
    EXPECT_EQ(job.discarded, 0);
}

TEST(JobRunner, RunsEverythingOnTheCallingThread)
{
    ScriptedJob job(3);
    std::thread::id caller;
    std::thread([&] {
        caller = std::this_thread::get_id();
        JobRunner().run(job);
    }).join();
    EXPECT_EQ(job.threads, std::vector<std::thread::id>(4, caller));
}

TEST(JobRunner, FinishesAJobWithoutSteps)
{
    ScriptedJob job(0);
    JobRunner::Result result;
    EXPECT_TRUE(progressOf(job, result).empty());
    EXPECT_EQ(result.outcome, Outcome::Finished);
    EXPECT_EQ(job.discarded, 0);
}

TEST(JobRunner, TellsThatAJobCouldNotStart)
{
    ScriptedJob job(3);
    job.init = [] { return false; };
    JobRunner::Result result;
    EXPECT_TRUE(progressOf(job, result).empty());
    EXPECT_EQ(result.outcome, Outcome::CouldNotStart);
    EXPECT_EQ(result.failedSteps, Steps());
    EXPECT_EQ(text(result), "");
    EXPECT_EQ(job.run, Steps());
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobRunner, KeepsAJobThatCouldNotStartIfToldTo)
{
    ScriptedJob job(3);
    job.init = [] { return false; };
    JobRunner runner;
    runner.setIncomplete(Incomplete::Keep);
    EXPECT_EQ(runner.run(job).outcome, Outcome::CouldNotStart);
    EXPECT_EQ(job.discarded, 0);
}

TEST(JobRunner, EndsWithTheFirstFailedStepAndDiscards)
{
    ScriptedJob job(4);
    job.step = [&](std::size_t index) {
        EXPECT_EQ(job.discarded, 0);
        return index != 1;
    };
    const JobRunner::Result result = JobRunner().run(job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, Steps{1});
    EXPECT_EQ(text(result), "");
    EXPECT_EQ(job.run, (Steps{0, 1}));
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobRunner, SumsUpWhatCouldNotBeReadAndFinishesAllTheSame)
{
    ScriptedJob job(3);
    EXPECT_EQ(JobRunner().run(job).unreadPixels, 0u);
    job.step = [&](std::size_t index) {
        job.reportUnread(index + 1);
        job.reportUnread(std::uint64_t{10} << 32);
        return true;
    };
    for (int round = 0; round < 2; ++round) {
        const JobRunner::Result result = JobRunner().run(job);
        EXPECT_EQ(result.outcome, Outcome::Finished);
        EXPECT_EQ(result.unreadPixels, 6u + (std::uint64_t{30} << 32)) << "round " << round;
    }
    EXPECT_EQ(job.discarded, 0);
}

TEST(JobRunner, TellsWhatCouldNotBeReadOfAFailedJobToo)
{
    ScriptedJob job(3);
    job.step = [&](std::size_t index) {
        job.reportUnread(5);
        return index != 1;
    };
    const JobRunner::Result failed = JobRunner().run(job);
    EXPECT_EQ(failed.outcome, Outcome::Failed);
    EXPECT_EQ(failed.unreadPixels, 10u);
    job.step = [&](std::size_t) -> bool {
        job.reportUnread(7);
        throw std::domain_error("enough");
    };
    EXPECT_EQ(JobRunner().run(job).unreadPixels, 7u);
}

TEST(JobRunner, RunsOnAfterFailedStepsWhenTheResultIsKept)
{
    ScriptedJob job(5);
    job.step = [](std::size_t index) { return index % 2 == 0; };
    JobRunner::Result result;
    const auto told = progressOf(job, result, Incomplete::Keep);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, (Steps{1, 3}));
    EXPECT_EQ(job.run, (Steps{0, 1, 2, 3, 4}));
    EXPECT_EQ(job.discarded, 0);
    EXPECT_EQ(told.size(), 5u);
    EXPECT_EQ(told.back().stepsDone, 5u);
    EXPECT_EQ(told.back().share, 1.0);
}

TEST(JobRunner, FailsWhenOnlyTheLastStepFailed)
{
    ScriptedJob job(2);
    job.step = [](std::size_t index) { return index == 0; };
    JobRunner runner;
    runner.setIncomplete(Incomplete::Keep);
    const JobRunner::Result result = runner.run(job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, Steps{1});
}

TEST(JobRunner, TellsTheTextOfAnException)
{
    ScriptedJob job(3);
    job.step = [](std::size_t index) -> bool {
        if (index == 1)
            throw std::runtime_error("gr\xC3\xBC\xC3\x9F dich");
        return true;
    };
    const JobRunner::Result result = JobRunner().run(job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, Steps{1});
    EXPECT_EQ(text(result), "gr\xC3\xBC\xC3\x9F dich");
    EXPECT_EQ(job.run, (Steps{0, 1}));
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobRunner, LetsExceptionsOfOtherTypesNotOutEither)
{
    ScriptedJob job(3);
    job.step = [](std::size_t) -> bool { throw 42; };
    const JobRunner::Result result = JobRunner().run(job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, Steps{0});
    EXPECT_EQ(text(result), "unknown exception");
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobRunner, AnExceptionEndsAJobThatIsKeptToo)
{
    ScriptedJob job(4);
    job.step = [](std::size_t index) -> bool {
        if (index == 2)
            throw std::runtime_error("no more");
        return index != 0;
    };
    JobRunner runner;
    runner.setIncomplete(Incomplete::Keep);
    const JobRunner::Result result = runner.run(job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, (Steps{0, 2}));
    EXPECT_EQ(text(result), "no more");
    EXPECT_EQ(job.run, (Steps{0, 1, 2}));
    EXPECT_EQ(job.discarded, 0);
}

TEST(JobRunner, AnExceptionOfInitBelongsToNoStep)
{
    ScriptedJob job(3);
    job.init = []() -> bool { throw std::logic_error("not like this"); };
    const JobRunner::Result result = JobRunner().run(job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, Steps());
    EXPECT_EQ(text(result), "not like this");
    EXPECT_EQ(job.run, Steps());
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobRunner, AnExceptionOfDiscardingIsToldAndNotLetOut)
{
    ScriptedJob job(1);
    job.step = [](std::size_t) { return false; };
    job.onDiscard([] { throw std::runtime_error("stuck"); });
    JobRunner runner;
    const JobRunner::Result result = runner.run(job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(text(result), "stuck");
    ScriptedJob next(1);
    EXPECT_EQ(runner.run(next).outcome, Outcome::Finished);
}

TEST(JobRunner, AnExceptionOfTheJobIsNotHiddenByOneOfDiscarding)
{
    ScriptedJob job(1);
    job.step = [](std::size_t) -> bool { throw std::runtime_error("first"); };
    job.onDiscard([] { throw std::runtime_error("second"); });
    EXPECT_EQ(text(JobRunner().run(job)), "first");
}

TEST(JobRunner, MayRunTheSameJobAgain)
{
    ScriptedJob job(2);
    JobRunner runner;
    runner.setIncomplete(Incomplete::Keep);
    job.step = [&](std::size_t index) { return job.inits > 1 || index != 0; };
    EXPECT_EQ(runner.run(job).failedSteps, Steps{0});
    const JobRunner::Result again = runner.run(job);
    EXPECT_EQ(again.outcome, Outcome::Finished);
    EXPECT_EQ(again.failedSteps, Steps());
    EXPECT_EQ(job.inits, 2);
}

TEST(JobRunner, RunnersOfDifferentThreadsDoNotDisturbEachOther)
{
    std::atomic<int> finished{0};
    std::vector<std::thread> threads;
    for (int k = 0; k < 4; ++k)
        threads.emplace_back([&finished, k] {
            ScriptedJob job(20);
            JobRunner runner;
            const bool stops = k % 2 == 1;
            runner.setProgress([&](const JobRunner::Progress& progress) {
                if (stops && progress.stepsDone == 10)
                    runner.stop();
            });
            if (runner.run(job).outcome == (stops ? Outcome::Cancelled : Outcome::Finished))
                ++finished;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(finished, 4);
}
