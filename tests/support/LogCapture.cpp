#include "support/LogCapture.h"

#include "companion/log.h"

LogCapture::LogCapture()
{
    vexel::log::defaultLogSource().setSink([this](vexel::log::level level, const QString& category,
                                                  const vexel::log::FileAndLine& where, const QString& text) {
        m_messages.push_back({static_cast<int>(level), category.toStdString(), where.file.toStdString(),
                              where.line, text.toStdString()});
    });
}

LogCapture::~LogCapture()
{
    vexel::log::defaultLogSource().setSink({});
}

std::string LogCapture::text() const
{
    std::string lines;
    for (const Message& message : m_messages)
        lines += (lines.empty() ? "" : "\n") + std::to_string(message.level) + ": " + message.text;
    return lines;
}
