#ifndef VEXEL_DOWNSAMPLERS_STRIPSTEP_H
#define VEXEL_DOWNSAMPLERS_STRIPSTEP_H

#include "companion/PixelMatrix.h"
#include "companion/parallelrows.h"
#include "downsamplers/StripReader.h"
#include "downsamplers/tilestep.h"
#include "downsamplers/tilestrips.h"
#include "streaming/GDALStreamer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace vexel {

/// Memory that the pixels of one strip may take; more only where a single row of blocks needs it.
constexpr double stripBudgetBytes = 64.0 * 1024 * 1024;

/// Goes through one tile in strips of whole rows of blocks, and in columns of strips where a row of the
/// file's blocks would be too large. Every block of the file is read once, those at the boundary of two
/// columns twice.
///
/// @tparam T element type that the tile is read as.
template <class T>
class StripStep
{
public:
    StripStep(const GDALStreamer& input, const TileStep& plan, double factor, int border)
        : m_input(input), m_plan(plan), m_noBands(static_cast<std::size_t>(input.noBands())),
          m_rows(plan.rows, factor, plan.yOffset, border, plan.blockSize,
                 plan.readBox.max_corner().y() - plan.readBox.min_corner().y()),
          m_columns(plan.columns, factor, plan.xOffset, border, plan.blockSize,
                    plan.readBox.max_corner().x() - plan.readBox.min_corner().x())
    {
        const std::int64_t blockHeight = std::max(input.blockHeight(), 1);
        const std::int64_t blockWidth = std::max(input.blockWidth(), 1);
        // As they come from the files, as they are kept from strip to strip, and what becomes of them.
        const double bytesPerPixel =
            static_cast<double>(m_noBands) * (2.0 * sizeof(T) + 2.0 * sizeof(float) / (factor * factor));
        const auto pixels = static_cast<std::int64_t>(stripBudgetBytes / std::max(bytesPerPixel, 1.0));
        const std::int64_t fewestRows = std::max(blockHeight, plan.blockSize) + plan.blockSize;
        m_columnRuns = cutIntoRuns(m_columns, pixels / fewestRows, blockWidth, plan.xOffset);
        m_fileBlockHeight = blockHeight;
        m_mostPixels = pixels;
    }

    const BlockAxis& rows() const { return m_rows; }
    const BlockAxis& columns() const { return m_columns; }

    /// Calls `work(strip, columnRun, rowRun)` for each strip, from west to east and each column from north to
    /// south, until it returns false. `prepare(strip, firstRow)` is called before with the first row that is
    /// new in it.
    template <class Prepare, class Work>
    bool forEachStrip(const Prepare& prepare, const Work& work) const
    {
        for (const BlockRun& columnRun : m_columnRuns) {
            const std::int64_t width = columnRun.endPixel - columnRun.firstPixel;
            const auto rowRuns = cutIntoRuns(m_rows, m_mostPixels / width, m_fileBlockHeight, m_plan.yOffset);
            StripReader<T> strip(m_input, boxOf(columnRun), mostRows(rowRuns));
            for (const BlockRun& rowRun : rowRuns) {
                prepare(strip, strip.advance(rowRun.firstPixel, rowRun.readEnd));
                if (!work(strip, columnRun, rowRun))
                    return false;
            }
        }
        return true;
    }

    /// Number of strips, to tell the progress.
    std::size_t noStrips() const
    {
        std::size_t strips = 0;
        for (const BlockRun& columnRun : m_columnRuns)
            strips += cutIntoRuns(m_rows, m_mostPixels / (columnRun.endPixel - columnRun.firstPixel),
                                  m_fileBlockHeight, m_plan.yOffset)
                          .size();
        return strips;
    }

private:
    static Eigen::Index mostRows(const std::vector<BlockRun>& runs)
    {
        Eigen::Index most = 0;
        for (const BlockRun& run : runs)
            most = std::max<Eigen::Index>(most, run.readEnd - run.firstPixel);
        return most;
    }

    PixelBox boxOf(const BlockRun& columnRun) const
    {
        const PixelPoint& corner = m_plan.readBox.min_corner();
        return {
            PixelPoint(corner.x() + static_cast<int>(columnRun.firstPixel), corner.y()),
            PixelPoint(corner.x() + static_cast<int>(columnRun.endPixel), m_plan.readBox.max_corner().y())};
    }

    const GDALStreamer& m_input;
    TileStep m_plan;
    std::size_t m_noBands;
    BlockAxis m_rows;
    BlockAxis m_columns;
    std::vector<BlockRun> m_columnRuns;
    std::int64_t m_fileBlockHeight;
    std::int64_t m_mostPixels;
};

} // namespace vexel

#endif
