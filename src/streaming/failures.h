#ifndef VEXEL_STREAMING_FAILURES_H
#define VEXEL_STREAMING_FAILURES_H

#include "streaming/GDALStreamer.h"

#include <QString>

namespace vexel {

/// Notes why an operation of a file failed. Always false, to be returned.
inline bool failFile(GDALStreamer::gdal_t& file, StreamError::Code code, const QString& text = QString())
{
    file.error = {code, file.path, text};
    return false;
}

} // namespace vexel

#endif
