// Loads an image, at full size or smaller, and writes the loaded pixels as a picture:
// vexel-load INPUT OUTPUT.png --as rgb|gray|float [--level N]
//
// Floats are stretched from the lowest to the highest to shades of grey. Pixels that are no-data or not finite
// are black.
// Exit codes: 0 done, 1 something failed (the reason is on standard error), 2 wrong usage.

#include "commandline.h"
#include "common.h"
#include "pictures.h"

#include <QString>
#include <vexel/vexel.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

enum class Kind
{
    rgb,
    gray,
    real
};

struct Arguments
{
    std::string input;
    std::string output;
    std::string kind;
    int level = 1;
};

struct KindOfPixel
{
    Kind kind;
    const char* takes; ///< what images can be loaded so
};

const std::map<std::string, KindOfPixel>& kinds()
{
    static const std::map<std::string, KindOfPixel> byName = {
        {"rgb", {Kind::rgb, "1, 3 or 4 bands of bytes"}},
        {"gray", {Kind::gray, "1 or 3 bands of bytes"}},
        {"float", {Kind::real, "1 band of 32-bit floats"}},
    };
    return byName;
}

// How bright red, green and blue look on a screen.
const std::vector<double> grayWeights = {0.299, 0.587, 0.114};

bool isData(float value)
{
    return std::isfinite(value) && value >= -9999.999f;
}

/// The lowest value becomes 0 and the highest 255; all are 128 if there is only one.
vexel::PixelMatrix<unsigned char> stretched(const vexel::PixelMatrix<float>& values)
{
    double lowest = std::numeric_limits<double>::infinity();
    double highest = -lowest;
    for (Eigen::Index k = 0; k < values.size(); ++k)
        if (const float value = values.data()[k]; isData(value)) {
            lowest = std::min<double>(lowest, value);
            highest = std::max<double>(highest, value);
        }
    const auto gray = [&](float value) {
        if (!isData(value))
            return 0.0;
        return highest > lowest ? 255.0 * (value - lowest) / (highest - lowest) : 127.5;
    };
    return values.unaryExpr([&](float value) { return static_cast<unsigned char>(gray(value) + 0.5); });
}

void requireLoaded(bool loaded, const Arguments& arguments)
{
    if (!loaded)
        throw std::runtime_error("Unable to load '" + arguments.input + "' as " + arguments.kind +
                                 ", which takes " + kinds().at(arguments.kind).takes);
}

void requireWritten(bool written, const Arguments& arguments)
{
    if (!written)
        throw std::runtime_error("Unable to write '" + arguments.output + "'");
}

template <class Pixels>
void finish(const Pixels& pixels, const QString& path)
{
    example::requirePicture(path, pixels.cols(), pixels.rows());
    std::cout << "size: " << pixels.cols() << " x " << pixels.rows() << std::endl;
}

void load(const Arguments& arguments)
{
    const QString outputPath = example::fromArgument(arguments.output);
    const vexel::GDALImageLoader image(example::fromArgument(arguments.input), grayWeights);
    if (vexel::file::samepath(example::fromArgument(arguments.input), outputPath))
        throw std::runtime_error("The output would overwrite the input");

    const Kind kind = kinds().at(arguments.kind).kind;
    if (kind == Kind::rgb) {
        example::Picture pixels;
        requireLoaded(image.readRGB(pixels, arguments.level), arguments);
        requireWritten(image.writeRGB(outputPath, pixels), arguments);
        finish(pixels, outputPath);
        return;
    }
    vexel::PixelMatrix<unsigned char> pixels;
    if (kind == Kind::gray) {
        requireLoaded(image.readGray(pixels, arguments.level), arguments);
    } else {
        vexel::PixelMatrix<float> values;
        requireLoaded(image.readFloat(values, arguments.level), arguments);
        pixels = stretched(values);
    }
    requireWritten(image.writeGray(outputPath, pixels), arguments);
    finish(pixels, outputPath);
}

} // namespace

int main(int argc, char** argv)
{
    example::CommandLine line("Loads an image and writes the loaded pixels as a picture.", "vexel-load");
    Arguments arguments;
    line.add("INPUT", arguments.input, "image file").required();
    line.add("OUTPUT", arguments.output, "picture to create; an earlier one is replaced")
        .required()
        .check(example::checkPng)
        .placeholder("PNG");
    line.add("--as", arguments.kind, "load the pixels as rgb, gray or float")
        .required()
        .oneOf(example::keysOf(kinds()))
        .placeholder("KIND");
    line.add("--level", arguments.level, "1 is full size, 2 half of the width and height, and so on")
        .range(1, 1 << 24)
        .showDefault()
        .placeholder("N");
    return line.run(argc, argv, [&] { load(arguments); });
}
