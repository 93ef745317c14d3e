#ifndef VEXEL_COMPANION_PIXELMATRIX_H
#define VEXEL_COMPANION_PIXELMATRIX_H

#include <Eigen/Core>

namespace vexel {

/// Matrix with the pixels of one band.
///
/// Rows are image rows, and row 0 is the northernmost one. Element (r, c) is pixel (x = c, y = r). The elements of a
/// row follow each other in memory, and so do the rows. No-data has no special mark: it is a value, as in the file.
template <class T>
using PixelMatrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

/// Resizes the matrix. The pixels are unspecified afterwards, unless the matrix has that size already: then it keeps
/// its pixels and its memory.
///
/// @throws std::bad_alloc if there is not enough memory, and the matrix is then empty. You should not call Eigen's own
///         `resize` because a matrix reports the new size after such a failure, although it has no memory.
template <class T>
void resizePixels(PixelMatrix<T>& pixels, Eigen::Index rows, Eigen::Index columns)
{
    if (pixels.rows() == rows && pixels.cols() == columns)
        return;
    pixels.resize(0, 0);
    pixels.resize(rows, columns);
}

/// Describes how the pixels of several bands are arranged in memory that you own.
///
/// Pixel (x, y) of band k, all counted from 0, is `first[k * bandStep + y * rowStep + x]`. The steps count elements,
/// not bytes.
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
    Eigen::Index rows;     ///< number of rows of each band
    Eigen::Index columns;  ///< number of columns of each band
    Eigen::Index rowStep;  ///< distance from one row of a band to the next
    Eigen::Index bandStep; ///< distance from one band to the next
};

} // namespace vexel

#endif
