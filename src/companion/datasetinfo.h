#ifndef VEXEL_COMPANION_DATASETINFO_H
#define VEXEL_COMPANION_DATASETINFO_H

#include "../export.h"
#include "DataType.h"

#include <cstddef>

class GDALDataset;

/// @file
/// What GDAL's open datasets are, in the terms of the library. Hold a `GDALMutex` round these calls.

namespace vexel::gdal {

/// The pixel type that all bands of an open dataset share, whatever their number: bytes are `UInt8`, never
/// `RGB` or `RGBA`. `Unknown` if the bands differ in type, for complex and 64-bit integer pixels, and without
/// bands.
VEXEL_EXPORT DataType getDataType(GDALDataset& dataset);

/// The number of main images in the file behind an open dataset, at least 1. Overviews and masks do not
/// count.
VEXEL_EXPORT std::size_t countPages(GDALDataset& dataset);

} // namespace vexel::gdal

#endif
