#ifndef VEXEL_COMPANION_DATASETINFO_H
#define VEXEL_COMPANION_DATASETINFO_H

#include "../export.h"
#include "DataType.h"

#include <cstddef>

class GDALDataset;

/// @file
/// Describes open GDAL datasets in the terms of the library. These functions take no lock, so you must have a
/// `GDALMutex` while you call them.

namespace vexel::gdal {

/// Returns the pixel type that all bands of an open dataset have.
///
/// Bytes are `UInt8` whatever the number of bands, never `RGB` or `RGBA`. The result is `Unknown` if the bands differ
/// in type, if the dataset has no bands, and for complex and 64-bit integer pixels.
VEXEL_EXPORT DataType getDataType(GDALDataset& dataset);

/// Returns the number of main images in the file of an open dataset, at least 1. Overviews and masks do not count.
VEXEL_EXPORT std::size_t countPages(GDALDataset& dataset);

} // namespace vexel::gdal

#endif
