#include "streaming/georeference.h"

#include "workspace/arithmetic.h"
#include "workspace/mapunits.h"

#include <cmath>

namespace vexel {

using arithmetic::roundHalfAway;
using arithmetic::wrapAdd;
using arithmetic::wrapMul;

Workspace workspaceOfGeotransform(const Geotransform& geotransform, int columns, int rows)
{
    const double dx = geotransform[1];
    const double dy = geotransform[5];
    const double left = dx < 0.0 ? geotransform[0] + columns * dx : geotransform[0];
    const double bottom = dy < 0.0 ? geotransform[3] + rows * dy : geotransform[3];
    const double top = bottom + rows * std::abs(dy);

    const std::int64_t res = roundHalfAway(std::abs(dx) * unitsPerMapUnit);
    const std::int64_t resY = roundHalfAway(std::abs(dy) * unitsPerMapUnit);
    const std::int64_t minx = roundHalfAway(left * unitsPerMapUnit);
    const std::int64_t miny = roundHalfAway(top * -unitsPerMapUnit);
    return Workspace(minx, miny, wrapAdd(minx, wrapMul(columns, res)), wrapAdd(miny, wrapMul(rows, resY)),
                     res);
}

double lossOfGeotransform(const Geotransform& geotransform, const Workspace& extent, int columns, int rows)
{
    const auto res = static_cast<double>(extent.res());
    double loss = 0.0;
    for (const double x : {0.0, static_cast<double>(columns)})
        for (const double y : {0.0, static_cast<double>(rows)}) {
            const double trueX = geotransform[0] + x * geotransform[1] + y * geotransform[2];
            const double trueY = geotransform[3] + x * geotransform[4] + y * geotransform[5];
            const double keptX = (static_cast<double>(extent.minx()) + x * res) * mapUnitsPerUnit;
            const double keptY = (static_cast<double>(extent.miny()) + y * res) * -mapUnitsPerUnit;
            const double distance = std::hypot(trueX - keptX, trueY - keptY);
            loss = distance <= loss ? loss : distance; // NaN stays
        }
    return loss / std::abs(geotransform[1]);
}

bool hasSuspiciousPixelShape(const Geotransform& geotransform)
{
    // Of the signed sizes: a raster that is north-up is never suspicious, any other even with square pixels.
    const double ratio = geotransform[1] / geotransform[5];
    return ratio > 1.00001 || ratio > 0.9999900000999989;
}

Geotransform geotransformOfWorkspace(const Workspace& workspace)
{
    const auto res = static_cast<double>(workspace.res());
    return {static_cast<double>(workspace.minx()) * mapUnitsPerUnit,
            res * mapUnitsPerUnit,
            0.0,
            static_cast<double>(workspace.miny()) * -mapUnitsPerUnit,
            0.0,
            res * -mapUnitsPerUnit};
}

} // namespace vexel
