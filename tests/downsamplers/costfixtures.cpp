#include "costfixtures.h"

#include <algorithm>
#include <stdexcept>

namespace downsampling {

namespace {

/// An empty GeoTIFF of bytes whose pixels are 1 map unit wide.
rasters::Dataset createBytes(const QString& path, int width, int height, int bands,
                             const std::vector<std::string>& options)
{
    GDALAllRegister();
    rasters::Description description = mapped(width, height, GDT_Byte, bands);
    CPLStringList list;
    for (const std::string& option : options)
        list.AddString(option.c_str());
    rasters::Dataset dataset(GetGDALDriverManager()->GetDriverByName("GTiff")->Create(
        path.toUtf8().constData(), width, height, bands, GDT_Byte, list.List()));
    if (!dataset || dataset->SetGeoTransform(description.geotransform->data()) != CE_None)
        throw std::runtime_error("GDAL cannot create " + path.toStdString());
    return dataset;
}

} // namespace

void makeSparse(const QString& path, int width, int height, int bands)
{
    createBytes(path, width, height, bands,
                {"TILED=YES", "BLOCKXSIZE=512", "BLOCKYSIZE=512", "SPARSE_OK=TRUE", "COMPRESS=LZW"});
}

void makeCells(const QString& path, int width, int height, int bands, const std::vector<std::string>& options)
{
    const rasters::Dataset dataset = createBytes(path, width, height, bands, options);
    int blockWidth = 0;
    int blockHeight = 0;
    dataset->GetRasterBand(1)->GetBlockSize(&blockWidth, &blockHeight);
    std::vector<unsigned char> pixels;
    for (int y0 = 0; y0 < height; y0 += blockHeight) {
        const int rows = std::min(blockHeight, height - y0);
        pixels.clear();
        for (int y = y0; y < y0 + rows; ++y)
            for (int x = 0; x < width; ++x)
                for (int band = 1; band <= bands; ++band)
                    pixels.push_back(static_cast<unsigned char>(cellValue(x, y, band)));
        if (dataset->RasterIO(GF_Write, 0, y0, width, rows, pixels.data(), width, rows, GDT_Byte, bands,
                              nullptr, bands, GSpacing{bands} * width, 1, nullptr) != CE_None)
            throw std::runtime_error("GDAL cannot write pixels");
    }
}

std::shared_ptr<int> countPieces(vexel::Worker& job)
{
    auto pieces = std::make_shared<int>(0);
    job.setProgress([pieces](double) {
        ++*pieces;
        return true;
    });
    return pieces;
}

} // namespace downsampling
