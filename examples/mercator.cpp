// Reprojects a raster file for web maps: vexel-mercator INPUT OUTPUT
//
// Exit codes: 0 the output is there, 1 something failed (the reason is on standard error), 2 wrong usage.
// Standard output has one "name: value" per line.

#include "commandline.h"
#include "common.h"

#include <QString>
#include <vexel/vexel.h>

#include <iostream>
#include <stdexcept>
#include <string>

namespace {

struct Arguments
{
    std::string input;
    std::string output;
};

/// The spatial reference of the input, which must be a raster file that has one.
QString referenceOf(const Arguments& arguments)
{
    vexel::GDALStreamer input;
    if (!input.openRead(example::fromArgument(arguments.input), vexel::GdalFileType::SingleFile))
        throw std::runtime_error("Unable to open input file '" + arguments.input + "'");
    const QString wkt = input.spatialReference();
    if (wkt.isEmpty())
        throw std::runtime_error("'" + arguments.input + "' has no spatial reference");
    return wkt;
}

void reproject(const Arguments& arguments)
{
    const QString inputPath = example::fromArgument(arguments.input);
    const QString outputPath = example::fromArgument(arguments.output);
    const QString wkt = referenceOf(arguments);
    if (vexel::file::samepath(inputPath, outputPath))
        throw std::runtime_error("The output would overwrite the input");
    if (!vexel::gdal::warpToGoogle(inputPath, outputPath, wkt))
        throw std::runtime_error("Unable to reproject into '" + arguments.output + "'");

    // That GDAL accepted everything does not mean that there is an output.
    vexel::ImageInfo info;
    if (!vexel::imageInfoWithGDAL(outputPath, info))
        throw std::runtime_error("The output '" + arguments.output + "' is not whole");
    std::cout << "output size: " << info.width << " x " << info.height << "\n"
              << "bands: " << info.noBands << std::endl;
}

} // namespace

int main(int argc, char** argv)
{
    example::CommandLine line("Reprojects a raster file into the Mercator projection of web maps.",
                              "vexel-mercator");
    Arguments arguments;
    line.add("INPUT", arguments.input, "raster file with a spatial reference").required();
    line.add("OUTPUT", arguments.output, "raster file to create; an earlier one is replaced").required();
    return line.run(argc, argv, [&] { reproject(arguments); });
}
