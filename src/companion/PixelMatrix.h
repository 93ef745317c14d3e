#ifndef VEXEL_COMPANION_PIXELMATRIX_H
#define VEXEL_COMPANION_PIXELMATRIX_H

#include <Eigen/Core>

namespace vexel {

/// Pixels of one band: rows are image rows, row 0 northernmost; element (r, c) is pixel (x = c, y = r). The
/// elements of a row stand next to each other in memory, and so do the rows.
template <class T>
using PixelMatrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

/// Where pixels of several bands lie in memory: pixel (x, y) of band k at
/// `first[k * bandStep + y * rowStep + x]`.
template <class T>
struct BandPixels
{
    T* first;
    Eigen::Index rows; ///< of each band
    Eigen::Index columns;
    Eigen::Index rowStep;
    Eigen::Index bandStep;
};

} // namespace vexel

#endif
