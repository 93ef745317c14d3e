#include "streaming/Completion.h"

#include "streaming/GdalPause.h"

#include <algorithm>

namespace vexel {

bool Completion::endFile()
{
    m_doneBytes += m_fileBytes;
    m_fileBytes = 0.0;
    return report(0.0);
}

bool Completion::report(double shareOfFile) noexcept
{
    if (m_isStopped)
        return false;
    const double bytes = m_doneBytes + shareOfFile * m_fileBytes;
    m_isStopped = !tell(m_allBytes > 0.0 ? std::min(bytes / m_allBytes, 1.0) : 1.0);
    return !m_isStopped;
}

bool Completion::tell(double share) noexcept
{
    try {
        if (!m_progress) {
            GdalPause::ifWaitedFor();
            return true;
        }
        const GdalPause pause;
        return m_progress(share);
    } catch (...) {
        m_failure = std::current_exception();
        return false;
    }
}

void Completion::rethrow() const
{
    if (m_failure)
        std::rethrow_exception(m_failure);
}

} // namespace vexel
