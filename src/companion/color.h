#ifndef VEXEL_COMPANION_COLOR_H
#define VEXEL_COMPANION_COLOR_H

#include "../export.h"
#include "PixelMatrix.h"

/// Colour pixels packed as 0xAARRGGBB: blue is in the lowest byte, alpha in the highest.
namespace vexel::color {

/// Sets the alpha byte (bits 24 to 31) of every packed colour pixel.
///
/// @param pixels changed in place.
/// @param alpha  from 0, transparent, to 255, opaque. Only the low 8 bits are used.
VEXEL_EXPORT void setAlpha(PixelMatrix<unsigned int>& pixels, unsigned int alpha);

} // namespace vexel::color

#endif
