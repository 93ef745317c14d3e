#ifndef VEXEL_UTILITIES_TILESETCHECK_H
#define VEXEL_UTILITIES_TILESETCHECK_H

#include "streaming/writetargets.h"
#include "utilities/verify.h"

#include <QString>

#include <vector>

namespace vexel::gdal::verification {

/// Checks the tile files of a set, and whether they fill one grid.
VerifyReport checkSet(const QString& path, const std::vector<TileFile>& files, bool decode);

} // namespace vexel::gdal::verification

#endif
