#ifndef VEXEL_EXAMPLES_STOPONSIGNAL_H
#define VEXEL_EXAMPLES_STOPONSIGNAL_H

#include <vexel/vexel.h>

#include <signal.h>

#include <atomic>
#include <csignal>

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
        m_onInterrupt = handleBy(SIGINT, handler());
        m_onTerminate = handleBy(SIGTERM, handler());
    }
    ~StopOnSignal()
    {
        handleBy(SIGINT, m_onInterrupt);
        handleBy(SIGTERM, m_onTerminate);
        s_runner = nullptr;
    }
    StopOnSignal(const StopOnSignal&) = delete;
    StopOnSignal& operator=(const StopOnSignal&) = delete;

    /// Whether one of the signals came, also one that came too late for the runner.
    bool asked() const { return s_asked; }

private:
#ifdef _WIN32
    using Handler = void (*)(int);

    static Handler handler()
    {
        return &handle;
    }
    static Handler handleBy(int number, Handler handler)
    {
        return std::signal(number, handler);
    }
    // Each signal takes its handler away.
    static void keepHandling(int number)
    {
        std::signal(number, &handle);
    }
#else
    using Handler = struct sigaction;

    static Handler handler()
    {
        Handler action = {};
        action.sa_handler = &handle;
        action.sa_flags = SA_RESTART; // files are read and written to the end of a piece
        sigemptyset(&action.sa_mask);
        return action;
    }
    static Handler handleBy(int number, const Handler& handler)
    {
        Handler before = {};
        sigaction(number, &handler, &before);
        return before;
    }
    static void keepHandling(int) {}
#endif

    static void handle(int number)
    {
        keepHandling(number);
        s_asked = true;
        if (vexel::JobRunner* const runner = s_runner)
            runner->stop();
    }

    // Atomic, since any thread may get the signal.
    inline static std::atomic<bool> s_asked{false};
    inline static std::atomic<vexel::JobRunner*> s_runner{nullptr};

    Handler m_onInterrupt = {};
    Handler m_onTerminate = {};
};

} // namespace example

#endif
