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

/// Lists the files of a raster set, for a range-based loop: see `GDALStreamer::tiles`. It must not outlive the set,
/// and you must not use it after the set was opened again. Takes no lock.
class VEXEL_EXPORT TileRange
{
public:
    /// One file of the set.
    struct Tile
    {
        std::uint64_t index; ///< number of the file in the set, counted from 0
        QString path;        ///< path of the file
        int column;          ///< column in the grid, counted from 0
        int row;             ///< row in the grid, counted from 0
        PixelBox pixels;     ///< box in pixels of the whole raster, half-open
        MapBox map;          ///< box in the integer map frame
    };

    /// Makes a `Tile` each time you dereference it.
    class Iterator
    {
    public:
        using iterator_category = std::input_iterator_tag; ///< because each `Tile` is made on demand
        using value_type = Tile;                           ///< a copy, which stays valid
        using difference_type = std::ptrdiff_t;            ///< in files
        using pointer = const Tile*;                       ///< not returned by any function
        using reference = Tile;                            ///< no reference, because no `Tile` is stored

        /// Points at file `index` of `set`, counted from 0.
        Iterator(const GDALStreamer& set, std::uint64_t index) : m_set(&set), m_index(index) {}

        /// Makes the `Tile` of the file that it points at.
        Tile operator*() const { return TileRange::tile(*m_set, m_index); }
        /// Moves to the next file.
        Iterator& operator++()
        {
            ++m_index;
            return *this;
        }
        /// Moves to the next file, and returns the iterator as it was before.
        Iterator operator++(int)
        {
            Iterator before = *this;
            ++m_index;
            return before;
        }
        /// Returns true if both point at the file with the same number. The sets are not compared.
        friend bool operator==(const Iterator& a, const Iterator& b) { return a.m_index == b.m_index; }
        /// Returns true if they point at files with different numbers. The sets are not compared.
        friend bool operator!=(const Iterator& a, const Iterator& b) { return a.m_index != b.m_index; }

    private:
        const GDALStreamer* m_set;
        std::uint64_t m_index;
    };

    /// Lists the files of `set`.
    explicit TileRange(const GDALStreamer& set) : m_set(&set) {}

    /// Returns an iterator at the first file.
    Iterator begin() const { return {*m_set, 0}; }
    /// Returns an iterator after the last file.
    Iterator end() const;

private:
    static Tile tile(const GDALStreamer& set, std::uint64_t index);

    const GDALStreamer* m_set;
};

} // namespace vexel

#endif
