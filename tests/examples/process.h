#ifndef VEXEL_TESTS_EXAMPLES_PROCESS_H
#define VEXEL_TESTS_EXAMPLES_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace programs {

/// A program that runs beside the test, which reads its standard error and sends it signals. One that is not
/// waited for, or that does not get on within a generous time, is killed.
class Process
{
public:
    explicit Process(std::vector<std::string> command);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// Reads messages until `text` is among them; false if the program ends, or nothing comes, before.
    bool waitForMessage(const std::string& text);

    void send(int signal) const;

    /// Waits for the end. The exit code, or -1 if the program did not end by itself.
    int exitCode();

    /// What has been read from standard error.
    const std::string& messages() const { return m_messages; }

private:
    bool readMore();

    pid_t m_id = -1;
    int m_standardError = -1;
    std::string m_messages;
};

} // namespace programs

#endif
