#ifndef VEXEL_UTILITIES_GDALONTHREAD_H
#define VEXEL_UTILITIES_GDALONTHREAD_H

#include "companion/ThreadOption.h"

#include <QString>

#include <cpl_error.h>

#include <string>

namespace vexel::gdal::verification {

/// Keeps what GDAL says on this thread to itself while it lives, and remembers the first failure: those that
/// follow only tell what came of it.
class Messages
{
public:
    Messages() { CPLPushErrorHandlerEx(&Messages::note, this); }
    ~Messages() { CPLPopErrorHandler(); }
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    bool tellOfFailure() const { return m_failed; }
    /// The first failure, or `otherwise` if there was none.
    QString firstFailureOr(const QString& otherwise) const
    {
        return m_text.empty() ? otherwise : QString::fromUtf8(m_text.c_str());
    }
    void forget()
    {
        m_failed = false;
        m_text.clear();
    }

private:
    static void CPL_STDCALL note(CPLErr severity, CPLErrorNum number, const char* text);

    bool m_failed = false;
    std::string m_text;
};

} // namespace vexel::gdal::verification

#endif
