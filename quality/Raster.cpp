#include "Raster.h"

#include <gdal_priv.h>

#include <memory>
#include <stdexcept>

namespace quality {

namespace {

// Where the test rasters lie on the map; pixels are one map unit.
constexpr double west = 1000.0;
constexpr double north = 5000.0;

struct CloseDataset
{
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<GDALDataset, CloseDataset>;

void check(bool done, const std::string& what)
{
    if (!done)
        throw std::runtime_error("'" + what + "': " + CPLGetLastErrorMsg());
}

GDALDriver& driver(const char* name)
{
    GDALDriver* found = GetGDALDriverManager()->GetDriverByName(name);
    check(found != nullptr, name);
    return *found;
}

Dataset createTiff(const std::string& path, const Box& part, int bands, PixelKind kind)
{
    const bool isFloat = kind == PixelKind::Float || kind == PixelKind::FloatWithHoles;
    // Without these GDAL would take the fourth of any four bands for alpha.
    const char* const plain[] = {"PHOTOMETRIC=MINISBLACK", nullptr};
    const char* const colour[] = {"PHOTOMETRIC=RGB", "ALPHA=YES", nullptr};
    char** options = const_cast<char**>(kind == PixelKind::Rgba ? colour : plain); // GDAL only reads them
    Dataset dataset(driver("GTiff").Create(path.c_str(), part.width, part.height, bands,
                                           isFloat ? GDT_Float32 : GDT_Byte, options));
    check(dataset != nullptr, path);
    double geotransform[] = {west + part.x, 1.0, 0.0, north - part.y, 0.0, -1.0};
    check(dataset->SetGeoTransform(geotransform) == CE_None, path);
    if (kind == PixelKind::FloatWithHoles)
        for (int band = 1; band <= bands; ++band)
            check(dataset->GetRasterBand(band)->SetNoDataValue(static_cast<double>(noData)) == CE_None, path);
    return dataset;
}

/// Lines in memory are `stride` floats apart.
bool transfer(GDALDataset& dataset, GDALRWFlag direction, int band, float* first, int stride)
{
    const int width = dataset.GetRasterXSize();
    const int height = dataset.GetRasterYSize();
    constexpr GSpacing size = sizeof(float);
    return dataset.GetRasterBand(band + 1)->RasterIO(direction, 0, 0, width, height, first, width, height,
                                                     GDT_Float32, size, size * stride, nullptr) == CE_None;
}

/// GDAL takes a pointer to what it may change, but only reads what it writes to a file.
float* pixelsFrom(const Raster& raster, int band, const Box& part)
{
    const auto bandSize = static_cast<std::ptrdiff_t>(raster.width) * raster.height;
    const auto first = static_cast<std::ptrdiff_t>(part.y) * raster.width + part.x;
    return const_cast<float*>(raster.pixels.data()) + band * bandSize + first;
}

} // namespace

void writeGeoTiff(const std::string& path, const Raster& raster, PixelKind kind, const Box& part)
{
    const Dataset dataset = createTiff(path, part, raster.bands, kind);
    for (int band = 0; band < raster.bands; ++band)
        check(transfer(*dataset, GF_Write, band, pixelsFrom(raster, band, part), raster.width), path);
}

void writeGeoTiff(const std::string& path, const Raster& raster, PixelKind kind)
{
    writeGeoTiff(path, raster, kind, {0, 0, raster.width, raster.height});
}

Raster readRaster(const std::string& path, int sourceWidth)
{
    const Dataset dataset(GDALDataset::FromHandle(GDALOpen(path.c_str(), GA_ReadOnly)));
    check(dataset != nullptr, path);
    Raster raster;
    raster.width = dataset->GetRasterXSize();
    raster.height = dataset->GetRasterYSize();
    raster.bands = dataset->GetRasterCount();
    double geotransform[6];
    if (dataset->GetGeoTransform(geotransform) == CE_None) {
        raster.left = geotransform[0] - west;
        raster.top = north - geotransform[3];
        raster.pixelSize = geotransform[1];
    } else {
        raster.pixelSize = static_cast<double>(sourceWidth) / raster.width;
    }
    raster.pixels.resize(static_cast<std::size_t>(raster.bands) * static_cast<std::size_t>(raster.width) *
                         static_cast<std::size_t>(raster.height));
    for (int band = 0; band < raster.bands; ++band)
        check(transfer(*dataset, GF_Read, band, &raster.at(band, 0, 0), raster.width), path);
    return raster;
}

void writePng(const std::string& path, const Raster& picture)
{
    const Dataset memory(driver("MEM").Create("", picture.width, picture.height, 4, GDT_Byte, nullptr));
    check(memory != nullptr, path);
    const Box whole{0, 0, picture.width, picture.height};
    for (int band = 0; band < 4; ++band)
        check(transfer(*memory, GF_Write, band, pixelsFrom(picture, band, whole), picture.width), path);
    memory->GetRasterBand(4)->SetColorInterpretation(GCI_AlphaBand);
    const Dataset png(driver("PNG").CreateCopy(path.c_str(), memory.get(), FALSE, nullptr, nullptr, nullptr));
    check(png != nullptr, path);
}

} // namespace quality
