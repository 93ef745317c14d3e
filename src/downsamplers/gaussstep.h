#ifndef VEXEL_DOWNSAMPLERS_GAUSSSTEP_H
#define VEXEL_DOWNSAMPLERS_GAUSSSTEP_H

#include "downsamplers/blockruns.h"
#include "downsamplers/tilestep.h"
#include "workspace/geometry.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vexel {

/// The results of a tile along one axis: which pixel each is sampled at, and the window round it that counts. In pixels of
/// what is read.
struct GaussAxis
{
    std::vector<std::ptrdiff_t> samples;
    std::vector<BlockSpan> windows; ///< cut at the raster's edge
};

/// What smoothing and sampling one tile means in pixels. Everything here is arithmetic on boxes.
struct GaussStep
{
    double sigma;        ///< of the blur, in input pixels
    std::int64_t margin; ///< five sigma, rounded: what counts on either side of a sample
    PixelBox readBox;    ///< what the windows cover, in pixels of the input
    int xOffset;         ///< where the tile's corner lies in what is read
    int yOffset;         ///<
    GaussAxis rows; ///< of the results that are reached: those whose sample lies in the tile with its margin
    GaussAxis columns; ///<
    PixelBox outBox;   ///< where all results of the tile belong, in pixels of the output
};

/// Plans the step for `tile` of a raster with the given bounds and `factor` input pixels per output pixel, at
/// least 0.5.
///
/// Positions are rounded, each by itself. Where that leaves a row or column between this tile's output and
/// the next one's, this tile's result is larger by it.
GaussStep planGaussStep(const PixelBox& tile, const PixelBox& bounds, double factor);

/// Width of the blur for a factor: sqrt(3.37 k) with k half the factor, at least 1.
double gaussSigma(double factor);

/// "RECT{POINT(0, 0), POINT(512, 512)}"
std::string textOf(const PixelBox& box);

} // namespace vexel

#endif
