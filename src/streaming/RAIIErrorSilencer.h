#ifndef VEXEL_STREAMING_RAIIERRORSILENCER_H
#define VEXEL_STREAMING_RAIIERRORSILENCER_H

#include "../export.h"

namespace vexel::gdal {

/// Drops GDAL's messages, in the whole process, while it lives; for callers that probe files and expect
/// failures.
///
/// It does not remember the handler it replaced: destruction always installs `gdal::logErrorHandler`, the
/// normal state, so that the innermost of several silencers ends the silence. An application with a handler of its own
/// installs that again afterwards. A handler that a thread has pushed by `CPLPushErrorHandler` gets its messages still.
///
/// @code
/// const vexel::gdal::RAIIErrorSilencer silence;
/// const bool isThere = set.openRead(path); // no message if it is not
/// @endcode
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
