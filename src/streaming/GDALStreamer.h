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

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

class GDALDataset;

namespace vexel {

class RasterDescription;
class RasterSpec;
class TileRange;

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

    /// Prepares a raster to be written as `raster` describes it, without date-time text. The rules and the failures are
    /// the same as for the first `openWrite`.
    [[nodiscard]] bool openWrite(const QString& path, const RasterSpec& raster);

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
    bool requireColours(std::uint64_t bands) const;
    bool openRead(const QString& path, GdalFileType ftype, bool readOnly);
    bool openToWrite(const QString& path, const RasterSpec& raster, const QString& projTime);
    bool requireWritableRaster(const RasterSpec& raster) const;
    bool openEither(const QString& path, bool readOnly);
    bool openSingleFile(const QString& path, bool readOnly);
    bool openTileSet(const QString& path, bool readOnly);
    bool takeDescriptionFromFiles();
    bool appendFilesToWrite(const RasterSpec& raster, const QString& projTime);
    bool appendForWriting(const QString& file, const Workspace& extent, const RasterSpec& raster,
                          const QString& projTime);
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
    PixelBox wholeSet() const;
    PixelBox orOverlap(const PixelBox& box, Eigen::Index rows, Eigen::Index columns) const;

    /// Reads one band. Without `fillValue`, pixels that no file covers keep the values of the resized matrix.
    template <class T>
    bool readOneBand(PixelMatrix<T>& out, std::size_t band, const PixelBox& box, double scale,
                     const T* fillValue) const;
    template <class T>
    bool writeOneBand(const PixelMatrix<T>& in, std::size_t band, const PixelBox& box) const;
    template <class T>
    bool readPieces(const BandPixels<T>& out, const std::vector<int>& bands, const Request& request,
                    double scale) const;

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

} // namespace vexel

// They need the class itself, so they are included at the end: its file handle, its templates, and the types that its
// functions take and return.
#include "RasterSpec.h"
#include "TileRange.h"
#include "gdal_t.h"
#include "transfers.h"

#endif
