#ifndef VEXEL_TESTS_DOWNSAMPLERS_COSTFIXTURES_H
#define VEXEL_TESTS_DOWNSAMPLERS_COSTFIXTURES_H

#include "companion/Worker.h"
#include "support/downsampling.h"
#include "support/rasters.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Large rasters that are made quickly, for the tests of what a step costs.
namespace downsampling {

constexpr std::uint64_t mebi = 1024 * 1024;

/// A byte that is the same over cells of 4 by 4 pixels, so that it compresses.
inline int cellValue(int x, int y, int band)
{
    return ((x >> 2) * 37 + (y >> 2) * 101 + band * 53) & 255;
}

/// A raster of zeros that takes hardly any place on disk, in blocks of 512 by 512 pixels.
void makeSparse(const QString& path, int width, int height, int bands);

/// A raster of `cellValue`s, written a row of blocks at a time.
void makeCells(const QString& path, int width, int height, int bands,
               const std::vector<std::string>& options);

/// Counts how often a job tells its progress from now on: after each transfer that is read, and after each strip that is
/// written.
std::shared_ptr<int> countPieces(vexel::Worker& job);

/// A strip has less than 32 MiB, which is three transfers at most. A tile of more pieces has several strips.
constexpr int mostPiecesOfAStrip = 4;

} // namespace downsampling

#endif
