#ifndef VEXEL_TESTS_SUPPORT_PEAKMEMORY_H
#define VEXEL_TESTS_SUPPORT_PEAKMEMORY_H

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>

#ifdef __GLIBC__
#include <malloc.h>
#endif

/// By how much the memory that the system counts for this process has risen at most since the object was made. Memory
/// that was freed before is given back first, since taking it again would not show.
class PeakMemory
{
public:
    PeakMemory() : m_known(start()), m_start(status("VmRSS")) {}

    /// Whether the system counts peaks from a moment on. Without that a test of memory says nothing, and should be skipped.
    bool isKnown() const { return m_known && m_start && status("VmHWM"); }

    /// Bytes; throws std::bad_optional_access where the system does not tell.
    std::int64_t rise() const { return m_known ? status("VmHWM").value() - m_start.value() : unknown(); }

private:
    static bool start()
    {
#ifdef __GLIBC__
        malloc_trim(0);
#endif
        std::ofstream reset("/proc/self/clear_refs");
        reset << "5";
        return static_cast<bool>(reset.flush());
    }

    /// A number of kilobytes that the system tells of this process, in bytes.
    static std::optional<std::int64_t> status(const std::string& name)
    {
        std::ifstream lines("/proc/self/status");
        for (std::string line; std::getline(lines, line);)
            if (line.compare(0, name.size() + 1, name + ":") == 0)
                return std::atoll(line.c_str() + name.size() + 1) * 1024;
        return std::nullopt;
    }

    static std::int64_t unknown()
    {
        throw std::bad_optional_access();
    }

    bool m_known;
    std::optional<std::int64_t> m_start;
};

#endif
