#ifndef VEXEL_TESTS_SUPPORT_DAMAGE_H
#define VEXEL_TESTS_SUPPORT_DAMAGE_H

#include "support/rasters.h"

#include <QString>

#include <fstream>
#include <ios>
#include <stdexcept>
#include <string>

namespace rasters {

/// Makes the block of a compressed GeoTIFF that holds a pixel of a band undecodable.
inline void damageBlock(const QString& path, int x, int y, int band)
{
    std::streamoff offset = 0;
    {
        const Dataset dataset = open(path);
        GDALRasterBand& raster = *dataset->GetRasterBand(band);
        int blockWidth = 0;
        int blockHeight = 0;
        raster.GetBlockSize(&blockWidth, &blockHeight);
        const std::string block = std::to_string(x / blockWidth) + "_" + std::to_string(y / blockHeight);
        const char* const text = raster.GetMetadataItem(("BLOCK_OFFSET_" + block).c_str(), "TIFF");
        if (!text)
            throw std::runtime_error("there is no block " + block);
        offset = std::stoll(text);
    }
    std::fstream file(path.toStdString(), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(offset);
    file << "not what the decoder looks for";
    if (!file.flush())
        throw std::runtime_error("cannot write " + path.toStdString());
}

} // namespace rasters

#endif
