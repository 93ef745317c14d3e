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

/// Null if GDAL does not open the file.
inline Dataset openDataset(const QString& path, GDALAccess access)
{
    gdal::registerDrivers();
    return Dataset(GDALDataset::FromHandle(GDALOpen(path.toUtf8().constData(), access)));
}

} // namespace vexel

#endif
