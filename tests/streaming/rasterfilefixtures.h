#ifndef VEXEL_TESTS_STREAMING_RASTERFILEFIXTURES_H
#define VEXEL_TESTS_STREAMING_RASTERFILEFIXTURES_H

#include "streaming/GDALStreamer.h"
#include "streamingsupport.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

/// What the tests of raster files share.
namespace streamingtest {

using vexel::DataType;
using File = vexel::GDALStreamer::gdal_t;

inline void makeByteFile(const QString& path, int width = 4, int height = 3)
{
    rasters::make(path, {width, height}, [](int x, int y, int) { return 10 * y + x; });
}

inline bool prepare(File& file, const QString& path, DataType type = DataType::UInt8)
{
    return file.openWrite(path, 1, type, pixelFrame(4, 3), "", "", "");
}

} // namespace streamingtest

#endif
