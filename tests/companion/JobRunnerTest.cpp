#include "companion/JobRunner.h"

#include "companion/Worker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using vexel::JobRunner;
using Outcome = JobRunner::Outcome;
using Incomplete = JobRunner::Incomplete;
using Steps = std::vector<std::size_t>;

namespace {

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

    using vexel::Worker::onDiscard;
    using vexel::Worker::reportProgress;

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

std::string text(const JobRunner::Result& result)
{
    return result.exceptionText.toStdString();
}

/// Collects what a runner tells.
std::vector<JobRunner::Progress> progressOf(ScriptedJob& job, JobRunner::Result& result,
                                            Incomplete incomplete = Incomplete::Discard)
{
    std::vector<JobRunner::Progress> told;
    JobRunner runner;
    runner.setIncomplete(incomplete);
    runner.setProgress([&](const JobRunner::Progress& progress) { told.push_back(progress); });
    result = runner.run(job);
    return told;
}

std::vector<double> sharesOf(const std::vector<JobRunner::Progress>& told)
{
    std::vector<double> shares;
    for (const JobRunner::Progress& progress : told)
        shares.push_back(progress.share);
    return shares;
}

} // namespace

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

TEST(JobRunnerProgress, CountsStepsAndTheirShare)
{
    ScriptedJob job(4);
    JobRunner::Result result;
    const auto told = progressOf(job, result);
    ASSERT_EQ(told.size(), 4u);
    for (std::size_t k = 0; k < told.size(); ++k) {
        EXPECT_EQ(told[k].stepsDone, k + 1);
        EXPECT_EQ(told[k].steps, 4u);
    }
    EXPECT_EQ(sharesOf(told), (std::vector<double>{0.25, 0.5, 0.75, 1.0}));
}

TEST(JobRunnerProgress, IncludesTheShareOfTheRunningStep)
{
    ScriptedJob job(2);
    job.step = [&](std::size_t) { return job.reportProgress(0.25) && job.reportProgress(1.0); };
    JobRunner::Result result;
    const auto told = progressOf(job, result);
    EXPECT_EQ(sharesOf(told), (std::vector<double>{0.125, 0.5, 0.5, 0.625, 1.0, 1.0}));
    Steps done;
    for (const JobRunner::Progress& progress : told)
        done.push_back(progress.stepsDone);
    EXPECT_EQ(done, (Steps{0, 0, 1, 1, 1, 2}));
}

TEST(JobRunnerProgress, NeverFallsAndStaysFromZeroToOneWhateverStepsReport)
{
    ScriptedJob job(2);
    job.step = [&](std::size_t) {
        for (const double share : {-1.0, std::numeric_limits<double>::quiet_NaN(), 0.5, 0.25, 7.0, 0.0})
            job.reportProgress(share);
        return true;
    };
    JobRunner::Result result;
    EXPECT_EQ(sharesOf(progressOf(job, result)),
              (std::vector<double>{0, 0, 0.25, 0.25, 0.5, 0.5, 0.5, 0.5, 0.5, 0.75, 0.75, 1, 1, 1}));
}

TEST(JobRunnerProgress, EndsAtExactlyOneForAnyNumberOfSteps)
{
    for (std::size_t steps = 1; steps <= 50; ++steps) {
        ScriptedJob job(steps);
        job.step = [&](std::size_t) { return job.reportProgress(1.0 / 3.0); };
        JobRunner::Result result;
        const auto told = progressOf(job, result);
        ASSERT_EQ(told.size(), 2 * steps);
        EXPECT_EQ(told.back().share, 1.0);
        EXPECT_EQ(told.back().remaining.count(), 0.0);
    }
}

TEST(JobRunnerProgress, EstimatesTheRemainingTimeFromShareAndElapsedTime)
{
    ScriptedJob job(4);
    job.step = [&](std::size_t) {
        const auto begin = std::chrono::steady_clock::now();
        while (std::chrono::steady_clock::now() == begin) {
        } // some time passes
        return job.reportProgress(0.5);
    };
    JobRunner::Result result;
    const auto told = progressOf(job, result);
    ASSERT_EQ(told.size(), 8u);
    double before = 0.0;
    for (const JobRunner::Progress& progress : told) {
        const double elapsed = progress.elapsed.count();
        EXPECT_GE(elapsed, before);
        EXPECT_GT(elapsed, 0.0);
        EXPECT_DOUBLE_EQ(progress.remaining.count(), elapsed * (1.0 - progress.share) / progress.share);
        before = elapsed;
    }
}

TEST(JobRunnerProgress, RemainingTimeIsZeroBeforeAnythingIsDone)
{
    ScriptedJob job(1);
    job.step = [&](std::size_t) { return job.reportProgress(0.0); };
    JobRunner::Result result;
    const auto told = progressOf(job, result);
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0].share, 0.0);
    EXPECT_EQ(told[0].remaining.count(), 0.0);
    EXPECT_GE(told[0].elapsed.count(), 0.0);
}

TEST(JobRunnerProgress, ElapsedTimeDoesNotCountInit)
{
    ScriptedJob job(1);
    std::chrono::steady_clock::time_point afterInit;
    job.init = [&] {
        const auto begin = std::chrono::steady_clock::now();
        do
            afterInit = std::chrono::steady_clock::now();
        while (afterInit - begin < std::chrono::milliseconds(2));
        return true;
    };
    std::chrono::duration<double> sinceInit{};
    JobRunner runner;
    std::chrono::duration<double> elapsed{};
    runner.setProgress([&](const JobRunner::Progress& progress) {
        elapsed = progress.elapsed;
        sinceInit = std::chrono::steady_clock::now() - afterInit;
    });
    runner.run(job);
    EXPECT_LE(elapsed, sinceInit);
}

TEST(JobRunnerProgress, NothingIsToldOfWhatInitReports)
{
    ScriptedJob job(1);
    bool goOn = false;
    job.init = [&] {
        goOn = job.reportProgress(0.5);
        return true;
    };
    JobRunner::Result result;
    EXPECT_EQ(sharesOf(progressOf(job, result)), std::vector<double>{1.0});
    EXPECT_TRUE(goOn);
}

TEST(JobRunnerProgress, NothingIsToldAfterAFailedStep)
{
    ScriptedJob job(3);
    job.step = [](std::size_t index) { return index == 0; };
    JobRunner::Result result;
    EXPECT_EQ(progressOf(job, result).size(), 1u);
}

TEST(JobRunnerProgress, AnExceptionOfTheCallbackEndsTheJob)
{
    ScriptedJob job(3);
    JobRunner runner;
    runner.setProgress([](const JobRunner::Progress& progress) {
        if (progress.stepsDone == 2)
            throw std::runtime_error("display gone");
    });
    const JobRunner::Result result = runner.run(job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, Steps{1});
    EXPECT_EQ(text(result), "display gone");
    EXPECT_EQ(job.run, (Steps{0, 1}));
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobRunnerProgress, AnExceptionOfTheCallbackLeavesTheStep)
{
    ScriptedJob job(2);
    bool cameBack = false;
    job.step = [&](std::size_t) {
        job.reportProgress(0.5);
        cameBack = true;
        return true;
    };
    JobRunner runner;
    runner.setProgress([](const JobRunner::Progress&) { throw 1; });
    const JobRunner::Result result = runner.run(job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_EQ(result.failedSteps, Steps{0});
    EXPECT_EQ(text(result), "unknown exception");
    EXPECT_FALSE(cameBack);
}

TEST(JobRunnerProgress, AFailedStepWhoseReportThrowsIsListedOnce)
{
    ScriptedJob job(3);
    job.step = [](std::size_t index) { return index != 1; };
    JobRunner runner;
    runner.setIncomplete(Incomplete::Keep);
    runner.setProgress([](const JobRunner::Progress& progress) {
        if (progress.stepsDone == 2)
            throw std::runtime_error("display gone");
    });
    EXPECT_EQ(runner.run(job).failedSteps, Steps{1});
}

TEST(JobRunnerProgress, TheJobsOwnCallbackRestsForTheTimeOfTheRun)
{
    ScriptedJob job(1);
    std::vector<double> own;
    job.setProgress([&](double share) {
        own.push_back(share);
        return true;
    });
    job.step = [&](std::size_t) { return job.reportProgress(0.5); };
    EXPECT_EQ(JobRunner().run(job).outcome, Outcome::Finished);
    EXPECT_EQ(own, std::vector<double>());
    job.reportProgress(0.75);
    EXPECT_EQ(own, std::vector<double>{0.75});
}

TEST(JobRunnerProgress, AJobRunsOnItsOwnAfterItsRunnerIsGone)
{
    ScriptedJob job(1);
    JobRunner().run(job);
    EXPECT_TRUE(job.reportProgress(0.5));
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
