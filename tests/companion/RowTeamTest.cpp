#include "companion/RowTeam.h"

#include "support/Threads.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Nothing
{};
using Team = vexel::RowTeam<Nothing>;

Nothing makeNothing()
{
    return {};
}

/// A team of four, whatever the machine, or whatever OpenMP gives where it is limited.
class RowTeam : public testing::Test
{
protected:
    RowTeam() : m_dynamic(omp_get_dynamic()) { omp_set_dynamic(0); }
    ~RowTeam() override { omp_set_dynamic(m_dynamic); }

private:
    const Threads m_team{4};
    int m_dynamic;
};

/// Waits for what other threads do, but not for ever.
template <class Condition>
bool comesTrue(const Condition& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition() && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    return condition();
}

TEST_F(RowTeam, DoesEachRowOnce)
{
    for (const bool useTeam : {false, true})
        for (const std::int64_t rows : {0, 1, 2, 63, 64, 65, 1000}) {
            std::vector<std::atomic<int>> times(static_cast<std::size_t>(rows));
            Team::run(useTeam, makeNothing, [&](Team& team) {
                for (int round = 0; round < 3; ++round) {
                    team.start(rows,
                               [&](std::int64_t row, Nothing&) { ++times[static_cast<std::size_t>(row)]; });
                    team.finish();
                    for (const auto& done : times)
                        ASSERT_EQ(done, round + 1) << rows << " rows";
                }
            });
        }
}

TEST_F(RowTeam, WorksWhileItsLeaderDoesSomethingElse)
{
    Team::run(true, makeNothing, [](Team& team) {
        std::atomic<int> done{0};
        const auto leader = std::this_thread::get_id();
        team.start(100, [&](std::int64_t, Nothing&) {
            EXPECT_NE(std::this_thread::get_id(), leader);
            ++done;
        });
        EXPECT_TRUE(comesTrue([&] { return done == 100; }));
        team.finish();
    });
}

TEST_F(RowTeam, IsHelpedByItsLeaderInTheEnd)
{
    Team::run(true, makeNothing, [](Team& team) {
        std::mutex mutex;
        std::set<std::thread::id> threads;
        const auto noThreads = [&] {
            const std::lock_guard<std::mutex> lock(mutex);
            return threads.size();
        };
        // Each waits until there are four, which takes the leader.
        team.start(64, [&](std::int64_t, Nothing&) {
            {
                const std::lock_guard<std::mutex> lock(mutex);
                threads.insert(std::this_thread::get_id());
            }
            EXPECT_TRUE(comesTrue([&] { return noThreads() == 4; }));
        });
        team.finish();
        EXPECT_EQ(threads.count(std::this_thread::get_id()), 1u);
    });
}

TEST_F(RowTeam, IsItsLeaderAloneWithinAnotherTeamOrWithoutOne)
{
    const auto expectAlone = [](bool useTeam) {
        std::set<std::thread::id> threads;
        Team::run(useTeam, makeNothing, [&](Team& team) {
            team.start(100, [&](std::int64_t, Nothing&) { threads.insert(std::this_thread::get_id()); });
            team.finish();
        });
        EXPECT_EQ(threads, std::set<std::thread::id>{std::this_thread::get_id()});
    };
    expectAlone(false);
#pragma omp parallel num_threads(2)
    expectAlone(true);
    const Threads one(1);
    expectAlone(true);
}

TEST_F(RowTeam, MakesScratchOncePerThread)
{
    std::atomic<int> made{0};
    struct Scratch
    {
        std::thread::id owner;
    };
    using TeamWithScratch = vexel::RowTeam<Scratch>;
    const auto make = [&] {
        ++made;
        return Scratch{std::this_thread::get_id()};
    };
    TeamWithScratch::run(true, make, [](TeamWithScratch& team) {
        for (int round = 0; round < 20; ++round) {
            team.start(500, [](std::int64_t, Scratch& scratch) {
                EXPECT_EQ(scratch.owner, std::this_thread::get_id());
            });
            team.finish();
        }
    });
    EXPECT_GE(made, 1);
    EXPECT_LE(made, 4);
}

TEST_F(RowTeam, RethrowsWhatARowThrowsAndLeavesOutTheRest)
{
    for (const bool useTeam : {false, true}) {
        std::atomic<int> done{0};
        Team::run(useTeam, makeNothing, [&](Team& team) {
            team.start(6400, [&](std::int64_t row, Nothing&) {
                if (row == 0)
                    throw std::runtime_error("row 0");
                std::this_thread::sleep_for(std::chrono::microseconds(50));
                ++done;
            });
            EXPECT_THROW(team.finish(), std::runtime_error);
            EXPECT_LT(done, 6400 - 1);
            const int before = done;
            team.start(10, [&](std::int64_t, Nothing&) { ++done; });
            team.finish();
            EXPECT_EQ(done, before + 10) << "what comes after it is done";
        });
    }
}

TEST_F(RowTeam, RethrowsWhatMakingScratchThrows)
{
    const auto fail = []() -> Nothing { throw std::runtime_error("no memory"); };
    EXPECT_THROW(Team::run(true, fail,
                           [](Team& team) {
                               team.start(10, [](std::int64_t, Nothing&) { ADD_FAILURE() << "no scratch"; });
                               team.finish();
                           }),
                 std::runtime_error);
}

TEST_F(RowTeam, StopsBeforeWhatItsLeaderThrowsComesOut)
{
    std::atomic<int> running{0};
    std::atomic<int> done{0};
    try {
        Team::run(true, makeNothing, [&](Team& team) {
            team.start(100000, [&](std::int64_t, Nothing&) {
                ++running;
                std::this_thread::sleep_for(std::chrono::microseconds(100));
                ++done;
                --running;
            });
            EXPECT_TRUE(comesTrue([&] { return done > 0; }));
            throw std::runtime_error("the leader's");
        });
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), "the leader's");
    }
    EXPECT_EQ(running, 0);
    EXPECT_LT(done, 100000);
}

TEST_F(RowTeam, LeavesOutWhatItsLeaderDoesNotWaitFor)
{
    std::atomic<int> running{0};
    Team::run(true, makeNothing, [&](Team& team) {
        team.start(100000, [&](std::int64_t, Nothing&) {
            ++running;
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            --running;
        });
    });
    EXPECT_EQ(running, 0);
}

} // namespace
