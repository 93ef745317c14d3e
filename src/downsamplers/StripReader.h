#ifndef VEXEL_DOWNSAMPLERS_STRIPREADER_H
#define VEXEL_DOWNSAMPLERS_STRIPREADER_H

#include "companion/LargeBuffer.h"
#include "companion/PixelMatrix.h"
#include "downsamplers/StripPlan.h"
#include "downsamplers/blockwiseread.h"
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

/// The pixels of one strip, all bands.
///
/// @tparam T element type.
template <class T>
class StripPixels
{
public:
    explicit StripPixels(std::size_t mostElements) : m_pixels(mostElements) {}

    /// Makes it the pixels of a strip. What they were stays in memory, in another order.
    void moveTo(const StripPlace& place)
    {
        m_columns = place.columns.readLength();
        m_firstRow = place.rows.firstPixel;
        m_endRow = place.rows.readEnd;
    }

    Eigen::Index columns() const { return m_columns; }
    Eigen::Index firstRow() const { return m_firstRow; }
    Eigen::Index endRow() const { return m_endRow; }
    Eigen::Index bandStep() const { return (m_endRow - m_firstRow) * m_columns; }

    /// A row of a band, counted from 0. Rows are those of what the step reads.
    T* row(std::size_t band, Eigen::Index y)
    {
        return m_pixels.data() + static_cast<Eigen::Index>(band) * bandStep() + (y - m_firstRow) * m_columns;
    }
    const T* row(std::size_t band, Eigen::Index y) const
    {
        return const_cast<StripPixels*>(this)->row(band, y);
    }

private:
    LargeBuffer<T> m_pixels; // every row is read before it is used
    Eigen::Index m_columns = 0;
    Eigen::Index m_firstRow = 0;
    Eigen::Index m_endRow = 0;
};

/// Reads strip after strip of a raster set, all bands. Pixels that a strip shares with those before it are taken from
/// there, so that none is read twice.
///
/// @tparam T element type of the strips.
template <class T>
class StripReader
{
public:
    StripReader(GDALStreamer& set, const StripPlan& plan)
        : m_set(set), m_plan(plan), m_bands(static_cast<std::size_t>(set.noBands()))
    {
        std::iota(m_bands.begin(), m_bands.end(), 1);
    }

    /// Goes on with the strip after the last one: moves `strip` there and fills in what it shares with `former`, the one
    /// before it. Returns the first row that is to be read.
    Eigen::Index begin(const StripPlace& place, StripPixels<T>& strip, const StripPixels<T>& former)
    {
        if (place.isFirstOfColumn)
            beginColumn(place);
        strip.moveTo(place);
        return place.isFirstOfColumn ? strip.firstRow() : takeOver(strip, former);
    }

    /// Reads rows of the strip from `first` on, as many as a transfer takes, and returns the first one after them. Blocks
    /// of the files that cannot be read are 0.
    ///
    /// @param unread where the parts that cannot be read are appended.
    Eigen::Index readFrom(Eigen::Index first, const StripPlace& place, StripPixels<T>& strip,
                          std::vector<UnreadBlock>& unread)
    {
        const Eigen::Index end = std::min(strip.endRow(), endOfTransfer(first, strip.columns()));
        readRows(place, strip, first, end, unread);
        shareRows(strip, first, end);
        return end;
    }

private:
    /// Columns that two neighbouring columns of strips share, for all rows and bands.
    struct SharedColumns
    {
        Eigen::Index columns = 0;
        std::vector<T> pixels; ///< row by row, in each row band by band

        T* at(Eigen::Index y, Eigen::Index band, Eigen::Index noBands)
        {
            return pixels.data() + (y * noBands + band) * columns;
        }
    };

    void beginColumn(const StripPlace& place)
    {
        m_west = std::exchange(m_east, {});
        m_east.columns = place.keptColumns;
        m_east.pixels.resize(m_bands.size() * static_cast<std::size_t>(place.keptColumns * m_plan.height()));
    }

    /// Copies the rows that the strip shares with the one north of it, and returns the first that is new.
    Eigen::Index takeOver(StripPixels<T>& strip, const StripPixels<T>& former) const
    {
        const Eigen::Index rows = std::max<Eigen::Index>(0, former.endRow() - strip.firstRow());
        for (std::size_t band = 0; rows > 0 && band < m_bands.size(); ++band)
            std::copy_n(former.row(band, strip.firstRow()), rows * strip.columns(),
                        strip.row(band, strip.firstRow()));
        return strip.firstRow() + rows;
    }

    /// Whole rows of the file's blocks, as many as a transfer may hold, but one at least.
    Eigen::Index endOfTransfer(Eigen::Index y, Eigen::Index columns) const
    {
        const std::int64_t blockHeight = std::max(m_set.blockHeight(), 1);
        const double bytesPerRow =
            static_cast<double>(columns) * static_cast<double>(m_bands.size()) * sizeof(T);
        const auto rows = static_cast<std::int64_t>(transferBytes / std::max(bytesPerRow, 1.0));
        const std::int64_t origin = m_plan.layout().yOffset;
        return std::max(boundaryBefore(y + rows, blockHeight, origin),
                        boundaryBefore(y, blockHeight, origin) + blockHeight);
    }

    void readRows(const StripPlace& place, StripPixels<T>& strip, Eigen::Index first, Eigen::Index end,
                  std::vector<UnreadBlock>& unread)
    {
        const Eigen::Index columns = strip.columns() - m_west.columns;
        if (columns == 0)
            return;
        const PixelPoint& corner = m_plan.layout().readBox.min_corner();
        const auto at = [&corner](std::int64_t x, std::int64_t y) {
            return PixelPoint(corner.x() + static_cast<int>(x), corner.y() + static_cast<int>(y));
        };
        const PixelBox box(at(place.columns.firstPixel + m_west.columns, first),
                           at(place.columns.readEnd, end));
        const BandPixels<T> target{strip.row(0, first) + m_west.columns, end - first, columns,
                                   strip.columns(), strip.bandStep()};
        if (!m_set.readBands(target, m_bands, box))
            BlockwiseRead<T>(m_set, m_bands, unread).read(target, box);
    }

    /// Takes over the columns of the column of strips before and keeps those for the next one.
    void shareRows(StripPixels<T>& strip, Eigen::Index first, Eigen::Index end)
    {
        const auto noBands = static_cast<Eigen::Index>(m_bands.size());
        for (Eigen::Index y = first; y < end; ++y)
            for (Eigen::Index band = 0; band < noBands; ++band) {
                T* pixels = strip.row(static_cast<std::size_t>(band), y);
                std::copy_n(m_west.at(y, band, noBands), m_west.columns, pixels);
                std::copy_n(pixels + strip.columns() - m_east.columns, m_east.columns,
                            m_east.at(y, band, noBands));
            }
    }

    GDALStreamer& m_set;
    const StripPlan& m_plan;
    std::vector<int> m_bands;
    SharedColumns m_west;
    SharedColumns m_east;
};

} // namespace vexel

#endif
