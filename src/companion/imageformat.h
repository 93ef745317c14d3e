#ifndef VEXEL_COMPANION_IMAGEFORMAT_H
#define VEXEL_COMPANION_IMAGEFORMAT_H

#include "../export.h"

#include <QString>

/// @file
/// Recognises image formats by the extension of a path. Upper and lower case are the same, and no file is opened.

namespace vexel {

/// Returns true for the name of a JPEG file: .jpg, .jpeg, .jpe.
VEXEL_EXPORT bool isJpeg(const QString& path);
/// Returns true for the name of a PNG file: .png.
VEXEL_EXPORT bool isPng(const QString& path);

/// Returns true for the name of a JPEG 2000 file: .jp2, .j2k, .jpx, .jpf, .jpc, .j2c.
VEXEL_EXPORT bool isJp2(const QString& path);

} // namespace vexel

#endif
