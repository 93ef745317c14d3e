#ifndef VEXEL_DOWNSAMPLERS_STRIPSTEP_H
#define VEXEL_DOWNSAMPLERS_STRIPSTEP_H

#include "companion/PixelMatrix.h"
#include "downsamplers/StripReader.h"
#include "downsamplers/tilestep.h"
#include "downsamplers/tilestrips.h"
#include "streaming/GDALStreamer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace vexel {

/// Memory that the pixels of one strip may take; more only where a single row of blocks needs it.
constexpr double stripBudgetBytes = 64.0 * 1024 * 1024;

/// Goes through one tile in strips of whole rows of blocks, and in columns of strips where a row of the
/// file's blocks would be too large. Every block of the file is read once: rows that two strips share are
/// kept from one to the next, and columns that two columns of strips share for the height of the tile.
///
/// @tparam T element type that the tile is read as.
template <class T>
class StripStep
{
public:
    /// @param resultBytes size of an element of what the strips become.
    StripStep(GDALStreamer& input, const TileStep& plan, double factor, int border, std::size_t resultBytes)
        : m_input(input), m_plan(plan), m_rows(plan.rows, factor, plan.yOffset, border, plan.blockSize,
                                               plan.readBox.max_corner().y() - plan.readBox.min_corner().y()),
          m_columns(plan.columns, factor, plan.xOffset, border, plan.blockSize,
                    plan.readBox.max_corner().x() - plan.readBox.min_corner().x())
    {
        const std::int64_t blockHeight = std::max(input.blockHeight(), 1);
        // What is read, and what becomes of it, as it is and as GDAL takes it.
        const double bytesPerPixel = static_cast<double>(input.noBands()) *
                                     (sizeof(T) + 2.0 * static_cast<double>(resultBytes) / (factor * factor));
        const auto mostPixels = static_cast<std::int64_t>(stripBudgetBytes / std::max(bytesPerPixel, 1.0));
        const std::int64_t fewestRows = std::max(blockHeight, plan.blockSize) + plan.blockSize;
        for (const BlockRun& run :
             cutIntoRuns(m_columns, mostPixels / fewestRows, input.blockWidth(), plan.xOffset))
            m_stripColumns.push_back({run, cutIntoRuns(m_rows, mostPixels / (run.readEnd - run.firstPixel),
                                                       blockHeight, plan.yOffset)});
    }

    const BlockAxis& rows() const { return m_rows; }
    const BlockAxis& columns() const { return m_columns; }

    /// Calls `work(strip, columnRun, rowRun)` for each strip, from west to east and each column from north to
    /// south, until it returns false. `prepare(strip, firstRow)` is called before with the first row that is
    /// new in it.
    template <class Prepare, class Work>
    bool forEachStrip(const Prepare& prepare, const Work& work) const
    {
        SharedColumns<T> shared;
        for (std::size_t k = 0; k < m_stripColumns.size(); ++k) {
            const StripColumn& column = m_stripColumns[k];
            StripReader<T> strip(m_input, boxOf(column.run), mostRows(column.rowRuns), m_plan.yOffset,
                                 std::move(shared), columnsSharedWithNext(k));
            for (const BlockRun& rowRun : column.rowRuns) {
                prepare(strip, strip.advance(rowRun.firstPixel, rowRun.readEnd));
                if (!work(strip, column.run, rowRun))
                    return false;
            }
            shared = strip.takeEast();
        }
        return true;
    }

    /// Number of strips, to tell the progress.
    std::size_t noStrips() const
    {
        std::size_t strips = 0;
        for (const StripColumn& column : m_stripColumns)
            strips += column.rowRuns.size();
        return strips;
    }

private:
    struct StripColumn
    {
        BlockRun run;
        std::vector<BlockRun> rowRuns;
    };

    static Eigen::Index mostRows(const std::vector<BlockRun>& runs)
    {
        Eigen::Index most = 0;
        for (const BlockRun& run : runs)
            most = std::max<Eigen::Index>(most, run.readEnd - run.firstPixel);
        return most;
    }

    std::int64_t columnsSharedWithNext(std::size_t column) const
    {
        if (column + 1 == m_stripColumns.size())
            return 0;
        const std::int64_t next = m_stripColumns[column + 1].run.firstPixel;
        return std::max<std::int64_t>(0, m_stripColumns[column].run.readEnd - next);
    }

    PixelBox boxOf(const BlockRun& columnRun) const
    {
        const PixelPoint& corner = m_plan.readBox.min_corner();
        return {
            PixelPoint(corner.x() + static_cast<int>(columnRun.firstPixel), corner.y()),
            PixelPoint(corner.x() + static_cast<int>(columnRun.readEnd), m_plan.readBox.max_corner().y())};
    }

    GDALStreamer& m_input;
    TileStep m_plan;
    BlockAxis m_rows;
    BlockAxis m_columns;
    std::vector<StripColumn> m_stripColumns;
};

} // namespace vexel

#endif
