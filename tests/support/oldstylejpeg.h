#ifndef VEXEL_TESTS_SUPPORT_OLDSTYLEJPEG_H
#define VEXEL_TESTS_SUPPORT_OLDSTYLEJPEG_H

#include <QString>

/// Writes a TIFF file of three bands with old-style JPEG compression, which GDAL reads but does not write: a JPEG file that
/// GDAL makes, put into a TIFF as one strip.
///
/// @param folder where the JPEG file is made on the way.
void makeOldStyleJpeg(const QString& path, const QString& folder, int width, int height);

#endif
