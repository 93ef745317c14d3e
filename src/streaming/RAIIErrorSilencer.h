#ifndef VEXEL_STREAMING_RAIIERRORSILENCER_H
#define VEXEL_STREAMING_RAIIERRORSILENCER_H

#include "../export.h"

namespace vexel::gdal {

/// Drops GDAL's messages, in the whole process, while it lives; for callers that probe files and expect
/// failures.
///
/// It does not remember the handler it replaced: destruction always installs `gdal::logErrorHandler`, the
/// normal state, so that the innermost of several silencers ends the silence.
class VEXEL_EXPORT RAIIErrorSilencer
{
public:
    RAIIErrorSilencer();
    ~RAIIErrorSilencer();
    RAIIErrorSilencer& operator=(const RAIIErrorSilencer&) = default;
};

} // namespace vexel::gdal

#endif
