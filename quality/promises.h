#ifndef VEXEL_QUALITY_PROMISES_H
#define VEXEL_QUALITY_PROMISES_H

#include <string>
#include <vector>

namespace quality {

/// What the library promises of its results, against what was measured of those in a folder. Returns what does
/// not hold, a line each; nothing if all does.
/// @throws std::runtime_error if a result cannot be read.
std::vector<std::string> brokenPromises(const std::string& resultFolder);

} // namespace quality

#endif
