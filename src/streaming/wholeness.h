#ifndef VEXEL_STREAMING_WHOLENESS_H
#define VEXEL_STREAMING_WHOLENESS_H

#include <QString>

namespace vexel {

/// Looks at a closed file and says why it is not whole; true if it is.
using WholenessCheck = bool (*)(const QString& path, QString& reason);

/// By its last bytes.
bool isWholePng(const QString& path, QString& reason);
/// The same, with a mask behind the image or without.
bool isWholeJpeg(const QString& path, QString& reason);
/// By the places of its blocks: GDAL 3.10 with the system's libtiff prints what goes wrong with the last bytes, and reports
/// success.
bool isWholeGeoTiff(const QString& path, QString& reason);

} // namespace vexel

#endif
