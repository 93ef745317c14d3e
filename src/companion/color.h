#ifndef VEXEL_COMPANION_COLOR_H
#define VEXEL_COMPANION_COLOR_H

#include "../export.h"
#include "PixelMatrix.h"

namespace vexel::color {

/// Sets the alpha byte (bits 24 to 31) of every packed colour pixel to the low 8 bits of `alpha`.
VEXEL_EXPORT void setAlpha(PixelMatrix<unsigned int>& pixels, unsigned int alpha);

} // namespace vexel::color

#endif
