#ifndef VEXEL_WORKSPACE_MAPUNITS_H
#define VEXEL_WORKSPACE_MAPUNITS_H

namespace vexel {

/// Between the integer map frame and map units. The second is not the exact inverse of the first, which no double is:
/// multiplying by one and dividing by the other may round differently, so integers become map units by
/// `mapUnitsPerUnit` everywhere.
inline constexpr double unitsPerMapUnit = 100000.0;
inline constexpr double mapUnitsPerUnit = 1e-5;

} // namespace vexel

#endif
