#ifndef VEXEL_WORKSPACE_WORKSPACE_H
#define VEXEL_WORKSPACE_WORKSPACE_H

#include "../export.h"
#include "geometry.h"

#include <cstdint>
#include <iosfwd>
#include <vector>

namespace vexel {

/// The georeferenced extent of a raster: a box and one square pixel size in the integer map frame, and a grid
/// of tiles cut from the box.
///
/// Map coordinates are 64-bit integers at 100000 units per map unit; y is stored negated, so that it grows
/// with pixel rows and row 0 lies at `miny()`, the northernmost edge. Coordinates in `double` are map units
/// with y pointing north; they are scaled and rounded half away from zero, saturate at the ends of 64 bits,
/// and NaN counts as 0. Pixel positions are 32-bit integers relative to (`minx()`, `miny()`).
///
/// The box is always normalised and the resolution at least 1. Divisions truncate toward zero, quotients are
/// narrowed to 32 bits without a check, and sums and products that leave 64 bits wrap around. A plain value
/// type: no operation fails unless memory runs out, and none takes a lock. All take constant time but for copies,
/// which take the tiles along, `createTiles`, and conversions of rings.
///
/// @code
/// // 6 by 4 pixels of half a map unit, the north-west corner at (100, 200).
/// const Workspace extent(10000000, -20000000, 10300000, -19800000, 50000);
/// extent.pixelWidth();  // 6
/// extent.x2px(101.2);   // 2: x is 10120000
/// extent.y2px(199.1);   // 1: y is -19910000
/// extent.px2y(1);       // -19950000, the north edge of row 1
/// @endcode
class VEXEL_EXPORT Workspace
{
public:
    /// The box between two corners, given in any order, with pixels of `res` units (raised to 1 if smaller);
    /// no tiles.
    Workspace(std::int64_t x0 = 0, std::int64_t y0 = 0, std::int64_t x1 = 0, std::int64_t y1 = 0,
              std::int64_t res = 1);
    /// The same between the corners of a box.
    Workspace(const MapBox& box, std::int64_t res);

    /// Takes the tiles along.
    Workspace(const Workspace&) = default;
    /// Takes the tiles along.
    Workspace& operator=(const Workspace&) = default;
    /// Leaves the source without tiles, its box and resolution unchanged.
    Workspace(Workspace&&) noexcept = default;
    /// As the constructor.
    Workspace& operator=(Workspace&&) noexcept = default;
    ~Workspace() = default;

    /// Extends the box to the union with `other` at the finer of both resolutions. A workspace without width
    /// takes over the other's box and resolution instead; only the width decides, so one that has width but
    /// no height is merged. Drops the tiles.
    void merge(const Workspace& other);

    /// West edge, in integer map units.
    std::int64_t minx() const { return m_minx; }
    /// North edge, in integer map units (y negated).
    std::int64_t miny() const { return m_miny; }
    /// East edge, in integer map units.
    std::int64_t maxx() const { return m_maxx; }
    /// South edge, in integer map units (y negated).
    std::int64_t maxy() const { return m_maxy; }
    /// Edge of a pixel, in integer map units.
    std::int64_t res() const { return m_res; }

    /// Extent from west to east in integer map units, not pixels.
    std::int64_t width() const;
    /// Extent from north to south in integer map units, not pixels.
    std::int64_t height() const;

    /// Number of whole columns of pixels; a remainder is dropped.
    int pixelWidth() const;
    /// Number of whole rows of pixels; a remainder is dropped.
    int pixelHeight() const;

    /// @{
    /// Edges of the box in map units, y pointing north.
    [[nodiscard]] double west() const;
    [[nodiscard]] double south() const;
    [[nodiscard]] double east() const;
    [[nodiscard]] double north() const;
    /// @}
    /// Edge of a pixel in map units.
    [[nodiscard]] double pixelSize() const;

    /// True when the box has no width or no height.
    bool empty() const;

    /// The box in the integer map frame.
    MapBox mbounds() const;
    /// The box in pixels: (0, 0) to (`pixelWidth()`, `pixelHeight()`), half-open.
    PixelBox ibounds() const;

    /// @{
    /// Distance in pixels of a distance in integer map units, truncated toward zero.
    int dx2px(std::int64_t d) const;
    int dy2px(std::int64_t d) const;
    /// @}
    /// @{
    /// Distance in pixels of a distance in map units. A distance is never negated, on neither axis.
    int dx2px(double d) const;
    int dy2px(double d) const;
    /// @}

    /// @{
    /// Column of a map position: in integer map units, or in map units if it is a `double`. Truncates toward zero: a
    /// point less than one pixel west of the box lies in column 0, not -1.
    int x2px(std::int64_t x) const;
    int x2px(double x) const;
    /// @}
    /// @{
    /// Row of a map position; truncates like `x2px`. In `double`, y points north.
    int y2px(std::int64_t y) const;
    int y2px(double y) const;
    /// @}

    /// @{
    /// The same for plain `int` arguments, in integer map units, which would otherwise fit both overloads equally
    /// well.
    int dx2px(int d) const { return dx2px(std::int64_t{d}); }
    int dy2px(int d) const { return dy2px(std::int64_t{d}); }
    int x2px(int x) const { return x2px(std::int64_t{x}); }
    int y2px(int y) const { return y2px(std::int64_t{y}); }
    /// @}

    /// Position of the west edge of column `p`, in integer map units.
    std::int64_t px2x(int p) const;
    /// Position of the north edge of row `p`, in integer map units.
    std::int64_t px2y(int p) const;
    /// @{
    /// Distance in integer map units of a distance in pixels.
    std::int64_t px2dx(int p) const;
    std::int64_t px2dy(int p) const;
    /// @}

    /// @{
    /// Conversions of whole shapes between map and pixel frame, corner by corner and in order; nothing is
    /// normalised. Positions are truncated as by `x2px`, so that a box that does not lie on pixel edges may lose a
    /// part.
    PixelBox map(const MapBox& box) const;
    MapBox map(const PixelBox& box) const;
    PixelPoint map(const MapPoint& point) const;
    MapPoint map(const PixelPoint& point) const;
    PixelRing map(const MapRing& ring) const;
    MapRing map(const PixelRing& ring) const;
    /// @}

    /// Cuts the whole pixels of the box into tiles, replacing those there were.
    ///
    /// Tiles are numbered column by column, each from north to south. They do not overlap; all are
    /// `tileWidth` by `tileHeight` pixels but for those of the last column and row, which are cut to the
    /// pixels that remain.
    ///
    /// @param tileWidth,tileHeight in pixels.
    /// @return true if at least one tile was made; false, without tiles, for a box without pixels or a tile
    ///         size below 1.
    /// @throws std::bad_alloc or std::length_error if the tiles do not fit into memory; there are then none.
    bool createTiles(int tileWidth, int tileHeight);

    /// Drops the tiles, keeping their storage.
    void clearTiles();

    /// Number of tiles.
    std::uint64_t noTiles() const { return m_mtiles.size(); }

    /// Box of tile `i` in the integer map frame; a box of zeros if there is no such tile.
    const MapBox& mtile(std::uint64_t i) const;
    /// Box of tile `i` in pixels of the whole extent, half-open; a box of zeros if there is no such tile.
    const PixelBox& itile(std::uint64_t i) const;
    /// Column and row of tile `i` in the grid, counted from 0; (0, 0) if there is no such tile.
    const PixelPoint& gtile(std::uint64_t i) const;

    /// The extent of tile `i` at this resolution, itself without tiles; empty if there is no such tile.
    Workspace tile(std::uint64_t i) const;

private:
    void reset(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, std::int64_t res);

    std::int64_t m_minx = 0;
    std::int64_t m_miny = 0;
    std::int64_t m_maxx = 0;
    std::int64_t m_maxy = 0;
    std::int64_t m_res = 1;
    std::vector<MapBox> m_mtiles;
    std::vector<PixelBox> m_itiles;
    std::vector<PixelPoint> m_gtiles;
};

/// Writes box, resolution and size, without a line end, whatever the stream's format and locale are:
/// @code
/// {x = [0, 1000000], y = [-5000000, 0], res = 1000, pixels = 1000 x 5000}
/// @endcode
/// Leaves the stream's precision at 12.
VEXEL_EXPORT std::ostream& operator<<(std::ostream& stream, const Workspace& workspace);

} // namespace vexel

#endif
