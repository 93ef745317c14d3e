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

namespace {

/// The row or column that output row or column `index` is sampled at: the centre of its block, in what is read.
std::int64_t samplePosition(std::int64_t index, double factor, int offset)
{
    return arithmetic::truncate(std::floor((static_cast<double>(index) + 0.5) * factor + offset));
}

/// @param results   of the tile.
/// @param reached   pixels of the tile with its margin: results sampled beyond them have none.
/// @param available pixels up to the raster's edge.
GaussAxis axisOf(std::int64_t results, double factor, int offset, std::int64_t margin, std::int64_t reached,
                 std::int64_t available)
{
    GaussAxis axis;
    for (std::int64_t i = 0; i < results; ++i) {
        const std::int64_t sample = samplePosition(i, factor, offset);
        if (sample >= reached)
            break;
        const std::int64_t start = std::max<std::int64_t>(0, sample - margin);
        axis.samples.push_back(static_cast<std::ptrdiff_t>(sample));
        axis.windows.push_back({start, std::min(available, sample + margin + 1) - start});
    }
    return axis;
}

std::int64_t endOf(const GaussAxis& axis)
{
    return axis.windows.empty() ? 0 : axis.windows.back().start + axis.windows.back().length;
}

} // namespace

GaussStep planGaussStep(const PixelBox& tile, const PixelBox& bounds, double factor)
{
    GaussStep step{};
    step.sigma = gaussSigma(factor);
    step.margin = saturate32(roundHalfAway(marginInSigmas * step.sigma));
    const PixelBox reached = grownWithin(tile, step.margin, bounds);
    const PixelPoint& corner = reached.min_corner();
    step.xOffset = tile.min_corner().x() - corner.x();
    step.yOffset = tile.min_corner().y() - corner.y();
    const std::int64_t columns = resultLength(tile.min_corner().x(), tile.max_corner().x(), factor);
    const std::int64_t rows = resultLength(tile.min_corner().y(), tile.max_corner().y(), factor);
    step.columns = axisOf(columns, factor, step.xOffset, step.margin,
                          reached.max_corner().x() - std::int64_t{corner.x()},
                          bounds.max_corner().x() - std::int64_t{corner.x()});
    step.rows =
        axisOf(rows, factor, step.yOffset, step.margin, reached.max_corner().y() - std::int64_t{corner.y()},
               bounds.max_corner().y() - std::int64_t{corner.y()});
    step.readBox = {corner, PixelPoint(saturate32(corner.x() + endOf(step.columns)),
                                       saturate32(corner.y() + endOf(step.rows)))};
    const int x0 = outputPosition(tile.min_corner().x(), factor);
    const int y0 = outputPosition(tile.min_corner().y(), factor);
    step.outBox = {PixelPoint(x0, y0), PixelPoint(saturate32(x0 + columns), saturate32(y0 + rows))};
    return step;
}

std::string textOf(const PixelBox& box)
{
    return "RECT{" + textOf(box.min_corner()) + ", " + textOf(box.max_corner()) + "}";
}

} // namespace vexel
