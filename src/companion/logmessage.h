#ifndef VEXEL_COMPANION_LOGMESSAGE_H
#define VEXEL_COMPANION_LOGMESSAGE_H

#include "companion/log.h"

#include <cstddef>

namespace vexel::log {

/// Begins a message of the library, which names the line that calls this function:
/// @code
/// log::message(log::level::error) << "GDAL error " << usageError;
/// @endcode
///
/// The message is emitted at the end of the statement. Leave `sourceFile` and `line` to the compiler.
///
/// @param sourceFile path of the source file. The message has its base name, without folder and extension.
/// @param line       counted from 1.
LogStreamer message(log::level importance, const char* sourceFile = __builtin_FILE(),
                    std::size_t line = __builtin_LINE());

} // namespace vexel::log

#endif
