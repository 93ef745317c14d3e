#include "companion/color.h"

namespace vexel::color {

void setAlpha(PixelMatrix<unsigned int>& pixels, unsigned int alpha)
{
    constexpr unsigned int colourBits = 0x00FFFFFFu;
    const unsigned int alphaBits = alpha << 24;
    unsigned int* const data = pixels.data();
    const Eigen::Index size = pixels.size();
    for (Eigen::Index i = 0; i < size; ++i)
        data[i] = (data[i] & colourBits) | alphaBits;
}

} // namespace vexel::color
