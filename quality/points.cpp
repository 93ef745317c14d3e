#include "measures.h"
#include "scenes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace quality {

namespace {

/// A point whose sum is less than this share of what it was counts as gone.
constexpr double leastVolume = 0.01;

/// What a result has within the cell of one point: its sum, and the moments about the point.
struct Response
{
    double sum = 0.0;
    double x = 0.0;
    double y = 0.0;
};

std::vector<Response> responsesOf(const Raster& result, int band)
{
    std::vector<Response> responses(static_cast<std::size_t>(points::cells) * points::cells);
    for (int y = 0; y < result.height; ++y)
        for (int x = 0; x < result.width; ++x) {
            const int column = static_cast<int>(result.centreX(x)) / points::cell;
            const int row = static_cast<int>(result.centreY(y)) / points::cell;
            const double pointX = column * points::cell + points::cell / 2.0;
            const double pointY = row * points::cell + points::cell / 2.0;
            const double value = double{result.at(band, x, y)};
            const double height = band == 0 ? value : double{points::height} - value;
            Response& response = responses[static_cast<std::size_t>(row * points::cells + column)];
            response.sum += height;
            response.x += height * (result.centreX(x) - pointX);
            response.y += height * (result.centreY(y) - pointY);
        }
    return responses;
}

/// The points of both bands that are left.
struct Kept
{
    double count = 0.0;
    double x = 0.0; ///< of the centroids
    double y = 0.0;
    double squares = 0.0; ///< of their distances from the points
    double volume = 0.0;
};

/// Returns the share that is kept.
double addPoints(const Raster& result, int band, Kept& kept)
{
    const double pixelArea = result.pixelSize * result.pixelSize;
    double count = 0.0;
    const std::vector<Response> responses = responsesOf(result, band);
    for (const Response& response : responses) {
        const double volume = response.sum * pixelArea / double{points::height};
        if (volume < leastVolume)
            continue;
        const double x = response.x / response.sum;
        const double y = response.y / response.sum;
        count += 1.0;
        kept.count += 1.0;
        kept.x += x;
        kept.y += y;
        kept.squares += x * x + y * y;
        kept.volume += volume;
    }
    return count / static_cast<double>(responses.size());
}

} // namespace

void measurePoints(const Results& results, Figures& figures)
{
    if (!results.has("points"))
        return;
    const Raster result = results.read("points");
    Kept kept;
    figures["points.high"] = addPoints(result, 0, kept);
    figures["points.low"] = addPoints(result, 1, kept);
    if (kept.count == 0.0)
        return;
    const double x = kept.x / kept.count;
    const double y = kept.y / kept.count;
    figures["points.x"] = x;
    figures["points.y"] = y;
    figures["points.scatter"] = std::sqrt(std::max(0.0, kept.squares / kept.count - x * x - y * y));
    figures["points.volume"] = kept.volume / kept.count;
}

} // namespace quality
