#include "streaming/GdalPause.h"

#include "streaming/GDALMutex.h"

#include <gtest/gtest.h>

#ifdef __linux__
#include <sys/syscall.h>
#include <unistd.h>
#endif

#include <atomic>
#include <cstddef>
#include <fstream>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

// Who gives the lock round GDAL up for a while, and who has it meanwhile.

using vexel::GDALMutex;
using vexel::GdalPause;

namespace {

/// Waits for the lock on a thread of its own, and says so before.
class Waiter
{
public:
    explicit Waiter(std::function<void()> withLock)
        : m_done(std::async(std::launch::async, [this, withLock = std::move(withLock)] {
              m_begins.set_value();
              const GDALMutex lock;
              withLock();
              m_hasHadLock = true;
          }))
    {
        m_begins.get_future().wait();
    }

    bool hasHadLock() const { return m_hasHadLock; }
    void join() { m_done.get(); }

private:
    std::promise<void> m_begins;
    std::atomic<bool> m_hasHadLock{false};
    std::future<void> m_done;
};

/// Gives way as long as it takes somebody to notice: between saying so and waiting there is a moment.
void giveWayUntilHad(const Waiter& waiter)
{
    while (!waiter.hasHadLock()) {
        GdalPause::ifWaitedFor();
        std::this_thread::yield();
    }
}

#ifdef __linux__
/// Whether a thread of this process waits for something: the letter behind its name in parentheses.
bool sleeps(long id)
{
    std::ifstream file("/proc/self/task/" + std::to_string(id) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t name = text.rfind(") ");
    return name != std::string::npos && text.compare(name + 2, 1, "S") == 0;
}
#endif

/// Whether another thread can have the lock at once.
bool isFree()
{
    std::atomic<bool> isHad{false};
    std::thread other([&] {
        const GDALMutex lock;
        isHad = true;
    });
    for (int i = 0; i < 2000 && !isHad; ++i)
        std::this_thread::yield();
    const bool wasHad = isHad;
    {
        const GdalPause pause; // lets it end in any case
        other.join();
    }
    return wasHad;
}

} // namespace

TEST(GdalPause, LetsAnotherThreadHaveTheLock)
{
    const GDALMutex lock;
    std::atomic<bool> isHad{false};
    std::thread other([&] {
        const GDALMutex others;
        isHad = true;
    });
    {
        const GdalPause pause;
        other.join();
    }
    EXPECT_TRUE(isHad);
    EXPECT_FALSE(isFree()) << "it has the lock again";
}

TEST(GdalPause, TakesTheLockAgainOnlyOnceAWaiterHasHadIt)
{
    for (int round = 0; round < 200; ++round) {
        const GDALMutex lock;
        Waiter waiter([] {});
        giveWayUntilHad(waiter);
        waiter.join();
    }
    // A waiter that is passed over would wait until the end of the test.
    const GDALMutex lock;
    int turns = 0;
    std::vector<std::thread> others;
    for (int k = 0; k < 3; ++k)
        others.emplace_back([&turns] {
            for (int turn = 0; turn < 50; ++turn) {
                const GDALMutex theirs;
                ++turns;
            }
        });
    while (turns < 150) // of which only the holder of the lock knows
        GdalPause::ifWaitedFor();
    for (std::thread& other : others)
        other.join();
    EXPECT_EQ(turns, 150);
}

#ifdef __linux__
TEST(GdalPause, IsNotOverBeforeOneThatWaitsHasHadTheLock)
{
    for (int round = 0; round < 20; ++round) {
        const GDALMutex lock;
        std::atomic<long> id{0};
        std::atomic<bool> isHad{false};
        std::thread other([&] {
            id = syscall(SYS_gettid);
            const GDALMutex others;
            isHad = true;
        });
        while (id == 0 || !sleeps(id))
            std::this_thread::yield();
        GdalPause::ifWaitedFor();
        EXPECT_TRUE(isHad) << "round " << round;
        const GdalPause pause; // lets it end in any case
        other.join();
    }
}
#endif

TEST(GdalPause, IsNoneWhereTheCallerHoldsTheLockToo)
{
    const GDALMutex callers;
    std::promise<void> begins;
    std::atomic<bool> isHad{false};
    std::thread other([&] {
        begins.set_value();
        const GDALMutex lock;
        isHad = true;
    });
    begins.get_future().wait();
    {
        const GDALMutex lock;
        for (int i = 0; i < 2000; ++i) {
            const GdalPause pause;
            GdalPause::ifWaitedFor();
            std::this_thread::yield();
        }
        EXPECT_FALSE(isHad);
    }
    {
        const GdalPause pause;
        other.join();
    }
    EXPECT_TRUE(isHad);
}

TEST(GdalPause, LetsItsOwnThreadHaveTheLockAndGiveItUpWithin)
{
    const GDALMutex lock;
    {
        const GdalPause pause;
        const GDALMutex again;
        {
            const GdalPause within;
            std::async(std::launch::async, [] { const GDALMutex others; }).get();
        }
        EXPECT_FALSE(isFree());
    }
    EXPECT_FALSE(isFree());
}

TEST(GdalPause, OfAThreadWithoutTheLockIsNone)
{
    const GdalPause pause;
    std::async(std::launch::async, [] { const GDALMutex others; }).get();
}
