#include "measures.h"
#include "scenes.h"

#include <algorithm>

namespace quality {

namespace {

struct Range
{
    float lowest;
    float highest;

    /// NaN is not in any range.
    bool contains(float value) const { return value >= lowest && value <= highest; }
};

Range rangeOfData(const Raster& raster)
{
    Range range{0.0f, 0.0f};
    bool isFirst = true;
    for (const float value : raster.pixels) {
        if (value == noData)
            continue;
        range.lowest = isFirst ? value : std::min(range.lowest, value);
        range.highest = isFirst ? value : std::max(range.highest, value);
        isFirst = false;
    }
    return range;
}

/// Whether any pixel of the block that a pixel of the result stands for has data.
bool hasData(const Raster& source, int factor, int x, int y)
{
    for (int row = y * factor; row < (y + 1) * factor; ++row)
        for (int column = x * factor; column < (x + 1) * factor; ++column)
            if (source.at(0, column, row) != noData)
                return true;
    return false;
}

void countOutside(const Raster& result, const Range& range, Figures& figures)
{
    figures["holes.pixels"] = static_cast<double>(result.pixels.size());
    double& outside = figures["holes.outside"];
    float lowest = range.highest;
    for (const float value : result.pixels) {
        if (value == noData)
            continue;
        outside += range.contains(value) ? 0.0 : 1.0;
        lowest = std::min(lowest, value);
    }
    figures["holes.lowest"] = double{lowest};
}

} // namespace

void measureHoles(const Results& results, Figures& figures)
{
    if (!results.has("holes"))
        return;
    const Raster source = drawn(sceneNamed("holes"));
    const Raster result = results.read("holes");
    countOutside(result, rangeOfData(source), figures);

    double& blocks = figures["holes.blocks"];
    double& lost = figures["holes.lost"];
    double& filled = figures["holes.filled"];
    for (int y = 0; y < result.height; ++y)
        for (int x = 0; x < result.width; ++x) {
            const bool isHole = result.at(0, x, y) == noData;
            const bool wasData = hasData(source, results.factor(), x, y);
            blocks += wasData ? 1.0 : 0.0;
            lost += wasData && isHole ? 1.0 : 0.0;
            filled += !wasData && !isHole ? 1.0 : 0.0;
        }
}

} // namespace quality
