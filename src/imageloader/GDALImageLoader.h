#ifndef VEXEL_IMAGELOADER_GDALIMAGELOADER_H
#define VEXEL_IMAGELOADER_GDALIMAGELOADER_H

#include "SimpleImageLoader.h"

#include <QString>

#include <memory>
#include <vector>

namespace vexel {

class GDALStreamer;

/// Reads and writes whole images through GDAL.
///
/// The operations without a path call the one with a path, handing it the loader's own; overriding that one
/// changes both.
///
/// Reads open the file, which must be a single one, read it and close it. They return false, before any pixel
/// is read, for a `level` below 1, a file that does not exist or cannot be opened, and one of other bands or
/// pixel type than they take; `out` is then left alone. They return false too if pixels cannot be read; `out`
/// is then unspecified. Reduced reads pick the nearest pixel.
///
/// Writes replace the file: a PNG or JPEG image by its extension, else an LZW-compressed GeoTIFF in pixel
/// units. They return false for a matrix without pixels and for a file that cannot be written to. A failure
/// while the file is completed is logged as an error, and does not show in the result.
///
/// @code
/// const GDALImageLoader loader("picture.png", {0.299, 0.587, 0.114});
/// PixelMatrix<unsigned char> gray;
/// const bool done = loader.readGray(gray, 2) && loader.writeGray("half.png", gray);
/// @endcode
///
/// Nothing else is logged. A matrix that does not fit into memory makes `std::bad_alloc`. GDAL is used under
/// its lock (`GDALMutex`), and conversions between colour and gray run on OpenMP's threads; besides the
/// result they need one matrix in the pixel type of the file. Reads and writes of whole images may run on
/// several threads at once; those of tiles belong to one thread at a time, over all copies of a loader.
class VEXEL_EXPORT GDALImageLoader : public SimpleImageLoader
{
public:
    /// @param path    the image of the operations without a path.
    /// @param weights shares of red, green and blue in a gray value, divided by their sum. If that is 0 there
    ///                are no weights, and colour is not read as gray.
    GDALImageLoader(const QString& path, const std::vector<double>& weights);

    /// A copy shares the tiles being written.
    GDALImageLoader(const GDALImageLoader& other);
    /// Lets go the tiles that it was writing, and shares those of `other`.
    GDALImageLoader& operator=(const GDALImageLoader& other);

    /// The last of the loaders that share tiles being written closes them.
    ~GDALImageLoader() override;

    /// @{
    /// Takes 1, 3 or 4 bands of bytes: gray, colour, colour with alpha. Without alpha all pixels are opaque.
    bool readRGB(const QString& path, PixelMatrix<unsigned int>& out, int level) const override;
    bool readRGB(PixelMatrix<unsigned int>& out, int level) const override;
    /// @}

    /// @{
    /// Takes one band of bytes, or three if there are exactly three weights.
    ///
    /// Colour becomes green * w1 + red * w0 + blue * w2 + 0.5, added in this order in double and truncated toward
    /// zero: the weighted sum, rounded half up. Negative weights may lead beyond 0 to 255; the low 8 bits are taken.
    bool readGray(const QString& path, PixelMatrix<unsigned char>& out, int level) const override;
    bool readGray(PixelMatrix<unsigned char>& out, int level) const override;
    /// @}

    /// @{
    /// Takes one band of 32-bit floats.
    bool readFloat(const QString& path, PixelMatrix<float>& out, int level) const override;
    bool readFloat(PixelMatrix<float>& out, int level) const override;
    /// @}

    /// Writes and completes one tile: it cannot be written again.
    ///
    /// @param in   pixel (0, 0) belongs at the tile's north-west corner. What reaches beyond the tile is not
    ///             written.
    /// @param tile counted from 0, column by column and each from north to south.
    /// @return false if no tiles have been prepared, there is no such tile, or it cannot be written to.
    bool writeRGB(const PixelMatrix<unsigned int>& in, int tile) const override;

    /// @{
    /// Writes three bands of bytes, alpha left out.
    bool writeRGB(const QString& path, const PixelMatrix<unsigned int>& in) const override;
    bool writeRGB(const PixelMatrix<unsigned int>& in) const override;
    /// @}

    /// @{
    /// Writes one band of bytes.
    bool writeGray(const QString& path, const PixelMatrix<unsigned char>& in) const override;
    bool writeGray(const PixelMatrix<unsigned char>& in) const override;
    /// @}

    /// @{
    /// Writes one band of 32-bit floats.
    bool writeFloat(const QString& path, const PixelMatrix<float>& in) const override;
    bool writeFloat(const PixelMatrix<float>& in) const override;
    /// @}

    /// Prepares a set of tile files, each of three bands of bytes in pixel units, named by `gdal::tile2path`
    /// from the loader's path; deletes an earlier set of that name. Tiles that were being written are let go
    /// first, and closed unless another loader shares them. A tile that is not written gets no file.
    ///
    /// @param width,height         size of the image in pixels.
    /// @param tileWidth,tileHeight size of the tiles; those of the last column and row may be smaller.
    /// @return false for an empty path and for sizes without pixels.
    bool openWriteTiles(int width, int height, int tileWidth, int tileHeight) override;

private:
    QString m_path;
    std::vector<double> m_weights;
    std::shared_ptr<GDALStreamer> m_tileWriter;
};

} // namespace vexel

#endif
