#ifndef VEXEL_STREAMING_RAIIERRORSILENCER_H
#define VEXEL_STREAMING_RAIIERRORSILENCER_H

#include "../export.h"

namespace vexel::gdal {

/// Drops GDAL's messages in the whole process while it lives. Use it when you probe files and expect failures.
///
/// @code
/// const vexel::gdal::RAIIErrorSilencer silence;
/// const bool isThere = set.openRead(path); // no message if it is not
/// @endcode
///
/// It does not remember the handler that it replaced. The destructor always installs `gdal::logErrorHandler`, the
/// normal state, so the innermost of several silencers ends the silence. If your application has its own handler, you
/// must install it again afterwards. A handler that a thread has pushed by `CPLPushErrorHandler` still gets its
/// messages.
class VEXEL_EXPORT RAIIErrorSilencer
{
public:
    /// Installs `gdal::silentErrorHandler`.
    RAIIErrorSilencer();
    /// Installs `gdal::logErrorHandler`.
    ~RAIIErrorSilencer();
    /// Does nothing.
    RAIIErrorSilencer& operator=(const RAIIErrorSilencer&) = default;
};

} // namespace vexel::gdal

#endif
