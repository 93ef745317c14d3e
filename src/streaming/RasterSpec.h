#ifndef VEXEL_STREAMING_RASTERSPEC_H
#define VEXEL_STREAMING_RASTERSPEC_H

#include "../companion/DataType.h"
#include "../export.h"
#include "../workspace/Workspace.h"

#include <QString>

#include <cstddef>

namespace vexel {

class GDALStreamer;

/// Describes a raster that you want to write, for `GDALStreamer::openWrite`. Each function sets one property and
/// returns the same object, so you can write all that you need in one expression. Takes no lock.
///
/// @code
/// GDALStreamer copy;
/// if (!copy.openWrite("copy.tif", RasterSpec::like(dem).type(DataType::Float32).tiles(5000, 5000)))
///     std::cerr << copy.lastError() << std::endl;
/// @endcode
class VEXEL_EXPORT RasterSpec
{
public:
    /// Describes one band of bytes in one file, without extent and without spatial reference. You must set an extent.
    RasterSpec() = default;

    /// Describes a raster with the bands, pixel type, extent and spatial reference of `set`, in one file. The tiles
    /// of `set` are not taken over.
    [[nodiscard]] static RasterSpec like(const GDALStreamer& set);

    /// Sets the number of bands, which is 1 if you do not call it. 3 and 4 bands are marked as colour, and the fourth
    /// as alpha.
    RasterSpec& bands(std::size_t number)
    {
        m_bands = number;
        return *this;
    }
    /// Sets the pixel type, which is `DataType::UInt8` if you do not call it.
    RasterSpec& type(DataType type)
    {
        m_type = type;
        return *this;
    }
    /// Sets the extent and the pixel size, in the integer map frame. The tiles of `extent` are ignored.
    RasterSpec& extent(const Workspace& extent)
    {
        m_extent = extent;
        m_extent.clearTiles();
        return *this;
    }
    /// Sets the spatial reference as WKT, empty for none.
    RasterSpec& reference(const QString& wkt)
    {
        m_reference = wkt;
        return *this;
    }
    /// Makes a set of tile files instead of one file. The size of the tiles is in pixels.
    RasterSpec& tiles(int width, int height)
    {
        m_isTiled = true;
        m_tileWidth = width;
        m_tileHeight = height;
        return *this;
    }
    /// Sets the text of the TIFF software tag, empty for a default.
    RasterSpec& software(const QString& name)
    {
        m_software = name;
        return *this;
    }

private:
    friend class GDALStreamer;

    std::size_t m_bands = 1;
    DataType m_type = DataType::UInt8;
    Workspace m_extent;
    QString m_reference;
    QString m_software;
    bool m_isTiled = false;
    int m_tileWidth = 0;
    int m_tileHeight = 0;
};

} // namespace vexel

#endif
