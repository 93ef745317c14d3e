#ifndef VEXEL_UTILITIES_TILELAYOUT_H
#define VEXEL_UTILITIES_TILELAYOUT_H

#include "streaming/writetargets.h"
#include "utilities/filecheck.h"
#include "utilities/verify.h"

#include <QString>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace vexel::gdal::verification {

/// A tile that can be read: its place by its name, and the description in its header.
struct Tile
{
    TileFile file;
    Description description;

    int width() const { return description.extent.pixelWidth(); }
    int height() const { return description.extent.pixelHeight(); }
    std::int64_t pixelWidth() const { return description.extent.res(); }
    std::int64_t pixelHeight() const { return description.extent.height() / std::max(description.rows, 1); }
    std::int64_t mapWidth() const { return description.extent.width(); }
    std::int64_t mapHeight() const { return description.extent.height(); }
};

/// Checks whether tiles fill the grid that their names span, and have equal bands, types and pixel sizes. If tiles differ,
/// the majority is taken to be right, the smallest value of several. It opens no file.
///
/// @param path  the path that the tiles are named from.
/// @param files all tile files, also those that cannot be read.
/// @param tiles the tiles that can be read.
VerifyReport checkLayout(const QString& path, const std::vector<TileFile>& files,
                         const std::vector<Tile>& tiles);

} // namespace vexel::gdal::verification

#endif
