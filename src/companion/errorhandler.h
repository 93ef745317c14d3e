#ifndef VEXEL_COMPANION_ERRORHANDLER_H
#define VEXEL_COMPANION_ERRORHANDLER_H

#include "../export.h"

#include <cpl_error.h>

/// @file
/// Handlers for GDAL's own messages.

namespace vexel::gdal {

/// Installs `handler` as GDAL's process-wide error handler.
///
/// @code
/// vexel::gdal::setErrorHandler(vexel::gdal::logErrorHandler); // GDAL's messages join those of the library
/// @endcode
///
/// Threads that have pushed a handler with `CPLPushErrorHandler` keep that one. The only part of the library that
/// installs handlers is `RAIIErrorSilencer`.
VEXEL_EXPORT void setErrorHandler(void (*handler)(CPLErr, int, const char*));

/// Drops every message. You can pass it to `setErrorHandler`.
VEXEL_EXPORT void silentErrorHandler(CPLErr severity, int number, const char* message);

/// Passes GDAL's messages to `log::defaultLogSource()` as "GDAL number: message". This is the usual error handler.
///
/// Failures become errors, warnings stay warnings, and all others become notices. Throws nothing.
VEXEL_EXPORT void logErrorHandler(CPLErr severity, int number, const char* message);

} // namespace vexel::gdal

#endif
