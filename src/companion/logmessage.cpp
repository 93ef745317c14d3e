#include "companion/logmessage.h"

#include "companion/file.h"

namespace vexel::log {

LogStreamer message(log::level importance, const char* sourceFile, std::size_t line)
{
    return LogStreamer(defaultLogSource(), importance, QString(),
                       FileAndLine(file::basename(QString::fromUtf8(sourceFile)), line));
}

} // namespace vexel::log
