#ifndef VEXEL_UTILITIES_GDALONTHREAD_H
#define VEXEL_UTILITIES_GDALONTHREAD_H

#include <QString>

#include <cpl_error.h>

#include <optional>
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

/// Sets one of GDAL's options for this thread while it lives.
class ThreadOption
{
public:
    ThreadOption(const char* name, const char* value);
    ~ThreadOption();
    ThreadOption(const ThreadOption&) = delete;
    ThreadOption& operator=(const ThreadOption&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_former;
};

} // namespace vexel::gdal::verification

#endif
