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
    step.sigma = gaussSigma(factor);
    step.readBox = grownWithin(tile, saturate32(roundHalfAway(marginInSigmas * step.sigma)), bounds);
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

std::string textOf(const PixelBox& box)
{
    return "RECT{" + textOf(box.min_corner()) + ", " + textOf(box.max_corner()) + "}";
}

} // namespace vexel
