#include "utilities/definitionfile.h"

#include <algorithm>
#include <iterator>

namespace vexel::gdal {

namespace {

/// Starts of what GDAL reads as a reference before it looks for a file.
constexpr const char* starts[] = {"EPSG:",
                                  "EPSGA:",
                                  "IGNF:",
                                  "IAU",
                                  "ESRI:",
                                  "OGC:",
                                  "OSGEO:",
                                  "AUTO:",
                                  "DICT:",
                                  "urn:",
                                  "http:",
                                  "https:",
                                  "{",
                                  "GEOGCS",
                                  "PROJCS",
                                  "GEOCCS",
                                  "COMPD_CS",
                                  "VERT_CS",
                                  "LOCAL_CS",
                                  "GEODCRS",
                                  "GEODETICCRS",
                                  "GEOGCRS",
                                  "GEOGRAPHICCRS",
                                  "PROJCRS",
                                  "PROJECTEDCRS",
                                  "VERTCRS",
                                  "VERTICALCRS",
                                  "COMPOUNDCRS",
                                  "ENGCRS",
                                  "ENGINEERINGCRS",
                                  "BOUNDCRS",
                                  "COORDINATEMETADATA"};

bool isTakenForDefinition(const QString& path)
{
    return path.contains("+proj") || path.contains("+init") ||
           std::any_of(std::begin(starts), std::end(starts),
                       [&](const char* start) { return path.startsWith(start, Qt::CaseInsensitive); });
}

} // namespace

QString definitionForGdal(const QString& path, const QString& content)
{
    return isTakenForDefinition(path) ? content : path;
}

} // namespace vexel::gdal
