// Copies a raster into a set of tile files or a single file: vexel-retile INPUT OUTPUT [--tile-size N]
//
// Exit codes: 0 done, 1 something failed (the reason is on standard error), 2 wrong usage.

#include "commandline.h"
#include "common.h"

#include <QString>
#include <vexel/vexel.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

struct Arguments
{
    std::string input;
    std::string output;
    int tileSize = 0;
};

// A box of all bands in the largest element type takes a few dozen megabytes, whatever the size of the
// raster.
constexpr int boxEdge = 1024;

template <class T>
void copyBox(const vexel::GDALStreamer& input, const vexel::GDALStreamer& output, const vexel::PixelBox& box)
{
    vexel::PixelMatrix<T> pixels;
    for (std::uint64_t band = 1; band <= input.noBands(); ++band) {
        if (!input.read(pixels, band, box, /*scale=*/1.0, /*fill=*/true, T(0)))
            throw std::runtime_error("Unable to read from '" + input.path().toStdString() + "'");
        if (!output.write(pixels, band, box))
            throw std::runtime_error("Unable to write to '" + output.path().toStdString() + "'");
    }
}

/// Goes through the raster file by file of the output, and each file box by box.
template <class T>
void copyPixels(const vexel::GDALStreamer& input, const vexel::GDALStreamer& output)
{
    for (std::uint64_t i = 0; i < output.noTiles(); ++i) {
        const vexel::PixelPoint first = output.itile(i).min_corner();
        const vexel::PixelPoint end = output.itile(i).max_corner();
        for (int y = first.y(); y < end.y(); y += boxEdge)
            for (int x = first.x(); x < end.x(); x += boxEdge)
                copyBox<T>(input, output,
                           {{x, y}, {std::min(end.x(), x + boxEdge), std::min(end.y(), y + boxEdge)}});
    }
}

/// With the element type that holds every value of the raster.
void copyPixels(const vexel::GDALStreamer& input, const vexel::GDALStreamer& output)
{
    switch (input.dtype()) {
    case vexel::DataType::UInt8:
        return copyPixels<unsigned char>(input, output);
    case vexel::DataType::Int16:
        return copyPixels<short>(input, output);
    case vexel::DataType::UInt16:
        return copyPixels<unsigned short>(input, output);
    case vexel::DataType::Float32:
        return copyPixels<float>(input, output);
    default:
        return copyPixels<double>(input, output);
    }
}

/// True when creating the output would delete a file of the input: a tile set deletes all files that are
/// named as its tiles are.
bool overwritesInput(const vexel::GDALStreamer& input, const QString& outputPath, vexel::GdalFileType type)
{
    using namespace vexel;
    if (input.ftype() == type)
        return file::samepath(input.path(), outputPath);
    if (type == GdalFileType::SingleFile) {
        for (std::uint64_t i = 0; i < input.noTiles(); ++i)
            if (file::samepath(input.path(i), outputPath))
                return true;
        return false;
    }
    QString base;
    int column = 0;
    int row = 0;
    return file::samepath(file::dirname(input.path()), file::dirname(outputPath)) &&
           vexel::gdal::path2tile(input.path(), base, column, row) && file::samepath(base, outputPath);
}

void retile(const Arguments& arguments)
{
    using namespace vexel;
    const GdalFileType type = arguments.tileSize > 0 ? GdalFileType::TileSet : GdalFileType::SingleFile;
    const QString outputPath = example::fromArgument(arguments.output);

    GDALStreamer input;
    example::openInput(input, arguments.input);
    if (overwritesInput(input, outputPath, type))
        throw std::runtime_error("The output would overwrite the input");

    GDALStreamer output;
    RasterSpec raster = RasterSpec::like(input);
    if (arguments.tileSize > 0)
        raster.tiles(arguments.tileSize, arguments.tileSize);
    if (!output.openWrite(outputPath, raster))
        throw std::runtime_error(output.lastError().message().toStdString());
    copyPixels(input, output);
    if (const StreamError error = output.finish())
        throw std::runtime_error(error.message().toStdString());
    std::cout << "size: " << output.width() << " x " << output.height() << "\n"
              << "files: " << output.noTiles() << std::endl;
}

} // namespace

int main(int argc, char** argv)
{
    example::CommandLine line("Copies a raster into a set of tile files or a single file.", "vexel-retile");
    Arguments arguments;
    line.add("INPUT", arguments.input, "raster file, or the name of a set of tile files").required();
    line.add("OUTPUT", arguments.output, "raster to create; an earlier one is replaced").required();
    line.add("--tile-size", arguments.tileSize,
             "write tile files NAME_x_y.tif of N by N pixels [default: a single file]")
        .range(1, 1 << 24)
        .placeholder("N");
    return line.run(argc, argv, [&] { retile(arguments); });
}
