#ifndef VEXEL_COMPANION_GAUSSRECURSION_H
#define VEXEL_COMPANION_GAUSSRECURSION_H

#include <array>
#include <cstddef>
#include <vector>

namespace vexel {

/// A part of a row-major image: `rows` rows, `rowStep` elements apart.
template <class T>
struct ImagePart
{
    T* first;
    std::ptrdiff_t rows;
    std::ptrdiff_t columns;
    std::ptrdiff_t rowStep;
};

/// The recursion of `gauss_iir2d` along one direction, which can leave out the results that nobody wants.
/// Every pixel of a line counts for every result, wanted or not. Spread over OpenMP's threads.
class GaussRecursion
{
public:
    /// @param sigma in pixels, at least 0.05; more than 1e5 counts as 1e5.
    /// @param order 2, 3 or 4.
    GaussRecursion(float sigma, int order);

    /// Filters each column of `from` and puts the results at the rows `positions`, ascending, into the rows
    /// of `to`, which has as many columns, in memory of its own. Keeps 32 bytes a column.
    ///
    /// @tparam T unsigned char or float.
    template <class T>
    void filterColumns(const ImagePart<const T>& from, const std::vector<std::ptrdiff_t>& positions,
                       const ImagePart<float>& to) const;

    /// Filters each column in place. Each thread with work takes 64 KiB and the memory of at most 8 columns.
    void filterColumns(const ImagePart<float>& image) const;

    /// Filters each row in place. Each thread with work takes 4 KiB and the memory of at most 16 rows.
    void filterRows(const ImagePart<float>& image) const;

    /// Filters each row of `from` and puts the results at the columns `positions`, ascending, into the row of
    /// `to` of the same index. `to` may be `from` itself. A thread copies 16 rows at a time.
    void filterRows(const ImagePart<const float>& from, const std::vector<std::ptrdiff_t>& positions,
                    const ImagePart<float>& to) const;

    /// A recursion of first order in the complex plane. One of these a pole stays exact where the poles crowd
    /// near 1 for a large sigma, which a single recursion of high order does not.
    struct Coefficients
    {
        double poleRe;
        double poleIm;
        double forwardRe; ///< weight of the state in the forward response
        double forwardIm;
        double backwardRe; ///< the same backward, where the pixel itself does not count: forward has it
        double backwardIm;
        double gainRe; ///< of a constant input
        double gainIm;
    };

private:
    std::size_t m_noModes;
    std::array<Coefficients, 2> m_modes{};
};

} // namespace vexel

#endif
