#include "companion/Worker.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// Three steps, of which the second fails; writes down what happens.
class Recorder : public vexel::Worker
{
public:
    explicit Recorder(std::string& record, std::size_t concurrency = 1)
        : Worker(concurrency), m_record(record)
    {}
    ~Recorder() override { m_record += "end"; }

private:
    bool do_init(std::size_t& steps) override
    {
        m_record += "init ";
        steps = 3;
        return true;
    }

    bool do_step(std::size_t step) override
    {
        m_record += std::to_string(step) + " ";
        return step != 1;
    }

    std::string& m_record;
};

// One step of four pieces, which can be discarded.
class Pieces : public vexel::Worker
{
public:
    Pieces() : Worker(1) {}

    using vexel::Worker::onDiscard;

private:
    bool do_init(std::size_t& steps) override
    {
        steps = 1;
        return true;
    }

    bool do_step(std::size_t) override
    {
        for (int piece = 1; piece <= 4; ++piece)
            if (!reportProgress(piece / 4.0))
                return false;
        return true;
    }
};

} // namespace

static_assert(std::is_abstract_v<vexel::Worker>);
static_assert(std::has_virtual_destructor_v<vexel::Worker>);
static_assert(!std::is_copy_constructible_v<vexel::Worker>);

TEST(Worker, ARunnerDrivesItThroughTheBaseClass)
{
    std::string record;
    std::string failed;
    {
        const std::unique_ptr<vexel::Worker> job = std::make_unique<Recorder>(record);
        std::size_t steps = 0;
        ASSERT_TRUE(job->do_init(steps));
        ASSERT_EQ(steps, 3u);
        for (std::size_t step = 0; step < steps; ++step)
            if (!job->do_step(step))
                failed += std::to_string(step);
    }
    EXPECT_EQ(record, "init 0 1 2 end");
    EXPECT_EQ(failed, "1");
}

TEST(Worker, TellsHowManyStepsMayRunAtOnce)
{
    std::string record;
    EXPECT_EQ(Recorder(record).concurrency(), 1u);
    EXPECT_EQ(Recorder(record, 7).concurrency(), 7u);
}

TEST(WorkerProgress, NobodyIsToldByDefaultAndTheStepGoesOn)
{
    Pieces job;
    EXPECT_TRUE(static_cast<vexel::Worker&>(job).do_step(0));
}

TEST(WorkerProgress, IsToldAsItIsAndMayStopTheStep)
{
    Pieces job;
    std::vector<double> told;
    job.setProgress([&](double share) {
        told.push_back(share);
        return share < 0.7;
    });
    EXPECT_FALSE(static_cast<vexel::Worker&>(job).do_step(0));
    EXPECT_EQ(told, (std::vector<double>{0.25, 0.5, 0.75}));
}

TEST(WorkerProgress, AnEmptyFunctionEndsTheTelling)
{
    Pieces job;
    int calls = 0;
    job.setProgress([&](double) { return ++calls > 0; });
    job.setProgress({});
    EXPECT_TRUE(static_cast<vexel::Worker&>(job).do_step(0));
    EXPECT_EQ(calls, 0);
}

TEST(WorkerProgress, SettingReturnsWhoWasToldBefore)
{
    Pieces job;
    EXPECT_FALSE(job.setProgress([](double share) { return share == 0.5; }));
    const vexel::Worker::Progress before = job.setProgress({});
    ASSERT_TRUE(before);
    EXPECT_TRUE(before(0.5));
    EXPECT_FALSE(before(0.25));
}

TEST(WorkerProgress, WhatItThrowsLeavesTheStep)
{
    Pieces job;
    job.setProgress([](double) -> bool { throw std::domain_error("enough"); });
    EXPECT_THROW(static_cast<vexel::Worker&>(job).do_step(0), std::domain_error);
}

TEST(WorkerDiscard, DoesNothingForAJobThatMakesNothing)
{
    std::string record;
    {
        Recorder job(record);
        job.discard();
    }
    EXPECT_EQ(record, "end");
}

TEST(WorkerDiscard, DoesWhatTheJobSaysEachTimeItIsAsked)
{
    Pieces job;
    int discarded = 0;
    job.onDiscard([&] { ++discarded; });
    EXPECT_EQ(discarded, 0);
    job.discard();
    EXPECT_EQ(discarded, 1);
    job.discard();
    EXPECT_EQ(discarded, 2);
}

TEST(WorkerDiscard, TheLastActionSetHolds)
{
    Pieces job;
    std::string done;
    job.onDiscard([&] { done += "first "; });
    job.onDiscard([&] { done += "second "; });
    job.discard();
    EXPECT_EQ(done, "second ");
}

TEST(WorkerDiscard, IsNotCalledByTheDestructor)
{
    int discarded = 0;
    {
        Pieces job;
        job.onDiscard([&] { ++discarded; });
    }
    EXPECT_EQ(discarded, 0);
}

#if defined(__x86_64__) && defined(__GNUC__) && !defined(_WIN32)
// Runners built elsewhere rely on the order of the virtual operations. On this platform a pointer to a
// virtual member is the offset of its slot plus 1, and the destructor takes the first two slots.
TEST(Worker, VirtualOperationsStandInTheirSlotsBehindTheDestructor)
{
    const auto slotOf = [](auto member) {
        std::ptrdiff_t offset = 0;
        std::memcpy(&offset, &member, sizeof(offset));
        return (offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
    };
    EXPECT_EQ(slotOf(&vexel::Worker::do_init), 2);
    EXPECT_EQ(slotOf(&vexel::Worker::do_step), 3);
}
#endif
