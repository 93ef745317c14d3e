#include "downsamplers/UnreadPixels.h"

#include <algorithm>
#include <iterator>

namespace vexel {

std::uint64_t PixelRegion::add(const PixelBox& box)
{
    const int end = box.max_corner().y();
    cutAt(box.min_corner().y());
    cutAt(end);
    std::uint64_t added = 0;
    for (int y = box.min_corner().y(); y < end;) {
        auto rows = m_rows.lower_bound(y);
        if (rows == m_rows.end() || rows->first > y)
            rows = m_rows.emplace_hint(rows, y,
                                       Rows{rows == m_rows.end() ? end : std::min(end, rows->first), {}});
        const std::int64_t inEach = addRun(rows->second.runs, box.min_corner().x(), box.max_corner().x());
        added += static_cast<std::uint64_t>(inEach) * static_cast<std::uint64_t>(rows->second.end - y);
        y = rows->second.end;
        joinAt(rows->first);
    }
    joinAt(end);
    return added;
}

std::size_t PixelRegion::noBoxes() const
{
    std::size_t boxes = 0;
    for (const auto& rows : m_rows)
        boxes += rows.second.runs.size();
    return boxes;
}

/// Returns by how many pixels the runs have grown.
std::int64_t PixelRegion::addRun(Runs& runs, int first, int end)
{
    const auto endsBefore = [](const std::pair<int, int>& run, int x) { return run.second < x; };
    const auto from = std::lower_bound(runs.begin(), runs.end(), first, endsBefore);
    std::int64_t known = 0;
    std::pair<int, int> joined{first, end};
    auto to = from;
    for (; to != runs.end() && to->first <= end; ++to) {
        known += std::int64_t{to->second} - to->first;
        joined = {std::min(joined.first, to->first), std::max(joined.second, to->second)};
    }
    const auto place = runs.erase(from, to);
    runs.insert(place, joined);
    return std::int64_t{joined.second} - joined.first - known;
}

/// Lets rows that reach across `y` end there, and others go on from there.
void PixelRegion::cutAt(int y)
{
    const auto next = m_rows.upper_bound(y);
    if (next == m_rows.begin())
        return;
    const auto rows = std::prev(next);
    if (rows->first == y || rows->second.end <= y)
        return;
    m_rows.emplace_hint(next, y, rows->second);
    rows->second.end = y;
}

/// Makes one of the rows that start at `y` and those before, if they follow each other and have the same pixels.
void PixelRegion::joinAt(int y)
{
    const auto rows = m_rows.find(y);
    if (rows == m_rows.end() || rows == m_rows.begin())
        return;
    const auto former = std::prev(rows);
    if (former->second.end != y || former->second.runs != rows->second.runs)
        return;
    former->second.end = rows->second.end;
    m_rows.erase(rows);
}

std::uint64_t UnreadPixels::add(const UnreadBlock& block)
{
    const std::uint64_t added = m_regions[{block.file, block.band}].add(block.box);
    m_count += added;
    return added;
}

} // namespace vexel
