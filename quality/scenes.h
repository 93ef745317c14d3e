#ifndef VEXEL_QUALITY_SCENES_H
#define VEXEL_QUALITY_SCENES_H

#include "Raster.h"

#include <string>
#include <vector>

/// The test rasters: what is in them, by formulas.
namespace quality {

/// A test raster.
struct Scene
{
    const char* name;
    int width;
    int height;
    int bands;
    PixelKind kind;
    float (*value)(int band, int x, int y);
};

/// The same raster as a set of tile files.
struct SceneTiles
{
    const char* name; ///< of the set
    const char* scene;
    int tileSize;
};

/// Sizes are multiples of all factors but for the one that is made not to be.
const std::vector<Scene>& scenes();
const std::vector<SceneTiles>& sceneTiles();

/// @throws std::logic_error for a name that there is not.
const Scene& sceneNamed(const std::string& name);

Raster drawn(const Scene& scene);

/// Writes all scenes and tile sets into a folder.
void writeScenes(const std::string& folder);

/// What the measurements have to know of the scenes.
namespace points {
constexpr int cell = 49;       ///< points are that far apart, so that each phase of each factor occurs
constexpr int cells = 24;      ///< along each side
constexpr float height = 1000; ///< of a point above the ground, or of the ground above a point
} // namespace points

/// A plain with a straight hole across, which is not quite parallel to the columns: pixels of the result lie at
/// all distances from its borders.
namespace edge {
constexpr float level = 500; ///< of the plain
/// Distance of a position from the hole, to the west or east; negative inside.
double distance(double x, double y);
} // namespace edge

namespace disc {
constexpr float colour[] = {200, 120, 40};
} // namespace disc

namespace sweep {
/// Cycles per pixel at a position, from 0 at the left to half a cycle at the right.
double frequency(double x);
} // namespace sweep

} // namespace quality

#endif
