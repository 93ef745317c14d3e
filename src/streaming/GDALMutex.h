#ifndef VEXEL_STREAMING_GDALMUTEX_H
#define VEXEL_STREAMING_GDALMUTEX_H

#include "../export.h"

#include <mutex>

namespace vexel {

/// Holds the one process-wide lock round GDAL for as long as it lives.
///
/// The library takes it for everything that opens, creates, reads, writes or closes a dataset, but for the step of the
/// warp strategy, in which GDAL opens both files for itself; an application that uses GDAL from several threads takes it
/// too. It is recursive: a thread that holds it may take it again. Do not wait, while holding it, for a thread that may
/// need it.
///
/// Completing files can take seconds. `GDALStreamer::close` and the destructor hold the lock throughout;
/// `GDALStreamer::finish` and jobs that are completed give it up every few milliseconds if another thread waits for it.
///
/// @code
/// const GDALMutex lock;
/// if (set.open(0))
///     wkt = QString::fromUtf8(set.data(0)->GetProjectionRef());
/// @endcode
class VEXEL_EXPORT GDALMutex
{
public:
    /// Waits for the lock.
    /// @throws std::system_error if the lock cannot be taken.
    GDALMutex();
    /// Gives the lock back.
    ~GDALMutex();
    GDALMutex(const GDALMutex&) = delete;
    GDALMutex& operator=(const GDALMutex&) = delete;

private:
    friend class GdalPause; // gives the lock up for a while

    static std::recursive_mutex m_mutex;

    std::recursive_mutex& m_lock;
};

} // namespace vexel

#endif
