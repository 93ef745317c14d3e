#ifndef VEXEL_TESTS_EXAMPLES_PROGRAMS_H
#define VEXEL_TESTS_EXAMPLES_PROGRAMS_H

#include <QString>

#include <string>

/// Runs the example programs as a shell would.
namespace programs {

struct Outcome
{
    int exitCode;
    std::string output;   ///< standard output
    std::string messages; ///< standard error
};

/// @param arguments are split by the shell: see `quoted`.
Outcome run(const std::string& program, const QString& arguments);

/// A path as one argument, with blanks around.
QString quoted(const QString& path);

/// The value of the line "name: value"; "(none)" if there is no such line.
std::string value(const Outcome& outcome, const std::string& name);

/// A file of the example data.
QString data(const char* name);

} // namespace programs

#endif
