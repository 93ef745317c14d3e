#include <vexel/vexel.h>

#include "gdalheaders.h"

using namespace vexel;

bool bothAreUsed()
{
    const GDALMutex lock;
    const Workspace box(0, 0, 100, 100, 10);
    const OGRSpatialReference noSystem;
    return box.pixelWidth() == 10 && noSystem.IsEmpty() &&
           minMaxForPixelType(DataType::UInt8).second == 255.0 && vexel::gdal::path2tfw("a.tif") == "a.tfw";
}
