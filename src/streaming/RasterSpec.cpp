#include "streaming/RasterSpec.h"

#include "streaming/GDALStreamer.h"

namespace vexel {

RasterSpec RasterSpec::like(const GDALStreamer& set)
{
    return RasterSpec()
        .bands(set.noBands())
        .type(set.dtype())
        .extent(set.workspace())
        .reference(set.spatialReference());
}

bool GDALStreamer::openWrite(const QString& path, const RasterSpec& raster)
{
    m_ftype = raster.m_isTiled ? GdalFileType::TileSet : GdalFileType::SingleFile;
    return openToWrite(path, raster, /*projTime=*/QString());
}

} // namespace vexel
