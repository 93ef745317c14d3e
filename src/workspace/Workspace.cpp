#include "Workspace.h"

#include "arithmetic.h"
#include "mapunits.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ostream>
#include <string>

namespace vexel {

using arithmetic::narrow;
using arithmetic::roundHalfAway;
using arithmetic::wrapAdd;
using arithmetic::wrapMul;
using arithmetic::wrapSub;

namespace {

template <class T>
const T& entryOrZeros(const std::vector<T>& list, std::uint64_t i)
{
    static const T zeros{};
    return i < list.size() ? list[static_cast<std::size_t>(i)] : zeros;
}

std::uint64_t countPieces(int size, int pieceSize)
{
    return static_cast<std::uint64_t>(std::ceil(static_cast<double>(size) / static_cast<double>(pieceSize)));
}

} // namespace

Workspace::Workspace(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, std::int64_t res)
{
    reset(x0, y0, x1, y1, res);
}

Workspace::Workspace(const MapBox& box, std::int64_t res)
    : Workspace(box.min_corner().x(), box.min_corner().y(), box.max_corner().x(), box.max_corner().y(), res)
{}

void Workspace::reset(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, std::int64_t res)
{
    m_minx = std::min(x0, x1);
    m_miny = std::min(y0, y1);
    m_maxx = std::max(x0, x1);
    m_maxy = std::max(y0, y1);
    m_res = std::max<std::int64_t>(res, 1);
    clearTiles();
}

void Workspace::merge(const Workspace& other)
{
    // Only the width counts here, unlike in empty(): a box with width but no height is still merged.
    if (m_maxx > m_minx)
        reset(std::min(m_minx, other.m_minx), std::min(m_miny, other.m_miny), std::max(m_maxx, other.m_maxx),
              std::max(m_maxy, other.m_maxy), std::min(m_res, other.m_res));
    else
        reset(other.m_minx, other.m_miny, other.m_maxx, other.m_maxy, other.m_res);
}

std::int64_t Workspace::width() const
{
    return wrapSub(m_maxx, m_minx);
}

std::int64_t Workspace::height() const
{
    return wrapSub(m_maxy, m_miny);
}

int Workspace::pixelWidth() const
{
    return dx2px(width());
}

int Workspace::pixelHeight() const
{
    return dy2px(height());
}

double Workspace::west() const
{
    return static_cast<double>(m_minx) * mapUnitsPerUnit;
}

double Workspace::south() const
{
    return -static_cast<double>(m_maxy) * mapUnitsPerUnit;
}

double Workspace::east() const
{
    return static_cast<double>(m_maxx) * mapUnitsPerUnit;
}

double Workspace::north() const
{
    return -static_cast<double>(m_miny) * mapUnitsPerUnit;
}

double Workspace::pixelSize() const
{
    return static_cast<double>(m_res) * mapUnitsPerUnit;
}

bool Workspace::empty() const
{
    return m_minx == m_maxx || m_miny == m_maxy;
}

MapBox Workspace::mbounds() const
{
    return MapBox(MapPoint(m_minx, m_miny), MapPoint(m_maxx, m_maxy));
}

PixelBox Workspace::ibounds() const
{
    // Counts that do not fit into 32 bits may come out negative; the box stays normalised all the same.
    const int w = pixelWidth();
    const int h = pixelHeight();
    return PixelBox(PixelPoint(std::min(w, 0), std::min(h, 0)), PixelPoint(std::max(w, 0), std::max(h, 0)));
}

int Workspace::dx2px(std::int64_t d) const
{
    return narrow(d / m_res);
}

int Workspace::dy2px(std::int64_t d) const
{
    return narrow(d / m_res);
}

int Workspace::dx2px(double d) const
{
    return dx2px(roundHalfAway(d * unitsPerMapUnit));
}

int Workspace::dy2px(double d) const
{
    // Not negated: this is a distance, only positions change their sign between the frames.
    return dy2px(roundHalfAway(d * unitsPerMapUnit));
}

int Workspace::x2px(std::int64_t x) const
{
    // Truncates: a point less than one pixel west of the box lies in column 0.
    return narrow(wrapSub(x, m_minx) / m_res);
}

int Workspace::y2px(std::int64_t y) const
{
    return narrow(wrapSub(y, m_miny) / m_res);
}

int Workspace::x2px(double x) const
{
    return x2px(roundHalfAway(x * unitsPerMapUnit));
}

int Workspace::y2px(double y) const
{
    return y2px(roundHalfAway(y * -unitsPerMapUnit));
}

std::int64_t Workspace::px2x(int p) const
{
    return wrapAdd(px2dx(p), m_minx);
}

std::int64_t Workspace::px2y(int p) const
{
    return wrapAdd(px2dy(p), m_miny);
}

std::int64_t Workspace::px2dx(int p) const
{
    return wrapMul(m_res, p);
}

std::int64_t Workspace::px2dy(int p) const
{
    return wrapMul(m_res, p);
}

PixelBox Workspace::map(const MapBox& box) const
{
    return PixelBox(map(box.min_corner()), map(box.max_corner()));
}

MapBox Workspace::map(const PixelBox& box) const
{
    return MapBox(map(box.min_corner()), map(box.max_corner()));
}

PixelPoint Workspace::map(const MapPoint& point) const
{
    return PixelPoint(x2px(point.x()), y2px(point.y()));
}

MapPoint Workspace::map(const PixelPoint& point) const
{
    return MapPoint(px2x(point.x()), px2y(point.y()));
}

PixelRing Workspace::map(const MapRing& ring) const
{
    PixelRing mapped;
    mapped.reserve(ring.size());
    for (const MapPoint& point : ring)
        mapped.push_back(map(point));
    return mapped;
}

MapRing Workspace::map(const PixelRing& ring) const
{
    MapRing mapped;
    mapped.reserve(ring.size());
    for (const PixelPoint& point : ring)
        mapped.push_back(map(point));
    return mapped;
}

bool Workspace::createTiles(int tileWidth, int tileHeight)
{
    clearTiles();
    const int w = pixelWidth();
    const int h = pixelHeight();
    if (w < 1 || h < 1 || tileWidth < 1 || tileHeight < 1)
        return false;

    // All memory is taken before the first tile, so that the lists are equally long even if there is too
    // little.
    const auto count = static_cast<std::size_t>(countPieces(h, tileHeight) * countPieces(w, tileWidth));
    m_mtiles.reserve(count);
    m_itiles.reserve(count);
    m_gtiles.reserve(count);

    for (int gx = 0, x0 = 0; x0 < w; ++gx) {
        const int x1 = x0 + std::min(w - x0, tileWidth);
        for (int gy = 0, y0 = 0; y0 < h; ++gy) {
            const int y1 = y0 + std::min(h - y0, tileHeight);
            const PixelBox box(PixelPoint(x0, y0), PixelPoint(x1, y1));
            m_itiles.push_back(box);
            m_mtiles.push_back(map(box));
            m_gtiles.emplace_back(gx, gy);
            y0 = y1;
        }
        x0 = x1;
    }
    return !m_mtiles.empty();
}

void Workspace::clearTiles()
{
    m_mtiles.clear();
    m_itiles.clear();
    m_gtiles.clear();
}

const MapBox& Workspace::mtile(std::uint64_t i) const
{
    return entryOrZeros(m_mtiles, i);
}

const PixelBox& Workspace::itile(std::uint64_t i) const
{
    return entryOrZeros(m_itiles, i);
}

const PixelPoint& Workspace::gtile(std::uint64_t i) const
{
    return entryOrZeros(m_gtiles, i);
}

Workspace Workspace::tile(std::uint64_t i) const
{
    return Workspace(mtile(i), m_res);
}

std::ostream& operator<<(std::ostream& stream, const Workspace& workspace)
{
    // Written as one text: flags, width and locale of the stream must not change it.
    using std::to_string;
    stream.precision(12);
    stream.width(0);
    return stream << "{x = [" + to_string(workspace.minx()) + ", " + to_string(workspace.maxx()) +
                         "], y = [" + to_string(workspace.miny()) + ", " + to_string(workspace.maxy()) +
                         "], res = " + to_string(workspace.res()) +
                         ", pixels = " + to_string(workspace.pixelWidth()) + " x " +
                         to_string(workspace.pixelHeight()) + "}";
}

} // namespace vexel
