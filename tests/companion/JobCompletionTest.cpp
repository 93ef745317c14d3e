#include "companion/JobRunner.h"
#include "companion/Worker.h"

#include "scriptedjob.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

// How jobs are completed, by themselves and by a runner.

using namespace jobrunnertest;
using vexel::StreamError;
using Outcome = JobRunner::Outcome;
using Code = StreamError::Code;
using Progress = vexel::Worker::Progress;

namespace {

const StreamError noRoom{Code::CannotComplete, "out.tif", "no room"};

/// A job that can be completed: counts it, tells the given shares, and answers.
class CompletedJob : public ScriptedJob
{
public:
    explicit CompletedJob(std::size_t steps, double share = 0.5) : ScriptedJob(steps)
    {
        onComplete(
            [this](const Progress& progress) {
                ++completed;
                for (const double told : shares)
                    if (!progress(told))
                        return StreamError{Code::Stopped, "out.tif", "asked"};
                return answer();
            },
            [share] { return share; });
    }

    std::vector<double> shares = {0.0, 0.5, 1.0};
    std::function<StreamError()> answer = [] { return StreamError(); };
    int completed = 0;
};

std::vector<double> sharesOf(const std::vector<JobRunner::Progress>& told)
{
    std::vector<double> shares;
    for (const JobRunner::Progress& progress : told)
        shares.push_back(progress.share);
    return shares;
}

} // namespace

TEST(WorkerCompletion, AnswersAndTellsThroughTheJobsProgress)
{
    CompletedJob job(1);
    job.answer = [] { return noRoom; };
    std::vector<double> told;
    job.setProgress([&told](double share) {
        told.push_back(share);
        return true;
    });
    EXPECT_FALSE(job.isOver());
    EXPECT_EQ(job.complete().message(), noRoom.message());
    EXPECT_TRUE(job.isOver());
    EXPECT_EQ(told, (std::vector<double>{0.0, 0.5, 1.0}));
}

TEST(WorkerCompletion, CalledTwiceSaysTheSameAndDoesNothing)
{
    for (const StreamError& answer : {StreamError(), noRoom}) {
        CompletedJob job(1);
        job.answer = [&answer] { return answer; };
        EXPECT_EQ(job.complete().message(), answer.message());
        EXPECT_EQ(job.complete().message(), answer.message());
        EXPECT_EQ(job.completed, 1);
    }
}

TEST(WorkerCompletion, StopsWhereTheProgressSaysSo)
{
    CompletedJob job(1);
    job.setProgress([](double) { return false; });
    EXPECT_EQ(job.complete().code, Code::Stopped);
    EXPECT_EQ(job.complete().code, Code::Stopped);
}

TEST(WorkerCompletion, IsNotToBeHadAfterDiscarding)
{
    CompletedJob job(1);
    job.discard();
    EXPECT_TRUE(job.isOver());
    EXPECT_EQ(job.complete().code, Code::NotOpen);
    EXPECT_EQ(job.completed, 0);
}

TEST(WorkerCompletion, CanBeDiscarded)
{
    CompletedJob job(1);
    EXPECT_FALSE(job.complete());
    job.discard();
    EXPECT_EQ(job.discarded, 1);
    EXPECT_EQ(job.complete().code, Code::NotOpen);
}

TEST(WorkerCompletion, HasNoAnswerAfterAnException)
{
    CompletedJob job(1);
    job.answer = []() -> StreamError { throw std::runtime_error("thrown"); };
    EXPECT_THROW(static_cast<void>(job.complete()), std::runtime_error);
    EXPECT_EQ(job.complete().code, Code::CannotComplete);
    EXPECT_EQ(job.completed, 1);
}

TEST(WorkerCompletion, OfAJobWithoutFilesIsNothing)
{
    ScriptedJob job(1);
    EXPECT_FALSE(job.complete());
    EXPECT_FALSE(job.isOver()) << "it can be run once more";
}

TEST(JobCompletion, ComesAfterTheLastStep)
{
    CompletedJob job(3);
    job.answer = [&job] {
        EXPECT_EQ(job.run.size(), 3u);
        return StreamError();
    };
    const JobRunner::Result result = JobRunner().run(job);
    EXPECT_EQ(result.outcome, Outcome::Finished);
    EXPECT_FALSE(result.error);
    EXPECT_EQ(job.completed, 1);
    EXPECT_EQ(job.discarded, 0);
}

TEST(JobCompletion, CountsInTheProgress)
{
    CompletedJob job(2, 0.5);
    JobRunner::Result result;
    const auto told = progressOf(job, result);
    EXPECT_EQ(sharesOf(told), (std::vector<double>{0.25, 0.5, 0.5, 0.75, 1.0}));
    for (std::size_t k = 2; k < told.size(); ++k) {
        EXPECT_EQ(told[k].stepsDone, 2u);
        EXPECT_EQ(told[k].steps, 2u);
    }
    EXPECT_EQ(told.back().remaining.count(), 0.0);
}

TEST(JobCompletion, IsInTheEstimate)
{
    CompletedJob job(1, 0.75);
    job.shares = {0.0};
    JobRunner::Result result;
    const auto told = progressOf(job, result);
    ASSERT_EQ(told.size(), 3u);
    EXPECT_EQ(told[0].share, 0.25);
    EXPECT_DOUBLE_EQ(told[0].remaining.count(), 3.0 * told[0].elapsed.count());
    EXPECT_EQ(told.back().share, 1.0) << "the end is told though the job does not";
}

TEST(JobCompletion, TakesAnyShareAsOneFromZeroToOne)
{
    for (const double share : {-1.0, std::numeric_limits<double>::quiet_NaN(), 7.0}) {
        CompletedJob job(2, share);
        JobRunner::Result result;
        const auto told = progressOf(job, result);
        const double ofSteps = share > 1.0 ? 0.0 : 0.5;
        EXPECT_EQ(told.front().share, ofSteps);
        EXPECT_EQ(told.back().share, 1.0);
    }
}

TEST(JobCompletion, ThatFailsIsToldAndDiscarded)
{
    CompletedJob job(1);
    job.answer = [] { return noRoom; };
    const JobRunner::Result result = JobRunner().run(job);
    EXPECT_EQ(result.outcome, Outcome::NotCompleted);
    EXPECT_EQ(static_cast<int>(result.outcome), 4);
    EXPECT_EQ(result.error.message(), noRoom.message());
    EXPECT_TRUE(result.failedSteps.empty());
    EXPECT_EQ(text(result), "");
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobCompletion, ThatFailsIsKeptOnRequest)
{
    CompletedJob job(1);
    job.answer = [] { return noRoom; };
    JobRunner runner;
    runner.setIncomplete(Incomplete::Keep);
    EXPECT_EQ(runner.run(job).outcome, Outcome::NotCompleted);
    EXPECT_EQ(job.discarded, 0);
}

TEST(JobCompletion, OfARasterThatLacksAFileBesideItDiscardsNothing)
{
    CompletedJob job(1);
    job.answer = [&job] {
        job.keepDespiteError();
        return noRoom;
    };
    const JobRunner::Result result = JobRunner().run(job);
    EXPECT_EQ(result.outcome, Outcome::NotCompleted);
    EXPECT_TRUE(result.error);
    EXPECT_EQ(job.discarded, 0);
}

TEST(JobCompletion, KeepsNothingDespiteAStopOrAnException)
{
    const auto stopped = [] { return StreamError{Code::Stopped, "out.tif", "asked"}; };
    const auto thrown = []() -> StreamError { throw std::runtime_error("thrown"); };
    for (const std::function<StreamError()>& end : {std::function<StreamError()>(stopped), {thrown}}) {
        CompletedJob job(1);
        job.answer = [&] {
            job.keepDespiteError();
            return end();
        };
        EXPECT_NE(JobRunner().run(job).outcome, Outcome::NotCompleted);
        EXPECT_EQ(job.discarded, 1);
    }
}

TEST(JobCompletion, CanBeStopped)
{
    CompletedJob job(1);
    JobRunner runner;
    runner.setProgress([&runner](const JobRunner::Progress& progress) {
        if (progress.share >= 0.75)
            runner.stop();
    });
    const JobRunner::Result result = runner.run(job);
    EXPECT_EQ(result.outcome, Outcome::Cancelled);
    EXPECT_FALSE(result.error);
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobCompletion, DoesNotBeginAfterAStop)
{
    CompletedJob job(2);
    JobRunner runner;
    job.step = [&runner](std::size_t step) {
        if (step == 1)
            runner.stop();
        return true;
    };
    EXPECT_EQ(runner.run(job).outcome, Outcome::Cancelled);
    EXPECT_EQ(job.completed, 0);
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobCompletion, ThatThrowsIsAFailureOfNoStep)
{
    CompletedJob job(2);
    job.answer = []() -> StreamError { throw std::runtime_error("thrown"); };
    const JobRunner::Result result = JobRunner().run(job);
    EXPECT_EQ(result.outcome, Outcome::Failed);
    EXPECT_TRUE(result.failedSteps.empty());
    EXPECT_EQ(text(result), "thrown");
    EXPECT_EQ(job.discarded, 1);
}

TEST(JobCompletion, IsNotForJobsWithFailedSteps)
{
    for (const Incomplete incomplete : {Incomplete::Discard, Incomplete::Keep}) {
        CompletedJob job(3);
        job.step = [](std::size_t step) { return step != 1; };
        JobRunner runner;
        runner.setIncomplete(incomplete);
        const JobRunner::Result result = runner.run(job);
        EXPECT_EQ(result.outcome, Outcome::Failed);
        EXPECT_EQ(result.failedSteps, Steps{1});
        EXPECT_EQ(job.completed, 0);
    }
}

TEST(JobCompletion, LeavesAJobThatIsNotRunOnceMore)
{
    CompletedJob job(1);
    JobRunner runner;
    EXPECT_EQ(runner.run(job).outcome, Outcome::Finished);
    const JobRunner::Result again = runner.run(job);
    EXPECT_EQ(again.outcome, Outcome::CouldNotStart);
    EXPECT_EQ(again.error.code, Code::NotOpen);
    EXPECT_EQ(job.inits, 1);
    EXPECT_EQ(job.discarded, 0) << "what is complete stays";
}

TEST(JobCompletion, OnceDoneTakesAStopThatTheNextJobIsNotToSee)
{
    CompletedJob job(1);
    JobRunner runner;
    EXPECT_EQ(runner.run(job).outcome, Outcome::Finished);
    runner.stop();
    EXPECT_EQ(runner.run(job).outcome, Outcome::CouldNotStart);
    CompletedJob next(1);
    EXPECT_EQ(runner.run(next).outcome, Outcome::Finished);
}
