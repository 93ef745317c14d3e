#ifndef VEXEL_WORKSPACE_GEOMETRY_H
#define VEXEL_WORKSPACE_GEOMETRY_H

#include <boost/geometry/geometries/box.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/ring.hpp>

#include <cstdint>

namespace vexel {

/// A pixel: column and row, relative to a raster's north-west corner; rows count to the south.
using PixelPoint = boost::geometry::model::d2::point_xy<int>;
/// A box of pixels, half-open: it holds its min corner and not its max corner, which is start plus size.
/// @code
/// const PixelBox box({2, 1}, {6, 4}); // columns 2 to 5, rows 1 to 3
/// @endcode
using PixelBox = boost::geometry::model::box<PixelPoint>;
/// A closed line round an area, in pixels.
using PixelRing = boost::geometry::model::ring<PixelPoint>;

/// A position in the integer map frame: 100000 units per map unit, y stored negated so that it grows with
/// pixel rows.
using MapPoint = boost::geometry::model::d2::point_xy<std::int64_t>;
/// A box in the integer map frame. The max corner is the south-eastern one.
using MapBox = boost::geometry::model::box<MapPoint>;
/// A closed line round an area, in the integer map frame.
using MapRing = boost::geometry::model::ring<MapPoint>;

/// Columns of a box. 64 bits, since boxes reach from the lowest to the highest integer.
inline std::int64_t widthOf(const PixelBox& box)
{
    return std::int64_t{box.max_corner().x()} - box.min_corner().x();
}
/// Rows of a box.
inline std::int64_t heightOf(const PixelBox& box)
{
    return std::int64_t{box.max_corner().y()} - box.min_corner().y();
}

/// The same in integer map units, for boxes that 64 bits hold the size of.
inline std::int64_t widthOf(const MapBox& box)
{
    return box.max_corner().x() - box.min_corner().x();
}
inline std::int64_t heightOf(const MapBox& box)
{
    return box.max_corner().y() - box.min_corner().y();
}

} // namespace vexel

#endif
