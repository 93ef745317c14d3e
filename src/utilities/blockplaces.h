#ifndef VEXEL_UTILITIES_BLOCKPLACES_H
#define VEXEL_UTILITIES_BLOCKPLACES_H

#include <QString>

namespace vexel::gdal {

/// Whether a GeoTIFF file has all of its blocks, and each lies inside the file, by its headers and its size.
///
/// @param reason what is wrong, if the result is false.
/// @return false too if the file cannot be opened or a block is sparse.
///
/// GDAL's messages are not passed on. Holds the GDAL lock.
bool hasAllBlocks(const QString& path, QString& reason);

} // namespace vexel::gdal

#endif
