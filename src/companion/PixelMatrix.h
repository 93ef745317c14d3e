#ifndef VEXEL_COMPANION_PIXELMATRIX_H
#define VEXEL_COMPANION_PIXELMATRIX_H

#include <Eigen/Core>

namespace vexel {

/// Pixels of one band: rows are image rows, row 0 northernmost; element (r, c) is pixel (x = c, y = r). The
/// elements of a row stand next to each other in memory, and so do the rows.
template <class T>
using PixelMatrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

/// Gives the matrix that size, with any pixels. If there is no memory for it, `std::bad_alloc` leaves it empty; Eigen's
/// own `resize` would leave it without the memory that it says it has.
template <class T>
void resizePixels(PixelMatrix<T>& pixels, Eigen::Index rows, Eigen::Index columns)
{
    if (pixels.rows() == rows && pixels.cols() == columns)
        return;
    pixels.resize(0, 0);
    pixels.resize(rows, columns);
}

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
