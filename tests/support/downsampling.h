#ifndef VEXEL_TESTS_SUPPORT_DOWNSAMPLING_H
#define VEXEL_TESTS_SUPPORT_DOWNSAMPLING_H

#include "companion/Worker.h"
#include "support/rasters.h"

#include <QString>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Rasters to downsample, and jobs run as a job runner does it.
namespace downsampling {

/// `do_init`, then every step in order. False if the job cannot run or a step failed.
bool run(vexel::Worker& job);

/// Does one step of a job, whose class may keep that to itself.
bool doStep(vexel::Worker& job, std::size_t step = 0);

/// A raster of `width` by `height` pixels in a map frame of metres, with pixels of `res` units of 1e-5 m.
rasters::Description mapped(int width, int height, GDALDataType type, int bands = 1,
                            std::int64_t res = 100000);

/// Cuts the raster into a grid of files of `tileWidth` by `tileHeight` pixels, those of the last column and
/// row smaller. They are named dir/name_1_1.tif and so on from dir/name.tif, which does not come to be
/// itself.
void makeTiles(const QString& path, const rasters::Description& whole, int tileWidth, int tileHeight,
               const rasters::PixelValue& value);

/// The path of a tile file, column and row counted from 1.
QString tilePath(const QString& path, int column, int row);

/// What GDAL turns the values into when it writes them to a raster of that type.
std::vector<double> stored(const std::vector<float>& values, GDALDataType type);

/// Says where the first difference is and how many there are; empty if the values are the same to the bit, a
/// NaN being the same as any other.
std::string difference(const std::vector<double>& expected, const std::vector<double>& actual, int width);

/// True if `text` is what the C library says to some error.
bool isErrnoText(const std::string& text);

/// The name of a row of pixel types.
std::string typeName(const testing::TestParamInfo<GDALDataType>& row);

} // namespace downsampling

#endif
