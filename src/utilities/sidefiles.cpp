#include "sidefiles.h"

#include "../companion/file.h"
#include "../workspace/Workspace.h"
#include "../workspace/mapunits.h"

#include <QChar>

#include <cstdint>

namespace vexel::gdal {

namespace {

/// One line with `units` times `factor`, never in exponent notation and with a point in every locale.
QString numberLine(std::int64_t units, double factor)
{
    return QString("%1\n").arg(static_cast<double>(units) * factor, 0, 'f', 12, QChar(' '));
}

} // namespace

bool saveTFW(const Workspace& workspace, const QString& path)
{
    const QString noRotation = "0\n";
    const QString content = numberLine(workspace.res(), mapUnitsPerUnit) + noRotation + noRotation +
                            numberLine(workspace.res(), -mapUnitsPerUnit) +
                            numberLine(workspace.minx(), mapUnitsPerUnit) +
                            numberLine(workspace.miny(), -mapUnitsPerUnit);
    return file::writeText(path, content);
}

bool savePRJ(const QString& wkt, const QString& path)
{
    return file::writeText(path, wkt);
}

} // namespace vexel::gdal
