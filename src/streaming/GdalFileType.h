#ifndef VEXEL_STREAMING_GDALFILETYPE_H
#define VEXEL_STREAMING_GDALFILETYPE_H

#include <cstdint>

namespace vexel {

/// How a raster set is stored on the disk. Any value other than 0 means a single file.
enum class GdalFileType : std::int32_t
{
    TileSet = 0,   ///< one file per tile of a grid, named by `gdal::tile2path`
    SingleFile = 1 ///< one file
};

} // namespace vexel

#endif
