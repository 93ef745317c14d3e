#include "zoorows.h"

#include "interlacedpng.h"
#include "support/rasters.h"

#include <gdal_priv.h>

#include <optional>
#include <utility>

namespace zoo {

namespace {

using vexel::DataType;

constexpr int width = 37;
constexpr int height = 29;

DataType readAs(GDALDataType type)
{
    switch (type) {
    case GDT_Byte:
        return DataType::UInt8;
    case GDT_UInt16:
        return DataType::UInt16;
    case GDT_Int16:
        return DataType::Int16;
    case GDT_UInt32:
        return DataType::UInt32;
    case GDT_Int32:
        return DataType::Int32;
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 11, 0)
    case GDT_Float16:
#endif
    case GDT_Float32:
        return DataType::Float32;
    case GDT_Float64:
        return DataType::Float64;
    default:
        return DataType::Unknown;
    }
}

std::string compressionOf(const Description& d)
{
    for (const std::string& option : d.options)
        if (option.compare(0, 9, "COMPRESS=") == 0)
            return option.substr(9);
    return std::string();
}

} // namespace

Description described(GDALDataType type, int bands, const Options& options,
                      const std::optional<Coefficients>& geotransform)
{
    Description d;
    d.width = width;
    d.height = height;
    d.bands = bands;
    d.type = type;
    d.options = options;
    d.geotransform = geotransform;
    return d;
}

Description describedFor(const std::string& driverName, GDALDataType type, int bands, const Options& options)
{
    Description d = described(type, bands, options, std::nullopt);
    d.driver = driverName;
    return d;
}

Specimen readWithBands(Specimen specimen, int bands)
{
    specimen.bands = bands;
    return specimen;
}

Specimen row(const std::string& name, const std::string& extension, const Description& d, Make make)
{
    return {name,
            name + "." + extension,
            {d.driver, compressionOf(d)},
            d.bands,
            readAs(d.type),
            1,
            make ? std::move(make) : created(d)};
}

Specimen tiff(const std::string& name, GDALDataType type, int bands, const Options& options)
{
    return row(name, "tif", described(type, bands, options));
}

Specimen tiffOf(const std::string& name, const Description& d)
{
    return row(name, "tif", d);
}

Specimen tiffChanged(const std::string& name, const Description& d, const Change& before, const Change& after)
{
    return row(name, "tif", d, copied(d, before, after));
}

Description sized(int columns, int rows)
{
    Description d = described(GDT_UInt16, 2);
    d.width = columns;
    d.height = rows;
    return d;
}

Specimen placed(const std::string& name, const std::optional<Coefficients>& geotransform)
{
    return tiffOf(name, described(GDT_Byte, 1, {}, geotransform));
}

Specimen image(const std::string& name, const std::string& driverName, const std::string& extension,
               GDALDataType type, int bands, const Options& options, const Change& change)
{
    Description d = describedFor(driverName, type, bands, options);
    Specimen specimen = row(name, extension, d, copied(d, change));
    specimen.needs.type = GDALGetDataTypeName(type);
    return specimen;
}

Specimen png(const std::string& name, GDALDataType type, int bands, const Options& options,
             const Change& change)
{
    return image(name, "PNG", "png", type, bands, options, change);
}

Specimen jpeg(const std::string& name, int bands, const Options& options, const Change& change)
{
    return image(name, "JPEG", "jpg", GDT_Byte, bands, options, change);
}

Specimen interlaced(const std::string& name, int samples)
{
    const auto value = [](int x, int y, int sample) {
        return static_cast<unsigned char>(255.0 * rasters::noise(x, y, sample));
    };
    const Description d = describedFor("PNG", GDT_Byte, samples);
    return row(name, "png", d, text(interlacedPng(d.width, d.height, samples, value)));
}

Specimen virtualRaster(const std::string& name, GDALDataType type, const std::string& content)
{
    Description d = describedFor("VRT", type, 1);
    return row(name, "vrt", d, [content](const QString& path) {
        const Description source = described(GDT_Int16, 2, {"TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=16"});
        rasters::make(path.left(path.lastIndexOf('/')) + "/source.tif", source, noiseFor(source));
        text(content)(path);
    });
}

std::string dataset(const std::string& size, const std::string& content)
{
    return "<VRTDataset " + size +
           ">\n<GeoTransform>500000.0, 0.5, 0.0, 4100000.0, 0.0, -0.5</GeoTransform>\n" + content +
           "</VRTDataset>\n";
}

std::string band(const std::string& type, const std::string& content)
{
    return "<VRTRasterBand dataType=\"" + type + "\" band=\"1\">\n" + content + "</VRTRasterBand>\n";
}

std::string source(const std::string& kind, const std::string& rectangles)
{
    return "<" + kind +
           "><SourceFilename relativeToVRT=\"1\">source.tif</SourceFilename><SourceBand>2</SourceBand>" +
           rectangles + "</" + kind + ">\n";
}

} // namespace zoo
