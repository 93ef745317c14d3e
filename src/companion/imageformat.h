#ifndef VEXEL_COMPANION_IMAGEFORMAT_H
#define VEXEL_COMPANION_IMAGEFORMAT_H

#include "../export.h"

#include <QString>

/// @file
/// What a path names, judged by its extension alone; upper and lower case are the same.

namespace vexel {

/// True for the name of a JPEG file: .jpg, .jpeg, .jpe.
VEXEL_EXPORT bool isJpeg(const QString& path);
/// True for the name of a PNG file: .png.
VEXEL_EXPORT bool isPng(const QString& path);

/// True for the name of a JPEG 2000 file: .jp2, .j2k, .jpx, .jpf, .jpc, .j2c.
VEXEL_EXPORT bool isJp2(const QString& path);

} // namespace vexel

#endif
