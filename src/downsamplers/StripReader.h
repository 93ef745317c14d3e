#ifndef VEXEL_DOWNSAMPLERS_STRIPREADER_H
#define VEXEL_DOWNSAMPLERS_STRIPREADER_H

#include "companion/LargeBuffer.h"
#include "companion/PixelMatrix.h"
#include "downsamplers/blockwiseread.h"
#include "downsamplers/tilestrips.h"
#include "streaming/GDALStreamer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace vexel {

/// What is read at a time: enough to keep GDAL's threads busy, and within any sensible block cache.
constexpr double transferBytes = 16.0 * 1024 * 1024;

/// Columns that two neighbouring boxes share, for all rows and bands.
template <class T>
struct SharedColumns
{
    Eigen::Index columns = 0;
    std::vector<T> pixels; ///< row by row, in each row band by band
};

/// Reads all bands of a box of a raster from north to south, keeping the rows that consecutive strips share,
/// so that no row is read twice.
///
/// @tparam T element type of the strips.
template <class T>
class StripReader
{
public:
    /// @param box       in pixels of the set.
    /// @param maxRows   that will be asked for at a time.
    /// @param rowOrigin a row of the box where a row of the file's blocks starts.
    /// @param west      columns of the box that have been read already, its first ones.
    /// @param east      number of columns to keep for the next box, its last ones.
    StripReader(GDALStreamer& set, const PixelBox& box, Eigen::Index maxRows, Eigen::Index rowOrigin,
                SharedColumns<T> west = {}, Eigen::Index east = 0)
        : m_set(set), m_box(box), m_columns(box.max_corner().x() - box.min_corner().x()), m_maxRows(maxRows),
          m_rowOrigin(rowOrigin), m_bands(static_cast<std::size_t>(set.noBands())),
          m_failed(m_bands.size(), false),
          m_pixels(m_bands.size() * static_cast<std::size_t>(maxRows * m_columns)), m_west(std::move(west))
    {
        std::iota(m_bands.begin(), m_bands.end(), 1);
        m_east.columns = east;
        m_east.pixels.resize(m_bands.size() *
                             static_cast<std::size_t>(east * (box.max_corner().y() - box.min_corner().y())));
    }

    /// Makes rows `first` to `end` - 1 of the box available and forgets those before. Neither may go back
    /// from one call to the next. Blocks of the files that cannot be read are 0: see `takeUnread`.
    ///
    /// @return the first row that was not available before.
    Eigen::Index advance(Eigen::Index first, Eigen::Index end)
    {
        const Eigen::Index kept = std::max<Eigen::Index>(0, m_endRow - std::max(first, m_firstRow));
        for (std::size_t band = 0; band < m_bands.size(); ++band) {
            const T* from = row(band, m_endRow - kept);
            std::copy(from, from + kept * m_columns, base(band));
        }
        m_firstRow = first;
        const Eigen::Index firstNew = first + kept;
        m_endRow = end;
        for (Eigen::Index y = firstNew; y < end;) {
            const Eigen::Index next = std::min(end, endOfTransfer(y));
            readRows(y, next);
            shareRows(y, next);
            y = next;
        }
        return firstNew;
    }

    Eigen::Index columns() const { return m_columns; }
    Eigen::Index firstRow() const { return m_firstRow; }
    Eigen::Index endRow() const { return m_endRow; }

    /// An available row of a band, counted from 0.
    T* row(std::size_t band, Eigen::Index y) { return base(band) + (y - m_firstRow) * m_columns; }

    /// True if some of the band's rows so far could not be read.
    bool hasFailed(std::size_t band) const { return m_failed[band]; }

    /// Hands out what could not be read since the last call.
    std::vector<UnreadBlock> takeUnread() { return std::exchange(m_unread, {}); }

    /// Hands out the columns that the next box shares with this one, once all rows were available.
    SharedColumns<T> takeEast() { return std::move(m_east); }

private:
    T* base(std::size_t band)
    {
        return m_pixels.data() + static_cast<Eigen::Index>(band) * m_maxRows * m_columns;
    }

    /// Whole rows of the file's blocks, as many as a transfer may hold, but one at least.
    Eigen::Index endOfTransfer(Eigen::Index y) const
    {
        const std::int64_t blockHeight = std::max(m_set.blockHeight(), 1);
        const double bytesPerRow =
            static_cast<double>(m_columns) * static_cast<double>(m_bands.size()) * sizeof(T);
        const auto rows = static_cast<std::int64_t>(transferBytes / std::max(bytesPerRow, 1.0));
        return std::max(boundaryBefore(y + rows, blockHeight, m_rowOrigin),
                        boundaryBefore(y, blockHeight, m_rowOrigin) + blockHeight);
    }

    void readRows(Eigen::Index first, Eigen::Index end)
    {
        const Eigen::Index columns = m_columns - m_west.columns;
        if (columns == 0)
            return;
        const int left = m_box.min_corner().x() + static_cast<int>(m_west.columns);
        const int top = m_box.min_corner().y();
        const PixelBox box(PixelPoint(left, top + static_cast<int>(first)),
                           PixelPoint(m_box.max_corner().x(), top + static_cast<int>(end)));
        const BandPixels<T> target{row(0, first) + m_west.columns, end - first, columns, m_columns,
                                   m_maxRows * m_columns};
        if (!m_set.readBands(target, m_bands, box))
            readAgain(target, box);
    }

    void readAgain(const BandPixels<T>& target, const PixelBox& box)
    {
        const std::size_t before = m_unread.size();
        BlockwiseRead<T>(m_set, m_bands, m_unread).read(target, box);
        for (std::size_t k = before; k < m_unread.size(); ++k)
            m_failed[m_unread[k].band - 1] = true;
    }

    /// Takes over the columns of the box before and keeps those for the next one.
    void shareRows(Eigen::Index first, Eigen::Index end)
    {
        const auto noBands = static_cast<Eigen::Index>(m_bands.size());
        for (Eigen::Index y = first; y < end; ++y)
            for (Eigen::Index band = 0; band < noBands; ++band) {
                T* pixels = row(static_cast<std::size_t>(band), y);
                std::copy_n(m_west.pixels.data() + (y * noBands + band) * m_west.columns, m_west.columns,
                            pixels);
                std::copy_n(pixels + m_columns - m_east.columns, m_east.columns,
                            m_east.pixels.data() + (y * noBands + band) * m_east.columns);
            }
    }

    GDALStreamer& m_set;
    PixelBox m_box;
    Eigen::Index m_columns;
    Eigen::Index m_maxRows;
    Eigen::Index m_rowOrigin;
    std::vector<int> m_bands;
    std::vector<bool> m_failed;
    std::vector<UnreadBlock> m_unread;
    LargeBuffer<T> m_pixels; // every row is read before it is used
    SharedColumns<T> m_west;
    SharedColumns<T> m_east;
    Eigen::Index m_firstRow = 0;
    Eigen::Index m_endRow = 0;
};

} // namespace vexel

#endif
