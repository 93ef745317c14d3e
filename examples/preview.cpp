// Writes a small PNG picture of a raster: vexel-preview INPUT OUTPUT.png [--width W] [--range LOW HIGH]
//
// Colour keeps its colours and its alpha, and elevation becomes shaded relief. Pixels that are no-data or
// not finite become transparent. If you pass the same --range for several rasters, you can compare their pictures.
// Exit codes: 0 done, 1 something failed (the reason is on standard error), 2 wrong usage.

#include "commandline.h"
#include "common.h"
#include "pictures.h"

#include <QString>
#include <vexel/vexel.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using example::Picture;
using Heights = vexel::PixelMatrix<float>;

struct Arguments
{
    std::string input;
    std::string output;
    int width = 640;
    std::vector<float> range; // lowest and highest height, or empty
};

Picture colourPicture(const vexel::GDALStreamer& set, double scale)
{
    Picture picture;
    if (!set.readRGBA(picture, vexel::PixelBox(), scale, /*fill=*/true, 0u))
        throw std::runtime_error("Unable to read '" + set.path().toStdString() + "' as colour");
    return picture;
}

bool isData(float height)
{
    return std::isfinite(height) && height >= -9999.999f;
}

/// Lowest and highest height that there is; the former is the larger one if there is no data.
void findRange(const Heights& heights, float& lowest, float& highest)
{
    lowest = std::numeric_limits<float>::infinity();
    highest = -lowest;
    for (Eigen::Index k = 0; k < heights.size(); ++k)
        if (const float height = heights.data()[k]; isData(height)) {
            lowest = std::min(lowest, height);
            highest = std::max(highest, height);
        }
}

/// How much light a place gets, 0 to 1: the cosine between its normal and a light half-way up in the
/// north-west. Places without data, and those beyond the edge, are as high as the one in the middle.
float illumination(const Heights& heights, Eigen::Index row, Eigen::Index column, float pixelEdge)
{
    const float middle = heights(row, column);
    const auto at = [&](Eigen::Index r, Eigen::Index c) {
        const bool inside = r >= 0 && c >= 0 && r < heights.rows() && c < heights.cols();
        return inside && isData(heights(r, c)) ? heights(r, c) : middle;
    };
    // Heights are exaggerated twice, as maps of a whole region do.
    const float perUnit = 2.0f / (2.0f * pixelEdge);
    const float east = (at(row, column + 1) - at(row, column - 1)) * perUnit;
    const float south = (at(row + 1, column) - at(row - 1, column)) * perUnit;
    const float towardLight = (east + south) * 0.5f + std::sqrt(0.5f);
    return std::clamp(towardLight / std::sqrt(1.0f + east * east + south * south), 0.0f, 1.0f);
}

/// Shaded relief, the higher the lighter: from `range`, or else from the lowest height to the highest.
Picture reliefPicture(const vexel::GDALStreamer& set, double scale, const std::vector<float>& range)
{
    Heights heights;
    if (!set.read(heights, 1, vexel::PixelBox(), scale, /*fill=*/true, -10000.0f))
        throw std::runtime_error("Unable to read '" + set.path().toStdString() + "'");

    float lowest = 0.0f;
    float highest = 0.0f;
    if (range.size() == 2) {
        lowest = range[0];
        highest = range[1];
    } else {
        findRange(heights, lowest, highest);
    }
    const float span = std::max(highest - lowest, 1e-6f);
    const float pixelEdge = static_cast<float>(1e-5 * static_cast<double>(set.res()) / scale);

    Picture picture = Picture::Zero(heights.rows(), heights.cols());
    for (Eigen::Index row = 0; row < heights.rows(); ++row)
        for (Eigen::Index column = 0; column < heights.cols(); ++column) {
            if (!isData(heights(row, column)))
                continue;
            const float light = illumination(heights, row, column, pixelEdge);
            const float level = std::clamp((heights(row, column) - lowest) / span, 0.0f, 1.0f);
            const auto gray = static_cast<unsigned int>(255.0f * light * (0.6f + 0.4f * level) + 0.5f);
            picture(row, column) = 0xFF000000u | std::min(gray, 255u) * 0x010101u;
        }
    return picture;
}

/// Repeats pixels so that the picture gets wider.
Picture enlarged(const Picture& picture, int width)
{
    const double factor = static_cast<double>(width) / static_cast<double>(picture.cols());
    Picture result(std::max<Eigen::Index>(1, std::lround(static_cast<double>(picture.rows()) * factor)),
                   width);
    for (Eigen::Index row = 0; row < result.rows(); ++row)
        for (Eigen::Index column = 0; column < result.cols(); ++column)
            result(row, column) =
                picture(row * picture.rows() / result.rows(), column * picture.cols() / width);
    return result;
}

void writePicture(const Picture& picture, const QString& path)
{
    const int width = static_cast<int>(picture.cols());
    const int height = static_cast<int>(picture.rows());
    vexel::GDALStreamer file;
    if (!file.openWrite(path, 4, vexel::DataType::RGBA, width, height) ||
        !file.writeRGBA(picture, vexel::PixelBox({0, 0}, {width, height})))
        throw std::runtime_error("Unable to write '" + path.toStdString() + "'");
    file.close();
    example::requirePicture(path, width, height);
}

void preview(const Arguments& arguments)
{
    vexel::GDALStreamer set;
    example::openInput(set, arguments.input);
    // A raster smaller than the picture is read as it is: relief comes from its own pixels, not from copies.
    const double scale = std::min(1.0, static_cast<double>(arguments.width) / set.width());
    Picture picture = set.dtype() == vexel::DataType::UInt8 ? colourPicture(set, scale)
                                                            : reliefPicture(set, scale, arguments.range);
    if (picture.cols() < arguments.width)
        picture = enlarged(picture, arguments.width);
    writePicture(picture, example::fromArgument(arguments.output));
    std::cout << "size: " << picture.cols() << " x " << picture.rows() << std::endl;
}

std::string checkHeight(const std::string& text)
{
    const std::optional<double> height = example::numberFromArgument(text);
    return height && std::isfinite(static_cast<float>(*height)) ? "" : "'" + text + "' is not a height";
}

} // namespace

int main(int argc, char** argv)
{
    example::CommandLine line("Writes a small PNG picture of a raster.", "vexel-preview");
    Arguments arguments;
    line.add("INPUT", arguments.input, "raster file, or the name of a set of tile files").required();
    line.add("OUTPUT", arguments.output, "picture to create")
        .required()
        .check(example::checkPng)
        .placeholder("PNG");
    line.add("--width", arguments.width, "width of the picture in pixels")
        .range(1, 16384)
        .showDefault()
        .placeholder("W");
    line.add("--range", arguments.range,
             "heights that are darkest and lightest [default: lowest and highest]")
        .values(2)
        .check(checkHeight)
        .placeholder("LOW HIGH");
    return line.run(argc, argv, [&] { preview(arguments); });
}
