#ifndef VEXEL_QUALITY_PICTURE_H
#define VEXEL_QUALITY_PICTURE_H

#include <string>

namespace quality {

/// Writes the result of a scene as a PNG that can be looked at. Elevations are grays; their holes are
/// transparent, and values that are neither no-data nor in the range of the scene's data are red.
/// @throws std::runtime_error
void writePicture(const std::string& scene, const std::string& resultPath, const std::string& picturePath);

} // namespace quality

#endif
