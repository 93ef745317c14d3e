#ifndef VEXEL_DOWNSAMPLERS_GAUSSSTEP_H
#define VEXEL_DOWNSAMPLERS_GAUSSSTEP_H

#include "workspace/geometry.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vexel {

/// What smoothing and sampling one tile means in pixels. Everything here is arithmetic on boxes.
struct GaussStep
{
    double factor;        ///< input pixels per output pixel
    double sigma;         ///< of the blur, in input pixels
    std::int64_t margin;  ///< five sigma, rounded
    PixelBox readBox;     ///< the tile with the margin, cut at the raster's edge; in pixels of the input
    int xOffset;          ///< where the tile's corner lies in what is read
    int yOffset;          ///<
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

/// A run of results along one axis, and the pixels, of what is read, that they are computed from.
struct GaussPart
{
    std::int64_t firstResult;
    std::int64_t endResult; ///< one beyond the last
    std::int64_t firstPixel;
    std::int64_t endPixel; ///< one beyond the last
};

/// A tile cut into parts that are smoothed one by one.
struct GaussParts
{
    std::vector<GaussPart> rows;
    std::vector<GaussPart> columns;
};

/// Cuts a tile into parts that take at most `mostBytes` each: into rows of parts, and into columns too where
/// those would be low. A tile that takes no more stays whole. Parts reach one and a half margins beyond the
/// pixels that they sample; what lies farther away counts by less than a hundred-thousandth.
///
/// @param noBands     number of bands, which are kept together.
/// @param sampleBytes of a pixel of one band.
/// @param blockHeight rows that the file decodes at a time, which a part may read beyond its pixels.
GaussParts cutIntoParts(const GaussStep& step, std::size_t noBands, std::size_t sampleBytes,
                        std::int64_t blockHeight, double mostBytes);

/// "RECT{POINT(0, 0), POINT(512, 512)}"
std::string textOf(const PixelBox& box);

} // namespace vexel

#endif
