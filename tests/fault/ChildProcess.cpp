#include "fault/ChildProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace faults {

namespace {

std::map<std::string, ChildMain::Function>& children()
{
    static std::map<std::string, ChildMain::Function> all;
    return all;
}

} // namespace

ChildMain::ChildMain(const char* name, Function function)
{
    children()[name] = function;
}

int runAsChild(const std::string& name, const Arguments& arguments)
{
    try {
        children().at(name)(arguments);
        return 0;
    } catch (const std::exception& error) {
        std::cout << name << ": " << error.what() << std::endl;
        return 1;
    }
}

ChildProcess::ChildProcess(const std::string& name, const Arguments& arguments)
{
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    std::vector<std::string> words{program, "--child", name};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    std::array<int, 2> ends{};
    require(pipe2(ends.data(), O_CLOEXEC) == 0, "no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    const int error = posix_spawn(&m_pid, program.c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    m_pipe = ends[0];
    if (error != 0)
        close(m_pipe);
    require(error == 0, "no child process");
}

ChildProcess::~ChildProcess()
{
    kill();
    close(m_pipe);
}

bool ChildProcess::readMore()
{
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    do
        count = read(m_pipe, buffer.data(), buffer.size());
    while (count < 0 && errno == EINTR);
    if (count > 0)
        m_unread.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0;
}

std::string ChildProcess::readLine()
{
    while (m_unread.find('\n') == std::string::npos && readMore()) {
    }
    const std::size_t end = m_unread.find('\n');
    const std::string line = m_unread.substr(0, end);
    m_unread.erase(0, end == std::string::npos ? end : end + 1);
    return line;
}

bool ChildProcess::kill()
{
    if (!m_ended)
        ::kill(m_pid, SIGKILL);
    return wait() == -SIGKILL;
}

int ChildProcess::wait()
{
    if (!m_ended) {
        while (waitpid(m_pid, &m_status, 0) < 0 && errno == EINTR) {
        }
        m_ended = true;
    }
    return WIFSIGNALED(m_status) ? -WTERMSIG(m_status) : WEXITSTATUS(m_status);
}

std::string ChildProcess::output()
{
    while (readMore()) {
    }
    wait();
    return m_unread;
}

std::string failureOfChild(const std::string& name, const Arguments& arguments)
{
    ChildProcess child(name, arguments);
    const std::string output = child.output();
    const int status = child.wait();
    return status == 0 ? std::string() : "exit status " + std::to_string(status) + ": " + output;
}

void require(bool condition, const std::string& text)
{
    if (!condition)
        throw std::runtime_error(text);
}

} // namespace faults
