#ifndef VEXEL_COMPANION_ERRORHANDLER_H
#define VEXEL_COMPANION_ERRORHANDLER_H

#include "../export.h"

#include <cpl_error.h>

/// @file
/// Where GDAL's own messages go.

namespace vexel::gdal {

/// Installs `handler` as GDAL's process-wide error handler. Threads that have pushed one by `CPLPushErrorHandler` keep
/// that. The library installs none by itself, but for `RAIIErrorSilencer`.
///
/// @code
/// vexel::gdal::setErrorHandler(vexel::gdal::logErrorHandler); // GDAL's messages join those of the library
/// @endcode
VEXEL_EXPORT void setErrorHandler(void (*handler)(CPLErr, int, const char*));

/// An error handler that drops every message.
VEXEL_EXPORT void silentErrorHandler(CPLErr severity, int number, const char* message);

/// The normal error handler: passes GDAL's messages to `log::defaultLogSource()`, failures as errors,
/// warnings as warnings and the rest as notices, as "GDAL number: message". Throws nothing.
VEXEL_EXPORT void logErrorHandler(CPLErr severity, int number, const char* message);

} // namespace vexel::gdal

#endif
