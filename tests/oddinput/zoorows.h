#ifndef VEXEL_TESTS_ODDINPUT_ZOOROWS_H
#define VEXEL_TESTS_ODDINPUT_ZOOROWS_H

#include "zoo.h"
#include "zoomaking.h"

#include <array>
#include <optional>
#include <string>

/// Rows of the tables of odd layouts. Unless they say otherwise, rasters have 37 by 29 pixels.
namespace zoo {

using Coefficients = std::array<double, 6>;

constexpr Coefficients northUp{500000.0, 0.5, 0.0, 4100000.0, 0.0, -0.5};

/// A GeoTIFF.
Description described(GDALDataType type, int bands, const Options& options = {},
                      const std::optional<Coefficients>& geotransform = northUp);

/// A file of another driver, without a georeference.
Description describedFor(const std::string& driverName, GDALDataType type, int bands,
                         const Options& options = {});

/// The same with another number of bands than were written, which is what GDAL makes of the colour space.
Specimen readWithBands(Specimen specimen, int bands);

/// A file of the driver that the description names.
Specimen row(const std::string& name, const std::string& extension, const Description& d,
             Make make = nullptr);

/// GeoTIFF files.
Specimen tiff(const std::string& name, GDALDataType type, int bands, const Options& options = {});
Specimen tiffOf(const std::string& name, const Description& d);
Specimen tiffChanged(const std::string& name, const Description& d, const Change& before,
                     const Change& after = nullptr);

/// A GeoTIFF of another size.
Description sized(int columns, int rows);

/// A GeoTIFF at another place.
Specimen placed(const std::string& name, const std::optional<Coefficients>& geotransform);

/// Files that are written as a copy of a changed raster.
Specimen image(const std::string& name, const std::string& driverName, const std::string& extension,
               GDALDataType type, int bands, const Options& options = {}, const Change& change = nullptr);
Specimen png(const std::string& name, GDALDataType type, int bands, const Options& options = {},
             const Change& change = nullptr);
Specimen jpeg(const std::string& name, int bands, const Options& options = {},
              const Change& change = nullptr);
Specimen interlaced(const std::string& name, int samples);

/// A text in the virtual format. Its source, "source.tif", is put beside it.
Specimen virtualRaster(const std::string& name, GDALDataType type, const std::string& content);

/// Elements of that format.
std::string dataset(const std::string& size, const std::string& content);
std::string band(const std::string& type, const std::string& content);
std::string source(const std::string& kind, const std::string& rectangles);

/// The size of most rasters, as that format states it.
constexpr char fullSize[] = "rasterXSize=\"37\" rasterYSize=\"29\"";

} // namespace zoo

#endif
