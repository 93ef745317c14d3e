#ifndef VEXEL_STREAMING_TILERANGE_H
#define VEXEL_STREAMING_TILERANGE_H

#include "../export.h"
#include "../workspace/geometry.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace vexel {

class GDALStreamer;

/// The files of a raster set, to be gone through: see `GDALStreamer::tiles`. Must not outlive the set, nor be used after
/// the set was opened anew. Takes no lock.
class VEXEL_EXPORT TileRange
{
public:
    /// One file of the set.
    struct Tile
    {
        std::uint64_t index; ///< its number in the set
        QString path;        ///< of the file
        int column;          ///< in the grid, counted from 0
        int row;             ///<
        PixelBox pixels;     ///< where it lies, in pixels of the whole raster, half-open
        MapBox map;          ///< the same in the integer map frame
    };

    /// Makes a `Tile` when it is asked for one.
    class Iterator
    {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Tile;
        using difference_type = std::ptrdiff_t;
        using pointer = const Tile*;
        using reference = Tile;

        Iterator(const GDALStreamer& set, std::uint64_t index) : m_set(&set), m_index(index) {}

        Tile operator*() const { return TileRange::tile(*m_set, m_index); }
        Iterator& operator++()
        {
            ++m_index;
            return *this;
        }
        Iterator operator++(int)
        {
            Iterator before = *this;
            ++m_index;
            return before;
        }
        friend bool operator==(const Iterator& a, const Iterator& b) { return a.m_index == b.m_index; }
        friend bool operator!=(const Iterator& a, const Iterator& b) { return a.m_index != b.m_index; }

    private:
        const GDALStreamer* m_set;
        std::uint64_t m_index;
    };

    explicit TileRange(const GDALStreamer& set) : m_set(&set) {}

    Iterator begin() const { return {*m_set, 0}; }
    Iterator end() const;

private:
    static Tile tile(const GDALStreamer& set, std::uint64_t index);

    const GDALStreamer* m_set;
};

} // namespace vexel

#endif
