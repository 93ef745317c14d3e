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
/// @code
/// const GDALImageLoader loader("picture.png", {0.299, 0.587, 0.114});
/// PixelMatrix<unsigned char> gray;
/// const bool done = loader.readGray(gray, 2) && loader.writeGray("half.png", gray);
/// @endcode
///
/// An operation without a path calls the operation with a path and passes the loader's own path, so you can override
/// the latter to change both.
///
/// A read opens the file, which must be a single file, reads it and closes it. It returns false before any pixel is
/// read if `level` is below 1, if the file does not exist or cannot be opened, or if the operation does not accept its
/// bands and pixel type. `out` is then unchanged. It also returns false if pixels cannot be read, and `out` is then
/// unspecified. Reduced reads pick the nearest pixel.
///
/// A write replaces the file. The extension decides between PNG and JPEG images. All other files are LZW-compressed
/// GeoTIFFs in pixel units. The write returns false if the matrix has no pixels or the file cannot be written to. If
/// completing the file fails, the result does not show it, but an error is logged. Nothing else is logged.
///
/// If a matrix does not fit into memory, `std::bad_alloc` is thrown. GDAL is used under its lock (`GDALMutex`).
/// Conversions between colour and grey run on OpenMP's threads. In addition to the result they need one matrix in the
/// pixel type of the file.
///
/// You can read and write whole images from several threads at once. You must write tiles from one thread at a time,
/// counting all copies of a loader, because copies share these tiles.
class VEXEL_EXPORT GDALImageLoader : public SimpleImageLoader
{
public:
    /// Creates a loader. No file is opened.
    ///
    /// @param path    the image of the operations without a path.
    /// @param weights shares of red, green and blue in a grey value, which are divided by their sum. If the sum is 0,
    ///                there are no weights, and you cannot read colour as grey.
    GDALImageLoader(const QString& path, const std::vector<double>& weights);

    /// Copies the loader. The copy shares the tiles that are being written.
    GDALImageLoader(const GDALImageLoader& other);
    /// Releases the tiles that this loader was writing, and shares the tiles of `other`.
    GDALImageLoader& operator=(const GDALImageLoader& other);

    /// Closes the tiles that are being written, unless another loader shares them.
    ~GDALImageLoader() override;

    /// @{
    /// Reads 1, 3 or 4 bands of bytes: grey, colour, colour with alpha. Without alpha all pixels are opaque.
    bool readRGB(const QString& path, PixelMatrix<unsigned int>& out, int level) const override;
    bool readRGB(PixelMatrix<unsigned int>& out, int level) const override;
    /// @}

    /// @{
    /// Reads one band of bytes, or three bands if there are exactly three weights.
    ///
    /// Colour becomes green * w1 + red * w0 + blue * w2 + 0.5, added in this order in double and truncated toward
    /// zero, so it is the weighted sum, rounded half up. Negative weights can lead out of the range from 0 to 255. The
    /// low 8 bits are used then.
    bool readGray(const QString& path, PixelMatrix<unsigned char>& out, int level) const override;
    bool readGray(PixelMatrix<unsigned char>& out, int level) const override;
    /// @}

    /// @{
    /// Reads one band of 32-bit floats.
    bool readFloat(const QString& path, PixelMatrix<float>& out, int level) const override;
    bool readFloat(PixelMatrix<float>& out, int level) const override;
    /// @}

    /// Writes and completes one tile, so you cannot write it again.
    ///
    /// @param in   pixel (0, 0) is the tile's north-west corner. Pixels beyond the tile are not written.
    /// @param tile counted from 0, column by column, each column from north to south.
    /// @return false if no tiles have been prepared, if there is no such tile, or if it cannot be written to.
    bool writeRGB(const PixelMatrix<unsigned int>& in, int tile) const override;

    /// @{
    /// Writes three bands of bytes, without alpha.
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

    /// Prepares a set of tile files, and deletes an earlier set of that name.
    ///
    /// Each file has three bands of bytes in pixel units. `gdal::tile2path` makes its name from the loader's path. If
    /// you do not write a tile, its file is not created. Tiles that were being written are released first, and closed
    /// unless another loader shares them.
    ///
    /// @param width,height         size of the image in pixels.
    /// @param tileWidth,tileHeight size of the tiles in pixels. Tiles of the last column and row can be smaller.
    /// @return false for an empty path and for sizes without pixels.
    bool openWriteTiles(int width, int height, int tileWidth, int tileHeight) override;

private:
    QString m_path;
    std::vector<double> m_weights;
    std::shared_ptr<GDALStreamer> m_tileWriter;
};

} // namespace vexel

#endif
