#ifndef VEXEL_STREAMING_GDALMUTEX_H
#define VEXEL_STREAMING_GDALMUTEX_H

#include "../export.h"

#include <mutex>

namespace vexel {

/// Takes the one process-wide lock around GDAL, and releases it at the end of its life.
///
/// @code
/// const GDALMutex lock;
/// if (set.open(0))
///     wkt = QString::fromUtf8(set.data(0)->GetProjectionRef());
/// @endcode
///
/// The library takes this lock for everything that opens, creates, reads, writes or closes a dataset. The only
/// exception is the step of the warp strategy, in which GDAL opens both files itself. If your application uses GDAL
/// from several threads, it must take the lock too.
///
/// The lock is recursive: a thread that has it can take it again. While you have it, you must not wait for a thread
/// that may need it, because that thread would wait for you.
///
/// Completing files can take seconds. `GDALStreamer::close` and the destructor keep the lock throughout.
/// `GDALStreamer::finish` and jobs that are completed release it every few milliseconds if another thread waits for
/// it, unless you have taken it yourself.
class VEXEL_EXPORT GDALMutex
{
public:
    /// Waits for the lock and takes it.
    /// @throws std::system_error if the lock cannot be taken.
    GDALMutex();
    /// Releases the lock.
    ~GDALMutex();
    GDALMutex(const GDALMutex&) = delete;
    GDALMutex& operator=(const GDALMutex&) = delete;

private:
    friend class GdalPause; // releases the lock for a while, so that a thread that waits gets it

    static std::recursive_mutex m_mutex;

    std::recursive_mutex& m_lock;
};

} // namespace vexel

#endif
