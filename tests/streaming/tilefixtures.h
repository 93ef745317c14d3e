#ifndef VEXEL_TESTS_STREAMING_TILEFIXTURES_H
#define VEXEL_TESTS_STREAMING_TILEFIXTURES_H

#include "streamingsupport.h"
#include "support/TempFolder.h"

#include <QString>

#include <algorithm>
#include <array>

/// The same noise raster as a single file and as a set of tile files, made by GDAL alone.
namespace streamingtest {

struct RasterShape
{
    int width = 13;
    int height = 6;
    int tileWidth = 5;
    int tileHeight = 4;
    int bands = 1;
};

inline rasters::Description placed(int x0, int y0, int width, int height, int bands, GDALDataType type)
{
    rasters::Description d{width, height, bands, type};
    d.geotransform = std::array<double, 6>{50.0 + x0, 1, 0, 90.0 - y0, 0, -1};
    return d;
}

/// single.tif, and the tiles of set.tif.
inline void makeBothRoads(const TempFolder& folder, const RasterShape& s, GDALDataType type,
                          const rasters::PixelValue& value)
{
    rasters::make(folder / "single.tif", placed(0, 0, s.width, s.height, s.bands, type), value);
    for (int x0 = 0, column = 1; x0 < s.width; x0 += s.tileWidth, ++column)
        for (int y0 = 0, row = 1; y0 < s.height; y0 += s.tileHeight, ++row)
            rasters::make(folder / QString("set_%1_%2.tif").arg(column).arg(row),
                          placed(x0, y0, std::min(s.tileWidth, s.width - x0),
                                 std::min(s.tileHeight, s.height - y0), s.bands, type),
                          [&](int x, int y, int band) { return value(x + x0, y + y0, band); });
}

} // namespace streamingtest

#endif
