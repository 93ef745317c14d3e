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

/// Messages of the library, with their importance, origin and destination.
namespace vexel::log {

/// Importance of a message. The values belong to a scale of the application, and the library uses three of them.
enum class level : std::int32_t
{
    notice = 2,  ///< a problem that was caught and skipped, for example a file name that is no tile name
    warning = 6, ///< an input that could not be opened, or that is read in a way that can surprise you
    error = 7    ///< a failed read or write
};

/// A line of a source file.
struct VEXEL_EXPORT FileAndLine
{
    /// Creates the description of a line.
    ///
    /// @param file base name of the source file, without folder and extension.
    /// @param line counted from 1.
    FileAndLine(const QString& file, std::size_t line);

    QString file;     ///< base name of the source file
    std::size_t line; ///< counted from 1
};

/// Passes messages to a function that you can choose. You can use it from several threads.
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
    /// Function that receives one finished message. `category` is empty for messages of the library.
    using Sink = std::function<void(log::level, const QString& category, const log::FileAndLine& where,
                                    const QString& text)>;

    /// Creates a source with the default sink: see `setSink`.
    LogSource();
    /// You must not destroy a source while a message is emitted.
    ~LogSource();
    LogSource(const LogSource&) = delete;
    LogSource& operator=(const LogSource&) = delete;

    /// Sets the function that receives the messages.
    ///
    /// An empty function restores the default sink. That writes one line, in UTF-8, to standard error:
    /// "level 7 [category]: text (file:line)". If the category is empty, the brackets are left out.
    ///
    /// The former sink is not called any more once this function has returned. Calls of a sink never overlap, so your
    /// sink needs no lock. It can log messages too. It must not wait for another thread that might be logging, because
    /// the library can have the GDAL lock while it logs.
    void setSink(Sink sink);

    /// Passes one finished message to the sink. Exceptions of the sink are dropped.
    void emitMessage(log::level level, const QString& category, const FileAndLine& where,
                     const QString& text);

private:
    std::recursive_mutex m_mutex;
    std::shared_ptr<const Sink> m_sink;
};

/// Returns the source of the library's own messages. It exists until the process ends.
VEXEL_EXPORT LogSource& defaultLogSource();

/// Collects one message, and emits it as a whole when the object is destroyed:
/// @code
/// const log::FileAndLine here("Part", 12);
/// log::LogStreamer(log::defaultLogSource(), log::level::error, "", here) << "size " << 3;
/// @endcode
class VEXEL_EXPORT LogStreamer
{
public:
    /// Begins a message. `source` must exist as long as this object.
    LogStreamer(LogSource& source, log::level level, const QString& category, const FileAndLine& where);
    /// Emits the message. Throws nothing.
    ~LogStreamer();
    LogStreamer(const LogStreamer&) = delete;
    LogStreamer& operator=(const LogStreamer&) = delete;

    /// Appends the text unchanged.
    LogStreamer& operator<<(const QString& text);

    /// Appends "file:line".
    LogStreamer& operator<<(const FileAndLine& where);

    /// Appends `value` as a standard stream in the classic locale writes it. C strings must be UTF-8.
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
