#ifndef VEXEL_COMPANION_QUIETTHREAD_H
#define VEXEL_COMPANION_QUIETTHREAD_H

#include <cpl_error.h>

namespace vexel {

/// Drops GDAL's messages on this thread while it lives.
class QuietThread
{
public:
    QuietThread() { CPLPushErrorHandler(CPLQuietErrorHandler); }
    ~QuietThread() { CPLPopErrorHandler(); }
    QuietThread(const QuietThread&) = delete;
    QuietThread& operator=(const QuietThread&) = delete;
};

} // namespace vexel

#endif
