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

bool GDALStreamer::openWrite(const QString& path, const RasterSpec& spec)
{
    return openWrite(path, spec.m_bands, spec.m_type, spec.m_extent, spec.m_reference, QString(),
                     spec.m_software, spec.m_isTiled ? GdalFileType::TileSet : GdalFileType::SingleFile,
                     spec.m_tileWidth, spec.m_tileHeight);
}

} // namespace vexel
