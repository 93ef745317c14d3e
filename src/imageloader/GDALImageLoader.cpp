#include "imageloader/GDALImageLoader.h"

#include "companion/file.h"
#include "companion/parallelrows.h"
#include "streaming/GDALStreamer.h"
#include "workspace/arithmetic.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>

namespace vexel {

namespace {

using ColourMatrix = PixelMatrix<unsigned int>;
using GrayMatrix = PixelMatrix<unsigned char>;

constexpr std::size_t firstBand = 1;

std::vector<double> normalised(std::vector<double> weights)
{
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    if (sum == 0.0)
        return {};
    for (double& weight : weights)
        weight /= sum;
    return weights;
}

bool openImage(GDALStreamer& image, const QString& path, int level)
{
    return level >= 1 && file::exists(path) && image.openRead(path, GdalFileType::SingleFile);
}

bool hasBands(const GDALStreamer& image, std::uint64_t noBands, DataType dtype)
{
    return image.noBands() == noBands && image.dtype() == dtype;
}

PixelBox wholeOf(const GDALStreamer& image)
{
    return {PixelPoint(0, 0), PixelPoint(std::max(image.width(), 0), std::max(image.height(), 0))};
}

template <class T>
bool readBand(const GDALStreamer& image, PixelMatrix<T>& out, int level)
{
    return image.read(out, firstBand, wholeOf(image), 1.0 / level, /*fill=*/true, /*fillValue=*/0);
}

bool readColour(const GDALStreamer& image, ColourMatrix& out, int level)
{
    return image.readRGB(out, wholeOf(image), 1.0 / level, /*fill=*/true, /*fillValue=*/0);
}

bool readColourWithAlpha(const GDALStreamer& image, ColourMatrix& out, int level)
{
    return image.readRGBA(out, wholeOf(image), 1.0 / level, /*fill=*/true, /*fillValue=*/0);
}

void grayToOpaque(const unsigned char* gray, unsigned int* colour, Eigen::Index width)
{
    for (Eigen::Index x = 0; x < width; ++x)
        colour[x] = 0xFF000000u | gray[x] * 0x010101u;
}

/// The low 8 bits: negative weights may give a sum beyond a byte.
void colourToGray(const unsigned int* colour, unsigned char* gray, Eigen::Index width, const double* weights)
{
    for (Eigen::Index x = 0; x < width; ++x) {
        const double red = (colour[x] >> 16) & 0xFFu;
        const double green = (colour[x] >> 8) & 0xFFu;
        const double blue = colour[x] & 0xFFu;
        const double sum = green * weights[1] + red * weights[0] + blue * weights[2] + 0.5;
        gray[x] = static_cast<unsigned char>(arithmetic::truncate(sum) & 0xFF);
    }
}

bool readGrayAsColour(const GDALStreamer& image, ColourMatrix& out, int level)
{
    GrayMatrix gray;
    if (!readBand(image, gray, level))
        return false;
    resizePixels(out, gray.rows(), gray.cols());
    parallelRows(gray.rows(), gray.cols(), [&](std::int64_t row) {
        grayToOpaque(gray.data() + row * gray.cols(), out.data() + row * gray.cols(), gray.cols());
    });
    return true;
}

bool readColourAsGray(const GDALStreamer& image, GrayMatrix& out, int level,
                      const std::vector<double>& weights)
{
    ColourMatrix colour;
    if (weights.size() != 3 || !readColour(image, colour, level))
        return false;
    resizePixels(out, colour.rows(), colour.cols());
    parallelRows(colour.rows(), colour.cols(), [&](std::int64_t row) {
        colourToGray(colour.data() + row * colour.cols(), out.data() + row * colour.cols(), colour.cols(),
                     weights.data());
    });
    return true;
}

template <class T>
bool openForWriting(GDALStreamer& image, const QString& path, std::uint64_t noBands, DataType dtype,
                    const PixelMatrix<T>& in)
{
    constexpr Eigen::Index largest = std::numeric_limits<int>::max();
    return in.cols() <= largest && in.rows() <= largest &&
           image.openWrite(path, noBands, dtype, static_cast<int>(in.cols()), static_cast<int>(in.rows()));
}

/// Stands for the whole matrix.
PixelBox noBox()
{
    return {PixelPoint(0, 0), PixelPoint(0, 0)};
}

template <class T>
bool writeBand(const QString& path, DataType dtype, const PixelMatrix<T>& in)
{
    GDALStreamer image;
    return openForWriting(image, path, 1, dtype, in) && image.write(in, firstBand, noBox()) && image.close();
}

} // namespace

GDALImageLoader::GDALImageLoader(const QString& path, const std::vector<double>& weights)
    : m_path(path), m_weights(normalised(weights))
{}

GDALImageLoader::GDALImageLoader(const GDALImageLoader& other) = default;

GDALImageLoader& GDALImageLoader::operator=(const GDALImageLoader& other) = default;

GDALImageLoader::~GDALImageLoader() = default;

bool GDALImageLoader::readRGB(const QString& path, ColourMatrix& out, int level) const
{
    GDALStreamer image;
    if (!openImage(image, path, level) || image.dtype() != DataType::UInt8)
        return false;
    switch (image.noBands()) {
    case 1:
        return readGrayAsColour(image, out, level);
    case 3:
        return readColour(image, out, level);
    case 4:
        return readColourWithAlpha(image, out, level);
    default:
        return false;
    }
}

bool GDALImageLoader::readRGB(ColourMatrix& out, int level) const
{
    return readRGB(m_path, out, level);
}

bool GDALImageLoader::readGray(const QString& path, GrayMatrix& out, int level) const
{
    GDALStreamer image;
    if (!openImage(image, path, level))
        return false;
    if (hasBands(image, 1, DataType::UInt8))
        return readBand(image, out, level);
    return hasBands(image, 3, DataType::UInt8) && readColourAsGray(image, out, level, m_weights);
}

bool GDALImageLoader::readGray(GrayMatrix& out, int level) const
{
    return readGray(m_path, out, level);
}

bool GDALImageLoader::readFloat(const QString& path, PixelMatrix<float>& out, int level) const
{
    GDALStreamer image;
    return openImage(image, path, level) && hasBands(image, 1, DataType::Float32) &&
           readBand(image, out, level);
}

bool GDALImageLoader::readFloat(PixelMatrix<float>& out, int level) const
{
    return readFloat(m_path, out, level);
}

bool GDALImageLoader::writeRGB(const ColourMatrix& in, int tile) const
{
    if (!m_tileWriter)
        return false;
    // A negative index becomes one far beyond the tiles.
    const auto i = static_cast<std::uint64_t>(tile);
    // Completed at once, so that no more than one working file lies beside the tiles.
    return i < m_tileWriter->noTiles() && m_tileWriter->writeRGB(in, m_tileWriter->itile(i)) &&
           m_tileWriter->close(i);
}

bool GDALImageLoader::writeRGB(const QString& path, const ColourMatrix& in) const
{
    GDALStreamer image;
    return openForWriting(image, path, 3, DataType::UInt8, in) && image.writeRGB(in, noBox()) &&
           image.close();
}

bool GDALImageLoader::writeRGB(const ColourMatrix& in) const
{
    return writeRGB(m_path, in);
}

bool GDALImageLoader::writeGray(const QString& path, const GrayMatrix& in) const
{
    return writeBand(path, DataType::UInt8, in);
}

bool GDALImageLoader::writeGray(const GrayMatrix& in) const
{
    return writeGray(m_path, in);
}

bool GDALImageLoader::writeFloat(const QString& path, const PixelMatrix<float>& in) const
{
    return writeBand(path, DataType::Float32, in);
}

bool GDALImageLoader::writeFloat(const PixelMatrix<float>& in) const
{
    return writeFloat(m_path, in);
}

bool GDALImageLoader::openWriteTiles(int width, int height, int tileWidth, int tileHeight)
{
    m_tileWriter = std::make_shared<GDALStreamer>();
    return m_tileWriter->openWrite(
        m_path, RasterSpec().bands(3).extent(Workspace(0, 0, width, height, 1)).tiles(tileWidth, tileHeight));
}

} // namespace vexel
