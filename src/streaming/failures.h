#ifndef VEXEL_STREAMING_FAILURES_H
#define VEXEL_STREAMING_FAILURES_H

#include "streaming/GDALStreamer.h"

#include <QString>

#include <cstdint>

/// @file
/// Why an operation of a file failed.
///
/// A function named `require…` checks what an operation needs, and notes the reason with `failFile` if that is not so.
/// A question (`is…`, `has…`) notes nothing. If it gives a reason, then through an argument.

namespace vexel {

/// What GDAL said of a failure. It fails without a word now and then, which is said instead.
QString orNoReason(const QString& saidByGdal);

/// Notes why an operation of a file failed, by `orNoReason`. Always false, to be returned.
bool failFile(GDALStreamer::gdal_t& file, StreamError::Code code, const QString& text);

/// "8 x 6", columns first.
QString sizeText(std::int64_t columns, std::int64_t rows);

/// "(0, 0) to (8, 6)".
QString boxText(const PixelBox& box);

/// "There is no band 5 of 3".
template <class Number>
QString noBandText(Number band, std::uint64_t noBands)
{
    return QString("There is no band %1 of %2").arg(band).arg(noBands);
}

} // namespace vexel

#endif
