#ifndef VEXEL_QUALITY_DOWNSAMPLE_H
#define VEXEL_QUALITY_DOWNSAMPLE_H

#include <vexel/vexel.h>

#include <string>
#include <vector>

namespace quality {

enum class Holes
{
    ByDefault,
    LeftOut ///< by `DownsamplerBase::leaveHolesOut`
};

struct Strategy
{
    const char* name;
    vexel::DownsamplingStrategy value;
    Holes holes = Holes::ByDefault;
};

/// The Gaussian with holes left out, among the strategies.
constexpr const char* gaussWithHolesLeftOut = "gauss, holes left out";

const std::vector<Strategy>& strategies();

/// Those that reduce each block of pixels by itself.
bool isBlockStrategy(const std::string& name);

/// With holes left out or not.
bool isGauss(const Strategy& strategy);

/// Input pixels per output pixel.
constexpr int factors[] = {2, 3, 4, 8};

/// Runs the library on all scenes of a folder, by every strategy and factor. Results go to
/// `outputFolder`/STRATEGY/FACTOR/SCENE.tif. The warp strategy is left out of tile sets, which it does not
/// read.
/// @throws std::runtime_error
void downsampleScenes(const std::string& inputFolder, const std::string& outputFolder);

} // namespace quality

#endif
