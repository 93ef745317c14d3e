#ifndef VEXEL_EXAMPLES_SYSTEM_H
#define VEXEL_EXAMPLES_SYSTEM_H

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <io.h>
#include <stdio.h>
#include <windows.h>

#include <psapi.h>
#else
#include <sys/resource.h>
#include <unistd.h>
#endif

// What the programs ask of the operating system itself.

namespace example {

/// The largest amount of memory that the process has had so far, in MiB.
inline double peakMemoryMiB()
{
    constexpr double mebi = 1024.0 * 1024.0;
#ifdef _WIN32
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return static_cast<double>(counters.PeakWorkingSetSize) / mebi;
#else
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
#ifdef __APPLE__
    constexpr double unit = 1.0;
#else
    constexpr double unit = 1024.0;
#endif
    return static_cast<double>(usage.ru_maxrss) * unit / mebi;
#endif
}

/// True if somebody may be looking at standard error.
inline bool isErrorATerminal()
{
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(STDERR_FILENO) != 0;
#endif
}

} // namespace example

#endif
