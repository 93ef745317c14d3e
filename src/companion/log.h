#ifndef VEXEL_COMPANION_LOG_H
#define VEXEL_COMPANION_LOG_H

#include "../export.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <locale>
#include <memory>
#include <mutex>
#include <sstream>

/// Messages of the library: their importance, where they come from, and where they go.
namespace vexel::log {

/// Importance of a message; the library uses three of the application's values.
enum class level : std::int32_t
{
    notice = 2,  ///< something that was caught and passed over, a file name that is no tile name for example
    warning = 6, ///< an input that could not be opened, or that is read in a way that may surprise
    error = 7    ///< a failed read or write
};

/// A place in the source: base name of the file, and line.
struct VEXEL_EXPORT FileAndLine
{
    /// @param file base name of the source file, without folder and extension.
    /// @param line counted from 1.
    FileAndLine(const QString& file, std::size_t line);

    QString file;     ///< base name of the source file
    std::size_t line; ///< counted from 1
};

/// Where messages go. Safe to use from several threads.
///
/// @code
/// log::defaultLogSource().setSink(
///     [](log::level level, const QString&, const log::FileAndLine&, const QString& text) {
///         myLogger.add(static_cast<int>(level), text.toStdString());
///     });
/// @endcode
class VEXEL_EXPORT LogSource
{
public:
    /// Takes one finished message. `category` is empty for the library's own ones.
    using Sink = std::function<void(log::level, const QString& category, const log::FileAndLine& where,
                                    const QString& text)>;

    /// Messages go to the default sink.
    LogSource();
    /// No message may be on its way.
    ~LogSource();
    LogSource(const LogSource&) = delete;
    LogSource& operator=(const LogSource&) = delete;

    /// Replaces the sink; an empty function restores the default, which writes one line, in UTF-8, to
    /// standard error: "level 7 [category]: text (file:line)", without the brackets for an empty category.
    ///
    /// Once it has returned, the former sink is not called any more. Calls of a sink never overlap, so it
    /// needs no lock of its own; it may log in turn. It must not wait for another thread that may be logging:
    /// the library logs while it holds the GDAL lock.
    void setSink(Sink sink);

    /// Hands one finished message to the sink. What the sink throws is dropped.
    void emitMessage(log::level level, const QString& category, const FileAndLine& where,
                     const QString& text);

private:
    std::recursive_mutex m_mutex;
    std::shared_ptr<const Sink> m_sink;
};

/// The sink that the library's own messages go to. It lives until the process ends.
VEXEL_EXPORT LogSource& defaultLogSource();

/// Collects one message and emits it, whole, when it is destroyed:
/// @code
/// const log::FileAndLine here("Part", 12);
/// log::LogStreamer(log::defaultLogSource(), log::level::error, "", here) << "size " << 3;
/// @endcode
class VEXEL_EXPORT LogStreamer
{
public:
    /// Begins a message to `source`, which must live as long.
    LogStreamer(LogSource& source, log::level level, const QString& category, const FileAndLine& where);
    /// Emits the message. Throws nothing.
    ~LogStreamer();
    LogStreamer(const LogStreamer&) = delete;
    LogStreamer& operator=(const LogStreamer&) = delete;

    /// Appends the text as it is.
    LogStreamer& operator<<(const QString& text);

    /// Appends "file:line".
    LogStreamer& operator<<(const FileAndLine& where);

    /// Appends what a standard stream in the classic locale makes of `value`; C strings are taken as UTF-8.
    template <class T>
    LogStreamer& operator<<(const T& value)
    {
        std::ostringstream stream;
        stream.imbue(std::locale::classic());
        stream << value;
        return *this << QString::fromStdString(stream.str());
    }

private:
    LogSource& m_source;
    log::level m_level;
    QString m_category;
    FileAndLine m_where;
    QString m_text;
};

} // namespace vexel::log

#endif
