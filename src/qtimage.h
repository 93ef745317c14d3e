#ifndef VEXEL_QTIMAGE_H
#define VEXEL_QTIMAGE_H

/// @file
/// Reads rasters as pictures of Qt. You must include this header separately: it is not part of vexel.h, because it
/// needs QtGui and the library does not.

#include "streaming/readpixels.h"

#include <QImage>

#include <cstddef>
#include <cstring>

namespace vexel {

/// Reads a box as a picture. 3 or 4 bands become colour, and one or two bands of bytes become grey.
///
/// @code
/// label->setPixmap(QPixmap::fromImage(readImage(ortho, PixelBox({0, 0}, {2048, 1024}), 0.25))); // 512 x 256
/// @endcode
///
/// Pixels that no file covers are transparent.
///
/// @param set   must be open.
/// @param box   in pixels of the whole raster, half-open. A box without width or height means the whole raster.
/// @param scale number of pixels of the picture for each pixel of the raster along an axis, above 0. If it is not 1,
///              the nearest pixel is taken.
/// @return a null picture if the box cannot be read, and `set.lastError()` has the reason. The picture is also null if
///         there is no memory for a picture of that size.
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
