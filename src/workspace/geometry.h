#ifndef VEXEL_WORKSPACE_GEOMETRY_H
#define VEXEL_WORKSPACE_GEOMETRY_H

#include <boost/geometry/geometries/box.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/ring.hpp>

#include <cstdint>

namespace vexel {

/// Pixel positions, relative to a raster's north-west corner. Boxes are half-open: the max corner is start
/// plus size.
using PixelPoint = boost::geometry::model::d2::point_xy<int>;
using PixelBox = boost::geometry::model::box<PixelPoint>;
using PixelRing = boost::geometry::model::ring<PixelPoint>;

/// Positions in the integer map frame: 100000 units per map unit, y stored negated so that it grows with
/// pixel rows.
using MapPoint = boost::geometry::model::d2::point_xy<std::int64_t>;
using MapBox = boost::geometry::model::box<MapPoint>;
using MapRing = boost::geometry::model::ring<MapPoint>;

} // namespace vexel

#endif
