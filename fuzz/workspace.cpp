#include "workspace/Workspace.h"
#include "FuzzInput.h"
#include "streaming/georeference.h"
#include "streaming/tilegrid.h"

#include <cstdint>
#include <limits>
#include <sstream>

// Extents from any geotransform and any corners, with all that is computed from them.

namespace {

using vexel::MapBox;
using vexel::MapPoint;
using vexel::MapRing;
using vexel::PixelBox;
using vexel::PixelPoint;
using vexel::PixelRing;
using vexel::Workspace;
using Wide = __int128; // holds every product of an edge and a count

/// The box is normalised, the resolution at least 1, and the sizes follow from them.
void checkShape(const Workspace& workspace)
{
    fuzz::require(workspace.minx() <= workspace.maxx() && workspace.miny() <= workspace.maxy(),
                  "corners are in order");
    fuzz::require(workspace.res() >= 1, "pixels have a size");
    fuzz::require(workspace.empty() ==
                      (workspace.minx() == workspace.maxx() || workspace.miny() == workspace.maxy()),
                  "empty means no width or no height");
    const Wide width = Wide{workspace.maxx()} - workspace.minx();
    if (width <= std::numeric_limits<std::int64_t>::max())
        fuzz::require(workspace.pixelWidth() ==
                          static_cast<std::int32_t>(static_cast<std::int64_t>(width) / workspace.res()),
                      "the pixel width is the width by the resolution");
    const PixelBox box = workspace.ibounds();
    fuzz::require(box.min_corner().x() <= box.max_corner().x() &&
                      box.min_corner().y() <= box.max_corner().y(),
                  "pixel corners are in order");
}

bool inside64(Wide value)
{
    return value >= std::numeric_limits<std::int64_t>::min() &&
           value <= std::numeric_limits<std::int64_t>::max();
}

/// Pixels to the map and back, where nothing wraps around.
void checkConversions(const Workspace& workspace, int pixel, std::int64_t x, double d)
{
    const std::int64_t there = workspace.px2x(pixel);
    const Wide exact = Wide{workspace.res()} * pixel + workspace.minx();
    if (inside64(exact)) {
        fuzz::require(there == static_cast<std::int64_t>(exact), "px2x is a product and a sum");
        if (inside64(exact - workspace.minx()))
            fuzz::require(workspace.x2px(there) == pixel, "a pixel comes back from the map");
    }
    const PixelBox box(PixelPoint(pixel, workspace.y2px(x)),
                       PixelPoint(workspace.x2px(d), workspace.y2px(d)));
    const MapBox onMap = workspace.map(box);
    fuzz::require(onMap.min_corner().x() == workspace.px2x(pixel), "boxes are mapped corner by corner");
    PixelRing ring;
    ring.push_back(box.min_corner());
    ring.push_back(box.max_corner());
    const MapRing mapRing = workspace.map(ring);
    fuzz::require(workspace.map(mapRing).size() == ring.size(), "rings keep their points");
    workspace.map(MapPoint(x, x));
    workspace.map(onMap);
    workspace.dx2px(x);
    workspace.dy2px(d);
    workspace.dx2px(d);
    workspace.px2dx(pixel);
    workspace.px2dy(pixel);
    std::ostringstream text;
    text << workspace;
    fuzz::require(!text.str().empty(), "there is a text");
}

/// Tiles cover the whole pixels once.
void checkTiles(Workspace& workspace, int tileWidth, int tileHeight)
{
    constexpr std::uint64_t most = 5000;
    const std::uint64_t count = vexel::tilegrid::tileCount(workspace, tileWidth, tileHeight);
    if (count > most)
        return;
    fuzz::require(workspace.createTiles(tileWidth, tileHeight) == (count > 0),
                  "tiles are made where there are any");
    fuzz::require(workspace.noTiles() == count, "tiles are as many as were counted");
    std::uint64_t area = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const PixelBox& tile = workspace.itile(i);
        const std::int64_t width = std::int64_t{tile.max_corner().x()} - tile.min_corner().x();
        const std::int64_t height = std::int64_t{tile.max_corner().y()} - tile.min_corner().y();
        fuzz::require(width >= 1 && width <= tileWidth && height >= 1 && height <= tileHeight,
                      "tiles have pixels, and not too many");
        area += static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
        fuzz::require(workspace.tile(i).res() == workspace.res(), "tiles have the resolution");
    }
    if (count > 0)
        fuzz::require(area == static_cast<std::uint64_t>(workspace.pixelWidth()) *
                                  static_cast<std::uint64_t>(workspace.pixelHeight()),
                      "tiles cover the raster once");
}

/// What a request of pixels touches lies in the tiles and in the request.
void checkPieces(const Workspace& workspace, const PixelBox& request, double scale)
{
    const auto size = vexel::tilegrid::scaledSize(request, scale);
    for (const auto& piece : vexel::tilegrid::piecesOf(workspace, request, size ? scale : 1.0)) {
        const PixelBox& tile = workspace.itile(piece.tile);
        fuzz::require(piece.inTile.min_corner().x() >= 0 && piece.inTile.min_corner().y() >= 0 &&
                          piece.inTile.max_corner().x() <= tile.max_corner().x() - tile.min_corner().x() &&
                          piece.inTile.max_corner().y() <= tile.max_corner().y() - tile.min_corner().y(),
                      "pieces lie in their tiles");
        // Of a box that is turned over, nothing lies in the matrix that belongs to it.
        fuzz::require(vexel::tilegrid::hasNoArea(request) ||
                          (piece.inRequest.min_corner().x() >= 0 && piece.inRequest.min_corner().y() >= 0),
                      "pieces lie in the request");
    }
}

/// A number near the ends of 32 or 64 bits, or any other.
std::int64_t takeEdge(fuzz::FuzzInput& input)
{
    const auto offset = std::int64_t{input.take<std::int8_t>()};
    switch (input.takeFrom(0, 5)) {
    case 0:
        return std::numeric_limits<std::int64_t>::max() - (offset & 127);
    case 1:
        return std::numeric_limits<std::int64_t>::min() + (offset & 127);
    case 2:
        return std::numeric_limits<std::int32_t>::max() + offset;
    case 3:
        return std::numeric_limits<std::int32_t>::min() + offset;
    case 4:
        return offset;
    default:
        return input.take<std::int64_t>();
    }
}

int takeEdge32(fuzz::FuzzInput& input)
{
    return static_cast<int>(static_cast<std::uint32_t>(takeEdge(input)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    fuzz::FuzzInput input(bytes, size);
    Workspace workspace;
    if (input.takeFrom(0, 1) == 0) {
        const vexel::Geotransform geotransform = input.take<vexel::Geotransform>();
        const int columns = takeEdge32(input) & std::numeric_limits<int>::max();
        const int rows = takeEdge32(input) & std::numeric_limits<int>::max();
        workspace = vexel::workspaceOfGeotransform(geotransform, columns, rows);
        vexel::hasSuspiciousPixelShape(geotransform);
        vexel::geotransformOfWorkspace(workspace);
    } else {
        const std::int64_t x0 = takeEdge(input);
        const std::int64_t y0 = takeEdge(input);
        const std::int64_t x1 = takeEdge(input);
        const std::int64_t y1 = takeEdge(input);
        workspace = Workspace(x0, y0, x1, y1, takeEdge(input));
    }
    checkShape(workspace);
    const int pixel = takeEdge32(input);
    const std::int64_t x = takeEdge(input);
    const double d = input.take<double>();
    checkConversions(workspace, pixel, x, d);
    const int tileWidth = takeEdge32(input);
    const int tileHeight = takeEdge32(input);
    checkTiles(workspace, tileWidth, tileHeight);
    const PixelPoint first(takeEdge32(input), takeEdge32(input));
    const PixelPoint second(takeEdge32(input), takeEdge32(input));
    checkPieces(workspace, PixelBox(first, second), d);
    Workspace merged(takeEdge(input), takeEdge(input), takeEdge(input), takeEdge(input), takeEdge(input));
    merged.merge(workspace);
    checkShape(merged);
    return 0;
}
