#ifndef VEXEL_STREAMING_GDALSTREAMER_H
#define VEXEL_STREAMING_GDALSTREAMER_H

#include "../companion/DataType.h"
#include "../companion/PixelMatrix.h"
#include "../export.h"
#include "../workspace/Workspace.h"
#include "../workspace/geometry.h"
#include "GDALMutex.h"
#include "GdalFileType.h"
#include "StreamError.h"

#include <QString>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

class GDALDataset;

namespace vexel {

struct CloseDataset;
class Completion;
class RasterDescription;
class RasterSpec;
class TileRange;
namespace file {
class HeldFile;
}

/// Reads and writes a georeferenced raster by pixel boxes. The raster is one file or a grid of tile files, and a box
/// can cross the seams between files.
///
/// @code
/// GDALStreamer dem;
/// PixelMatrix<float> heights;
/// if (!dem.openRead("dem.tif") ||
///     !dem.read(heights, 1, PixelBox({0, 0}, {512, 256}), 1.0, true, -10000.0f)) // 256 rows, 512 columns
///     std::cerr << dem.lastError().text.toStdString() << std::endl;
/// @endcode
///
/// Pixel boxes are in pixels of the whole raster and half-open. Row 0 is the northernmost one.
///
/// Call `finish()` or `close()` to complete a raster that you have written. Completing compresses each file, and
/// writes a world file and a projection file next to a GeoTIFF. The destructor completes files too, but then you
/// cannot ask whether that worked. Each file appears at its path atomically, after all of its data has reached the
/// disk. If a file cannot be completed, it is not there and an error is logged. `finish()` returns the reason, and
/// `lastError()` has it after `close()`.
///
/// A set belongs to one thread at a time. Opening, closing and pixel transfers take the GDAL lock (`GDALMutex`), so
/// you can use different sets from different threads. The other functions take no lock.
///
/// Operations report failure by their result and do not log it. After a failure the set is in a defined state, and
/// `lastError()` has the reason.
///
/// Files are opened for each transfer and released after it, so a set of many files needs few file descriptors. The
/// cost of a transfer depends on the file blocks that its box touches, not on the size of the set. If your boxes are
/// aligned to `blockWidth()` and `blockHeight()` and you transfer all bands at a time, nothing is decoded twice.
class VEXEL_EXPORT GDALStreamer
{
public:
    struct gdal_t;

    /// Keeps files of a set open between transfers while it lives: the last 16 that were read. Use it when you read
    /// many boxes, because then the headers are not parsed for each box, and formats that are decoded from the top
    /// continue where they were. GDAL's cache of a file is still released after each transfer.
    ///
    /// There is no other visible effect. For example, `opened(i)` is still false between transfers. Only files of a
    /// set opened by `openRead` are kept. If a file is replaced meanwhile, that is not noticed. A `KeepFilesOpen`
    /// must not outlive its set. Its destructor takes the GDAL lock.
    class VEXEL_EXPORT KeepFilesOpen
    {
    public:
        /// Keeps files of `set` from its next transfer on. Opens nothing, and takes no lock.
        explicit KeepFilesOpen(const GDALStreamer& set);
        /// Closes the kept files, unless the set has another `KeepFilesOpen`.
        ~KeepFilesOpen();
        KeepFilesOpen(const KeepFilesOpen&) = delete;
        KeepFilesOpen& operator=(const KeepFilesOpen&) = delete;

    private:
        const GDALStreamer& m_set;
    };

    /// Makes an empty set that is not open.
    GDALStreamer();

    /// Takes over the files of `other`, its last error, and its files that were kept open. The kept files stay open
    /// until `close()` at the latest, because a `KeepFilesOpen` of `other` does not know the new set. `other` keeps
    /// its path, counts, types, box and resolution, but is not open any more. Takes no lock.
    GDALStreamer(GDALStreamer&& other) noexcept;

    /// Calls `close()`, so it completes files that you have written, but you cannot ask whether that worked.
    ~GDALStreamer();

    GDALStreamer& operator=(GDALStreamer&&) = delete;

    /// Opens a raster for reading: the file `path`, or if it cannot be opened, the set of tile files that is named
    /// from `path`.
    ///
    /// If the set was open, it is released first. You should call `finish()` or `close()` on a written set before,
    /// because opening completes its files without reporting whether that worked.
    ///
    /// Tile files must fill a grid, one file per tile, with the same number of bands and the same pixel type. A
    /// raster without georeference is in pixel units, with its north-west corner at (0, 0). JPEG tile files are
    /// always in pixel units, and their names decide their places.
    ///
    /// Reads the headers of all files of the set, and the names in their folder.
    ///
    /// @return true if the set is open. After a failure it is empty, and `lastError()` has the reason.
    bool openRead(const QString& path);
    /// Opens a raster for reading: the file `path`, or the set of tile files that is named from `path`, as `ftype`
    /// says. The other kind is not tried. Rules, cost and result are the same as for `openRead(path)`.
    bool openRead(const QString& path, GdalFileType ftype);

    /// Opens a raster for reading and for writing in place: the file `path`, or if it cannot be opened, the set of
    /// tile files that is named from `path`. There is no working file, so if the process stops, the files contain the
    /// pixels that it has written so far. The rules, the cost and the result are the same as for `openRead`.
    bool openUpdate(const QString& path);
    /// Opens a raster for reading and for writing in place: the file `path`, or the set of tile files that is named
    /// from `path`, as `ftype` says. The other kind is not tried. Rules, cost and result are the same as for
    /// `openUpdate(path)`.
    bool openUpdate(const QString& path, GdalFileType ftype);

    /// Prepares a raster to be written, and deletes an earlier raster of that name. The first transfer that touches a
    /// file creates it. Pixels that you never write are no-data (-10000) if the pixel type can store that, and 0
    /// otherwise. If nothing is written to a file, it is not created.
    ///
    /// Files become LZW-compressed GeoTIFFs, or PNG or JPEG images if they have such an extension. A JPEG 2000 name
    /// yields no file.
    ///
    /// @param path     the file. For a set of tile files, the path that they are named from.
    /// @param noBands  number of bands. 3 and 4 bands are marked as colour, and the fourth as alpha.
    /// @param dtype    pixel type. `RGB` and `RGBA` give the files 3 and 4 bands of bytes.
    /// @param ws       extent and resolution in the integer map frame. Its tiles are ignored.
    /// @param projWKT  spatial reference as WKT, empty for none. If it is empty, a projection file that is already
    ///                 there stays, because a shapefile or an image of that name can own it. The projection files of
    ///                 earlier tiles are deleted with the tiles.
    /// @param projTime text for the TIFF date-time tag, empty for none.
    /// @param software text for the TIFF software tag, empty for a default.
    /// @param ftype    one file, or a set of tile files.
    /// @param tileWidth,tileHeight size of the tiles in pixels. A single file ignores it.
    /// @return false for an empty path, one of GDAL's virtual files ("/vsi…"), an extent without pixels, or a tile
    ///         size below 1. Nothing of an earlier raster has been deleted then.
    bool openWrite(const QString& path, std::uint64_t noBands, DataType dtype, const Workspace& ws,
                   const QString& projWKT, const QString& projTime, const QString& software,
                   GdalFileType ftype, int tileWidth, int tileHeight);

    /// Prepares a single file of `width` by `height` pixels in pixel units to be written, without spatial reference
    /// and without date-time text. The rules are the same as for the first `openWrite`.
    bool openWrite(const QString& path, std::uint64_t noBands, DataType dtype, int width, int height);

    /// Prepares a raster to be written as `spec` describes it, without date-time text. The rules and the failures are
    /// the same as for the first `openWrite`.
    [[nodiscard]] bool openWrite(const QString& path, const RasterSpec& spec);

    /// Completes written files and releases all files. Path, counts, types and workspace are kept. It always returns
    /// true, so you must check `lastError()` to learn whether every file was completed.
    ///
    /// @code
    /// set.close();
    /// if (set.lastError())
    ///     std::cerr << set.lastError().text.toStdString() << std::endl; // a file could not be completed
    /// @endcode
    ///
    /// Keeps the GDAL lock throughout, which can be seconds for a large file.
    bool close();

    /// Completes written files and releases all files. Unlike `close()`, it reports progress, stops when you ask, and
    /// returns whether every file was completed.
    ///
    /// @code
    /// const StreamError error = set.finish([&](double share) { return !isCancelled; });
    /// if (error && error.code != StreamError::Code::Stopped)
    ///     std::cerr << error << std::endl;
    /// @endcode
    ///
    /// It lets other threads have GDAL meanwhile: it releases the lock for a moment, every few milliseconds, if
    /// another thread waits for it, unless you have taken it with a `GDALMutex` yourself. If another thread keeps the
    /// lock, completing waits.
    ///
    /// You must not use this set in `progress`. If a set is opened for writing on the same path meanwhile, this one
    /// can end with `CannotComplete`, but no file is ever made of both. Path, counts, types and workspace are kept.
    ///
    /// @param progress called with the share that is complete, from 0 to 1, by the bytes of the pixels. Return false
    ///                 to stop. It is called on this thread without the lock, so it can wait for a thread that needs
    ///                 GDAL. If it throws, completing stops, and then the exception comes out. It can be empty.
    /// @return no error if every file was completed. If not, the error of the first file that could not be completed
    ///         (the other files are completed), or `Stopped`. After a stop nothing is left, as after `discard()`.
    ///         `lastError()` returns the same.
    [[nodiscard]] StreamError finish(std::function<bool(double)> progress = {});

    /// Releases all files without completing them, and removes everything that writing this set has made: working
    /// files, and files that were completed one by one. A set that was opened for reading or update is only closed.
    /// Path, counts, types and workspace are kept.
    void discard();

    /// Completes file `i` if it was written, and releases it. The file stays in the set, but transfers that touch it
    /// fail from then on. Returns true for every file of the set, so you must check `lastError()` to learn whether it
    /// was completed. False if there is no such file.
    bool close(std::uint64_t i);

    /// Opens the dataset of file `i`, so that you can use it through `data(i)`. A file that is still to be written is
    /// created, and counts as written from then on, because you can write into its dataset. The dataset stays open
    /// until the next transfer that touches the file, or `close`. False if there is no such file, or if it cannot be
    /// opened.
    bool open(std::uint64_t i);

    /// Sets the quality, from 1 to 100, with which the JPEG files of this set are completed. It is 95 by default.
    /// Call it after opening, because it only applies to the files that the set has now.
    void setJPEGQuality(int quality);

    /// Returns why the last operation of the set that opens, closes or transfers has failed, or no error if it has
    /// not. After `close()`, which always returns true, it is the reason why a file could not be completed. After
    /// `discard()` there is no error.
    const StreamError& lastError() const { return m_lastError; }

    /// Returns the path of the last open call. For tile files it is the path that they are named from.
    const QString& path() const { return m_path; }
    /// Returns the number of bands of each file. For a set being written it is the number given to `openWrite`.
    std::uint64_t noBands() const { return m_noBands; }
    /// Returns the number of images in the first file, 0 for a set being written.
    std::uint64_t noPages() const { return m_noPages; }
    /// Returns the pixel type of each file. For a set being written it is the type given to `openWrite`.
    DataType dtype() const { return m_dtype; }
    /// Returns whether the raster is one file or a set of tile files, as the last open call took it.
    GdalFileType ftype() const { return m_ftype; }

    /// Returns the extent of the whole raster. Its tiles are the files, in order.
    const Workspace& workspace() const { return m_workspace; }
    /// @{
    /// Returns the edge of a pixel in integer map units. Pixels are square.
    std::int64_t res() const { return m_workspace.res(); }
    std::int64_t resx() const { return m_workspace.res(); }
    std::int64_t resy() const { return m_workspace.res(); }
    /// @}
    /// Returns the number of columns of the whole raster.
    int width() const { return m_workspace.pixelWidth(); }
    /// Returns the number of rows of the whole raster.
    int height() const { return m_workspace.pixelHeight(); }

    /// Returns the spatial reference of the first file as WKT, as it was in the header when the set was opened. For a
    /// set being written it is the reference that is written. Empty for none. Takes no lock.
    [[nodiscard]] QString spatialReference() const;
    /// Returns the no-data value of a band, as it was in the header of the first file when the set was opened. For a
    /// set being written it is the value that is written: -10000 if the pixel type can store that. Takes no lock.
    ///
    /// @param band counted from 1.
    /// @return empty if there is no such value or no such band. Also empty for a file of so many bands with different
    ///         values that remembering them would take more than 32 KiB.
    [[nodiscard]] std::optional<double> noDataValue(std::size_t band) const;

    /// Returns how far a corner of a file is at most from its place in the extent, in pixels. It is more than about
    /// half a pixel if a rotation was dropped, if pixels are not square, or if their size is not a whole number of
    /// integer map units.
    double georeferenceLoss() const;

    /// Returns the number of columns of the blocks that the first file is decoded by, 0 for a set being written. You
    /// should align boxes to these blocks, because then nothing is decoded twice.
    int blockWidth() const;
    /// Returns the number of rows of the blocks that the first file is decoded by, 0 for a set being written.
    int blockHeight() const;

    /// Returns the number of files, 1 for a single one. They are numbered from 0, column by column, each column from
    /// north to south.
    std::uint64_t noTiles() const { return m_workspace.noTiles(); }
    /// Returns the box of file `i` in the integer map frame, or a box of zeros if there is no such file.
    const MapBox& mtile(std::uint64_t i) const { return m_workspace.mtile(i); }
    /// Returns the box of file `i` in pixels of the whole raster, half-open, or a box of zeros if there is no such
    /// file.
    const PixelBox& itile(std::uint64_t i) const { return m_workspace.itile(i); }
    /// Returns the column and the row of file `i` in the grid. They count from 0, but in the name of the file from 1.
    const PixelPoint& gtile(std::uint64_t i) const { return m_workspace.gtile(i); }

    /// Returns the files of the set, each with its path and its place, for a range-based loop.
    ///
    /// @code
    /// for (const TileRange::Tile& tile : set.tiles())
    ///     std::cout << tile.path.toStdString() << ": " << widthOf(tile.pixels) << " columns" << std::endl;
    /// @endcode
    [[nodiscard]] TileRange tiles() const;

    /// Returns true if the set has files.
    bool opened() const { return !m_files.empty(); }
    /// Returns true if file `i` has an open dataset at this moment. Between transfers, files that are read have none.
    bool opened(std::uint64_t i) const;

    /// Returns the open dataset of file `i`, which the set owns. It is null if there is no open dataset, for example
    /// between transfers. You must have a `GDALMutex` from `open(i)` on, as long as you use the dataset.
    ///
    /// @code
    /// const GDALMutex lock;
    /// if (set.open(0))
    ///     wkt = QString::fromUtf8(set.data(0)->GetProjectionRef());
    /// @endcode
    GDALDataset* data(std::uint64_t i) const;

    /// Returns the path of file `i`, empty if there is no such file.
    QString path(std::uint64_t i) const;
    /// Returns the path of the world file of file `i`, whether it exists or not. Empty if there is no file `i`.
    QString tfwpath(std::uint64_t i) const;
    /// Returns the path of the projection file of file `i`, whether it exists or not. Empty if there is no file `i`.
    QString prjpath(std::uint64_t i) const;
    /// Returns the spatial reference that file `i` is written with, empty for a file that is read.
    QString projWKT(std::uint64_t i) const;
    /// Returns the date-time text that file `i` is written with, empty for a file that is read.
    QString projTime(std::uint64_t i) const;

    /// Reads one band of a box.
    ///
    /// @tparam T         signed or unsigned char, short or int, float or double. GDAL converts the values of the
    ///                   file, with rounding and clamping. A signed char takes bytes unchanged.
    /// @param  out       resized to the size of the box times `scale`, each side rounded half away from zero.
    /// @param  band      counted from 1.
    /// @param  box       in pixels of the whole raster, half-open. It can reach beyond the raster. A box without
    ///                   width or height means the whole raster.
    /// @param  scale     output pixels per raster pixel. If it is not 1, the nearest pixel is picked, file by file.
    /// @param  fill      whether `out` is set to `fillValue` first. If it is not, pixels that no file covers keep the
    ///                   values that the resized matrix contains.
    /// @param  fillValue in the unit of the band, for example -10000 for no-data.
    /// @return false if the set is not open, if a file that the box touches lacks the band or cannot be read, or if
    ///         `scale` is negative or not finite. Pieces that were read before stay in `out`.
    /// @throws std::bad_alloc if `out` does not fit into memory.
    ///
    /// In addition to `out` it needs memory for one file's part of the box. It needs none if that part is the whole
    /// box.
    template <class T>
    bool read(PixelMatrix<T>& out, std::size_t band, const PixelBox& box, double scale, bool fill,
              std::common_type_t<T> fillValue) const;

    /// Writes one band of a box.
    ///
    /// @tparam T    as for `read`.
    /// @param  in   the pixels. Pixel (0, 0) belongs at the min corner of the box. Pixels that reach beyond the box
    ///              are not written.
    /// @param  band counted from 1.
    /// @param  box  in pixels of the whole raster, half-open. It can reach beyond the raster and beyond the matrix,
    ///              and pixels there are left alone. A box without width or height means the pixels that the matrix
    ///              and the raster share if both start at (0, 0).
    /// @return false if the set is not open, or if a file that the box touches is not writable, lacks the band, or
    ///         cannot be written. Pieces that were written before stay.
    /// @throws std::bad_alloc if memory runs out.
    ///
    /// In addition to `in` it needs memory for one file's part of the box, because that part is copied first. It
    /// needs none if that part is the whole matrix.
    template <class T>
    bool write(const PixelMatrix<T>& in, std::size_t band, const PixelBox& box) const;

    /// Reads several bands of a box in one pass over the files. If the bands are interleaved, every file block is
    /// decoded once, whatever the number of bands.
    ///
    /// @tparam T     as for `read`.
    /// @param  out   resized to the bands, one below the other: band `bands[k]` is in rows `k * rows` to `(k + 1) *
    ///               rows`, half-open. Rows and columns are as for `read`.
    /// @param  bands counted from 1, in any order.
    /// @param  box,scale,fill,fillValue as for `read`.
    /// @return false if `read` would return false for one of the bands. Pieces that were read before stay in `out`.
    /// @throws std::bad_alloc if `out` does not fit into memory.
    ///
    /// It needs no memory for pixels in addition to `out`, because GDAL puts them there directly.
    template <class T>
    bool readBands(PixelMatrix<T>& out, const std::vector<int>& bands, const PixelBox& box, double scale,
                   bool fill, std::common_type_t<T> fillValue) const;

    /// Reads several bands of a box at full size into your own memory, which must have the size of the box. Pixels
    /// that no file covers stay as they are. If the bands are interleaved, every file block is decoded once.
    ///
    /// @tparam T     as for `read`.
    /// @param  out   your memory, with the rows and the columns of the box.
    /// @param  bands counted from 1, in any order.
    /// @param  box   as for `read`.
    /// @return false if `read` would return false for one of the bands, or if the sizes differ. Pieces that were read
    ///         before stay in `out`.
    template <class T>
    bool readBands(const BandPixels<T>& out, const std::vector<int>& bands, const PixelBox& box) const;

    /// Writes several bands of a box in one pass over the files. It needs no memory for pixels in addition to `in`.
    ///
    /// @tparam T     as for `read`.
    /// @param  in    the bands one below the other, as `readBands` returns them.
    /// @param  bands counted from 1, in any order, at least one.
    /// @param  box   as for `write`.
    /// @return false if `write` would return false for one of the bands, or if the rows of `in` cannot be divided
    ///         evenly among the bands. Pieces that were written before stay.
    template <class T>
    bool writeBands(const PixelMatrix<T>& in, const std::vector<int>& bands, const PixelBox& box) const;
    /// Writes several bands of a box from your own memory, in one pass over the files.
    ///
    /// @tparam T     as for `read`.
    /// @param  in    your memory. Pixel (0, 0) of each band belongs at the min corner of the box.
    /// @param  bands counted from 1, in any order, at least one.
    /// @param  box   as for `write`.
    /// @return false if `write` would return false for one of the bands, or if `bands` is empty. Pieces that were
    ///         written before stay.
    template <class T>
    bool writeBands(const BandPixels<const T>& in, const std::vector<int>& bands, const PixelBox& box) const;

    /// Reads all colour bands of a box as packed pixels 0xAARRGGBB. Bands 1 to 3 are red, green and blue. Alpha
    /// becomes 255 in every pixel, also where no file covers the box.
    ///
    /// @param out,box,scale,fill as for `read`.
    /// @param fillValue a packed pixel.
    /// @return false if `read` would return false, or if a file has neither 3 or 4 bands nor one band of bytes
    ///         (grey).
    bool readRGB(PixelMatrix<unsigned int>& out, const PixelBox& box, double scale, bool fill,
                 unsigned int fillValue) const;
    /// Reads all colour bands of a box as packed pixels 0xAARRGGBB, with alpha. Bands 1 to 3 are red, green and blue.
    /// Alpha is the fourth band, or the second of two bands of bytes (grey with alpha). Pixels are opaque if there is
    /// no alpha band.
    ///
    /// @param out,box,scale,fill as for `read`.
    /// @param fillValue a packed pixel.
    /// @return false if `read` would return false, or if a file has neither 3 or 4 bands nor one or two bands of
    ///         bytes.
    ///
    /// In addition to the memory that `read` needs, grey with alpha needs memory for the alpha of one file's part of
    /// the box.
    bool readRGBA(PixelMatrix<unsigned int>& out, const PixelBox& box, double scale, bool fill,
                  unsigned int fillValue) const;

    /// Writes packed pixels 0xAARRGGBB into the three bands of a set: red, green and blue, without alpha. Needs as
    /// much memory as `write`.
    ///
    /// @param in,box as for `write`.
    /// @return false if `write` would return false, or if the set does not have exactly 3 bands.
    bool writeRGB(const PixelMatrix<unsigned int>& in, const PixelBox& box) const;
    /// Writes packed pixels 0xAARRGGBB into the four bands of a set: red, green, blue and alpha. Needs as much memory
    /// as `write`.
    ///
    /// @param in,box as for `write`.
    /// @return false if `write` would return false, or if the set does not have exactly 4 bands.
    bool writeRGBA(const PixelMatrix<unsigned int>& in, const PixelBox& box) const;

private:
    friend class DownsamplerBase; // keeps completed files, so that it can discard them

    static std::size_t rgb_band() { return 100003; }
    static std::size_t rgba_band() { return 100004; }

    bool fail(StreamError::Code code, const QString& text) const;
    bool failNotOpen() const;
    bool failSize(Eigen::Index rows, Eigen::Index columns, Eigen::Index rightRows,
                  Eigen::Index rightColumns) const;
    bool failRows(Eigen::Index rows, std::size_t noBands) const;
    bool failNoFile(std::uint64_t i) const;
    bool failIn(const gdal_t& file) const;
    bool canWriteColours(std::uint64_t bands) const;
    bool openRead(const QString& path, GdalFileType ftype, bool readOnly);
    bool openToWrite(const QString& path, std::uint64_t noBands, DataType dtype, const Workspace& extent,
                     const QString& projWKT, const QString& projTime, const QString& software,
                     GdalFileType ftype, int tileWidth, int tileHeight);
    bool openEither(const QString& path, bool readOnly);
    bool openSingleFile(const QString& path, bool readOnly);
    bool openTileSet(const QString& path, bool readOnly);
    bool takeDescriptionFromFiles();
    bool appendForWriting(const QString& file, const Workspace& extent, const QString& projWKT,
                          const QString& projTime, const QString& software);
    void cleanTileFiles(const QString& path) const;
    void clear();
    void letFilesGo();
    /// Completes the files and keeps them in the set, so that `discard` can still remove them.
    StreamError complete(std::function<bool(double)> progress);
    double bytesToComplete() const;
    bool isEveryFileInPlace() const;
    bool _close(std::uint64_t i);
    const gdal_t* file(std::uint64_t i) const;

    bool map(const PixelBox& request, std::vector<std::size_t>& tiles, std::vector<PixelBox>& inTile,
             std::vector<PixelBox>& inRequest, double scale) const;
    bool valid(const PixelBox& request) const;

    template <class T>
    bool readPieces(const BandPixels<T>& out, const std::vector<int>& bands, const PixelBox& request,
                    double scale) const;

    gdal_t& fileToRead(std::size_t i) const;

    /// The box that a read asks for, and the size of its result.
    struct Request
    {
        PixelBox box;
        Eigen::Index rows;
        Eigen::Index columns;
    };
    /// Forgets the last error. Returns nothing if the read fails, which is a new error.
    std::optional<Request> beginRead(const PixelBox& box, double scale) const;
    /// Forgets the last error. Finds the places of the pieces of a write, in the files and in the matrix.
    bool beginWrite(const PixelBox& box, Eigen::Index rows, Eigen::Index columns,
                    std::vector<std::size_t>& tiles, std::vector<PixelBox>& inFiles,
                    std::vector<PixelBox>& inMatrix) const;
    PixelBox wholeSet() const;
    PixelBox orOverlap(const PixelBox& box, Eigen::Index rows, Eigen::Index columns) const;
    static bool clipToMatrix(PixelBox& inTile, PixelBox& inMatrix, Eigen::Index rows, Eigen::Index columns);

    QString m_path;
    std::uint64_t m_noBands = 0;
    std::uint64_t m_noPages = 0;
    DataType m_dtype = DataType::Unknown;
    GdalFileType m_ftype = GdalFileType::SingleFile;
    Workspace m_workspace;
    std::vector<std::shared_ptr<gdal_t>> m_files;
    std::shared_ptr<const RasterDescription> m_description; ///< null before the set was opened
    mutable StreamError m_lastError;
    mutable int m_keepers = 0;
    mutable std::vector<std::shared_ptr<gdal_t>> m_keptFiles; // the one kept longest first
};

/// One raster file of a set: its paths, its extent, and its dataset while one is open.
///
/// A file that is read is opened for each transfer and released after it. A file that is written goes into a working
/// file next to the target (a memory dataset for PNG, JPEG and JPEG 2000 targets), and `close()` turns that into the
/// final, compressed file.
///
/// Takes no lock, so you must have a `GDALMutex` around `openRead`, `reopen`, `detach`, `close` and the transfers.
/// Copies share the raw dataset pointer, and each closes it when it is destroyed, so you must only copy a handle that
/// is closed. A dataset that is kept aside (`keepAside`) is not copied.
struct VEXEL_EXPORT GDALStreamer::gdal_t
{
    /// State of a handle: how it uses its file.
    enum FileMode : std::int32_t
    {
        ReadOnly = 0,     ///< to be read
        Update = 1,       ///< to be read and written in place
        WritePending = 2, ///< to be written, nothing created yet
        Written = 3,      ///< the working file exists
        Closed = 4        ///< neither
    };

    /// Makes a closed handle, with the paths that belong to `path`.
    explicit gdal_t(const QString& path = QString());
    /// Shares the dataset, so you must only copy a handle that is closed.
    gdal_t(const gdal_t&) = default;
    /// Shares the dataset of the other handle. A dataset that is open here is not closed, but a dataset that is kept
    /// aside here is.
    gdal_t& operator=(const gdal_t&) = default;
    /// Calls `close()`.
    ~gdal_t();

    /// Reads the description of a file: extent, bands, pages and pixel type. The dataset is released again.
    ///
    /// The extent comes from the geotransform, in the integer map frame. The width of a pixel is the resolution, and
    /// a different height only changes the height of the box. Rotation is ignored. Without a geotransform the extent
    /// is in pixels.
    ///
    /// Logs a warning if the width and the height of a pixel have the same sign, so that the raster is not north-up,
    /// and the pixel is at least as wide as high. Logs a warning also if the extent has no pixels because the pixel
    /// size rounds to 0.
    ///
    /// @return false, with the handle closed, if the file cannot be opened, or has no bands or no supported pixel
    ///         type.
    bool openRead(const QString& path, bool readOnly);

    /// Prepares a file to be written: makes its folder, and deletes an earlier file and working file. Creates no file
    /// yet. The arguments are the same as for `GDALStreamer::openWrite`.
    ///
    /// @return false for an empty path and for one of GDAL's virtual files ("/vsi…").
    bool openWrite(const QString& path, std::size_t noBands, DataType dtype, const Workspace& ws,
                   const QString& projWKT, const QString& projTime, const QString& software);

    /// Makes `dataset` valid: opens the file, or creates the working file. A working file gets the bands and the type
    /// that the members have now (`RGB` gives 3 bands and `RGBA` 4, whatever `noBands` is). It counts as written from
    /// then on, because you can write into it, so its unwritten pixels become no-data first.
    ///
    /// @return false if that fails or if the handle is closed.
    bool reopen();

    /// Releases the dataset if nothing is lost by it: a memory dataset is kept. Always returns true.
    bool detach();

    /// Sets whether `detach` keeps the dataset of a file that is read aside for the next `reopen`. False closes a
    /// dataset that is kept.
    void keepAside(bool keep);

    /// Completes a written file, and releases everything. Always returns true. If the file cannot be completed, an
    /// error is logged.
    bool close();

    /// Releases everything without completing a written file, and removes everything that writing it has made, the
    /// completed file included. A file that is read or updated is only released.
    void discard();

    /// Gives the file another place than its georeference does. `georeferenceLoss` then contains the distance between
    /// both.
    void lieAt(const Workspace& extent);

    /// Returns true if the box, in pixels of this file, is inside the file. An inverted box counts by its corners.
    bool valid(const PixelBox& box) const;
    /// Returns the number of columns.
    int width() const;
    /// Returns the number of rows.
    int height() const;
    /// Returns true if a dataset is open.
    bool opened() const { return dataset != nullptr; }

    /// @{
    /// Reads `src` of one band into `out`. The nearest pixel is picked if `width` and `height` are not the size of
    /// the box. The dataset is released afterwards.
    ///
    /// @param out    resized to `height` rows and `width` columns. Its values are unspecified after a failure.
    /// @param band   counted from 1. For unsigned int also 100003 (RGB) and 100004 (RGBA), which read all colour
    ///               bands packed as 0xAARRGGBB. 100003 leaves the alpha byte of files with 3 and 4 bands as it was.
    /// @param src    in pixels of this file, half-open.
    /// @param width  columns of `out`.
    /// @param height rows of `out`.
    /// @return false if the file cannot be opened or read, has no such band, or does not cover `src`.
    /// @throws std::bad_alloc if `out` does not fit into memory.
    bool read(PixelMatrix<signed char>& out, std::size_t band, const PixelBox& src, int width, int height);
    bool read(PixelMatrix<unsigned char>& out, std::size_t band, const PixelBox& src, int width, int height);
    bool read(PixelMatrix<short>& out, std::size_t band, const PixelBox& src, int width, int height);
    bool read(PixelMatrix<unsigned short>& out, std::size_t band, const PixelBox& src, int width, int height);
    bool read(PixelMatrix<int>& out, std::size_t band, const PixelBox& src, int width, int height);
    bool read(PixelMatrix<unsigned int>& out, std::size_t band, const PixelBox& src, int width, int height);
    bool read(PixelMatrix<float>& out, std::size_t band, const PixelBox& src, int width, int height);
    bool read(PixelMatrix<double>& out, std::size_t band, const PixelBox& src, int width, int height);
    /// @}

    /// @{
    /// Writes `in` into `dst` of one band. The dataset is released afterwards.
    ///
    /// @param in   the pixels. Pixel (0, 0) belongs at the min corner of `dst`.
    /// @param band as for `read`. 100003 needs exactly 3 bands, and 100004 exactly 4.
    /// @param dst  in pixels of this file, half-open. It must have the size of the matrix.
    /// @return false if the file is not writable or has no such band, or if `dst` does not have the size of the
    ///         matrix or is not inside the file.
    bool write(const PixelMatrix<signed char>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<unsigned char>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<short>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<unsigned short>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<int>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<unsigned int>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<float>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<double>& in, std::size_t band, const PixelBox& dst);
    /// @}

    /// Reads `src`, in pixels of this file and half-open, of several bands in one pass. Band `bands[k]`, counted from
    /// 1, goes into band k of `out`. The nearest pixel is picked if the sizes of `out` and `src` differ. The dataset
    /// is released afterwards. It takes the element types of `read`, but not its band numbers for packed colours.
    /// False if the file cannot be opened or read, lacks a band, or does not cover `src`.
    template <class T>
    bool readBands(const BandPixels<T>& out, const std::vector<int>& bands, const PixelBox& src);

    /// Writes several bands into `dst`, in pixels of this file and half-open, in one pass. Band k of `in` goes into
    /// band `bands[k]`, counted from 1. The dataset is released afterwards. False if the file is not writable or
    /// lacks a band, or if `dst` does not have the size of the pixels or is not inside the file.
    template <class T>
    bool writeBands(const BandPixels<const T>& in, const std::vector<int>& bands, const PixelBox& dst);

    QString path;                       ///< the final file
    QString tfwpath;                    ///< its world file
    QString prjpath;                    ///< its projection file
    QString tmppath;                    ///< the working file
    GDALDataset* dataset = nullptr;     ///< the open dataset, or null
    Workspace workspace;                ///< extent and pixel size
    QString projWKT;                    ///< spatial reference to be written
    QString projTime;                   ///< date-time text to be written
    QString software;                   ///< software name to be written
    std::uint64_t noBands = 0;          ///< number of bands
    std::uint64_t noPages = 0;          ///< number of images of a file that is read
    DataType dtype = DataType::Unknown; ///< pixel type
    std::int32_t mode = Closed;         ///< a `FileMode`
    std::int32_t jpegQuality = 95;      ///< for the JPEG driver
    int blockWidth = 0;                 ///< columns that a file being read decodes at a time
    int blockHeight = 0;                ///< rows that it decodes at a time
    double georeferenceLoss = 0.0;      ///< as the function of the set returns it, for this file
    bool oneOfMany = false;             ///< one of a set of tile files: GDAL should not list their folder
    std::shared_ptr<const RasterDescription> description; ///< from the header of a file that is read
    StreamError error; ///< why the last operation failed, or why the file could not be completed

private:
    friend class GDALStreamer; // completes its files
    friend class Transfer;

    /// A dataset that belongs to its handle only: a copy of the handle has none.
    class VEXEL_EXPORT Aside
    {
    public:
        Aside() = default;
        Aside(const Aside&) noexcept {}
        /// Closes the dataset that is here.
        Aside& operator=(const Aside& other);

        bool isWanted = false;
        GDALDataset* dataset = nullptr;
    };

    bool m_finalised = false; // since it was opened for writing
    bool m_isInPlace = false; // the final file, since then
    bool m_isWritten = false; // pixels have been handed to GDAL, or may have been
    std::vector<bool> m_unwrittenBlocks;
    std::optional<bool> m_canStayOpen; // looked up once
    std::optional<std::array<double, 6>> m_geotransform;
    Aside m_aside;

    bool isImageFormat() const;
    void setPaths(const QString& file, const QString& workingFile);
    bool openToTransfer();
    bool createWorkingDataset();
    bool prepareWorkingFile(std::unique_ptr<GDALDataset, CloseDataset>& created);
    bool canStayOpen() noexcept;
    /// Completes a written file, and releases everything. Always returns true.
    ///
    /// @param completion receives the progress and can stop. It can be null.
    bool complete(Completion* completion);
    void finalise(Completion* completion);
    void finaliseImage(Completion* completion);
    void finaliseGeoTiff(Completion* completion);
    void failToComplete(const QString& reason, std::uint64_t bytesNeeded, const char* end,
                        const Completion* completion);
    /// Fills unwritten pixels with no-data and releases the working file. If GDAL reports a failure, returns false
    /// with the reason.
    bool finishWorkingFile(QString& reason, Completion* completion);
    bool translate(int& usageError, QString& reason, Completion* completion);
    bool isAnothers(const file::HeldFile& working) const;
    void removeWorkingFile(file::HeldFile& working);
    double bytesToComplete() const;
    /// Writes the projection file and returns the definition that GDAL takes the reference from, empty for a raster
    /// without one.
    QString saveReference();
    void removeSideFiles();
    void releaseDataset();
    /// Releases the dataset. Returns false with the reason if GDAL reports a failure meanwhile.
    bool release(QString& reason);
};

namespace detail {

/// Returns bands that are one below the other in a matrix.
template <class T>
BandPixels<T> stacked(T* first, Eigen::Index rows, Eigen::Index columns)
{
    return {first, rows, columns, columns, rows * columns};
}

/// Returns the part of the pixels that a box covers.
template <class T>
BandPixels<T> partOf(const BandPixels<T>& pixels, const PixelBox& box)
{
    const PixelPoint& corner = box.min_corner();
    return {pixels.first + corner.y() * pixels.rowStep + corner.x(), box.max_corner().y() - corner.y(),
            box.max_corner().x() - corner.x(), pixels.rowStep, pixels.bandStep};
}

} // namespace detail

template <class T>
bool GDALStreamer::read(PixelMatrix<T>& out, std::size_t band, const PixelBox& box, double scale, bool fill,
                        std::common_type_t<T> fillValue) const
{
    const auto request = beginRead(box, scale);
    if (!request)
        return false;
    resizePixels(out, request->rows, request->columns);
    if (fill)
        out.setConstant(fillValue);

    std::vector<std::size_t> tiles;
    std::vector<PixelBox> sources;
    std::vector<PixelBox> targets;
    if (!map(request->box, tiles, sources, targets, scale))
        return false;

    const GDALMutex lock;
    PixelMatrix<T> scratch;
    for (std::size_t k = 0; k < tiles.size(); ++k) {
        const PixelBox& target = targets[k];
        const int targetColumns = target.max_corner().x() - target.min_corner().x();
        const int targetRows = target.max_corner().y() - target.min_corner().y();
        if (targetColumns <= 0 || targetRows <= 0)
            continue;
        const bool coversAll =
            tiles.size() == 1 && targetRows == request->rows && targetColumns == request->columns;
        gdal_t& file = fileToRead(tiles[k]);
        if (coversAll)
            return file.read(out, band, sources[k], targetColumns, targetRows) || failIn(file);
        // Set to 0, because a packed colour read does not write the alpha bytes.
        resizePixels(scratch, targetRows, targetColumns);
        scratch.setZero();
        if (!file.read(scratch, band, sources[k], targetColumns, targetRows))
            return failIn(file);
        out.block(target.min_corner().y(), target.min_corner().x(), targetRows, targetColumns) = scratch;
    }
    return true;
}

template <class T>
bool GDALStreamer::readBands(PixelMatrix<T>& out, const std::vector<int>& bands, const PixelBox& box,
                             double scale, bool fill, std::common_type_t<T> fillValue) const
{
    const auto request = beginRead(box, scale);
    if (!request)
        return false;
    resizePixels(out, static_cast<Eigen::Index>(bands.size()) * request->rows, request->columns);
    if (fill)
        out.setConstant(fillValue);
    return readPieces(detail::stacked(out.data(), request->rows, request->columns), bands, request->box,
                      scale);
}

template <class T>
bool GDALStreamer::readBands(const BandPixels<T>& out, const std::vector<int>& bands,
                             const PixelBox& box) const
{
    const auto request = beginRead(box, 1.0);
    if (!request)
        return false;
    if (request->rows != out.rows || request->columns != out.columns)
        return failSize(out.rows, out.columns, request->rows, request->columns);
    return readPieces(out, bands, request->box, 1.0);
}

template <class T>
bool GDALStreamer::readPieces(const BandPixels<T>& out, const std::vector<int>& bands,
                              const PixelBox& request, double scale) const
{
    std::vector<std::size_t> tiles;
    std::vector<PixelBox> sources;
    std::vector<PixelBox> targets;
    if (!map(request, tiles, sources, targets, scale))
        return false;
    const GDALMutex lock;
    for (std::size_t k = 0; k < tiles.size(); ++k) {
        const BandPixels<T> target = detail::partOf(out, targets[k]);
        if (target.rows <= 0 || target.columns <= 0)
            continue;
        gdal_t& file = fileToRead(tiles[k]);
        if (!file.readBands(target, bands, sources[k]))
            return failIn(file);
    }
    return true;
}

template <class T>
bool GDALStreamer::write(const PixelMatrix<T>& in, std::size_t band, const PixelBox& box) const
{
    std::vector<std::size_t> tiles;
    std::vector<PixelBox> inFiles;
    std::vector<PixelBox> inMatrix;
    if (!beginWrite(box, in.rows(), in.cols(), tiles, inFiles, inMatrix))
        return false;

    const GDALMutex lock;
    PixelMatrix<T> scratch;
    for (std::size_t k = 0; k < tiles.size(); ++k) {
        PixelBox& piece = inMatrix[k];
        if (!clipToMatrix(inFiles[k], piece, in.rows(), in.cols()))
            continue;
        const Eigen::Index rows = piece.max_corner().y() - piece.min_corner().y();
        const Eigen::Index columns = piece.max_corner().x() - piece.min_corner().x();
        const bool isAll = rows == in.rows() && columns == in.cols();
        if (!isAll) {
            resizePixels(scratch, rows, columns);
            scratch = in.block(piece.min_corner().y(), piece.min_corner().x(), rows, columns);
        }
        if (!m_files[tiles[k]]->write(isAll ? in : scratch, band, inFiles[k]))
            return failIn(*m_files[tiles[k]]);
    }
    return true;
}

template <class T>
bool GDALStreamer::writeBands(const PixelMatrix<T>& in, const std::vector<int>& bands,
                              const PixelBox& box) const
{
    const auto noBands = static_cast<Eigen::Index>(bands.size());
    if (noBands == 0 || in.rows() % noBands != 0)
        return failRows(in.rows(), bands.size());
    return writeBands(detail::stacked(in.data(), in.rows() / noBands, in.cols()), bands, box);
}

template <class T>
bool GDALStreamer::writeBands(const BandPixels<const T>& in, const std::vector<int>& bands,
                              const PixelBox& box) const
{
    std::vector<std::size_t> tiles;
    std::vector<PixelBox> inFiles;
    std::vector<PixelBox> inMatrix;
    if (!beginWrite(box, in.rows, in.columns, tiles, inFiles, inMatrix))
        return false;
    if (bands.empty())
        return failRows(in.rows, 0);

    const GDALMutex lock;
    for (std::size_t k = 0; k < tiles.size(); ++k)
        if (clipToMatrix(inFiles[k], inMatrix[k], in.rows, in.columns) &&
            !m_files[tiles[k]]->writeBands(detail::partOf(in, inMatrix[k]), bands, inFiles[k]))
            return failIn(*m_files[tiles[k]]);
    return true;
}

} // namespace vexel

// The types that the class returns and takes. They are included at the end, because both need the class itself.
#include "RasterSpec.h"
#include "TileRange.h"

#endif
