#ifndef VEXEL_STREAMING_GDALDATASET_H
#define VEXEL_STREAMING_GDALDATASET_H

#include "companion/gdaldrivers.h"

#include <QString>

#include <gdal_priv.h>

#include <memory>

namespace vexel {

struct CloseDataset
{
    // What GDALClose returns, newer versions only, says no more than the messages do.
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};

/// A dataset that is closed in the end. Hold a `GDALMutex` then, as for all that is done with it.
using Dataset = std::unique_ptr<GDALDataset, CloseDataset>;

/// Takes over what a function of GDAL's C interface has opened. The handles of that interface are the datasets themselves;
/// GDAL's own conversions came with 2.3.
inline Dataset takeDataset(GDALDatasetH handle)
{
    return Dataset(static_cast<GDALDataset*>(handle));
}

/// The dataset for a function of GDAL's C interface, which stays its owner's.
inline GDALDatasetH handleOf(const Dataset& dataset)
{
    return dataset.get();
}

/// Null if GDAL does not open the file.
inline Dataset openDataset(const QString& path, GDALAccess access)
{
    gdal::registerDrivers();
    return takeDataset(GDALOpen(path.toUtf8().constData(), access));
}

/// True if each block holds the pixels of all bands.
inline bool bandsShareBlocks(GDALDataset& dataset)
{
    const char* const interleave = dataset.GetMetadataItem("INTERLEAVE", "IMAGE_STRUCTURE");
    return interleave && EQUAL(interleave, "PIXEL");
}

} // namespace vexel

#endif
