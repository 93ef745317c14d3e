#ifndef VEXEL_TESTS_SUPPORT_PEAKMEMORY_H
#define VEXEL_TESTS_SUPPORT_PEAKMEMORY_H

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

/// By how much the memory that the system counts for this process has risen at most since the object was made.
class PeakMemory
{
public:
    PeakMemory()
    {
        std::ofstream reset("/proc/self/clear_refs");
        reset << "5";
        m_known = static_cast<bool>(reset.flush());
        m_start = peak();
    }

    /// Bytes; -1 where the system does not tell.
    std::int64_t rise() const { return m_known ? peak() - m_start : -1; }

private:
    static std::int64_t peak()
    {
        std::ifstream status("/proc/self/status");
        for (std::string line; std::getline(status, line);)
            if (line.compare(0, 6, "VmHWM:") == 0)
                return std::atoll(line.c_str() + 6) * 1024;
        return 0;
    }

    bool m_known;
    std::int64_t m_start;
};

#endif
