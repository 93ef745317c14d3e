#include "measures.h"
#include "scenes.h"

#include <algorithm>
#include <cmath>

namespace quality {

namespace {

/// Width of the frame, in pixels of the test raster, where the border of the raster plays a part.
constexpr double frame = 24.0;

/// Where a pixel's content lies, and how high, against where it should.
struct Error
{
    double position;
    double level;
};

/// From a ramp that rises and one that falls. Content that lies too far east makes the one too low and the
/// other too high; what lifts values, like a maximum, lifts both.
Error errorOf(double rising, double falling, double centre)
{
    const double aboveRising = rising - centre;
    const double aboveFalling = falling + centre;
    return {(aboveFalling - aboveRising) / 2.0, (aboveFalling + aboveRising) / 2.0};
}

Error alongX(const Raster& ramp, int x, int y)
{
    return errorOf(double{ramp.at(0, x, y)}, double{ramp.at(2, x, y)}, ramp.centreX(x));
}

Error alongY(const Raster& ramp, int x, int y)
{
    return errorOf(double{ramp.at(1, x, y)}, double{ramp.at(3, x, y)}, ramp.centreY(y));
}

bool isInside(const Raster& ramp, int x, int y, int size)
{
    const auto within = [size](double centre) { return centre > frame && centre < size - frame; };
    return within(ramp.centreX(x)) && within(ramp.centreY(y));
}

/// Calls with each pixel and whether it is inside.
template <class Function>
void forEachPixel(const Raster& raster, int size, Function function)
{
    for (int y = 0; y < raster.height; ++y)
        for (int x = 0; x < raster.width; ++x)
            function(x, y, isInside(raster, x, y, size));
}

struct Means
{
    Error x{};
    Error y{};
};

Means meansInside(const Raster& ramp, int size)
{
    Means means;
    double count = 0.0;
    forEachPixel(ramp, size, [&](int x, int y, bool inside) {
        if (!inside)
            return;
        const Error eastward = alongX(ramp, x, y);
        const Error southward = alongY(ramp, x, y);
        count += 1.0;
        means.x.position += (eastward.position - means.x.position) / count;
        means.x.level += (eastward.level - means.x.level) / count;
        means.y.position += (southward.position - means.y.position) / count;
        means.y.level += (southward.level - means.y.level) / count;
    });
    return means;
}

double distance(const Error& one, const Error& other)
{
    return std::max(std::abs(one.position - other.position), std::abs(one.level - other.level));
}

/// Largest error of position inside.
double largestShift(const Raster& ramp, int size)
{
    double largest = 0.0;
    forEachPixel(ramp, size, [&](int x, int y, bool inside) {
        if (inside)
            largest = std::max(
                {largest, std::abs(alongX(ramp, x, y).position), std::abs(alongY(ramp, x, y).position)});
    });
    return largest;
}

} // namespace

void measureRamp(const Results& results, Figures& figures)
{
    if (!results.has("ramp"))
        return;
    const Raster ramp = results.read("ramp");
    const int size = sceneNamed("ramp").width;
    const Means means = meansInside(ramp, size);
    figures["ramp.x"] = means.x.position;
    figures["ramp.y"] = means.y.position;
    figures["ramp.lift"] = (means.x.level + means.y.level) / 2.0;
    double& spread = figures["ramp.spread"];
    double& border = figures["ramp.border"];
    forEachPixel(ramp, size, [&](int x, int y, bool inside) {
        const double here =
            std::max(distance(alongX(ramp, x, y), means.x), distance(alongY(ramp, x, y), means.y));
        double& largest = inside ? spread : border;
        largest = std::max(largest, here);
    });
}

void measureOddSize(const Results& results, Figures& figures)
{
    if (!results.has("ramp-250"))
        return;
    const Raster ramp = results.read("ramp-250");
    figures["odd.width"] = ramp.width;
    figures["odd.pixel"] = ramp.pixelSize;
    figures["odd.rest"] = ramp.left + ramp.width * ramp.pixelSize - sceneNamed("ramp-250").width;
    figures["odd.shift"] = largestShift(ramp, sceneNamed("ramp-250").width);
}

void measureTiledRamp(const Results& results, Figures& figures)
{
    if (results.has("ramp-100"))
        figures["tiles.shift"] = largestShift(results.read("ramp-100"), sceneNamed("ramp").width);
}

} // namespace quality
