#ifndef VEXEL_TESTS_SUPPORT_RASTERS_H
#define VEXEL_TESTS_SUPPORT_RASTERS_H

#include <QString>

#include <gdal_priv.h>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Rasters made and read by GDAL alone, to hand to the library and to judge what it wrote.
namespace rasters {

struct CloseDataset
{
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<GDALDataset, CloseDataset>;

struct Description
{
    int width = 1;
    int height = 1;
    int bands = 1;
    GDALDataType type = GDT_Byte;
    std::optional<std::array<double, 6>> geotransform = {};
    std::string driver = "GTiff";
    std::vector<std::string> options = {}; ///< creation options, NAME=VALUE
    std::string wkt = {};
};

/// Value of a pixel; `band` counts from 1.
using PixelValue = std::function<double(int x, int y, int band)>;

/// GDAL's driver of that name. Throws if there is none.
GDALDriver& driver(const std::string& name);

/// Writes a file with the given pixels. PNG and JPEG go through a copy. Throws if GDAL refuses.
void make(const QString& path, const Description& description, const PixelValue& value);

/// Writes a raster of zeros as a text in GDAL's virtual format, which takes any pixel types and any
/// geotransform.
void makeVirtual(const QString& path, int width, int height, const std::vector<GDALDataType>& bandTypes,
                 const std::optional<std::array<double, 6>>& geotransform = {});

/// Opens a file read-only, or for update; null if it cannot be opened. Registers GDAL's drivers when needed.
Dataset open(const QString& path, bool update = false);

/// All pixels of one band in row-major order, as doubles. Throws if the file or the band cannot be read.
std::vector<double> pixels(const QString& path, int band = 1);

/// Number of datasets that are open in this process.
int openDatasets();

/// GDAL's text for a coordinate system of the EPSG register. Throws if there is none.
std::string wkt(int epsg);

/// A fixed, well mixed number from 0 to 1 for a place, to fill rasters with.
double noise(int x, int y, int band, unsigned seed = 0);

/// What a command prints on standard output. Throws if it fails. Arguments are quoted for the shell.
std::string run(const std::vector<std::string>& command);

} // namespace rasters

#endif
