#include "companion/gaussblur.h"

#include "companion/gaussrecursion.h"

#include <stdexcept>
#include <string>

namespace vexel {

void gauss_iir2d(PixelMatrix<float>& m, float sigma, int n)
{
    if (n < 2 || n > 4)
        throw std::invalid_argument("The recursive Gaussian has orders 2 to 4, not " + std::to_string(n));
    // Below this the next pixel's weight vanishes even beside 1.
    constexpr float smallest = 0.05f;
    if (!(sigma >= smallest) || m.size() == 0)
        return;
    const GaussRecursion recursion(sigma, n);
    const ImagePart image{m.data(), m.rows(), m.cols(), m.cols()};
    recursion.filterColumns(image);
    recursion.filterRows(image);
}

} // namespace vexel
