#ifndef VEXEL_WORKSPACE_WORKSPACE_H
#define VEXEL_WORKSPACE_WORKSPACE_H

#include "../export.h"
#include "geometry.h"

#include <cstdint>
#include <iosfwd>
#include <vector>

namespace vexel {

/// The georeferenced extent of a raster: a box and a pixel size in the integer map frame, and a grid of tiles. Pixels
/// are square, and the tiles are cut from the box.
///
/// @code
/// // 6 by 4 pixels of half a map unit, the north-west corner at (100, 200).
/// const Workspace extent(10000000, -20000000, 10300000, -19800000, 50000);
/// extent.pixelWidth();  // 6
/// extent.x2px(101.2);   // 2: x is 10120000
/// extent.y2px(199.1);   // 1: y is -19910000
/// extent.px2y(1);       // -19950000, the north edge of row 1
/// @endcode
///
/// Map coordinates are 64-bit integers, with 100000 units per map unit. y is stored negated, so it grows with the pixel
/// rows, and row 0 is at `miny()`, the northernmost edge. You can also give coordinates as `double`. Those are map
/// units with y pointing north. They are scaled and rounded half away from zero, they saturate at the limits of 64
/// bits, and NaN counts as 0. Pixel positions are 32-bit integers relative to (`minx()`, `miny()`).
///
/// The box is always normalised, and the resolution is at least 1. Divisions truncate toward zero. Quotients are
/// narrowed to 32 bits without a check, and sums, differences and products beyond 64 bits wrap around.
///
/// This is a plain value type: no operation throws unless memory runs out, and none takes a lock. All operations take
/// constant time, except copies (because they include the tiles), `createTiles`, and conversions of rings.
class VEXEL_EXPORT Workspace
{
public:
    /// Creates the box between two corners, in integer map units (y negated), without tiles.
    ///
    /// You can give the corners in any order. `res` is the edge of a pixel in integer map units, and values below 1
    /// count as 1.
    Workspace(std::int64_t x0 = 0, std::int64_t y0 = 0, std::int64_t x1 = 0, std::int64_t y1 = 0,
              std::int64_t res = 1);
    /// Creates the extent of a box of the integer map frame, without tiles.
    ///
    /// You can give the corners of the box in any order. `res` is the edge of a pixel in integer map units, and values
    /// below 1 count as 1.
    Workspace(const MapBox& box, std::int64_t res);

    /// Copies the extent with its tiles.
    Workspace(const Workspace&) = default;
    /// Copies the extent with its tiles.
    Workspace& operator=(const Workspace&) = default;
    /// Moves the tiles. The source has none afterwards, and its box and resolution are unchanged.
    Workspace(Workspace&&) noexcept = default;
    /// Moves the tiles. The source has none afterwards, and its box and resolution are unchanged.
    Workspace& operator=(Workspace&&) noexcept = default;
    ~Workspace() = default;

    /// Extends the box to the union with `other`, at the finer of both resolutions. Drops the tiles.
    ///
    /// A workspace without width takes over the box and the resolution of `other` instead. Only the width decides, so a
    /// workspace with width but without height is merged.
    void merge(const Workspace& other);

    /// Returns the west edge, in integer map units.
    std::int64_t minx() const { return m_minx; }
    /// Returns the north edge, in integer map units (y negated).
    std::int64_t miny() const { return m_miny; }
    /// Returns the east edge, in integer map units.
    std::int64_t maxx() const { return m_maxx; }
    /// Returns the south edge, in integer map units (y negated).
    std::int64_t maxy() const { return m_maxy; }
    /// Returns the edge of a pixel, in integer map units.
    std::int64_t res() const { return m_res; }

    /// Returns the extent from west to east, in integer map units (not pixels).
    std::int64_t width() const;
    /// Returns the extent from north to south, in integer map units (not pixels).
    std::int64_t height() const;

    /// Returns the number of whole columns of pixels. A remainder is dropped.
    int pixelWidth() const;
    /// Returns the number of whole rows of pixels. A remainder is dropped.
    int pixelHeight() const;

    /// @{
    /// Returns an edge of the box in map units, with y pointing north.
    [[nodiscard]] double west() const;
    [[nodiscard]] double south() const;
    [[nodiscard]] double east() const;
    [[nodiscard]] double north() const;
    /// @}
    /// Returns the edge of a pixel in map units.
    [[nodiscard]] double pixelSize() const;

    /// Returns true if the box has no width or no height.
    bool empty() const;

    /// Returns the box in the integer map frame.
    MapBox mbounds() const;
    /// Returns the box in pixels: (0, 0) to (`pixelWidth()`, `pixelHeight()`), half-open.
    PixelBox ibounds() const;

    /// @{
    /// Converts a distance in integer map units to pixels, truncated toward zero.
    int dx2px(std::int64_t d) const;
    int dy2px(std::int64_t d) const;
    /// @}
    /// @{
    /// Converts a distance in map units to pixels, truncated toward zero. A distance is not negated, on neither axis.
    int dx2px(double d) const;
    int dy2px(double d) const;
    /// @}

    /// @{
    /// Returns the column of a map position. An integer is in integer map units, a `double` in map units.
    ///
    /// The division truncates toward zero, so a point less than one pixel west of the box is in column 0, not -1.
    int x2px(std::int64_t x) const;
    int x2px(double x) const;
    /// @}
    /// @{
    /// Returns the row of a map position. An integer is in integer map units (y negated), a `double` in map units with
    /// y pointing north.
    ///
    /// The division truncates toward zero, so a point less than one pixel north of the box is in row 0, not -1.
    int y2px(std::int64_t y) const;
    int y2px(double y) const;
    /// @}

    /// @{
    /// Calls the overload for integer map units. You need this overload for a plain `int` because it would fit the two
    /// others equally well.
    int dx2px(int d) const { return dx2px(std::int64_t{d}); }
    int dy2px(int d) const { return dy2px(std::int64_t{d}); }
    int x2px(int x) const { return x2px(std::int64_t{x}); }
    int y2px(int y) const { return y2px(std::int64_t{y}); }
    /// @}

    /// Returns the west edge of column `p`, in integer map units.
    std::int64_t px2x(int p) const;
    /// Returns the north edge of row `p`, in integer map units (y negated).
    std::int64_t px2y(int p) const;
    /// @{
    /// Converts a distance in pixels to integer map units.
    std::int64_t px2dx(int p) const;
    std::int64_t px2dy(int p) const;
    /// @}

    /// @{
    /// Converts a shape between the integer map frame and pixels.
    ///
    /// The corners are converted one by one and in order, and the result is not normalised. Positions are truncated as
    /// in `x2px`, so a box whose edges are not pixel edges can lose a part.
    PixelBox map(const MapBox& box) const;
    MapBox map(const PixelBox& box) const;
    PixelPoint map(const MapPoint& point) const;
    MapPoint map(const PixelPoint& point) const;
    PixelRing map(const MapRing& ring) const;
    MapRing map(const PixelRing& ring) const;
    /// @}

    /// Cuts the whole pixels of the box into tiles, and replaces earlier tiles.
    ///
    /// Tiles are numbered from 0, column by column, each column from north to south. They do not overlap. All tiles
    /// have `tileWidth` by `tileHeight` pixels, except in the last column and row, where they are cut to the pixels
    /// that remain.
    ///
    /// @param tileWidth,tileHeight in pixels.
    /// @return true if at least one tile was made. If the box has no pixels or a tile size is below 1, the result is
    ///         false and there are no tiles.
    /// @throws std::bad_alloc or std::length_error if the tiles do not fit into memory. There are no tiles then.
    bool createTiles(int tileWidth, int tileHeight);

    /// Drops the tiles, but keeps their memory for new ones.
    void clearTiles();

    /// Returns the number of tiles.
    std::uint64_t noTiles() const { return m_mtiles.size(); }

    /// Returns the box of tile `i` in the integer map frame, or a box of zeros if there is no such tile.
    const MapBox& mtile(std::uint64_t i) const;
    /// Returns the box of tile `i` in pixels of the whole extent, half-open, or a box of zeros if there is no such
    /// tile.
    const PixelBox& itile(std::uint64_t i) const;
    /// Returns column and row of tile `i` in the grid, counted from 0, or (0, 0) if there is no such tile.
    const PixelPoint& gtile(std::uint64_t i) const;

    /// Returns the extent of tile `i` at this resolution, without tiles. It is empty if there is no such tile.
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

/// Writes box, resolution and size. The stream's format and locale have no effect, and no line end is written:
/// @code
/// {x = [0, 1000000], y = [-5000000, 0], res = 1000, pixels = 1000 x 5000}
/// @endcode
/// The stream's precision is 12 afterwards.
VEXEL_EXPORT std::ostream& operator<<(std::ostream& stream, const Workspace& workspace);

} // namespace vexel

#endif
