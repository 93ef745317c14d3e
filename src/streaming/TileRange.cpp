#include "streaming/TileRange.h"

#include "streaming/GDALStreamer.h"

namespace vexel {

TileRange::Iterator TileRange::end() const
{
    return {*m_set, m_set->noTiles()};
}

TileRange::Tile TileRange::tile(const GDALStreamer& set, std::uint64_t index)
{
    const PixelPoint& place = set.gtile(index);
    return {index, set.path(index), place.x(), place.y(), set.itile(index), set.mtile(index)};
}

} // namespace vexel
