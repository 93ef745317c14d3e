#ifndef VEXEL_WORKSPACE_GEOMETRY_H
#define VEXEL_WORKSPACE_GEOMETRY_H

#include <boost/geometry/geometries/box.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/ring.hpp>

#include <cstdint>

namespace vexel {

/// A pixel: column and row, counted from 0 at the raster's north-west corner. Rows count to the south.
using PixelPoint = boost::geometry::model::d2::point_xy<int>;
/// A box of pixels, half-open: it contains its min corner and not its max corner, which is start plus size.
/// @code
/// const PixelBox box({2, 1}, {6, 4}); // columns 2 to 5, rows 1 to 3
/// @endcode
using PixelBox = boost::geometry::model::box<PixelPoint>;
/// A closed line around an area, in pixels.
using PixelRing = boost::geometry::model::ring<PixelPoint>;

/// A position in the integer map frame, with 100000 units per map unit. y is stored negated, so it grows with pixel
/// rows.
using MapPoint = boost::geometry::model::d2::point_xy<std::int64_t>;
/// A box in the integer map frame. The max corner is the south-eastern one.
using MapBox = boost::geometry::model::box<MapPoint>;
/// A closed line around an area, in the integer map frame.
using MapRing = boost::geometry::model::ring<MapPoint>;

/// Returns the number of columns of a box. It has 64 bits because a box can reach from the lowest to the highest
/// integer.
inline std::int64_t widthOf(const PixelBox& box)
{
    return std::int64_t{box.max_corner().x()} - box.min_corner().x();
}
/// Returns the number of rows of a box. It has 64 bits because a box can reach from the lowest to the highest integer.
inline std::int64_t heightOf(const PixelBox& box)
{
    return std::int64_t{box.max_corner().y()} - box.min_corner().y();
}

/// Returns the width of a box in integer map units. The width must fit into 64 bits.
inline std::int64_t widthOf(const MapBox& box)
{
    return box.max_corner().x() - box.min_corner().x();
}
/// Returns the height of a box in integer map units. The height must fit into 64 bits.
inline std::int64_t heightOf(const MapBox& box)
{
    return box.max_corner().y() - box.min_corner().y();
}

} // namespace vexel

#endif
