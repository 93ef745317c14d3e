#include "downsamplers/gaussstep.h"

#include "downsamplers/tilestep.h"
#include "workspace/arithmetic.h"

#include <algorithm>
#include <cmath>

namespace vexel {

using arithmetic::roundHalfAway;
using arithmetic::saturate32;

namespace {

constexpr double sigmaCoefficient = 3.37;
constexpr double marginInSigmas = 5.0;

int outputPosition(int pixel, double factor)
{
    return saturate32(roundHalfAway(pixel / factor));
}

/// Number of results along one axis: the tile's share, and what is left up to where the next tile's output
/// starts.
std::int64_t resultLength(int tileMin, int tileMax, double factor)
{
    const std::int64_t share = roundHalfAway((tileMax - tileMin) / factor);
    const std::int64_t toNext =
        std::int64_t{outputPosition(tileMax, factor)} - outputPosition(tileMin, factor);
    return std::max(share, toNext);
}

std::string textOf(const PixelPoint& point)
{
    return "POINT(" + std::to_string(point.x()) + ", " + std::to_string(point.y()) + ")";
}

} // namespace

double gaussSigma(double factor)
{
    const double k = std::max(1.0, std::floor((factor + 0.5) * 0.5));
    return std::sqrt(sigmaCoefficient * k);
}

GaussStep planGaussStep(const PixelBox& tile, const PixelBox& bounds, double factor)
{
    GaussStep step{};
    step.factor = factor;
    step.sigma = gaussSigma(factor);
    step.margin = saturate32(roundHalfAway(marginInSigmas * step.sigma));
    step.readBox = grownWithin(tile, step.margin, bounds);
    step.xOffset = tile.min_corner().x() - step.readBox.min_corner().x();
    step.yOffset = tile.min_corner().y() - step.readBox.min_corner().y();
    step.columns = resultLength(tile.min_corner().x(), tile.max_corner().x(), factor);
    step.rows = resultLength(tile.min_corner().y(), tile.max_corner().y(), factor);
    const int x0 = outputPosition(tile.min_corner().x(), factor);
    const int y0 = outputPosition(tile.min_corner().y(), factor);
    step.outBox = {PixelPoint(x0, y0), PixelPoint(saturate32(x0 + step.columns), saturate32(y0 + step.rows))};
    return step;
}

std::int64_t samplePosition(std::int64_t index, double factor, int offset)
{
    return arithmetic::truncate(std::floor((static_cast<double>(index) + 0.5) * factor + offset));
}

namespace {

/// One axis of a step.
struct Axis
{
    std::int64_t results;
    std::int64_t pixels; ///< of what is read
    int offset;
};

/// How far a part reaches beyond what it samples: farther than a tile does, so that no cut can be seen in bytes.
std::int64_t reachOfPart(const GaussStep& step)
{
    return step.margin + (step.margin + 1) / 2;
}

std::vector<GaussPart> cutAxis(const Axis& axis, std::int64_t noParts, const GaussStep& step)
{
    const std::int64_t reach = reachOfPart(step);
    std::vector<GaussPart> parts;
    for (std::int64_t k = 0; k < noParts; ++k) {
        GaussPart part{axis.results * k / noParts, axis.results * (k + 1) / noParts, 0, axis.pixels};
        if (part.firstResult == part.endResult)
            continue;
        if (part.firstResult > 0)
            part.firstPixel =
                std::max<std::int64_t>(0, samplePosition(part.firstResult, step.factor, axis.offset) - reach);
        if (part.endResult < axis.results)
            part.endPixel = std::min(
                axis.pixels, samplePosition(part.endResult - 1, step.factor, axis.offset) + 1 + reach);
        parts.push_back(part);
    }
    return parts;
}

/// The fewest parts of which each is at most `most` long with its margins.
std::int64_t partsNeeded(std::int64_t length, std::int64_t margin, std::int64_t most)
{
    if (length <= most)
        return 1;
    const std::int64_t own = std::max<std::int64_t>(1, most - 2 * margin);
    return (length + own - 1) / own;
}

} // namespace

GaussParts cutIntoParts(const GaussStep& step, std::size_t noBands, std::size_t sampleBytes,
                        std::int64_t blockHeight, double mostBytes)
{
    const Axis rows{step.rows, std::int64_t{step.readBox.max_corner().y()} - step.readBox.min_corner().y(),
                    step.yOffset};
    const Axis columns{step.columns,
                       std::int64_t{step.readBox.max_corner().x()} - step.readBox.min_corner().x(),
                       step.xOffset};
    // The pixels of all bands, what is left of one band after the first direction, and the results.
    const double kept = 1.0 / step.factor;
    const double samples = static_cast<double>(noBands) * static_cast<double>(sampleBytes);
    const double bytes = samples * (1.0 + kept * kept) + sizeof(float) * kept;
    const auto most = static_cast<std::int64_t>(mostBytes / bytes);
    // Lower parts would consist of margins above all.
    const std::int64_t reach = reachOfPart(step);
    const std::int64_t lowest = 8 * reach + blockHeight;
    const std::int64_t noColumns =
        rows.pixels * columns.pixels <= most ? 1 : partsNeeded(columns.pixels, reach, most / lowest);
    const std::int64_t widest = std::min(columns.pixels, columns.pixels / noColumns + 2 * reach + 1);
    std::int64_t highest = most / std::max<std::int64_t>(widest, 1);
    if (highest < rows.pixels)
        highest -= blockHeight;
    const std::int64_t noRows = partsNeeded(rows.pixels, reach, std::max(highest, 4 * reach));
    return {cutAxis(rows, noRows, step), cutAxis(columns, noColumns, step)};
}

std::string textOf(const PixelBox& box)
{
    return "RECT{" + textOf(box.min_corner()) + ", " + textOf(box.max_corner()) + "}";
}

} // namespace vexel
