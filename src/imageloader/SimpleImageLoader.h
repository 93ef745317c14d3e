#ifndef VEXEL_IMAGELOADER_SIMPLEIMAGELOADER_H
#define VEXEL_IMAGELOADER_SIMPLEIMAGELOADER_H

#include "../companion/PixelMatrix.h"
#include "../export.h"

#include <QString>

namespace vexel {

/// Reads and writes whole images.
///
/// A loader is created for one image: the operations without a path use it. With the operations with a path you can use
/// any other image.
///
/// Colour pixels are packed as 0xAARRGGBB, and grey pixels are bytes. A read resizes its matrix to the size of the
/// image divided by `level`, rounded half away from zero: 1 is full size, and 2 is half of the width and height. All
/// operations return false if they fail. The order of the virtual operations is part of the interface.
class VEXEL_EXPORT SimpleImageLoader
{
public:
    virtual ~SimpleImageLoader() = default;

    /// @{
    /// Reads colour pixels, as 0xAARRGGBB. Row 0 of `out` is the topmost row.
    virtual bool readRGB(const QString& path, PixelMatrix<unsigned int>& out, int level) const = 0;
    virtual bool readRGB(PixelMatrix<unsigned int>& out, int level) const = 0;
    /// @}
    /// @{
    /// Reads grey pixels, from 0 to 255.
    virtual bool readGray(const QString& path, PixelMatrix<unsigned char>& out, int level) const = 0;
    virtual bool readGray(PixelMatrix<unsigned char>& out, int level) const = 0;
    /// @}
    /// @{
    /// Reads values without changing them.
    virtual bool readFloat(const QString& path, PixelMatrix<float>& out, int level) const = 0;
    virtual bool readFloat(PixelMatrix<float>& out, int level) const = 0;
    /// @}

    /// Writes tile `tile`, counted from 0. You must prepare the image with `openWriteTiles` before.
    virtual bool writeRGB(const PixelMatrix<unsigned int>& in, int tile) const = 0;
    /// @{
    /// Writes colour pixels, given as 0xAARRGGBB, at full size.
    virtual bool writeRGB(const QString& path, const PixelMatrix<unsigned int>& in) const = 0;
    virtual bool writeRGB(const PixelMatrix<unsigned int>& in) const = 0;
    /// @}
    /// @{
    /// Writes grey pixels.
    virtual bool writeGray(const QString& path, const PixelMatrix<unsigned char>& in) const = 0;
    virtual bool writeGray(const PixelMatrix<unsigned char>& in) const = 0;
    /// @}
    /// @{
    /// Writes values without changing them.
    virtual bool writeFloat(const QString& path, const PixelMatrix<float>& in) const = 0;
    virtual bool writeFloat(const PixelMatrix<float>& in) const = 0;
    /// @}

    /// Prepares the image so that you can write it tile by tile. All sizes are in pixels.
    virtual bool openWriteTiles(int width, int height, int tileWidth, int tileHeight) = 0;
};

} // namespace vexel

#endif
