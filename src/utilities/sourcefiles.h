#ifndef VEXEL_UTILITIES_SOURCEFILES_H
#define VEXEL_UTILITIES_SOURCEFILES_H

#include <QString>
#include <QStringList>

class GDALDataset;

namespace vexel::gdal {

/// All files that GDAL reads for raster files: these themselves, the files beside them that it heeds, and the sources of
/// virtual rasters with theirs. One that does not open is all there is of it. Opens each file under the lock.
QStringList filesBehind(const QStringList& rasters);

/// False for a raster whose pixels become others when they are decoded a second time from the same dataset: GDAL does not
/// set back the decoder of TIFFs with old-style JPEG compression. Of a virtual raster the sources count, each of which is
/// opened. Hold a `GDALMutex`.
bool givesSamePixelsAgain(GDALDataset& dataset);

} // namespace vexel::gdal

#endif
