#ifndef VEXEL_UTILITIES_SOURCEFILES_H
#define VEXEL_UTILITIES_SOURCEFILES_H

#include <QString>
#include <QStringList>

namespace vexel::gdal {

/// All files that GDAL reads for raster files: these themselves, the files beside them that it heeds, and the sources of
/// virtual rasters with theirs. One that does not open is all there is of it. Opens each file under the lock.
QStringList filesBehind(const QStringList& rasters);

} // namespace vexel::gdal

#endif
