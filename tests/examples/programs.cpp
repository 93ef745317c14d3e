#include "examples/programs.h"

#include "support/TempFolder.h"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace programs {

namespace {

std::string content(const QString& path)
{
    std::ifstream file(path.toStdString(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

} // namespace

Outcome run(const std::string& program, const QString& arguments)
{
    const TempFolder folder;
    const QString command = quoted(QString::fromStdString(program)) + arguments + " >" +
                            quoted(folder / "output") + " 2>" + quoted(folder / "messages");
    const int status = std::system(command.toStdString().c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, content(folder / "output"),
            content(folder / "messages")};
}

QString quoted(const QString& path)
{
    return " '" + QString(path).replace("'", "'\\''") + "' ";
}

std::string value(const Outcome& outcome, const std::string& name)
{
    const std::string text = "\n" + outcome.output;
    const std::size_t start = text.find("\n" + name + ": ");
    if (start == std::string::npos)
        return "(none)";
    const std::size_t first = start + name.size() + 3;
    return text.substr(first, text.find('\n', first) - first);
}

QString data(const char* name)
{
    return QStringLiteral(VEXEL_EXAMPLE_DATA "/") + name;
}

} // namespace programs
