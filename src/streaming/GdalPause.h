#ifndef VEXEL_STREAMING_GDALPAUSE_H
#define VEXEL_STREAMING_GDALPAUSE_H

#include "streaming/GDALMutex.h"

#include <cstdint>

namespace vexel {

/// Gives the lock round GDAL up while it lives, where this thread holds it once. Holding it more often, a caller relies on
/// it: then nothing changes.
///
/// In the end it takes the lock again, once one of those who waited for it has had it. If another thread keeps the lock,
/// that waits.
class GdalPause
{
public:
    GdalPause();
    ~GdalPause();
    GdalPause(const GdalPause&) = delete;
    GdalPause& operator=(const GdalPause&) = delete;

    /// Gives way to others for a moment, if there are any.
    static void ifWaitedFor();

private:
    bool m_isOn;
    std::uint64_t m_servedBefore = 0;
};

} // namespace vexel

#endif
