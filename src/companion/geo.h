#ifndef VEXEL_COMPANION_GEO_H
#define VEXEL_COMPANION_GEO_H

#include "../export.h"

#include <QString>

/// Spatial references.
namespace vexel::geo {

/// Returns true if GDAL reads the text as the WKT of a geographic, projected, geocentric or compound system.
///
/// The result is false for an empty text, for a local engineering system, and for anything else. GDAL's own messages
/// are silenced meanwhile.
VEXEL_EXPORT bool isStandardWkt(const QString& wkt);

} // namespace vexel::geo

#endif
