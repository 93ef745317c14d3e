#ifndef VEXEL_IMAGELOADER_SIMPLEIMAGELOADER_H
#define VEXEL_IMAGELOADER_SIMPLEIMAGELOADER_H

#include "../companion/PixelMatrix.h"
#include "../export.h"

#include <QString>

namespace vexel {

/// Reads and writes whole images. A loader stands for one image, that of the operations without a path, and
/// serves any other by the operations with one.
///
/// Colour pixels are packed as 0xAARRGGBB, gray ones are bytes. A read resizes its matrix to the image's size
/// divided by `level`: 1 is full size, 2 half of the width and height, rounded half away from zero.
/// Everything returns false for what cannot be done. The order of the virtual operations is part of the
/// interface.
class VEXEL_EXPORT SimpleImageLoader
{
public:
    virtual ~SimpleImageLoader() = default;

    /// @{
    /// Reads colour, as 0xAARRGGBB. Row 0 of `out` is the topmost one.
    virtual bool readRGB(const QString& path, PixelMatrix<unsigned int>& out, int level) const = 0;
    virtual bool readRGB(PixelMatrix<unsigned int>& out, int level) const = 0;
    /// @}
    /// @{
    /// Reads gray, 0 to 255.
    virtual bool readGray(const QString& path, PixelMatrix<unsigned char>& out, int level) const = 0;
    virtual bool readGray(PixelMatrix<unsigned char>& out, int level) const = 0;
    /// @}
    /// @{
    /// Reads values as they are.
    virtual bool readFloat(const QString& path, PixelMatrix<float>& out, int level) const = 0;
    virtual bool readFloat(PixelMatrix<float>& out, int level) const = 0;
    /// @}

    /// Writes tile `tile`, counted from 0, of the image that `openWriteTiles` has prepared.
    virtual bool writeRGB(const PixelMatrix<unsigned int>& in, int tile) const = 0;
    /// @{
    /// Writes colour, as 0xAARRGGBB, at full size.
    virtual bool writeRGB(const QString& path, const PixelMatrix<unsigned int>& in) const = 0;
    virtual bool writeRGB(const PixelMatrix<unsigned int>& in) const = 0;
    /// @}
    /// @{
    /// Writes gray.
    virtual bool writeGray(const QString& path, const PixelMatrix<unsigned char>& in) const = 0;
    virtual bool writeGray(const PixelMatrix<unsigned char>& in) const = 0;
    /// @}
    /// @{
    /// Writes values as they are.
    virtual bool writeFloat(const QString& path, const PixelMatrix<float>& in) const = 0;
    virtual bool writeFloat(const PixelMatrix<float>& in) const = 0;
    /// @}

    /// Prepares the image to be written tile by tile. All sizes are in pixels.
    virtual bool openWriteTiles(int width, int height, int tileWidth, int tileHeight) = 0;
};

} // namespace vexel

#endif
