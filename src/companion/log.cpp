#include "companion/log.h"

#include <QByteArray>

#include <cstdio>
#include <utility>

namespace vexel::log {

namespace {

// "level 7 [category]: text (file:line)"
QString lineOf(log::level importance, const QString& category, const FileAndLine& where, const QString& text)
{
    QString line = "level " + QString::number(static_cast<std::int32_t>(importance));
    if (!category.isEmpty())
        line += " [" + category + "]";
    line +=
        ": " + text + " (" + where.file + ":" + QString::number(static_cast<qulonglong>(where.line)) + ")";
    line.replace('\n', ' ');
    line.replace('\r', ' ');
    return line;
}

void writeToStandardError(log::level importance, const QString& category, const FileAndLine& where,
                          const QString& text)
{
    const QByteArray line = (lineOf(importance, category, where, text) + "\n").toUtf8();
    // One write, so that the line stays whole beside what others write.
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
}

} // namespace

FileAndLine::FileAndLine(const QString& sourceFile, std::size_t sourceLine)
    : file(sourceFile), line(sourceLine)
{}

LogSource::LogSource() : m_sink(std::make_shared<const Sink>(writeToStandardError)) {}

LogSource::~LogSource() = default;

void LogSource::setSink(Sink sink)
{
    if (!sink)
        sink = writeToStandardError;
    // The former sink is destroyed after the lock is given back: what it owns may log on its way out.
    std::shared_ptr<const Sink> replaced = std::make_shared<const Sink>(std::move(sink));
    const std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_sink.swap(replaced);
}

void LogSource::emitMessage(log::level level, const QString& category, const FileAndLine& where,
                            const QString& text)
{
    // A copy, since a sink may replace itself; it may be the last one, so it outlives the lock.
    std::shared_ptr<const Sink> sink;
    const std::lock_guard<std::recursive_mutex> lock(m_mutex);
    sink = m_sink;
    try {
        (*sink)(level, category, where, text);
    } catch (...) {
    }
}

LogSource& defaultLogSource()
{
    // Never destroyed: destructors of static objects may still log.
    static LogSource* const source = new LogSource;
    return *source;
}

LogStreamer::LogStreamer(LogSource& source, log::level level, const QString& category,
                         const FileAndLine& where)
    : m_source(source), m_level(level), m_category(category), m_where(where)
{}

LogStreamer::~LogStreamer()
{
    try {
        m_source.emitMessage(m_level, m_category, m_where, m_text);
    } catch (...) {
    }
}

LogStreamer& LogStreamer::operator<<(const QString& text)
{
    m_text += text;
    return *this;
}

LogStreamer& LogStreamer::operator<<(const FileAndLine& where)
{
    m_text += where.file + ":" + QString::number(static_cast<qulonglong>(where.line));
    return *this;
}

} // namespace vexel::log
