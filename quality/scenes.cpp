#include "scenes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace quality {

namespace {

constexpr double pi = 3.14159265358979323846;
constexpr int pointsSize = points::cell * points::cells;
constexpr int landSize = 480;
constexpr int discSize = 240;
constexpr int plateSize = 480;
constexpr int sweepWidth = 4800;

/// The same numbers on every machine, without a pattern that anybody could see.
std::uint32_t hash(int x, int y)
{
    std::uint32_t h =
        static_cast<std::uint32_t>(x) * 0x9E3779B1u ^ static_cast<std::uint32_t>(y) * 0x85EBCA77u;
    h ^= h >> 15;
    h *= 0x2C1B3C6Du;
    h ^= h >> 12;
    h *= 0x297A2D39u;
    return h ^ (h >> 15);
}

double distance(double x, double y, double centreX, double centreY)
{
    return std::hypot(x - centreX, y - centreY);
}

/// Rises to the east and to the south, then falls to the east and to the south, by one a pixel.
float ramp(int band, int x, int y)
{
    const float position = static_cast<float>(band % 2 == 0 ? x : y) + 0.5f;
    return band < 2 ? position : -position;
}

/// High points on low ground, then low points on high ground.
float pointAbove(int band, int x, int y)
{
    const bool isPoint = x % points::cell == points::cell / 2 && y % points::cell == points::cell / 2;
    return isPoint == (band == 0) ? points::height : 0.0f;
}

/// Hills, to 1/64 of a unit so that the last digits of a sine play no part.
float land(int, int x, int y)
{
    const double height = 500.0 + 180.0 * std::sin(x / 37.0) * std::cos(y / 29.0) +
                          60.0 * std::sin((x + 2 * y) / 11.0) + 15.0 * std::sin(x * 0.9) * std::cos(y * 1.1);
    return static_cast<float>(std::round(height * 64.0) / 64.0);
}

/// Holes of many sizes and shapes: discs, a wedge, lines one pixel wide, and a corner with single pixels.
bool isHole(int x, int y)
{
    struct Disc
    {
        double x, y, radius;
    };
    static const Disc discs[] = {{240, 240, 38.4}, {300, 190, 17.3}, {180, 300, 9.7}, {330, 300, 5.2},
                                 {150, 190, 2.6},  {262, 330, 1.2},  {400, 400, 60},  {60, 420, 30}};
    const bool inDisc = std::any_of(std::begin(discs), std::end(discs), [x, y](const Disc& disc) {
        return distance(x, y, disc.x, disc.y) < disc.radius;
    });
    const bool inWedge = x >= 300 && x < 470 && y >= 40 && (y - 40) * 4 < x - 300;
    const bool onLine = (x == 205 && y > 130 && y < 350) || (y == 173 && x > 130 && x < 350) ||
                        (x - y == 61 && x > 180 && x < 420);
    const bool isSpeck = x < 110 && y < 110 && hash(x, y) % 32 == 0;
    return inDisc || inWedge || onLine || isSpeck;
}

float landWithHoles(int band, int x, int y)
{
    return isHole(x, y) ? noData : land(band, x, y);
}

float plainBesideHole(int, int x, int y)
{
    return edge::distance(x + 0.5, y + 0.5) < 0.0 ? noData : edge::level;
}

/// A large disc, small ones, a ring and a line, of one colour.
bool isOpaque(int x, int y)
{
    const double radius = distance(x, y, 120.3, 119.6);
    const bool inDisc = radius < 70.2 || (radius > 90.0 && radius < 91.4) || distance(x, y, 30, 31) < 12.4 ||
                        distance(x, y, 211, 28) < 5.5 || distance(x, y, 28, 212) < 2.3;
    const bool onLine = x - y == 3 && x > 190;
    return inDisc || onLine;
}

float discOn(float ground, int band, int x, int y)
{
    const bool opaque = isOpaque(x, y);
    if (band == 3)
        return opaque ? 255.0f : 0.0f;
    return opaque ? disc::colour[band] : ground;
}

float discOnWhite(int band, int x, int y)
{
    return discOn(255.0f, band, x, y);
}

float discOnBlack(int band, int x, int y)
{
    return discOn(0.0f, band, x, y);
}

/// A wave whose frequency grows with the distance from where it starts, up to half a cycle a pixel.
double wave(double distance, double whole)
{
    // The frequency is the derivative of the phase, in cycles.
    const double phase = 2.0 * pi * 0.25 * distance * distance / whole;
    return 127.5 + 127.5 * std::cos(phase);
}

float waveAlongX(int, int x, int)
{
    return static_cast<float>(wave(x + 0.5, sweepWidth));
}

float rings(int, int x, int y)
{
    const double radius = distance(x + 0.5, y + 0.5, plateSize / 2.0, plateSize / 2.0);
    return static_cast<float>(std::round(wave(radius, plateSize / 2.0)));
}

void writeTiles(const std::string& folder, const SceneTiles& tiles)
{
    const Scene& scene = sceneNamed(tiles.scene);
    const Raster raster = drawn(scene);
    for (int y = 0; y < scene.height; y += tiles.tileSize)
        for (int x = 0; x < scene.width; x += tiles.tileSize) {
            const std::string position =
                std::to_string(x / tiles.tileSize + 1) + "_" + std::to_string(y / tiles.tileSize + 1);
            const Box part{x, y, std::min(tiles.tileSize, scene.width - x),
                           std::min(tiles.tileSize, scene.height - y)};
            writeGeoTiff(folder + "/" + tiles.name + "_" + position + ".tif", raster, scene.kind, part);
        }
}

} // namespace

double edge::distance(double x, double y)
{
    constexpr double west = 84.0; // at the top
    constexpr double width = 60.0;
    constexpr double slant = 0.1; // columns to the east for each row
    const double fromWest = x - west - slant * y;
    return std::max(-fromWest, fromWest - width) / std::hypot(1.0, slant);
}

double sweep::frequency(double x)
{
    return 0.5 * x / sweepWidth;
}

const std::vector<Scene>& scenes()
{
    static const std::vector<Scene> all = {
        {"ramp", 192, 192, 4, PixelKind::Float, ramp},
        {"ramp-250", 250, 250, 4, PixelKind::Float, ramp},
        {"points", pointsSize, pointsSize, 2, PixelKind::Float, pointAbove},
        {"land", landSize, landSize, 1, PixelKind::Float, land},
        {"holes", landSize, landSize, 1, PixelKind::FloatWithHoles, landWithHoles},
        {"edge", 240, 240, 1, PixelKind::FloatWithHoles, plainBesideHole},
        {"on-white", discSize, discSize, 4, PixelKind::Rgba, discOnWhite},
        {"on-black", discSize, discSize, 4, PixelKind::Rgba, discOnBlack},
        {"sweep", sweepWidth, 24, 1, PixelKind::Float, waveAlongX},
        {"zone-plate", plateSize, plateSize, 1, PixelKind::Gray, rings},
    };
    return all;
}

const std::vector<SceneTiles>& sceneTiles()
{
    static const std::vector<SceneTiles> all = {
        {"ramp-100", "ramp", 100}, {"land-96", "land", 96},     {"land-100", "land", 100},
        {"holes-96", "holes", 96}, {"holes-100", "holes", 100},
    };
    return all;
}

const Scene& sceneNamed(const std::string& name)
{
    for (const Scene& scene : scenes())
        if (scene.name == name)
            return scene;
    throw std::logic_error("There is no scene '" + name + "'");
}

Raster drawn(const Scene& scene)
{
    Raster raster;
    raster.width = scene.width;
    raster.height = scene.height;
    raster.bands = scene.bands;
    for (int band = 0; band < scene.bands; ++band)
        for (int y = 0; y < scene.height; ++y)
            for (int x = 0; x < scene.width; ++x)
                raster.pixels.push_back(scene.value(band, x, y));
    return raster;
}

void writeScenes(const std::string& folder)
{
    for (const Scene& scene : scenes())
        writeGeoTiff(folder + "/" + scene.name + ".tif", drawn(scene), scene.kind);
    for (const SceneTiles& tiles : sceneTiles())
        writeTiles(folder, tiles);
}

} // namespace quality
