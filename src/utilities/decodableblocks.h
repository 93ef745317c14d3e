#ifndef VEXEL_UTILITIES_DECODABLEBLOCKS_H
#define VEXEL_UTILITIES_DECODABLEBLOCKS_H

#include "utilities/imageblocks.h"

#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

namespace vexel::gdal::verification {

/// The blocks of an image that are worth decoding: those that lie in the file, once each.
class DecodableBlocks
{
public:
    explicit DecodableBlocks(const BlockGrid& grid)
        : m_columns(grid.columns()), m_rows(grid.rows()),
          m_decodable(asSize(m_columns) * asSize(m_rows) * asSize(grid.layers()))
    {}

    void insert(int layer, int row, int column, std::uint64_t offset, std::uint64_t size)
    {
        m_places.push_back({offset, size, indexOf(layer, row, column)});
    }

    /// Chooses one block of each place. All have been inserted.
    ///
    /// @return how many bytes the places have.
    std::uint64_t choose();

    /// @param grid of the same image, which GDAL may have divided further: a single block into many.
    bool contains(const BlockGrid& grid, int layer, int row, int column) const
    {
        const bool isSame = grid.columns() == m_columns && grid.rows() == m_rows;
        return m_decodable[isSame ? indexOf(layer, row, column) : indexOf(layer, 0, 0)];
    }

private:
    struct Place
    {
        std::uint64_t offset;
        std::uint64_t size;
        std::size_t block;

        bool operator<(const Place& other) const
        {
            return std::tie(offset, size, block) < std::tie(other.offset, other.size, other.block);
        }
    };

    static std::size_t asSize(int length) { return static_cast<std::size_t>(length); }

    std::size_t indexOf(int layer, int row, int column) const
    {
        return (asSize(layer - 1) * asSize(m_rows) + asSize(row)) * asSize(m_columns) + asSize(column);
    }

    int m_columns;
    int m_rows;
    std::vector<bool> m_decodable;
    std::vector<Place> m_places;
};

} // namespace vexel::gdal::verification

#endif
