#include "companion/CommandOptions.h"

namespace vexel::gdal {

CommandOptions::CommandOptions()
{
    refreshPointers();
}

CommandOptions::~CommandOptions() = default;

CommandOptions& CommandOptions::operator<<(const QString& argument)
{
    m_arguments.push_back(argument.toStdString());
    refreshPointers();
    return *this;
}

void CommandOptions::setValueForOption(const QString& value, const QString& option)
{
    const QString assignment = option + "=";
    for (std::string& argument : m_arguments) {
        if (!QString::fromStdString(argument).startsWith(assignment, Qt::CaseInsensitive))
            continue;
        argument = (assignment + value).toStdString();
        refreshPointers();
        return;
    }
    *this << assignment + value;
}

char** CommandOptions::options() const
{
    return const_cast<char**>(m_pointers.data());
}

// Short texts lie inside their std::string, so every pointer may change when the list grows.
void CommandOptions::refreshPointers()
{
    m_pointers.clear();
    for (std::string& argument : m_arguments)
        m_pointers.push_back(argument.data());
    m_pointers.push_back(nullptr);
}

} // namespace vexel::gdal
