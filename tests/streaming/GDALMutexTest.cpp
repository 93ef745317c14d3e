#include "streaming/GDALMutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

using vexel::GDALMutex;

namespace {

static_assert(!std::is_copy_constructible_v<GDALMutex> && !std::is_copy_assignable_v<GDALMutex>);

/// Gives another thread every chance to get past a lock that does not hold it.
bool staysFalse(const std::atomic<bool>& flag)
{
    for (int i = 0; i < 2000; ++i) {
        if (flag)
            return false;
        std::this_thread::yield();
    }
    return true;
}

} // namespace

TEST(GDALMutex, NestsOnOneThread)
{
    const GDALMutex outer;
    const GDALMutex inner;
    const auto innermost = std::make_unique<GDALMutex>();
    SUCCEED();
}

TEST(GDALMutex, HoldsASecondThreadUntilTheOuterGuardGoes)
{
    std::vector<std::string> events; // written by both threads, ordered by nothing but the lock
    std::atomic<bool> entered = false;
    std::promise<void> atTheLock;

    auto outer = std::make_unique<GDALMutex>();
    auto inner = std::make_unique<GDALMutex>();
    std::future<void> second = std::async(std::launch::async, [&] {
        atTheLock.set_value();
        const GDALMutex guard;
        entered = true;
        events.push_back("second thread enters");
    });
    atTheLock.get_future().wait();
    EXPECT_TRUE(staysFalse(entered)) << "under both guards";
    inner.reset();
    EXPECT_TRUE(staysFalse(entered)) << "under the outer guard";
    events.push_back("outer guard goes");
    outer.reset();
    second.get();

    EXPECT_EQ(events, (std::vector<std::string>{"outer guard goes", "second thread enters"}));
}

TEST(GDALMutex, IsFreeAgainAfterTheGuard)
{
    {
        const GDALMutex outer;
        const GDALMutex inner;
    }
    std::async(std::launch::async, [] { const GDALMutex guard; }).get();
    const GDALMutex again;
    SUCCEED();
}

TEST(GDALMutex, LetsOneThreadInAtATime)
{
    constexpr int threads = 4;
    constexpr int rounds = 2000;
    int count = 0;
    std::vector<std::future<void>> workers;
    for (int t = 0; t < threads; ++t)
        workers.push_back(std::async(std::launch::async, [&count] {
            for (int i = 0; i < rounds; ++i) {
                const GDALMutex guard;
                const int before = count;
                std::this_thread::yield();
                const GDALMutex nested;
                count = before + 1;
            }
        }));
    for (std::future<void>& worker : workers)
        worker.get();
    EXPECT_EQ(count, threads * rounds);
}
