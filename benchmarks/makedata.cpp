// Makes the rasters that the benchmarks work on, the same bytes of pixels on every machine:
// vexel-bench-data OUTPUT --kind rgba|elevation|sparse --layout tiled|striped|grid --size W [H] [--tile N]
//                 [--block N]
//
// A grid is a set of tile files OUTPUT_x_y.tif, counted from 1. Memory is bounded by one row of blocks.

#include "texture.h"

#include <CLI/CLI.hpp>
#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr double pixelSize = 0.1;
constexpr double west = 500000.0;
constexpr double north = 5300000.0;

struct Arguments
{
    std::string output;
    std::string kind = "rgba";
    std::string layout = "tiled";
    std::vector<int> size = {10000};
    int tile = 2000;
    int block = 512;

    int width() const { return size.front(); }
    int height() const { return size.back(); }
};

struct CloseDataset
{
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<GDALDataset, CloseDataset>;

void check(bool done, const std::string& what)
{
    if (!done)
        throw std::runtime_error(what + ": " + CPLGetLastErrorMsg());
}

/// What files of a kind have in common.
struct Format
{
    GDALDataType type;
    int bands;
    std::vector<std::string> options;
    std::optional<double> noData;
};

Format formatOf(const Arguments& arguments)
{
    Format format{GDT_Byte, 1, {"COMPRESS=LZW", "BIGTIFF=IF_SAFER", "PREDICTOR=2"}, {}};
    if (arguments.kind == "rgba") {
        format.bands = 4;
        format.options.insert(format.options.end(), {"INTERLEAVE=PIXEL", "PHOTOMETRIC=RGB", "ALPHA=YES"});
    } else if (arguments.kind == "elevation") {
        format.type = GDT_Float32;
        format.options.back() = "PREDICTOR=3";
        format.noData = static_cast<double>(texture::Terrain::noData);
    } else {
        format.options.push_back("SPARSE_OK=TRUE");
    }
    const bool tiled =
        arguments.layout == "tiled" || (arguments.layout == "grid" && arguments.tile > arguments.block);
    const std::string edge = std::to_string(arguments.block);
    if (tiled)
        format.options.insert(format.options.end(),
                              {"TILED=YES", "BLOCKXSIZE=" + edge, "BLOCKYSIZE=" + edge});
    return format;
}

std::string projection()
{
    OGRSpatialReference reference;
    check(reference.importFromEPSG(32632) == OGRERR_NONE, "EPSG:32632");
    char* wkt = nullptr;
    const OGRErr error = reference.exportToWkt(&wkt);
    const std::string result = wkt ? wkt : "";
    CPLFree(wkt);
    check(error == OGRERR_NONE, "EPSG:32632 as text");
    return result;
}

/// A part of the raster that is one file.
struct Extent
{
    int x, y, width, height;
};

Dataset create(const std::string& path, const Format& format, const Extent& extent, const std::string& wkt)
{
    std::vector<char*> options;
    for (const std::string& option : format.options)
        options.push_back(const_cast<char*>(option.c_str())); // GDAL only reads them
    options.push_back(nullptr);
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    check(driver != nullptr, "GeoTIFF");
    Dataset dataset(
        driver->Create(path.c_str(), extent.width, extent.height, format.bands, format.type, options.data()));
    check(dataset != nullptr, path);
    // Whole numbers of pixels from the corner, each rounded once.
    double geotransform[] = {west + extent.x * pixelSize,  pixelSize, 0.0,
                             north - extent.y * pixelSize, 0.0,       -pixelSize};
    check(dataset->SetGeoTransform(geotransform) == CE_None, path);
    check(dataset->SetProjection(wkt.c_str()) == CE_None, path);
    if (format.noData)
        check(dataset->GetRasterBand(1)->SetNoDataValue(*format.noData) == CE_None, path);
    return dataset;
}

/// Rows of the whole raster, pixel-interleaved.
using MakeRow = std::function<void(int y, std::uint8_t* pixels)>;

MakeRow rowsOf(const Arguments& arguments)
{
    if (arguments.kind == "rgba")
        return [photo = texture::Orthophoto(arguments.width(), arguments.height())](int y,
                                                                                    std::uint8_t* pixels) {
            std::vector<std::uint8_t> row;
            photo.row(y, row);
            std::copy(row.begin(), row.end(), pixels);
        };
    return [terrain = texture::Terrain(arguments.width())](int y, std::uint8_t* pixels) {
        std::vector<float> row;
        terrain.row(y, row);
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(row.data());
        std::copy_n(bytes, row.size() * sizeof(float), pixels);
    };
}

/// Files side by side that hold the rows `y` and on of the raster.
struct FileRow
{
    int y;
    int height;
    std::vector<Dataset> files;
    std::vector<Extent> extents;
};

/// Writes some rows of the raster to all files that they belong to.
void writeRows(const FileRow& target, const Format& format, int y, int rows, std::size_t rowBytes,
               std::vector<std::uint8_t>& pixels)
{
    const int valueBytes = GDALGetDataTypeSizeBytes(format.type);
    const GSpacing pixelBytes = static_cast<GSpacing>(valueBytes) * format.bands;
    for (std::size_t i = 0; i < target.files.size(); ++i) {
        const Extent& extent = target.extents[i];
        std::uint8_t* first =
            pixels.data() + static_cast<std::size_t>(extent.x) * static_cast<std::size_t>(pixelBytes);
        const CPLErr error = target.files[i]->RasterIO(
            GF_Write, 0, y - target.y, extent.width, rows, first, extent.width, rows, format.type,
            format.bands, nullptr, pixelBytes, static_cast<GSpacing>(rowBytes), valueBytes, nullptr);
        check(error == CE_None, "writing pixels");
    }
}

void fill(const FileRow& target, const Format& format, const Arguments& arguments, const MakeRow& makeRow)
{
    const std::size_t rowBytes = static_cast<std::size_t>(arguments.width()) *
                                 static_cast<std::size_t>(format.bands) *
                                 static_cast<std::size_t>(GDALGetDataTypeSizeBytes(format.type));
    std::vector<std::uint8_t> pixels(rowBytes *
                                     static_cast<std::size_t>(std::min(arguments.block, target.height)));
    for (int y = 0; y < target.height; y += arguments.block) {
        const int rows = std::min(arguments.block, target.height - y);
#pragma omp parallel for schedule(dynamic, 8)
        for (int i = 0; i < rows; ++i)
            makeRow(target.y + y + i, pixels.data() + static_cast<std::size_t>(i) * rowBytes);
        writeRows(target, format, target.y + y, rows, rowBytes, pixels);
    }
}

void makeSingleFile(const Arguments& arguments)
{
    const Format format = formatOf(arguments);
    const Extent whole{0, 0, arguments.width(), arguments.height()};
    FileRow row{0, arguments.height(), {}, {whole}};
    row.files.push_back(create(arguments.output, format, whole, projection()));
    fill(row, format, arguments, rowsOf(arguments));
}

std::string tilePath(const std::string& path, int column, int row)
{
    const std::filesystem::path whole(path);
    const std::string name = whole.stem().string() + "_" + std::to_string(column + 1) + "_" +
                             std::to_string(row + 1) + whole.extension().string();
    return (whole.parent_path() / name).string();
}

void makeGrid(const Arguments& arguments)
{
    const Format format = formatOf(arguments);
    const std::string wkt = projection();
    const MakeRow makeRow = rowsOf(arguments);
    const int tile = arguments.tile;
    for (int y = 0; y < arguments.height(); y += tile) {
        FileRow row{y, std::min(tile, arguments.height() - y), {}, {}};
        for (int x = 0; x < arguments.width(); x += tile) {
            const Extent extent{x, y, std::min(tile, arguments.width() - x), row.height};
            row.files.push_back(create(tilePath(arguments.output, x / tile, y / tile), format, extent, wkt));
            row.extents.push_back(extent);
        }
        fill(row, format, arguments, makeRow);
    }
}

/// Twelve patches spread over an otherwise empty raster.
void makeSparse(const Arguments& arguments)
{
    constexpr int patchSize = 1024;
    constexpr int across = 4;
    constexpr int down = 3;
    const Extent whole{0, 0, arguments.width(), arguments.height()};
    const Dataset dataset = create(arguments.output, formatOf(arguments), whole, projection());
    const texture::Orthophoto photo(patchSize, patchSize);
    std::vector<std::uint8_t> pixels(std::size_t{patchSize} * patchSize);
    for (int patch = 0; patch < across * down; ++patch) {
        const int x = arguments.width() / across * (patch % across) / arguments.block * arguments.block;
        const int y = arguments.height() / down * (patch / across) / arguments.block * arguments.block;
        const int columns = std::min(patchSize, arguments.width() - x);
        const int rows = std::min(patchSize, arguments.height() - y);
        for (int i = 0; i < rows; ++i)
            photo.grayRow(y + i, x, columns, pixels.data() + static_cast<std::size_t>(i) * patchSize);
        check(dataset->RasterIO(GF_Write, x, y, columns, rows, pixels.data(), columns, rows, GDT_Byte, 1,
                                nullptr, 1, patchSize, 0, nullptr) == CE_None,
              "writing pixels");
    }
}

void make(const Arguments& arguments)
{
    if (!CPLGetConfigOption("GDAL_NUM_THREADS", nullptr))
        CPLSetConfigOption("GDAL_NUM_THREADS", "ALL_CPUS");
    GDALAllRegister();
    if (arguments.kind == "sparse")
        makeSparse(arguments);
    else if (arguments.layout == "grid")
        makeGrid(arguments);
    else
        makeSingleFile(arguments);
}

void declareArguments(CLI::App& app, Arguments& arguments)
{
    app.add_option("OUTPUT", arguments.output,
                   "file to create, or the name that a grid's files are named from")
        ->required();
    app.add_option("--kind", arguments.kind, "rgba, elevation or sparse")
        ->check(CLI::IsMember({"rgba", "elevation", "sparse"}));
    app.add_option("--layout", arguments.layout, "tiled, striped or grid")
        ->check(CLI::IsMember({"tiled", "striped", "grid"}));
    app.add_option("--size", arguments.size, "width and, if it is not the same, height in pixels")
        ->expected(1, 2)
        ->check(CLI::Range(1, 1000000));
    app.add_option("--tile", arguments.tile, "edge of a grid's files in pixels")
        ->check(CLI::Range(1, 1000000));
    app.add_option("--block", arguments.block, "edge of the blocks in pixels, a multiple of 16")
        ->check(CLI::Range(16, 16384));
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Makes rasters for the benchmarks.", "vexel-bench-data");
    Arguments arguments;
    declareArguments(app, arguments);
    CLI11_PARSE(app, argc, argv);
    try {
        make(arguments);
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "vexel-bench-data: " << e.what() << std::endl;
        return 1;
    }
}
