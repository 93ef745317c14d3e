#include "companion/errorhandler.h"

#include "companion/logmessage.h"

#include <QString>

namespace vexel::gdal {

namespace {

log::level levelOf(CPLErr severity)
{
    switch (severity) {
    case CE_Failure:
    case CE_Fatal:
        return log::level::error;
    case CE_Warning:
        return log::level::warning;
    default:
        return log::level::notice;
    }
}

} // namespace

void setErrorHandler(void (*handler)(CPLErr, int, const char*))
{
    CPLSetErrorHandler(handler);
}

void silentErrorHandler(CPLErr /*severity*/, int /*number*/, const char* /*message*/) {}

void logErrorHandler(CPLErr severity, int number, const char* message)
{
    // GDAL calls this from the middle of C libraries, through which no exception may pass.
    try {
        log::message(levelOf(severity)) << "GDAL " << number << ": " << QString::fromUtf8(message);
    } catch (...) {
    }
}

} // namespace vexel::gdal
