#include "companion/JobRunner.h"

#include "scriptedjob.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <vector>

using namespace jobrunnertest;
using Outcome = JobRunner::Outcome;

namespace {

std::vector<double> sharesOf(const std::vector<JobRunner::Progress>& told)
{
    std::vector<double> shares;
    for (const JobRunner::Progress& progress : told)
        shares.push_back(progress.share);
    return shares;
}

} // namespace

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
