#include "companion/geo.h"

#include "companion/quietthread.h"

#include <QByteArray>

#include <gdal_version.h>
#include <ogr_spatialref.h>

namespace vexel::geo {

namespace {

bool importWkt(OGRSpatialReference& system, QByteArray wkt)
{
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 0, 0)
    return system.importFromWkt(wkt.constData()) == OGRERR_NONE;
#else
    char* cursor = wkt.data();
    return system.importFromWkt(&cursor) == OGRERR_NONE;
#endif
}

} // namespace

bool isStandardWkt(const QString& wkt)
{
    if (wkt.isEmpty())
        return false;
    const QuietThread quiet;
    OGRSpatialReference system;
    // For a compound system these ask about its horizontal part.
    return importWkt(system, wkt.toUtf8()) &&
           (system.IsGeographic() || system.IsProjected() || system.IsGeocentric());
}

} // namespace vexel::geo
