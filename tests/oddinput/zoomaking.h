#ifndef VEXEL_TESTS_ODDINPUT_ZOOMAKING_H
#define VEXEL_TESTS_ODDINPUT_ZOOMAKING_H

#include "support/rasters.h"

#include <QString>

#include <functional>
#include <string>
#include <vector>

/// How rasters of odd layouts are made by GDAL.
namespace zoo {

using rasters::Description;
using Options = std::vector<std::string>;

/// Changes a dataset beyond its pixels.
using Change = std::function<void(GDALDataset& dataset)>;

/// Makes a file at a path.
using Make = std::function<void(const QString& path)>;

/// Noise over the range of the type; of floating types also what no integer can hold.
rasters::PixelValue noiseFor(const Description& d);

/// Throws that GDAL cannot set `what` unless it is done.
void expect(bool done, const char* what);

/// A raster in memory, filled and changed.
rasters::Dataset inMemory(const Description& d, const Change& change);

/// Writes a copy of the raster with the driver of the description.
void copyTo(const QString& path, const Description& d, const Options& options, GDALDataset& source);

/// Copies a raster that was changed in memory, and changes the file in turn.
Make copied(const Description& d, const Change& before, const Change& after = nullptr);

/// Writes noise.
Make created(const Description& d);

/// Writes these bytes.
Make text(const std::string& content);

/// Changes that give a raster what they are named for.
Change colourTable(int colours);
Change colours(std::vector<GDALColorInterp> interpretations);
void tiePoints(GDALDataset& dataset);
void noDataScaleAndOffset(GDALDataset& dataset);
void pixelIsPoint(GDALDataset& dataset);
void maskInFile(GDALDataset& dataset);
void overviews(GDALDataset& dataset);
void overviewsAndMask(GDALDataset& dataset);

} // namespace zoo

#endif
