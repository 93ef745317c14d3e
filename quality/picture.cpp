#include "picture.h"

#include "scenes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <vector>

namespace quality {

namespace {

using Colour = std::array<float, 4>;

Colour gray(float shade)
{
    return {shade, shade, shade, 255.0f};
}

/// The deeper below the data, the darker the red.
Colour colourOf(float value, float lowest, float highest)
{
    if (value == noData)
        return {0.0f, 0.0f, 0.0f, 0.0f};
    if (value < lowest || value > highest)
        return {std::clamp(255.0f + (value - lowest) / 40.0f, 90.0f, 255.0f), 30.0f, 30.0f, 255.0f};
    return gray(std::round(40.0f + 215.0f * (value - lowest) / (highest - lowest)));
}

template <class Function>
Raster painted(const Raster& result, Function colourAt)
{
    Raster picture;
    picture.width = result.width;
    picture.height = result.height;
    picture.bands = 4;
    picture.pixels.resize(static_cast<std::size_t>(result.width) * static_cast<std::size_t>(result.height) *
                          4);
    for (int y = 0; y < result.height; ++y)
        for (int x = 0; x < result.width; ++x) {
            const Colour colour = colourAt(x, y);
            for (int band = 0; band < 4; ++band)
                picture.at(band, x, y) = colour[static_cast<std::size_t>(band)];
        }
    return picture;
}

Raster paintedLand(const Raster& result, const Raster& scene)
{
    std::vector<float> valid;
    std::remove_copy(scene.pixels.begin(), scene.pixels.end(), std::back_inserter(valid), noData);
    const auto [lowest, highest] = std::minmax_element(valid.begin(), valid.end());
    return painted(result, [&result, low = *lowest, high = *highest](int x, int y) {
        return colourOf(result.at(0, x, y), low, high);
    });
}

} // namespace

void writePicture(const std::string& sceneName, const std::string& resultPath, const std::string& picturePath)
{
    const Scene& scene = sceneNamed(sceneName);
    const Raster result = readRaster(resultPath, scene.width);
    if (scene.kind == PixelKind::Rgba)
        writePng(picturePath, result);
    else if (scene.kind == PixelKind::Gray)
        writePng(picturePath, painted(result, [&result](int x, int y) { return gray(result.at(0, x, y)); }));
    else
        writePng(picturePath, paintedLand(result, drawn(scene)));
}

} // namespace quality
