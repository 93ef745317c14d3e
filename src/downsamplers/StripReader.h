#ifndef VEXEL_DOWNSAMPLERS_STRIPREADER_H
#define VEXEL_DOWNSAMPLERS_STRIPREADER_H

#include "companion/PixelMatrix.h"
#include "streaming/GDALStreamer.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace vexel {

/// Reads all bands of a box of a raster from north to south, keeping the rows that consecutive strips share,
/// so that no row is read twice.
///
/// @tparam T element type of the strips.
template <class T>
class StripReader
{
public:
    /// @param box     in pixels of the set.
    /// @param maxRows that will be asked for at a time.
    StripReader(const GDALStreamer& set, const PixelBox& box, Eigen::Index maxRows)
        : m_set(set), m_box(box), m_columns(box.max_corner().x() - box.min_corner().x()), m_maxRows(maxRows),
          m_bands(static_cast<std::size_t>(set.noBands())),
          m_pixels(m_bands.size() * static_cast<std::size_t>(maxRows * m_columns))
    {
        std::iota(m_bands.begin(), m_bands.end(), 1);
    }

    /// Makes rows `first` to `end` - 1 of the box available and forgets those before. Neither may go back
    /// from one call to the next. Rows that cannot be read are 0 as far as nothing was read.
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
        if (firstNew < end)
            readRows(firstNew, end);
        return firstNew;
    }

    Eigen::Index columns() const { return m_columns; }
    Eigen::Index firstRow() const { return m_firstRow; }
    Eigen::Index endRow() const { return m_endRow; }

    /// An available row of a band, counted from 0.
    T* row(std::size_t band, Eigen::Index y) { return base(band) + (y - m_firstRow) * m_columns; }

private:
    T* base(std::size_t band)
    {
        return m_pixels.data() + static_cast<Eigen::Index>(band) * m_maxRows * m_columns;
    }

    void readRows(Eigen::Index first, Eigen::Index end)
    {
        const int top = m_box.min_corner().y();
        const PixelBox box(PixelPoint(m_box.min_corner().x(), top + static_cast<int>(first)),
                           PixelPoint(m_box.max_corner().x(), top + static_cast<int>(end)));
        const Eigen::Index rows = end - first;
        if (m_set.readBands(m_read, m_bands, box, 1.0, /*fill=*/true, T(0)))
            for (std::size_t band = 0; band < m_bands.size(); ++band)
                std::copy_n(m_read.data() + static_cast<Eigen::Index>(band) * rows * m_columns,
                            rows * m_columns, row(band, first));
        else
            readRowsBandByBand(box, first);
    }

    /// What cannot be read of one band must not cost the others anything.
    void readRowsBandByBand(const PixelBox& box, Eigen::Index first)
    {
        for (std::size_t band = 0; band < m_bands.size(); ++band) {
            m_read.resize(0, 0);
            m_set.read(m_read, band + 1, box, 1.0, /*fill=*/true, T(0));
            std::copy_n(m_read.data(), m_read.size(), row(band, first));
        }
    }

    const GDALStreamer& m_set;
    PixelBox m_box;
    Eigen::Index m_columns;
    Eigen::Index m_maxRows;
    std::vector<int> m_bands;
    std::vector<T> m_pixels;
    PixelMatrix<T> m_read;
    Eigen::Index m_firstRow = 0;
    Eigen::Index m_endRow = 0;
};

} // namespace vexel

#endif
