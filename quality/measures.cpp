#include "measures.h"

#include "scenes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <utility>

namespace quality {

namespace {

/// Width of the test raster of a scene or tile set.
int widthOf(const std::string& name)
{
    for (const SceneTiles& tiles : sceneTiles())
        if (tiles.name == name)
            return sceneNamed(tiles.scene).width;
    return sceneNamed(name).width;
}

} // namespace

Results::Results(std::string folder, int factor) : m_folder(std::move(folder)), m_factor(factor) {}

Raster Results::read(const std::string& name) const
{
    return readRaster(pathOf(name), widthOf(name));
}

/// Overviews lie beside a link to the raster that they belong to, so they are looked for first. Sets are written
/// in tiles far larger than any result.
std::string Results::pathOf(const std::string& name) const
{
    for (const char* ending : {".tif.ovr", ".vrt.ovr", ".tif", "_1_1.tif"}) {
        const std::string path = m_folder + "/" + name + ending;
        if (std::filesystem::exists(path))
            return path;
    }
    return "";
}

Difference differenceOf(const Raster& one, const Raster& other)
{
    Difference difference;
    difference.isSameSize =
        one.width == other.width && one.height == other.height && one.bands == other.bands;
    if (!difference.isSameSize)
        return difference;
    for (int y = 0; y < one.height; ++y)
        for (int x = 0; x < one.width; ++x) {
            double here = 0.0;
            for (int band = 0; band < one.bands; ++band)
                here = std::max(here, std::abs(double{one.at(band, x, y)} - double{other.at(band, x, y)}));
            difference.pixels += here > 0.0 ? 1.0 : 0.0;
            difference.largest = std::max(difference.largest, here);
        }
    return difference;
}

Figures measured(const Results& results)
{
    Figures figures;
    for (const auto measure : {measureRamp, measureOddSize, measureTiledRamp, measurePoints, measureHoles,
                               measureEdge, measureHalo, measureSeams, measureAliasing})
        measure(results, figures);
    return figures;
}

} // namespace quality
