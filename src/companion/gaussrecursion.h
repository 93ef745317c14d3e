#ifndef VEXEL_COMPANION_GAUSSRECURSION_H
#define VEXEL_COMPANION_GAUSSRECURSION_H

#include <array>
#include <cstddef>

namespace vexel {

/// A part of a row-major image: `rows` rows, `rowStep` pixels apart.
struct ImagePart
{
    float* first;
    std::ptrdiff_t rows;
    std::ptrdiff_t columns;
    std::ptrdiff_t rowStep;
};

/// The recursion of `gauss_iir2d` along one direction. Spread over OpenMP's threads.
class GaussRecursion
{
public:
    /// @param sigma in pixels, at least 0.05; more than 1e5 counts as 1e5.
    /// @param order 2, 3 or 4.
    GaussRecursion(float sigma, int order);

    /// Filters each column in place. Each thread with work takes 64 KiB and the memory of at most 8 columns.
    void filterColumns(const ImagePart& image) const;

    /// Filters each row in place. Each thread with work takes 4 KiB and the memory of at most 16 rows.
    void filterRows(const ImagePart& image) const;

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
