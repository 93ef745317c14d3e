#ifndef VEXEL_QUALITY_RASTER_H
#define VEXEL_QUALITY_RASTER_H

#include <cstddef>
#include <string>
#include <vector>

namespace quality {

/// The no-data value of every raster of floats here.
constexpr float noData = -10000.0f;

/// A raster in memory and where it lies.
///
/// Positions are in pixels of the test raster that it was made from, counted from that one's north-west
/// corner, y to the south: its pixel (0, 0) has its centre at (0.5, 0.5).
struct Raster
{
    int width = 0;
    int height = 0;
    int bands = 0;
    double left = 0.0; ///< of the first pixel's corner
    double top = 0.0;
    double pixelSize = 1.0;
    std::vector<float> pixels; ///< band by band, row by row

    float& at(int band, int x, int y) { return pixels[index(band, x, y)]; }
    float at(int band, int x, int y) const { return pixels[index(band, x, y)]; }
    double centreX(int x) const { return left + (x + 0.5) * pixelSize; }
    double centreY(int y) const { return top + (y + 0.5) * pixelSize; }

private:
    std::size_t index(int band, int x, int y) const
    {
        return (static_cast<std::size_t>(band) * static_cast<std::size_t>(height) +
                static_cast<std::size_t>(y)) *
                   static_cast<std::size_t>(width) +
               static_cast<std::size_t>(x);
    }
};

/// What the pixels of a file are.
enum class PixelKind
{
    Float,          ///< numbers, all of them valid
    FloatWithHoles, ///< numbers with no-data, which the file declares
    Gray,           ///< bytes
    Rgba            ///< bytes, the last band of which is alpha
};

/// A box of pixels.
struct Box
{
    int x, y, width, height;
};

/// Writes a part of a raster, or all of it, as a GeoTIFF.
/// @throws std::runtime_error
void writeGeoTiff(const std::string& path, const Raster& raster, PixelKind kind, const Box& part);
void writeGeoTiff(const std::string& path, const Raster& raster, PixelKind kind);

/// Reads all bands of a file. One without a place of its own, like a file of overviews, covers the whole of
/// the test raster.
/// @param sourceWidth of the test raster, in pixels.
/// @throws std::runtime_error
Raster readRaster(const std::string& path, int sourceWidth);

/// Writes a picture of four bands of bytes: red, green, blue, alpha.
/// @throws std::runtime_error
void writePng(const std::string& path, const Raster& picture);

} // namespace quality

#endif
