#ifndef VEXEL_EXAMPLES_STOPONSIGNAL_H
#define VEXEL_EXAMPLES_STOPONSIGNAL_H

#include <vexel/vexel.h>

#include <signal.h>

#include <atomic>

namespace example {

/// While it lives, Ctrl-C and SIGTERM stop the job that a runner runs, rather than the program. There may be
/// one at a time.
class StopOnSignal
{
public:
    explicit StopOnSignal(vexel::JobRunner& runner)
    {
        s_asked = false;
        s_runner = &runner;
        struct sigaction action = {};
        action.sa_handler = &handle;
        action.sa_flags = SA_RESTART; // files are read and written to the end of a piece
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &m_onInterrupt);
        sigaction(SIGTERM, &action, &m_onTerminate);
    }
    ~StopOnSignal()
    {
        sigaction(SIGINT, &m_onInterrupt, nullptr);
        sigaction(SIGTERM, &m_onTerminate, nullptr);
        s_runner = nullptr;
    }
    StopOnSignal(const StopOnSignal&) = delete;
    StopOnSignal& operator=(const StopOnSignal&) = delete;

    /// Whether one of the signals came, also one that came too late for the runner.
    bool asked() const { return s_asked; }

private:
    static void handle(int)
    {
        s_asked = true;
        if (vexel::JobRunner* const runner = s_runner)
            runner->stop();
    }

    // Atomic, since any thread may get the signal.
    inline static std::atomic<bool> s_asked{false};
    inline static std::atomic<vexel::JobRunner*> s_runner{nullptr};

    struct sigaction m_onInterrupt = {};
    struct sigaction m_onTerminate = {};
};

} // namespace example

#endif
