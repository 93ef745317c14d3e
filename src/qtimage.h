#ifndef VEXEL_QTIMAGE_H
#define VEXEL_QTIMAGE_H

/// @file
/// Rasters as pictures of Qt. Not part of vexel.h, since it needs QtGui, which the library itself does not.

#include "streaming/readpixels.h"

#include <QImage>

#include <cstddef>
#include <cstring>

namespace vexel {

/// Reads a box as a picture: colour of 3 or 4 bands, gray of one band of bytes or two. Transparent where no file covers the
/// box. Null if it cannot be read, in which case `set.lastError()` has the reason, or if there is no memory for a
/// picture of that size.
///
/// @param box   in pixels of the whole raster, half-open; one without width or height stands for all of it.
/// @param scale pixels of the picture for each pixel of the raster along an axis, above 0; the nearest pixel is taken.
///
/// @code
/// label->setPixmap(QPixmap::fromImage(readImage(ortho, PixelBox({0, 0}, {2048, 1024}), 0.25))); // 512 x 256
/// @endcode
[[nodiscard]] inline QImage readImage(const GDALStreamer& set, const PixelBox& box, double scale = 1.0)
{
    const auto pixels = readColours(set, box, ReadOptions().scale(scale));
    if (!pixels)
        return QImage();
    QImage image(static_cast<int>(pixels->cols()), static_cast<int>(pixels->rows()), QImage::Format_ARGB32);
    if (image.isNull())
        return image;
    const std::size_t bytesOfRow = sizeof(QRgb) * static_cast<std::size_t>(pixels->cols());
    for (int row = 0; row < image.height(); ++row)
        std::memcpy(image.scanLine(row), pixels->data() + row * pixels->cols(), bytesOfRow);
    return image;
}

} // namespace vexel

#endif
