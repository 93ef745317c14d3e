#ifndef VEXEL_STREAMING_UNWRITTENBLOCKS_H
#define VEXEL_STREAMING_UNWRITTENBLOCKS_H

#include "workspace/geometry.h"

#include <functional>
#include <vector>

class GDALDataset;

/// The blocks of a working file that no pixel was written to. They take no room on the disk, and hold zeros there. Each
/// gets no-data in all of its bands at the first touch that does not write all of it.
///
/// A block is one bit, row by row; none at all means that every block is written. Boxes are in pixels, half-open; what
/// reaches beyond the file does not count. Hold a `GDALMutex`.
namespace vexel::unwritten {

/// For a file that has just been created.
std::vector<bool> allBlocks(GDALDataset& dataset);

/// Fills the blocks that the box touches. False if GDAL cannot write one, which stays unwritten then.
bool fillTouched(GDALDataset& dataset, std::vector<bool>& blocks, const PixelBox& box);

/// The same but for blocks that lie in the box: their pixels are about to be written.
bool fillEdges(GDALDataset& dataset, std::vector<bool>& blocks, const PixelBox& box);

/// Fills all.
///
/// @param goesOn asked before each block, where that may take long; false ends it.
bool fillAll(GDALDataset& dataset, std::vector<bool>& blocks, const std::function<bool()>& goesOn = {});

/// The box has been written in all bands.
void noteWritten(GDALDataset& dataset, std::vector<bool>& blocks, const PixelBox& box);

} // namespace vexel::unwritten

#endif
