#ifndef VEXEL_STREAMING_BANDPIXELS_H
#define VEXEL_STREAMING_BANDPIXELS_H

#include "companion/PixelMatrix.h"
#include "workspace/geometry.h"

namespace vexel {

/// Returns bands that are one below the other in a matrix.
template <class T>
BandPixels<T> stacked(T* first, Eigen::Index rows, Eigen::Index columns)
{
    return {first, rows, columns, columns, rows * columns};
}

/// Returns the part of the pixels that a box covers, which is in pixels of the bands.
template <class T>
BandPixels<T> partOf(const BandPixels<T>& pixels, const PixelBox& box)
{
    const PixelPoint& corner = box.min_corner();
    return {pixels.first + corner.y() * pixels.rowStep + corner.x(), box.max_corner().y() - corner.y(),
            box.max_corner().x() - corner.x(), pixels.rowStep, pixels.bandStep};
}

} // namespace vexel

#endif
