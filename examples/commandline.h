#ifndef VEXEL_EXAMPLES_COMMANDLINE_H
#define VEXEL_EXAMPLES_COMMANDLINE_H

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace example {

/// Exit codes of every program.
enum ExitCode
{
    done = 0,
    failed = 1,   ///< the reason is on standard error
    usage = 2,    ///< the arguments make no sense; nothing was touched
    unread = 3,   ///< the output is there, but not all of the input could be read
    stopped = 130 ///< by Ctrl-C or SIGTERM; nothing is left of the output
};

/// Ends a program that was asked to stop.
class Stopped : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Ends a program that has made its output from an input that could not be read everywhere.
class Unread : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// One argument of a program, as CommandLine declares it; each function gives the same argument again.
class Argument
{
public:
    explicit Argument(CLI::Option* option) : m_option(option) {}

    Argument& required();
    /// How many values it takes, one if nothing is said.
    Argument& values(int count);
    /// What a value has to be: empty if it will do, else what is wrong.
    Argument& check(const std::function<std::string(const std::string&)>& problem);
    /// Whole numbers from `first` to `last`, both included.
    Argument& range(int first, int last);
    Argument& oneOf(const std::vector<std::string>& names);
    /// What stands for a value in the help.
    Argument& placeholder(const std::string& text);
    /// Shows the value that the variable has now as the default.
    Argument& showDefault();

private:
    CLI::Option* m_option;
};

/// The command line of a program. It keeps CLI11, which takes long to compile, in one source file.
class CommandLine
{
public:
    CommandLine(const std::string& description, const std::string& program);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    // A name with hyphens in front is an option, another one a positional argument.
    Argument add(const std::string& name, std::string& value, const std::string& help);
    Argument add(const std::string& name, int& value, const std::string& help);
    Argument add(const std::string& name, double& value, const std::string& help);
    Argument add(const std::string& name, std::vector<float>& values, const std::string& help);
    Argument add(const std::string& name, std::vector<std::string>& values, const std::string& help);
    /// An option without a value.
    void addFlag(const std::string& name, bool& value, const std::string& help);
    void addVersion(const std::string& text);
    void setFooter(const std::string& text);

    /// Looks at all arguments together, once each is right by itself; it may `refuse` one.
    void checkTogether(const std::function<void()>& check);
    [[noreturn]] static void refuse(const std::string& name, const std::string& reason);

    /// Parses the arguments, then does the work; every failure becomes a message and an exit code.
    int run(int argc, char** argv, const std::function<void()>& work);

private:
    std::unique_ptr<CLI::App> m_app;
};

} // namespace example

#endif
