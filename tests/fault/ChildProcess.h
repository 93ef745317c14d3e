#ifndef VEXEL_TESTS_FAULT_CHILDPROCESS_H
#define VEXEL_TESTS_FAULT_CHILDPROCESS_H

#include <string>
#include <vector>

#include <sys/types.h>

/// Work that is done in a process of its own, because the process is killed or loses rights by it.
namespace faults {

using Arguments = std::vector<std::string>;

/// Makes a function known by a name, to be run in a child process. What it throws is printed and makes the
/// child fail.
struct ChildMain
{
    using Function = void (*)(const Arguments& arguments);

    ChildMain(const char* name, Function function);
};

/// The child's side: runs the named function. To be called by `main`.
int runAsChild(const std::string& name, const Arguments& arguments);

/// A child process that is this program run anew, so that nothing of this process goes on in it. Ended, if it
/// still runs, when the object is destroyed.
class ChildProcess
{
public:
    ChildProcess(const std::string& name, const Arguments& arguments);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Waits until the child has printed a line, and returns it; what there was if it ended before.
    std::string readLine();

    /// Ends the child at once. False if it had ended by itself.
    bool kill();

    /// Waits for the child's end. Its exit status; minus the signal that ended it.
    int wait();

    /// All that the child printed and was not read by `readLine`; waits for its end.
    std::string output();

private:
    pid_t m_pid = -1;
    int m_pipe = -1;
    int m_status = 0;
    bool m_ended = false;
    std::string m_unread;

    bool readMore();
};

/// Runs the function in a child. Empty if it did not fail, else what it printed.
std::string failureOfChild(const std::string& name, const Arguments& arguments = {});

/// Throws an exception with the text unless the condition holds.
void require(bool condition, const std::string& text);

} // namespace faults

#endif
