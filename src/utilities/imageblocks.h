#ifndef VEXEL_UTILITIES_IMAGEBLOCKS_H
#define VEXEL_UTILITIES_IMAGEBLOCKS_H

#include <QString>

#include <vector>

class GDALDataset;
class GDALRasterBand;

namespace vexel::gdal::verification {

/// The raster of a file, one of its overviews, or a mask.
struct Image
{
    GDALDataset* dataset;
    QString name; ///< to begin a text with; empty for the raster itself

    GDALRasterBand& band(int i) const;
};

bool isGeoTiff(GDALDataset& file);

/// All images of which GDAL tells where their blocks lie in the file; of other formats the raster alone.
std::vector<Image> imagesOf(GDALDataset& file);

/// The blocks of an image: all its bands have the same.
struct BlockGrid
{
    explicit BlockGrid(const Image& image);

    int columns() const;
    int rows() const;
    /// How often each block stands in the file, and the band to name for the i-th.
    int layers() const { return bandsShareBlocks ? 1 : bands; }
    int bandOfLayer(int layer) const { return bandsShareBlocks ? -1 : layer; }

    int width;
    int height;
    int bands;
    int blockWidth = 1;
    int blockHeight = 1;
    bool bandsShareBlocks = false;
};

} // namespace vexel::gdal::verification

#endif
