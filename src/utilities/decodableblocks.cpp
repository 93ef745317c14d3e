#include "utilities/decodableblocks.h"

#include <algorithm>

namespace vexel::gdal::verification {

std::uint64_t DecodableBlocks::choose()
{
    std::sort(m_places.begin(), m_places.end());
    std::uint64_t bytes = 0;
    const auto isSamePlace = [](const Place& a, const Place& b) {
        return a.offset == b.offset && a.size == b.size;
    };
    m_places.erase(std::unique(m_places.begin(), m_places.end(), isSamePlace), m_places.end());
    for (const Place& place : m_places) {
        m_decodable[place.block] = true;
        bytes += place.size;
    }
    m_places = std::vector<Place>();
    return bytes;
}

} // namespace vexel::gdal::verification
