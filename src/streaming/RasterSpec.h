#ifndef VEXEL_STREAMING_RASTERSPEC_H
#define VEXEL_STREAMING_RASTERSPEC_H

#include "../companion/DataType.h"
#include "../export.h"
#include "../workspace/Workspace.h"

#include <QString>

#include <cstddef>

namespace vexel {

class GDALStreamer;

/// What a raster is to be that you write: see `GDALStreamer::openWrite`. Each function sets one thing and returns the
/// same specification, so that you can write what you need in one expression. Takes no lock.
///
/// @code
/// GDALStreamer copy;
/// if (!copy.openWrite("copy.tif", RasterSpec::like(dem).type(DataType::Float32).tiles(5000, 5000)))
///     std::cerr << copy.lastError() << std::endl;
/// @endcode
class VEXEL_EXPORT RasterSpec
{
public:
    /// One band of bytes, without extent and without reference, in one file.
    RasterSpec() = default;

    /// Bands, pixel type, extent and spatial reference of `set`, in one file: its tiles are not taken over.
    [[nodiscard]] static RasterSpec like(const GDALStreamer& set);

    /// Number of bands; 3 and 4 bands are marked as colour, the fourth as alpha. 1 if not called.
    RasterSpec& bands(std::size_t number)
    {
        m_bands = number;
        return *this;
    }
    /// Pixel type; `DataType::UInt8` if not called.
    RasterSpec& type(DataType type)
    {
        m_type = type;
        return *this;
    }
    /// Extent and pixel size, in the integer map frame. The tiles of `extent` do not matter.
    RasterSpec& extent(const Workspace& extent)
    {
        m_extent = extent;
        m_extent.clearTiles();
        return *this;
    }
    /// Spatial reference as WKT; empty for none.
    RasterSpec& reference(const QString& wkt)
    {
        m_reference = wkt;
        return *this;
    }
    /// A set of tile files of that size in pixels, in place of one file.
    RasterSpec& tiles(int width, int height)
    {
        m_isTiled = true;
        m_tileWidth = width;
        m_tileHeight = height;
        return *this;
    }
    /// Text for the TIFF software tag; empty for a default.
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
