#include "GDALMutex.h"

#include "streaming/GdalPause.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>

namespace vexel {

namespace {

/// Those who wait for the lock, and how often one of them has had it: who gives way takes the lock again only once that
/// number has changed. A mutex alone lets the thread that has just unlocked it lock it again at once.
struct Waiters
{
    std::atomic<int> number{0};
    std::mutex mutex;
    std::condition_variable served;
    std::uint64_t timesServed = 0;

    void tellServed()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            ++timesServed;
        }
        served.notify_all();
    }
};

Waiters& waiters()
{
    static Waiters all;
    return all;
}

thread_local int depth = 0; // how often this thread holds the lock

void waitFor(std::recursive_mutex& lock)
{
    Waiters& all = waiters();
    ++all.number;
    try {
        lock.lock();
    } catch (...) {
        --all.number;
        all.tellServed();
        throw;
    }
    --all.number;
    all.tellServed();
}

} // namespace

std::recursive_mutex GDALMutex::m_mutex;

GDALMutex::GDALMutex() : m_lock(m_mutex)
{
    if (!m_lock.try_lock())
        waitFor(m_lock);
    ++depth;
}

GDALMutex::~GDALMutex()
{
    --depth;
    m_lock.unlock();
}

GdalPause::GdalPause() : m_isOn(depth == 1)
{
    if (!m_isOn)
        return;
    {
        const std::lock_guard<std::mutex> lock(waiters().mutex);
        m_servedBefore = waiters().timesServed;
    }
    depth = 0;
    GDALMutex::m_mutex.unlock();
}

GdalPause::~GdalPause()
{
    if (!m_isOn)
        return;
    Waiters& all = waiters();
    {
        std::unique_lock<std::mutex> lock(all.mutex);
        all.served.wait(lock, [&] { return all.number == 0 || all.timesServed != m_servedBefore; });
    }
    GDALMutex::m_mutex.lock();
    depth = 1;
}

void GdalPause::ifWaitedFor()
{
    if (waiters().number > 0)
        const GdalPause pause;
}

} // namespace vexel
