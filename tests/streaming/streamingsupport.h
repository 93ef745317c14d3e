#ifndef VEXEL_TESTS_STREAMING_STREAMINGSUPPORT_H
#define VEXEL_TESTS_STREAMING_STREAMINGSUPPORT_H

#include "support/LogCapture.h"
#include "support/boxes.h"
#include "support/files.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"

#include "companion/DataType.h"
#include "companion/PixelMatrix.h"
#include "workspace/Workspace.h"
#include "workspace/geometry.h"

#include <QString>

#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

/// What the tests of raster files and raster sets share.
namespace streamingtest {

/// An extent in pixel units.
inline vexel::Workspace pixelFrame(int width, int height)
{
    return {0, 0, width, height, 1};
}

/// Collects what the library itself logs, without what GDAL says.
class OwnMessages
{
public:
    std::string text() const { return m_capture.text(); }
    const std::vector<LogCapture::Message>& messages() const { return m_capture.messages(); }

private:
    LogCapture m_capture;
    QuietGdal m_quiet;
};

/// The element types of pixel matrices, each with the file type that holds exactly its values.
template <class T>
struct Element;
template <>
struct Element<signed char>
{
    static constexpr GDALDataType gdal = GDT_Byte;
    static constexpr vexel::DataType type = vexel::DataType::UInt8;
};
template <>
struct Element<unsigned char>
{
    static constexpr GDALDataType gdal = GDT_Byte;
    static constexpr vexel::DataType type = vexel::DataType::UInt8;
};
template <>
struct Element<short>
{
    static constexpr GDALDataType gdal = GDT_Int16;
    static constexpr vexel::DataType type = vexel::DataType::Int16;
};
template <>
struct Element<unsigned short>
{
    static constexpr GDALDataType gdal = GDT_UInt16;
    static constexpr vexel::DataType type = vexel::DataType::UInt16;
};
template <>
struct Element<int>
{
    static constexpr GDALDataType gdal = GDT_Int32;
    static constexpr vexel::DataType type = vexel::DataType::Int32;
};
template <>
struct Element<unsigned int>
{
    static constexpr GDALDataType gdal = GDT_UInt32;
    static constexpr vexel::DataType type = vexel::DataType::UInt32;
};
template <>
struct Element<float>
{
    static constexpr GDALDataType gdal = GDT_Float32;
    static constexpr vexel::DataType type = vexel::DataType::Float32;
};
template <>
struct Element<double>
{
    static constexpr GDALDataType gdal = GDT_Float64;
    static constexpr vexel::DataType type = vexel::DataType::Float64;
};

/// A number from 0 to 1 spread over the range of T.
template <class T>
T spread(double unit)
{
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<T>((unit - 0.5) * 1e6);
    else
        return static_cast<T>(static_cast<double>(std::numeric_limits<T>::lowest()) +
                              unit * (static_cast<double>(std::numeric_limits<T>::max()) -
                                      static_cast<double>(std::numeric_limits<T>::lowest())));
}

/// The value as the file holds it: signed chars are stored as bytes.
template <class T>
double stored(T value)
{
    if constexpr (std::is_same_v<T, signed char>)
        return static_cast<unsigned char>(value);
    else
        return static_cast<double>(value);
}

/// Pixel of a raster full of noise, and the matrix of a part of it.
template <class T>
T noisePixel(int x, int y, int band = 1)
{
    return spread<T>(rasters::noise(x, y, band));
}

template <class T>
rasters::PixelValue storedNoise(int x0 = 0, int y0 = 0)
{
    return [=](int x, int y, int band) { return stored(noisePixel<T>(x + x0, y + y0, band)); };
}

template <class T>
vexel::PixelMatrix<T> noiseMatrix(int width, int height, int band = 1, int x0 = 0, int y0 = 0)
{
    vexel::PixelMatrix<T> matrix(height, width);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            matrix(y, x) = noisePixel<T>(x + x0, y + y0, band);
    return matrix;
}

/// All pixels of a band as GDAL reads them, as a matrix.
template <class T>
vexel::PixelMatrix<T> gdalPixels(const QString& path, int band = 1)
{
    const rasters::Dataset dataset = rasters::open(path);
    if (!dataset)
        throw std::runtime_error("GDAL cannot open " + path.toStdString());
    const std::vector<double> values = rasters::pixels(path, band);
    vexel::PixelMatrix<T> matrix(dataset->GetRasterYSize(), dataset->GetRasterXSize());
    for (Eigen::Index i = 0; i < matrix.size(); ++i)
        matrix.data()[i] =
            std::is_same_v<T, signed char>
                ? static_cast<T>(static_cast<unsigned char>(values[static_cast<std::size_t>(i)]))
                : static_cast<T>(values[static_cast<std::size_t>(i)]);
    return matrix;
}

} // namespace streamingtest

#endif
