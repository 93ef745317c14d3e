#include "measures.h"
#include "scenes.h"

#include <algorithm>
#include <cmath>

namespace quality {

namespace {

/// Pixels nearer to the border of the raster, to the north and south, are left out.
constexpr double frame = 32.0;
/// Farther from the hole than this the western or eastern border is nearer.
constexpr double farthest = 48.0;

/// A number as the name of a figure has it: without zeros at the end.
std::string nameOf(double number)
{
    std::string text = std::to_string(number);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.')
        text.pop_back();
    return text;
}

/// Calls with the distance from the hole and the value of each pixel that has one.
template <class Function>
void forEachPixelBeside(const Raster& result, Function function)
{
    const double height = result.pixelSize * result.height;
    for (int y = 0; y < result.height; ++y)
        for (int x = 0; x < result.width; ++x) {
            const double fromTop = result.centreY(y);
            const double distance = edge::distance(result.centreX(x), fromTop);
            const float value = result.at(0, x, y);
            if (value != noData && distance < farthest && fromTop > frame && fromTop < height - frame)
                function(distance, double{value});
        }
}

} // namespace

void measureEdge(const Results& results, Figures& figures)
{
    if (!results.has("edge"))
        return;
    constexpr double level = double{edge::level};
    double lowest = level;
    double highest = level;
    forEachPixelBeside(results.read("edge"), [&](double distance, double value) {
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
        for (const double error : {1000.0, 100.0, 10.0, 1.0, 0.1, 0.01}) {
            double& reach = figures["edge.reach." + nameOf(error)];
            if (std::abs(value - level) > error)
                reach = std::max(reach, distance);
        }
        double& largest = figures["edge.error." + nameOf(std::round(std::abs(distance)))];
        largest = std::max(largest, std::abs(value - level));
    });
    figures["edge.lowest"] = lowest;
    figures["edge.highest"] = highest;
}

} // namespace quality
