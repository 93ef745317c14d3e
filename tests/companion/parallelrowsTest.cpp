#include "companion/parallelrows.h"

#include "support/Threads.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using vexel::parallelRows;

namespace {

// A team of four, whatever the machine.
class ParallelRows : public testing::Test
{
protected:
    ParallelRows() : m_dynamic(omp_get_dynamic()) { omp_set_dynamic(0); }
    ~ParallelRows() override { omp_set_dynamic(m_dynamic); }

private:
    const Threads m_team{4};
    int m_dynamic;
};

// The number of the thread that did each row.
std::vector<int> threadsOfRows(std::int64_t rows, std::int64_t nanosecondsPerRow)
{
    std::vector<int> threads(static_cast<std::size_t>(rows), -1);
    parallelRows(rows, nanosecondsPerRow,
                 [&](std::int64_t row) { threads[static_cast<std::size_t>(row)] = omp_get_thread_num(); });
    return threads;
}

} // namespace

TEST_F(ParallelRows, DoesEachRowOnce)
{
    for (const std::int64_t rows : {0, 1, 2, 3, 7, 100, 1001})
        for (const std::int64_t nanosecondsPerRow : {0, 1, 17, 10000000}) {
            std::vector<int> times(static_cast<std::size_t>(rows));
            parallelRows(rows, nanosecondsPerRow,
                         [&](std::int64_t row) { ++times[static_cast<std::size_t>(row)]; });
            EXPECT_EQ(times, std::vector<int>(static_cast<std::size_t>(rows), 1))
                << rows << " of " << nanosecondsPerRow;
        }
}

TEST_F(ParallelRows, DoesNothingWithoutRows)
{
    for (const std::int64_t rows : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN})
        parallelRows(rows, 1 << 20, [](std::int64_t) { FAIL(); });
}

TEST_F(ParallelRows, LargeJobsAreCutIntoEqualRuns)
{
    const std::vector<int> threads = threadsOfRows(400, 100000);
    EXPECT_TRUE(std::is_sorted(threads.begin(), threads.end()));
    for (int thread = 0; thread < 4; ++thread)
        EXPECT_EQ(std::count(threads.begin(), threads.end(), thread), 100) << thread;
}

TEST_F(ParallelRows, SmallJobsStayOnTheCallingThread)
{
    if (vexel::worthATeam == 0)
        GTEST_SKIP() << "this build has teams for all jobs";
    const std::thread::id caller = std::this_thread::get_id();
    int rows = 0;
    parallelRows(100, 100, [&](std::int64_t) {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        ++rows;
    });
    EXPECT_EQ(rows, 100);
}

TEST_F(ParallelRows, ATeamStartsAboveFourMilliseconds)
{
    if (vexel::worthATeam == 0)
        GTEST_SKIP() << "this build has teams for all jobs";
    const auto usesTeam = [](std::int64_t rows, std::int64_t nanosecondsPerRow) {
        const std::vector<int> threads = threadsOfRows(rows, nanosecondsPerRow);
        return threads.back() != threads.front();
    };
    EXPECT_FALSE(usesTeam(16384, 256));
    EXPECT_TRUE(usesTeam(16385, 256));
    EXPECT_FALSE(usesTeam(4, 1 << 20));
    EXPECT_TRUE(usesTeam(5, 1 << 20));
    EXPECT_FALSE(usesTeam(20000, 0));
    EXPECT_TRUE(usesTeam(4, INT64_MAX));
}

TEST_F(ParallelRows, RethrowsOnTheCallingThreadOnceAllRowsAreDone)
{
    for (const std::int64_t nanosecondsPerRow : {1, 10000000}) {
        std::vector<int> times(100);
        try {
            parallelRows(100, nanosecondsPerRow, [&](std::int64_t row) {
                ++times[static_cast<std::size_t>(row)];
                if (row == 60)
                    throw std::out_of_range("row 60");
            });
            ADD_FAILURE() << "nothing thrown";
        } catch (const std::out_of_range& failure) {
            EXPECT_EQ(failure.what(), std::string("row 60"));
        }
        EXPECT_EQ(times, std::vector<int>(100, 1));
    }
}

TEST_F(ParallelRows, OfManyExceptionsTheFirstComesOut)
{
    try {
        parallelRows(100, 0, [](std::int64_t row) { throw row; }); // on this thread
        FAIL() << "nothing thrown";
    } catch (const std::int64_t row) {
        EXPECT_EQ(row, 0);
    }
}

TEST_F(ParallelRows, OfManyExceptionsOneComesOut)
{
    for (const std::int64_t nanosecondsPerRow : {1, 10000000})
        EXPECT_THROW(parallelRows(100, nanosecondsPerRow, [](std::int64_t row) { throw row; }), std::int64_t);
}

TEST_F(ParallelRows, WorksAgainAfterAnException)
{
    EXPECT_THROW(parallelRows(100, 10000000, [](std::int64_t) { throw std::runtime_error("x"); }),
                 std::runtime_error);
    const std::vector<int> threads = threadsOfRows(400, 100000);
    EXPECT_EQ(std::count(threads.begin(), threads.end(), -1), 0);
}
