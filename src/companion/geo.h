#ifndef VEXEL_COMPANION_GEO_H
#define VEXEL_COMPANION_GEO_H

#include "../export.h"

#include <QString>

/// Spatial references.
namespace vexel::geo {

/// True for a text that GDAL reads as the WKT of a geographic, projected, geocentric or compound system.
/// False for an empty text, for anything else, and for local engineering systems. GDAL's own messages are
/// silenced.
VEXEL_EXPORT bool isStandardWkt(const QString& wkt);

} // namespace vexel::geo

#endif
