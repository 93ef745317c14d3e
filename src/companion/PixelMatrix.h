#ifndef VEXEL_COMPANION_PIXELMATRIX_H
#define VEXEL_COMPANION_PIXELMATRIX_H

#include <Eigen/Core>

namespace vexel {

/// Pixels of one band: rows are image rows, row 0 northernmost; element (r, c) is pixel (x = c, y = r). The
/// elements of a row stand next to each other in memory, and so do the rows. No-data has no mark of its own: it is a
/// value, as in the file.
template <class T>
using PixelMatrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

/// Gives the matrix that size, with any pixels. If there is no memory for it, `std::bad_alloc` leaves it empty; Eigen's
/// own `resize` would leave it without the memory that it says it has. A matrix that has the size already keeps its
/// pixels and its memory.
template <class T>
void resizePixels(PixelMatrix<T>& pixels, Eigen::Index rows, Eigen::Index columns)
{
    if (pixels.rows() == rows && pixels.cols() == columns)
        return;
    pixels.resize(0, 0);
    pixels.resize(rows, columns);
}

/// Where pixels of several bands lie in memory of the caller's: pixel (x, y) of band k at
/// `first[k * bandStep + y * rowStep + x]`. The steps count elements, not bytes.
///
/// @code
/// // Three bands of 512 by 256 pixels, one after the other.
/// std::vector<float> memory(3 * 512 * 256);
/// const BandPixels<float> pixels{memory.data(), 256, 512, 512, 512 * 256};
/// @endcode
template <class T>
struct BandPixels
{
    T* first;              ///< the north-west pixel of the first band
    Eigen::Index rows;     ///< of each band
    Eigen::Index columns;  ///< of each band
    Eigen::Index rowStep;  ///< from one row of a band to the next
    Eigen::Index bandStep; ///< from one band to the next
};

} // namespace vexel

#endif
