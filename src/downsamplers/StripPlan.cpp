#include "downsamplers/StripPlan.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace vexel {

StripPlan::StripPlan(StripLayout layout, int blockWidth, int blockHeight, const StripCost& cost)
    : m_layout(std::move(layout))
{
    const double bytesPerPixel = 2.0 * cost.bytesPerPixel + cost.bytesPerResult / cost.pixelsPerResult;
    const auto pixelsIn = [&](double bytes) {
        return static_cast<std::int64_t>(bytes / std::max(bytesPerPixel, 1.0));
    };
    const std::int64_t fileRows = std::max(blockHeight, 1);
    const std::int64_t fewestRows = std::max(fileRows, m_layout.blockSize) + m_layout.blockSize;
    // What one column of strips keeps for the next one, while it has that of the one before.
    const double keptBytes =
        2.0 * cost.bytesPerPixel * static_cast<double>(m_layout.blockSize) * static_cast<double>(height());
    const auto columnsIn = [&](double bytes) {
        return cutIntoRuns(m_layout.columns, pixelsIn(bytes) / fewestRows, blockWidth, m_layout.xOffset);
    };
    double bytes = stripBudgetBytes;
    std::vector<BlockRun> columns = columnsIn(bytes);
    const bool keeps = columns.size() > 1 && keptBytes <= stripBudgetBytes / 8.0;
    if (keeps)
        columns = columnsIn(bytes -= keptBytes);
    for (std::size_t k = 0; k < columns.size(); ++k) {
        BlockRun& run = columns[k];
        const std::int64_t shared = k + 1 == columns.size() ? 0 : run.readEnd - columns[k + 1].firstPixel;
        if (!keeps)
            run.readEnd = run.endPixel;
        for (const BlockRun& rows :
             cutIntoRuns(m_layout.rows, pixelsIn(bytes) / run.readLength(), fileRows, m_layout.yOffset))
            m_strips.push_back(
                {run, rows, rows.firstBlock == 0, keeps ? std::max<std::int64_t>(0, shared) : 0});
    }
}

std::int64_t StripPlan::mostPixels() const
{
    std::int64_t most = 0;
    for (const StripPlace& strip : m_strips)
        most = std::max(most, strip.pixels());
    return most;
}

} // namespace vexel
