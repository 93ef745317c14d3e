#ifndef VEXEL_DOWNSAMPLERS_GAUSSSTEP_H
#define VEXEL_DOWNSAMPLERS_GAUSSSTEP_H

#include "workspace/geometry.h"

#include <cstdint>
#include <string>

namespace vexel {

/// What smoothing and sampling one tile means in pixels. Everything here is arithmetic on boxes.
struct GaussStep
{
    double sigma; ///< of the blur, in input pixels
    PixelBox
        readBox; ///< the tile with a margin of five sigma, cut at the raster's edge; in pixels of the input
    int xOffset; ///< where the tile's corner lies in what is read
    int yOffset; ///<
    std::int64_t rows;    ///< of the result
    std::int64_t columns; ///<
    PixelBox outBox;      ///< where the result belongs, in pixels of the output
};

/// Plans the step for `tile` of a raster with the given bounds and `factor` input pixels per output pixel, at
/// least 0.5.
///
/// Positions are rounded, each by itself. Where that leaves a row or column between this tile's output and
/// the next one's, this tile's result is larger by it.
GaussStep planGaussStep(const PixelBox& tile, const PixelBox& bounds, double factor);

/// Width of the blur for a factor: sqrt(3.37 k) with k half the factor, at least 1.
double gaussSigma(double factor);

/// The row or column that output row or column `index` is sampled at: the centre of its block, in what is
/// read.
std::int64_t samplePosition(std::int64_t index, double factor, int offset);

/// "RECT{POINT(0, 0), POINT(512, 512)}"
std::string textOf(const PixelBox& box);

} // namespace vexel

#endif
