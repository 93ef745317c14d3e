#ifndef VEXEL_TESTS_SUPPORT_LOGCAPTURE_H
#define VEXEL_TESTS_SUPPORT_LOGCAPTURE_H

#include <QString>

#include <cstddef>
#include <string>
#include <vector>

/// Collects what goes to the default log source while it lives, instead of standard error.
class LogCapture
{
public:
    struct Message
    {
        int level;
        std::string category;
        std::string file;
        std::size_t line;
        std::string text;
    };

    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<Message>& messages() const { return m_messages; }
    /// "level: text" of each message, one a line; empty if there was none.
    std::string text() const;

private:
    std::vector<Message> m_messages;
};

#endif
