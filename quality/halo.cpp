#include "measures.h"
#include "scenes.h"

#include <algorithm>
#include <cmath>

namespace quality {

namespace {

constexpr int alphaBand = 3;
constexpr int colours = 3;

bool isVisible(const Raster& picture, int x, int y)
{
    return picture.at(alphaBand, x, y) > 0.0f;
}

/// Largest difference of the colours of a pixel in two pictures.
double colourDifference(const Raster& one, const Raster& other, int x, int y)
{
    double largest = 0.0;
    for (int band = 0; band < colours; ++band)
        largest = std::max(largest, std::abs(double{one.at(band, x, y)} - double{other.at(band, x, y)}));
    return largest;
}

/// How far the colour of a pixel is from that of the disc; 0 where nobody sees it.
double foreignness(const Raster& picture, int x, int y)
{
    double largest = 0.0;
    for (int band = 0; band < colours && isVisible(picture, x, y); ++band)
        largest = std::max(largest, std::abs(double{picture.at(band, x, y)} - double{disc::colour[band]}));
    return largest;
}

void count(double amount, double& pixels, double& largest)
{
    pixels += amount > 0.0 ? 1.0 : 0.0;
    largest = std::max(largest, amount);
}

} // namespace

void measureHalo(const Results& results, Figures& figures)
{
    if (!results.has("on-white") || !results.has("on-black"))
        return;
    const Raster onWhite = results.read("on-white");
    const Raster onBlack = results.read("on-black");
    double& visible = figures["halo.visible"];
    double& alpha = figures["halo.alpha"];
    for (int y = 0; y < onWhite.height; ++y)
        for (int x = 0; x < onWhite.width; ++x) {
            alpha += onWhite.at(alphaBand, x, y) != onBlack.at(alphaBand, x, y) ? 1.0 : 0.0;
            const bool isSeen = isVisible(onWhite, x, y) || isVisible(onBlack, x, y);
            visible += isSeen ? 1.0 : 0.0;
            count(isSeen ? colourDifference(onWhite, onBlack, x, y) : 0.0, figures["halo.differ"],
                  figures["halo.difference"]);
            count(std::max(foreignness(onWhite, x, y), foreignness(onBlack, x, y)), figures["halo.foreign"],
                  figures["halo.foreignness"]);
        }
}

} // namespace quality
