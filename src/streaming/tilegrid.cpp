#include "streaming/tilegrid.h"

#include "workspace/arithmetic.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace vexel::tilegrid {

namespace {

/// One axis of a box, in 64 bits: differences of 32-bit coordinates need 33.
struct Span
{
    std::int64_t min;
    std::int64_t max;

    std::int64_t length() const { return max - min; }
};

Span xSpan(const PixelBox& box)
{
    return {box.min_corner().x(), box.max_corner().x()};
}

Span ySpan(const PixelBox& box)
{
    return {box.min_corner().y(), box.max_corner().y()};
}

PixelBox normalisedBox(const Span& x, const Span& y)
{
    using arithmetic::saturate32;
    return {PixelPoint(saturate32(std::min(x.min, x.max)), saturate32(std::min(y.min, y.max))),
            PixelPoint(saturate32(std::max(x.min, x.max)), saturate32(std::max(y.min, y.max)))};
}

Span intersection(const Span& a, const Span& b)
{
    return {std::max(a.min, b.min), std::min(a.max, b.max)};
}

Span relativeTo(std::int64_t origin, const Span& span)
{
    return {span.min - origin, span.max - origin};
}

Span scaled(const Span& span, double scale)
{
    return {arithmetic::roundHalfAway(static_cast<double>(span.min) * scale),
            arithmetic::roundHalfAway(static_cast<double>(span.max) * scale)};
}

/// First and last cell along one axis that a span overlaps or touches; none if first > last.
struct CellRange
{
    std::int64_t first;
    std::int64_t last;
};

CellRange cellsTouched(const Span& request, std::int64_t cellSize, std::int64_t cells, std::int64_t extent)
{
    if (request.max < 0 || request.min > extent)
        return {0, -1};
    const std::int64_t first = request.min > 0 ? (request.min - 1) / cellSize : 0;
    return {first, std::min(request.max / cellSize, cells - 1)};
}

std::uint64_t cellsToCover(std::int64_t pixels, std::int64_t tileSize)
{
    return static_cast<std::uint64_t>((pixels + tileSize - 1) / tileSize);
}

} // namespace

std::vector<Piece> piecesOf(const Workspace& grid, const PixelBox& request, double scale)
{
    std::vector<Piece> pieces;
    if (grid.noTiles() == 0)
        return pieces;
    // The first tile is of full size and the last one stands in the last column and row.
    const PixelBox& firstTile = grid.itile(0);
    const PixelBox& lastTile = grid.itile(grid.noTiles() - 1);
    const PixelPoint& lastCell = grid.gtile(grid.noTiles() - 1);
    const std::int64_t gridRows = std::int64_t{lastCell.y()} + 1;
    const Span x = xSpan(request);
    const Span y = ySpan(request);
    const CellRange columns =
        cellsTouched(x, xSpan(firstTile).length(), std::int64_t{lastCell.x()} + 1, lastTile.max_corner().x());
    const CellRange rows = cellsTouched(y, ySpan(firstTile).length(), gridRows, lastTile.max_corner().y());

    for (std::int64_t column = columns.first; column <= columns.last; ++column)
        for (std::int64_t row = rows.first; row <= rows.last; ++row) {
            const auto tile = static_cast<std::size_t>(column * gridRows + row);
            const PixelBox& cell = grid.itile(tile);
            const Span ix = intersection(x, xSpan(cell));
            const Span iy = intersection(y, ySpan(cell));
            if (ix.length() * iy.length() <= 0)
                continue;
            pieces.push_back(
                {tile,
                 normalisedBox(relativeTo(cell.min_corner().x(), ix), relativeTo(cell.min_corner().y(), iy)),
                 normalisedBox(scaled(relativeTo(x.min, ix), scale), scaled(relativeTo(y.min, iy), scale))});
        }
    return pieces;
}

bool isNear(const PixelBox& request, int width, int height)
{
    return request.min_corner().x() >= -1 && request.min_corner().y() >= -1 &&
           request.max_corner().x() <= std::int64_t{width} + 1 &&
           request.max_corner().y() <= std::int64_t{height} + 1;
}

bool hasNoArea(const PixelBox& box)
{
    return xSpan(box).length() <= 0 || ySpan(box).length() <= 0;
}

std::optional<Size> scaledSize(const PixelBox& box, double scale)
{
    if (!std::isfinite(scale) || scale < 0.0)
        return std::nullopt;
    return Size{arithmetic::roundHalfAway(static_cast<double>(ySpan(box).length()) * scale),
                arithmetic::roundHalfAway(static_cast<double>(xSpan(box).length()) * scale)};
}

bool clipToMatrix(PixelBox& inFile, PixelBox& inMatrix, const Size& matrix)
{
    const Span columns = intersection(xSpan(inMatrix), {0, matrix.columns});
    const Span rows = intersection(ySpan(inMatrix), {0, matrix.rows});
    if (columns.length() <= 0 || rows.length() <= 0)
        return false;
    const std::int64_t toFileX = inFile.min_corner().x() - std::int64_t{inMatrix.min_corner().x()};
    const std::int64_t toFileY = inFile.min_corner().y() - std::int64_t{inMatrix.min_corner().y()};
    inFile = normalisedBox(relativeTo(-toFileX, columns), relativeTo(-toFileY, rows));
    inMatrix = normalisedBox(columns, rows);
    return true;
}

std::uint64_t tileCount(const Workspace& workspace, int tileWidth, int tileHeight)
{
    const int width = workspace.pixelWidth();
    const int height = workspace.pixelHeight();
    if (width < 1 || height < 1 || tileWidth < 1 || tileHeight < 1)
        return 0;
    return cellsToCover(width, tileWidth) * cellsToCover(height, tileHeight);
}

std::vector<std::size_t> orderByGrid(const Workspace& grid, const std::vector<Candidate>& candidates)
{
    const auto key = [](int column, int row) {
        return (static_cast<std::uint64_t>(static_cast<std::uint32_t>(column)) << 32) |
               static_cast<std::uint32_t>(row);
    };
    std::unordered_map<std::uint64_t, std::vector<std::size_t>> byPlace;
    for (std::size_t i = 0; i < candidates.size(); ++i)
        byPlace[key(candidates[i].column, candidates[i].row)].push_back(i);

    std::vector<std::size_t> order;
    for (std::uint64_t tile = 0; tile < grid.noTiles(); ++tile) {
        const PixelBox& cell = grid.itile(tile);
        const auto found = byPlace.find(key(grid.gtile(tile).x(), grid.gtile(tile).y()));
        if (found == byPlace.end())
            continue;
        for (const std::size_t i : found->second)
            if (candidates[i].width == xSpan(cell).length() && candidates[i].height == ySpan(cell).length()) {
                order.push_back(i);
                break;
            }
    }
    return order;
}

} // namespace vexel::tilegrid
