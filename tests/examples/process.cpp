#include "examples/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace programs {

namespace {

constexpr int silenceInMilliseconds = 120000;

} // namespace

Process::Process(std::vector<std::string> command)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);

    std::vector<char*> arguments;
    for (std::string& word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int error = posix_spawn(&m_id, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    m_standardError = ends[0];
    if (error != 0) {
        close(m_standardError);
        throw std::runtime_error("cannot start " + command.front());
    }
}

Process::~Process()
{
    if (m_id > 0) {
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
    close(m_standardError);
}

bool Process::waitForMessage(const std::string& text)
{
    while (m_messages.find(text) == std::string::npos)
        if (!readMore())
            return false;
    return true;
}

void Process::send(int signal) const
{
    if (m_id > 0)
        kill(m_id, signal);
}

int Process::exitCode()
{
    while (readMore())
        continue;
    // Standard error is closed at the end of the program, or else it hangs.
    pollfd silent{m_standardError, POLLIN, 0};
    if (poll(&silent, 1, 0) == 0)
        send(SIGKILL);
    int status = 0;
    const pid_t id = m_id;
    m_id = -1;
    return waitpid(id, &status, 0) == id && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool Process::readMore()
{
    pollfd readable{m_standardError, POLLIN, 0};
    if (poll(&readable, 1, silenceInMilliseconds) <= 0)
        return false;
    std::array<char, 4096> buffer{};
    const ssize_t count = read(m_standardError, buffer.data(), buffer.size());
    if (count <= 0)
        return false;
    m_messages.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

} // namespace programs
