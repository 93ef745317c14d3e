#ifndef VEXEL_COMPANION_IMAGEFORMAT_H
#define VEXEL_COMPANION_IMAGEFORMAT_H

#include "../export.h"

#include <QString>

/// What a path names, judged by its extension alone; upper and lower case are the same.
namespace vexel {

VEXEL_EXPORT bool isJpeg(const QString& path);
VEXEL_EXPORT bool isPng(const QString& path);

/// JPEG 2000.
VEXEL_EXPORT bool isJp2(const QString& path);

} // namespace vexel

#endif
