#include "streaming/tilefiles.h"

#include "companion/imageformat.h"
#include "streaming/RasterDescription.h"
#include "streaming/failures.h"
#include "streaming/writetargets.h"
#include "utilities/tilenames.h"
#include "workspace/arithmetic.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>

namespace vexel {

namespace {

/// Product and sum in 32 bits that wrap around.
int cellStart(int cell, int cellSize)
{
    return arithmetic::narrow(std::int64_t{cell} * cellSize);
}

int wrapAdd32(int a, int b)
{
    return arithmetic::narrow(std::int64_t{a} + b);
}

/// Where a JPEG tile, which has no georeference of its own, lies in a set in pixel units.
Workspace pixelExtentOf(const TileFile& tile, const GDALStreamer::gdal_t& file, int cellWidth, int cellHeight)
{
    const int x = cellStart(tile.column, cellWidth);
    const int y = cellStart(tile.row, cellHeight);
    return Workspace(x, y, wrapAdd32(x, file.width()), wrapAdd32(y, file.height()), 1);
}

QString nameOf(const QString& path)
{
    return path.mid(path.lastIndexOf('/') + 1);
}

/// Column and row of each file.
using Places = std::set<std::pair<std::int64_t, std::int64_t>>;

/// The first place of a grid of that size, column by column, that no file has; its name, empty if there is none. Looks at
/// no more places than there are files and one.
QString firstGap(const QString& setPath, const Places& places, std::int64_t columns, std::int64_t rows)
{
    for (std::int64_t column = 0; column < columns; ++column)
        for (std::int64_t row = 0; row < rows; ++row)
            if (places.count({column, row}) == 0)
                return nameOf(
                    gdal::tile2path(setPath, static_cast<int>(column) + 1, static_cast<int>(row) + 1));
    return QString();
}

QString firstOfOtherSize(const OpenedTiles& tiles, const Workspace& grid)
{
    for (std::size_t i = 0; i < tiles.files.size(); ++i) {
        const tilegrid::Candidate& place = tiles.places[i];
        for (std::uint64_t tile = 0; tile < grid.noTiles(); ++tile) {
            if (grid.gtile(tile).x() != place.column || grid.gtile(tile).y() != place.row)
                continue;
            const PixelBox& cell = grid.itile(tile);
            const int width = cell.max_corner().x() - cell.min_corner().x();
            const int height = cell.max_corner().y() - cell.min_corner().y();
            if (place.width != width || place.height != height)
                return QString("%1 has %2 pixels rather than %3")
                    .arg(nameOf(tiles.files[i]->path), sizeText(place.width, place.height),
                         sizeText(width, height));
        }
    }
    return QString();
}

} // namespace

OpenedTiles openTiles(const QString& setPath, bool readOnly)
{
    OpenedTiles opened;
    for (const TileFile& tile : tileFilesOf(setPath)) {
        auto file = std::make_shared<GDALStreamer::gdal_t>();
        file->oneOfMany = true;
        if (!file->openRead(tile.path, readOnly)) {
            if (opened.unopened.isEmpty())
                opened.unopened = nameOf(tile.path) + ": " + file->error.text;
            continue;
        }
        opened.maxWidth = std::max(opened.maxWidth, file->width());
        opened.maxHeight = std::max(opened.maxHeight, file->height());
        // The maxima are those of the files so far: where a JPEG tile comes to lie depends on the order of
        // the files.
        if (isJpeg(tile.path))
            file->lieAt(pixelExtentOf(tile, *file, opened.maxWidth, opened.maxHeight));
        // Most tiles say the same, and there may be a hundred thousand of them.
        if (!opened.files.empty() && *file->description == *opened.files.back()->description)
            file->description = opened.files.back()->description;
        opened.extent.merge(file->workspace);
        opened.places.push_back({tile.column, tile.row, file->width(), file->height()});
        opened.files.push_back(std::move(file));
    }
    return opened;
}

QString whatIsMissing(const QString& setPath, const OpenedTiles& tiles, const Workspace& grid)
{
    if (!tiles.unopened.isEmpty())
        return tiles.unopened;
    Places places;
    std::int64_t columns = 0;
    std::int64_t rows = 0;
    for (const tilegrid::Candidate& place : tiles.places) {
        places.emplace(place.column, place.row);
        columns = std::max(columns, std::int64_t{place.column} + 1);
        rows = std::max(rows, std::int64_t{place.row} + 1);
    }
    QString gap = firstGap(setPath, places, columns, rows);
    if (gap.isEmpty() && tiles.maxWidth > 0 && tiles.maxHeight > 0) // the names leave none
        gap = firstGap(setPath, places, (std::int64_t{grid.pixelWidth()} - 1) / tiles.maxWidth + 1,
                       (std::int64_t{grid.pixelHeight()} - 1) / tiles.maxHeight + 1);
    if (!gap.isEmpty())
        return gap + " is missing";
    const QString other = firstOfOtherSize(tiles, grid);
    return other.isEmpty() ? QString("the files lie elsewhere than their names say") : other;
}

} // namespace vexel
