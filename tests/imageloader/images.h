#ifndef VEXEL_TESTS_IMAGELOADER_IMAGES_H
#define VEXEL_TESTS_IMAGELOADER_IMAGES_H

#include "streaming/streamingsupport.h"
#include "support/exampledata.h"
#include "support/rasters.h"

#include <QString>

#include <stdexcept>
#include <string>
#include <vector>

/// Images for the tests of the image loader, made and read by GDAL alone.
namespace images {

using Colour = vexel::PixelMatrix<unsigned int>;
using Gray = vexel::PixelMatrix<unsigned char>;
using Floats = vexel::PixelMatrix<float>;

inline const std::vector<double> weights{0.299, 0.587, 0.114};

inline unsigned int packed(unsigned int red, unsigned int green, unsigned int blue, unsigned int alpha = 255)
{
    return alpha << 24 | red << 16 | green << 8 | blue;
}

/// Writes an image of bytes as GDAL does; the driver goes by the ending. JPEG is written at quality 95.
inline void make(const QString& path, int width, int height, int bands,
                 const rasters::PixelValue& value = streamingtest::storedNoise<unsigned char>())
{
    rasters::Description d{width, height, bands};
    if (path.endsWith(".jpg")) {
        d.driver = "JPEG";
        d.options = {"QUALITY=95"};
    } else if (path.endsWith(".png")) {
        d.driver = "PNG";
    }
    rasters::make(path, d, value);
}

/// A band reduced to the given size as GDAL does it without being told how.
inline std::vector<double> reducedBand(const QString& path, int band, int width, int height)
{
    const rasters::Dataset dataset = rasters::open(path);
    std::vector<double> values(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    if (!dataset || dataset->GetRasterBand(band)->RasterIO(GF_Read, 0, 0, dataset->GetRasterXSize(),
                                                           dataset->GetRasterYSize(), values.data(), width,
                                                           height, GDT_Float64, 0, 0, nullptr) != CE_None)
        throw std::runtime_error("GDAL cannot read " + path.toStdString());
    return values;
}

template <class T>
vexel::PixelMatrix<T> reduced(const QString& path, int width, int height)
{
    const std::vector<double> values = reducedBand(path, 1, width, height);
    vexel::PixelMatrix<T> matrix(height, width);
    for (Eigen::Index i = 0; i < matrix.size(); ++i)
        matrix.data()[i] = static_cast<T>(values[static_cast<std::size_t>(i)]);
    return matrix;
}

/// Gray, colour, or colour with alpha, by the number of bands.
inline Colour reducedColour(const QString& path, int bands, int width, int height)
{
    std::vector<std::vector<double>> values;
    for (int band = 1; band <= bands; ++band)
        values.push_back(reducedBand(path, band, width, height));
    Colour matrix(height, width);
    for (Eigen::Index i = 0; i < matrix.size(); ++i) {
        const auto sample = [&](std::size_t band) {
            return static_cast<unsigned int>(values[bands == 1 ? 0 : band][static_cast<std::size_t>(i)]);
        };
        matrix.data()[i] = packed(sample(0), sample(1), sample(2), bands == 4 ? sample(3) : 255);
    }
    return matrix;
}

/// A colour image in memory; alpha varies too.
inline Colour noisyColour(int width, int height)
{
    return streamingtest::noiseMatrix<unsigned int>(width, height);
}

/// One band of packed colour pixels, 1 to 3 for red, green and blue.
inline Gray bandOf(const Colour& colour, int band)
{
    Gray gray(colour.rows(), colour.cols());
    for (Eigen::Index i = 0; i < colour.size(); ++i)
        gray.data()[i] = static_cast<unsigned char>(colour.data()[i] >> (8 * (3 - band)) & 0xFFu);
    return gray;
}

inline Colour opaque(Colour colour)
{
    for (Eigen::Index i = 0; i < colour.size(); ++i)
        colour.data()[i] |= 0xFF000000u;
    return colour;
}

/// Values of a band for `make`.
inline rasters::PixelValue bandsOf(const Colour& colour)
{
    return [colour](int x, int y, int band) {
        return static_cast<double>(colour(y, x) >> (8 * (3 - band)) & 0xFFu);
    };
}

} // namespace images

#endif
