#include "utilities/tilelayout.h"

#include "companion/DataType.h"
#include "companion/imageformat.h"
#include "streaming/tilegrid.h"
#include "utilities/tilenames.h"
#include "utilities/verifyreport.h"
#include "workspace/Workspace.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace vexel::gdal::verification {

namespace {

/// The value that most tiles have, the smallest of several; none without tiles.
template <class Value>
auto mostFrequent(const std::vector<Tile>& tiles, const Value& value)
{
    std::map<decltype(value(tiles.front())), std::size_t> counts;
    for (const Tile& tile : tiles)
        ++counts[value(tile)];
    return std::max_element(counts.begin(), counts.end(),
                            [](const auto& a, const auto& b) { return a.second < b.second; })
        ->first;
}

/// What is expected of the tiles of a set.
struct Layout
{
    std::int64_t columns = 0; ///< of the grid that all names span
    std::int64_t rows = 0;
    int bands = 0;
    DataType type = DataType::Unknown;
    std::pair<std::int64_t, std::int64_t> pixelSize; ///< width and height, in integer map units
    int width = 0;                                   ///< pixels of a tile that is not in the last column
    int height = 0;
    int lastWidth = 0;
    int lastHeight = 0;
    std::int64_t mapWidth = 0; ///< in integer map units, of the same tiles
    std::int64_t mapHeight = 0;

    int widthOf(const TileFile& tile) const { return tile.column + 1 == columns ? lastWidth : width; }
    int heightOf(const TileFile& tile) const { return tile.row + 1 == rows ? lastHeight : height; }
};

std::pair<std::int64_t, std::int64_t> pixelSizeOf(const Tile& tile)
{
    return {tile.pixelWidth(), tile.pixelHeight()};
}

/// The length that most tiles have, and that of the tiles in the last column or row: at most as large.
template <class IsLast, class Length>
auto fullAndLast(const std::vector<Tile>& tiles, const IsLast& isLast, const Length& length)
{
    std::vector<Tile> lastTiles;
    std::vector<Tile> others;
    for (const Tile& tile : tiles)
        (isLast(tile) ? lastTiles : others).push_back(tile);
    const auto full = mostFrequent(others.empty() ? lastTiles : others, length);
    return std::pair(full, lastTiles.empty() ? full : std::min(full, mostFrequent(lastTiles, length)));
}

/// @param tiles those of the files that can be read.
Layout layoutOf(const std::vector<TileFile>& files, const std::vector<Tile>& tiles)
{
    Layout layout;
    for (const TileFile& file : files) {
        layout.columns = std::max(layout.columns, std::int64_t{file.column} + 1);
        layout.rows = std::max(layout.rows, std::int64_t{file.row} + 1);
    }
    if (tiles.empty())
        return layout;
    layout.bands = mostFrequent(tiles, [](const Tile& tile) { return tile.description.bands; });
    layout.type = mostFrequent(tiles, [](const Tile& tile) { return tile.description.type; });
    layout.pixelSize = mostFrequent(tiles, pixelSizeOf);
    const auto inLastColumn = [&](const Tile& tile) { return tile.file.column + 1 == layout.columns; };
    const auto inLastRow = [&](const Tile& tile) { return tile.file.row + 1 == layout.rows; };
    std::tie(layout.width, layout.lastWidth) = fullAndLast(tiles, inLastColumn, std::mem_fn(&Tile::width));
    std::tie(layout.height, layout.lastHeight) = fullAndLast(tiles, inLastRow, std::mem_fn(&Tile::height));
    layout.mapWidth = fullAndLast(tiles, inLastColumn, std::mem_fn(&Tile::mapWidth)).first;
    layout.mapHeight = fullAndLast(tiles, inLastRow, std::mem_fn(&Tile::mapHeight)).first;
    return layout;
}

/// Adds the places of the grid that no file is named for. One far index makes them many: they are counted
/// without visiting each.
void addMissing(const QString& path, const std::vector<TileFile>& files, const Layout& layout,
                VerifyReport& report)
{
    std::set<std::pair<std::int64_t, std::int64_t>> present;
    for (const TileFile& file : files)
        present.emplace(file.column, file.row);
    const std::uint64_t missing =
        static_cast<std::uint64_t>(layout.columns) * static_cast<std::uint64_t>(layout.rows) - present.size();
    std::uint64_t listed = 0;
    for (std::int64_t column = 0; column < layout.columns; ++column)
        for (std::int64_t row = 0; row < layout.rows; ++row) {
            if (listed == std::min<std::uint64_t>(missing, VerifyReport::maxFindings)) {
                report.noFindings += missing - listed;
                return;
            }
            if (present.count({column, row}) > 0)
                continue;
            ++listed;
            add(report, tile2path(path, static_cast<int>(column) + 1, static_cast<int>(row) + 1),
                VerifyCode::TileMissing,
                QString("no tile in column %1, row %2").arg(column + 1).arg(row + 1));
        }
}

void addDeviations(const Tile& tile, const Layout& layout, VerifyReport& report)
{
    const auto expect = [&](bool asExpected, VerifyCode code, const QString& text) {
        if (!asExpected)
            add(report, tile.file.path, code, text);
    };
    expect(tile.description.bands == layout.bands, VerifyCode::TileBands,
           QString("%1 bands instead of %2").arg(tile.description.bands).arg(layout.bands));
    expect(tile.description.type == layout.type, VerifyCode::TileType,
           "another pixel type than the other tiles");
    expect(pixelSizeOf(tile) == layout.pixelSize, VerifyCode::TilePixelSize,
           QString("pixels of %1 x %2 instead of %3 x %4 units of 0.00001 map units")
               .arg(tile.pixelWidth())
               .arg(tile.pixelHeight())
               .arg(layout.pixelSize.first)
               .arg(layout.pixelSize.second));
    const int width = layout.widthOf(tile.file);
    const int height = layout.heightOf(tile.file);
    expect(tile.width() == width && tile.height() == height, VerifyCode::TileSize,
           QString("%1 x %2 instead of %3 x %4 pixels")
               .arg(tile.width())
               .arg(tile.height())
               .arg(width)
               .arg(height));
}

/// One axis of the places of tiles: edge and index of each, and the length of a cell and of a pixel. In
/// integer map units.
struct Axis
{
    double cell;
    double pixel;
    std::vector<double> edges = {};
    std::vector<int> indices = {};

    double startFrom(std::size_t i) const { return edges[i] - indices[i] * cell; }

    /// Where the grid starts by most tiles.
    double start() const
    {
        std::vector<double> starts;
        for (std::size_t i = 0; i < edges.size(); ++i)
            starts.push_back(startFrom(i));
        const auto middle = starts.begin() + static_cast<std::ptrdiff_t>(starts.size() / 2);
        std::nth_element(starts.begin(), middle, starts.end());
        return *middle;
    }

    /// Within a pixel, and the half unit by which the size of each pixel of the grid may have been rounded.
    bool fits(std::size_t i, double gridStart, std::int64_t cells) const
    {
        const double pixels = cell / pixel * static_cast<double>(cells);
        return std::abs(startFrom(i) - gridStart) <= pixel + 0.5 * pixels;
    }
};

/// Adds the tiles that lie elsewhere than their names say. JPEG images have no place of their own.
void addMisplaced(const std::vector<Tile>& tiles, const Layout& layout, VerifyReport& report)
{
    Axis x{static_cast<double>(layout.mapWidth), static_cast<double>(layout.pixelSize.first)};
    Axis y{static_cast<double>(layout.mapHeight), static_cast<double>(layout.pixelSize.second)};
    std::vector<const Tile*> placed;
    for (const Tile& tile : tiles) {
        if (isJpeg(tile.file.path))
            continue;
        x.edges.push_back(static_cast<double>(tile.description.extent.minx()));
        y.edges.push_back(static_cast<double>(tile.description.extent.miny()));
        x.indices.push_back(tile.file.column);
        y.indices.push_back(tile.file.row);
        placed.push_back(&tile);
    }
    if (placed.empty())
        return;
    const double startX = x.start();
    const double startY = y.start();
    for (std::size_t i = 0; i < placed.size(); ++i)
        if (!x.fits(i, startX, layout.columns) || !y.fits(i, startY, layout.rows))
            add(report, placed[i]->file.path, VerifyCode::TilePlace,
                QString("does not lie in column %1, row %2")
                    .arg(std::int64_t{placed[i]->file.column} + 1)
                    .arg(std::int64_t{placed[i]->file.row} + 1));
}

/// Whether the set opens: its tiles fill the grid over their common extent.
bool fillGrid(const std::vector<Tile>& tiles, const Layout& layout)
{
    Workspace extent;
    std::vector<tilegrid::Candidate> candidates;
    for (const Tile& tile : tiles) {
        const std::int64_t x = std::int64_t{tile.file.column} * layout.width;
        const std::int64_t y = std::int64_t{tile.file.row} * layout.height;
        extent.merge(isJpeg(tile.file.path) ? Workspace(x, y, x + tile.width(), y + tile.height(), 1)
                                            : tile.description.extent);
        candidates.push_back({tile.file.column, tile.file.row, tile.width(), tile.height()});
    }
    return tilegrid::tileCount(extent, layout.width, layout.height) == tiles.size() &&
           extent.createTiles(layout.width, layout.height) &&
           tilegrid::orderByGrid(extent, candidates).size() == extent.noTiles();
}

} // namespace

VerifyReport checkLayout(const QString& path, const std::vector<TileFile>& files,
                         const std::vector<Tile>& tiles)
{
    VerifyReport report;
    const Layout layout = layoutOf(files, tiles);
    addMissing(path, files, layout, report);
    for (const Tile& tile : tiles)
        addDeviations(tile, layout, report);
    if (report.isWhole())
        addMisplaced(tiles, layout, report);
    if (report.isWhole() && tiles.size() == files.size() && !fillGrid(tiles, layout))
        add(report, path, VerifyCode::NoGrid, "the tiles do not fill one grid");
    return report;
}

} // namespace vexel::gdal::verification
