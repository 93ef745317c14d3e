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

/// A georeferenced raster that lies on disk as one file or as a grid of tile files, read and written by pixel
/// boxes without regard to where the file seams lie.
///
/// Pixel boxes are in pixels of the whole raster, row 0 northernmost, half-open. A raster being written is
/// completed (compressed, with world and projection file beside it) by `close()`, or at the latest by the
/// destructor. A file comes to be at its path in one go, once all of it has reached the disk: one that could not
/// be completed is not there, an error is logged, and after `close()` `lastError()` has the reason.
///
/// A set belongs to one thread at a time. Opening, closing and pixel transfers hold the GDAL lock
/// (`GDALMutex`), so that different sets may be used from different threads; the rest takes no lock.
/// Operations report failure by their result and log nothing of their own; the set stays in a defined state,
/// and `lastError()` has the reason.
/// Files are opened for each transfer and released after it: a set of many files holds few descriptors.
///
/// A transfer costs what the blocks of the files cost that its box touches, whatever the size of the set. Boxes
/// aligned to `blockWidth()` and `blockHeight()`, all bands at a time, decode nothing twice.
///
/// @code
/// GDALStreamer dem;
/// PixelMatrix<float> heights;
/// if (!dem.openRead("dem.tif") ||
///     !dem.read(heights, 1, PixelBox({0, 0}, {512, 256}), 1.0, true, -10000.0f)) // 256 rows, 512 columns
///     std::cerr << dem.lastError().text.toStdString() << std::endl;
/// @endcode
class VEXEL_EXPORT GDALStreamer
{
public:
    struct gdal_t;

    /// While one lives, the files that a set reads are not closed after each transfer but kept aside, the last
    /// 16 of them: reading many boxes does not parse their headers each time, and formats that are decoded from
    /// the top go on where they were. What GDAL has cached of them is let go after each transfer as ever.
    ///
    /// Nothing else shows of it: `opened(i)` is false between transfers. That a file is replaced meanwhile is
    /// not noticed. Must not outlive the set. Its end takes the GDAL lock.
    class VEXEL_EXPORT KeepFilesOpen
    {
    public:
        /// Files of `set` are kept from its next transfer on. Opens nothing, and takes no lock.
        explicit KeepFilesOpen(const GDALStreamer& set);
        /// Closes what was kept, if it is the last one of its set.
        ~KeepFilesOpen();
        KeepFilesOpen(const KeepFilesOpen&) = delete;
        KeepFilesOpen& operator=(const KeepFilesOpen&) = delete;

    private:
        const GDALStreamer& m_set;
    };

    /// An empty set, not open.
    GDALStreamer();

    /// Takes over the files of `other`, the last error, and what was kept open of them: it is closed by `close()` at
    /// the latest, since a `KeepFilesOpen` of `other` knows nothing of the new set. `other` keeps its path, counts, types,
    /// box and resolution, but is not open any more. Takes no lock.
    GDALStreamer(GDALStreamer&& other) noexcept;

    /// Closes the set.
    ~GDALStreamer();

    GDALStreamer& operator=(GDALStreamer&&) = delete;

    /// Opens a raster for reading: the file `path`, or if that cannot be opened the set of tile files named
    /// from it. A set that was open is let go first; close a written one before.
    ///
    /// Tile files must form a complete grid, one file a tile, of equal band count and pixel type. A raster
    /// without georeference lies in pixel units at (0, 0); JPEG tile files always do, at the place of
    /// their names.
    ///
    /// Reads the headers of all files of the set, and the names in their folder.
    ///
    /// @return true when the set is open; after a failure it is empty.
    bool openRead(const QString& path);
    /// The same for one way of lying on disk: a file, or the set of tile files named from `path`.
    bool openRead(const QString& path, GdalFileType ftype);

    /// Opens a raster for reading and writing in place; otherwise as `openRead`. What is written stays as it is when
    /// the process stops: there is no working file.
    bool openUpdate(const QString& path);
    /// The same for one way of lying on disk.
    bool openUpdate(const QString& path, GdalFileType ftype);

    /// Prepares a raster to be written, deleting an earlier one of that name. Files are created by the first
    /// transfer that touches them; pixels never written are no-data (-10000) where the pixel type can hold
    /// it, else 0, and a file that nothing was written to does not come to be.
    ///
    /// Files become LZW-compressed GeoTIFFs, or PNG or JPEG images by their extension; a JPEG 2000 name
    /// yields no file.
    ///
    /// @param path       the file; for a set of tile files the path that they are named from.
    /// @param noBands    number of bands; 3 and 4 bands are marked as colour, the fourth as alpha.
    /// @param dtype      pixel type; `RGB` and `RGBA` give the files 3 and 4 bands of bytes.
    /// @param ws         extent and resolution, in the integer map frame; its tiles do not matter.
    /// @param projWKT    spatial reference as WKT; empty for none. Without one, a projection file that lies there stays,
    ///                   since a shapefile or an image of that name may own it.
    /// @param projTime   text for the TIFF date-time tag; empty for none.
    /// @param software   text for the TIFF software tag; empty for a default.
    /// @param ftype      one file, or a set of tile files.
    /// @param tileWidth,tileHeight size of the tiles in pixels, for a set of tile files only.
    /// @return false for an empty path, one of GDAL's virtual files ("/vsi…"), an extent without pixels, or a tile size
    ///         below 1, before anything is deleted.
    bool openWrite(const QString& path, std::uint64_t noBands, DataType dtype, const Workspace& ws,
                   const QString& projWKT, const QString& projTime, const QString& software,
                   GdalFileType ftype, int tileWidth, int tileHeight);

    /// The same for a single file of `width` by `height` pixels in pixel units, without projection and time.
    bool openWrite(const QString& path, std::uint64_t noBands, DataType dtype, int width, int height);

    /// Prepares a raster to be written as `spec` says. Otherwise as the others.
    [[nodiscard]] bool openWrite(const QString& path, const RasterSpec& spec);

    /// Completes written files and lets all files go. Path, counts, types and workspace are kept. Always
    /// true.
    ///
    /// @code
    /// set.close();
    /// if (set.lastError())
    ///     std::cerr << set.lastError().text.toStdString() << std::endl; // a file could not be completed
    /// @endcode
    bool close();

    /// Completes written files as `close()` does, but tells how far that is, can be stopped, and answers whether it has
    /// worked. Lets other threads have GDAL meanwhile: it gives up the lock for a moment, every few milliseconds, when
    /// another thread waits for it, unless the caller holds a `GDALMutex` of its own. Where another thread keeps the lock,
    /// completing waits.
    ///
    /// Do not use this set in `progress`. If a set is opened for writing on the same path meanwhile, this one may end with
    /// `CannotComplete`; no file is ever made of both.
    ///
    /// @param progress told the share that is complete, from 0 to 1, by the bytes of the pixels; false stops. It is called
    ///                 on this thread without the lock, so that it may wait for a thread that needs it. What it throws stops
    ///                 completing, and comes out then.
    /// @return what `lastError()` is then: no error, the first file's that could not be completed (the others are), or
    ///         `Stopped`. After a stop nothing is left, as after `discard()`.
    ///
    /// @code
    /// const StreamError error = set.finish([&](double share) { return !isCancelled; });
    /// if (error && error.code != StreamError::Code::Stopped)
    ///     std::cerr << error << std::endl;
    /// @endcode
    [[nodiscard]] StreamError finish(std::function<bool(double)> progress = {});

    /// Lets all files go without completing them, and removes what writing this set has made: working files,
    /// and files that were completed one by one. A set that was opened for reading or update is only closed.
    /// Otherwise as `close()`.
    void discard();

    /// Completes or releases file `i`, which stays in the set. False if there is no such file.
    bool close(std::uint64_t i);

    /// Opens the dataset of file `i`, creating it if it is still to be written, for `data(i)`. It stays open until the
    /// next transfer that touches the file, or `close`. False if there is no such file, or it cannot be opened.
    bool open(std::uint64_t i);

    /// Quality, 1 to 100, of the JPEG files of this set when they are completed; 95 by default. Holds for the
    /// files that the set has now.
    void setJPEGQuality(int quality);

    /// Why the last operation of the set that opens, closes or transfers failed: of `close()` and `discard()`, which
    /// are always true, why a file could not be completed. No error if it did not.
    const StreamError& lastError() const { return m_lastError; }

    /// The path of the last open call; for tile files the one that they are named from.
    const QString& path() const { return m_path; }
    /// Number of bands of each file, as it was given to `openWrite`.
    std::uint64_t noBands() const { return m_noBands; }
    /// Number of images in the first file, 0 for a set being written.
    std::uint64_t noPages() const { return m_noPages; }
    /// Pixel type of each file, as it was given to `openWrite`.
    DataType dtype() const { return m_dtype; }
    /// How the set lies on disk, as the last open call took it to.
    GdalFileType ftype() const { return m_ftype; }

    /// Extent of the whole raster; its tiles are the files, in order.
    const Workspace& workspace() const { return m_workspace; }
    /// @{
    /// Edge of a pixel in integer map units; pixels are square.
    std::int64_t res() const { return m_workspace.res(); }
    std::int64_t resx() const { return m_workspace.res(); }
    std::int64_t resy() const { return m_workspace.res(); }
    /// @}
    /// Number of columns of the whole raster.
    int width() const { return m_workspace.pixelWidth(); }
    /// Number of rows of the whole raster.
    int height() const { return m_workspace.pixelHeight(); }

    /// The spatial reference of the first file as WKT, as its header had it when the set was opened; of a set being
    /// written, what it is written with. Empty for none. Takes no lock.
    [[nodiscard]] QString spatialReference() const;
    /// The no-data value of a band, as the first file's header had it when the set was opened; of a set being written,
    /// what it is written with: -10000 where the pixel type holds it. Empty if there is none, or no such band, and for a
    /// file of so many bands with values of their own that remembering them would take more than 32 KiB. Takes no lock.
    ///
    /// @param band counted from 1.
    [[nodiscard]] std::optional<double> noDataValue(std::size_t band) const;

    /// How far a corner of a file lies at most from where its extent has it, in pixels: more than about half a
    /// pixel where a rotation was dropped, pixels are not square, or their size is no whole number of map units.
    double georeferenceLoss() const;

    /// Columns of the blocks that the first file is decoded by, 0 for a set being written. Boxes aligned to blocks
    /// decode nothing twice.
    int blockWidth() const;
    /// Rows of the blocks that the first file is decoded by, 0 for a set being written.
    int blockHeight() const;

    /// Number of files, 1 for a single one. They are numbered column by column, each from north to south.
    std::uint64_t noTiles() const { return m_workspace.noTiles(); }
    /// Box of file `i` in the integer map frame; a box of zeros if there is no such file.
    const MapBox& mtile(std::uint64_t i) const { return m_workspace.mtile(i); }
    /// Box of file `i` in pixels of the whole raster, half-open; a box of zeros if there is no such file.
    const PixelBox& itile(std::uint64_t i) const { return m_workspace.itile(i); }
    /// Column and row of file `i` in the grid, counted from 0, which its name counts from 1.
    const PixelPoint& gtile(std::uint64_t i) const { return m_workspace.gtile(i); }

    /// The files of the set, with where each lies.
    ///
    /// @code
    /// for (const TileRange::Tile& tile : set.tiles())
    ///     std::cout << tile.path.toStdString() << ": " << widthOf(tile.pixels) << " columns" << std::endl;
    /// @endcode
    [[nodiscard]] TileRange tiles() const;

    /// True when the set holds files.
    bool opened() const { return !m_files.empty(); }
    /// True when file `i` holds an open dataset at this moment; between transfers files that are read do not.
    bool opened(std::uint64_t i) const;

    /// The open dataset of file `i`, owned by the set; null when there is none, as between transfers. Hold a
    /// `GDALMutex` from `open(i)` on, as long as it is used.
    ///
    /// @code
    /// const GDALMutex lock;
    /// if (set.open(0))
    ///     wkt = QString::fromUtf8(set.data(0)->GetProjectionRef());
    /// @endcode
    GDALDataset* data(std::uint64_t i) const;

    /// Path of file `i`; empty if there is no such file.
    QString path(std::uint64_t i) const;
    /// Path of the world file of file `i`, whether there is one or not; empty if there is no such file.
    QString tfwpath(std::uint64_t i) const;
    /// Path of the projection file of file `i`, whether there is one or not; empty if there is no such file.
    QString prjpath(std::uint64_t i) const;
    /// The spatial reference that file `i` is written with; empty for a file that is read.
    QString projWKT(std::uint64_t i) const;
    /// The date-time text that file `i` is written with; empty for a file that is read.
    QString projTime(std::uint64_t i) const;

    /// Reads one band of a box.
    ///
    /// @tparam T         signed or unsigned char, short or int, float or double. GDAL converts the file's
    ///                   values (rounding, clamping); a signed char takes bytes unchanged.
    /// @param out        resized to the box's size times `scale`, each side rounded half away from zero.
    /// @param band       one-based band number.
    /// @param box        may reach beyond the raster; a box without width or height stands for the whole
    ///                   raster.
    /// @param scale      output pixels per raster pixel; other than 1 picks the nearest pixel, file by file.
    /// @param fill       whether `out` is set to `fillValue` first. Otherwise pixels that no file covers keep
    ///                   what the resized matrix holds.
    /// @param fillValue  in the unit of the band; -10000 for no-data.
    /// @return false if the set is not open, a touched file lacks the band or cannot be read, or `scale` is
    ///         negative or not finite. Pieces read before stay in `out`.
    /// @throws std::bad_alloc if `out` does not fit into memory.
    ///
    /// Besides `out` it needs memory for one file's part of the box; none if that is all of the box.
    template <class T>
    bool read(PixelMatrix<T>& out, std::size_t band, const PixelBox& box, double scale, bool fill,
              std::common_type_t<T> fillValue) const;

    /// Writes one band of a box.
    ///
    /// @param in   pixel (0, 0) belongs at the box's min corner. What reaches beyond the box is not written.
    /// @param band one-based band number.
    /// @param box  may reach beyond the raster and the matrix, what does is left alone; a box without width
    ///             or height stands for the overlap of matrix and raster at (0, 0).
    /// @return false if the set is not open, or a touched file is not writable, lacks the band, or cannot be
    ///         written. Pieces written before stay.
    template <class T>
    bool write(const PixelMatrix<T>& in, std::size_t band, const PixelBox& box) const;

    /// Reads several bands of a box in one pass over the files: where bands lie interleaved, every block of a
    /// file is decoded once whatever the number of bands. Otherwise as `read`.
    ///
    /// @param out   the bands one below the other: band `bands[k]` in rows k * rows to (k + 1) * rows, with
    ///              the rows and columns that `read` gives.
    /// @param bands one-based band numbers, in any order.
    /// @param box,scale,fill,fillValue as for `read`.
    template <class T>
    bool readBands(PixelMatrix<T>& out, const std::vector<int>& bands, const PixelBox& box, double scale,
                   bool fill, std::common_type_t<T> fillValue) const;

    /// Reads several bands of a box into memory of the caller's, which has the size of the box. Pixels that no
    /// file covers stay as they are. Otherwise as the other `readBands`.
    ///
    /// @return false also if the sizes differ.
    template <class T>
    bool readBands(const BandPixels<T>& out, const std::vector<int>& bands, const PixelBox& box) const;

    /// Writes several bands of a box in one pass over the files. Otherwise as `write`.
    ///
    /// @param in    the bands one below the other, as `readBands` gives them.
    /// @param bands one-based band numbers, in any order, at least one.
    /// @param box   as for `write`.
    /// @return false also if the rows of `in` cannot be shared out among the bands.
    template <class T>
    bool writeBands(const PixelMatrix<T>& in, const std::vector<int>& bands, const PixelBox& box) const;
    /// The same from memory of the caller's.
    template <class T>
    bool writeBands(const BandPixels<const T>& in, const std::vector<int>& bands, const PixelBox& box) const;

    /// Reads all colour bands of a box as packed pixels 0xAARRGGBB; bands 1 to 4 are red, green, blue and
    /// alpha. Otherwise as `read`.
    ///
    /// @return false also for files of neither 3 or 4 bands nor one band of bytes (gray). Alpha becomes 255.
    bool readRGB(PixelMatrix<unsigned int>& out, const PixelBox& box, double scale, bool fill,
                 unsigned int fillValue) const;
    /// The same with alpha from the fourth band, or from the second of two bands of bytes (gray with alpha);
    /// opaque if there is none.
    bool readRGBA(PixelMatrix<unsigned int>& out, const PixelBox& box, double scale, bool fill,
                  unsigned int fillValue) const;

    /// Writes packed pixels 0xAARRGGBB into the three bands of a set, alpha left out; otherwise as `write`.
    ///
    /// @return false also for a set that has not exactly 3 bands.
    bool writeRGB(const PixelMatrix<unsigned int>& in, const PixelBox& box) const;
    /// The same for the four bands of a set, with alpha.
    ///
    /// @return false also for a set that has not exactly 4 bands.
    bool writeRGBA(const PixelMatrix<unsigned int>& in, const PixelBox& box) const;

private:
    friend class DownsamplerBase; // keeps completed files, to discard them

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
    /// Completes the files, which stay in the set: `discard` removes them all the same.
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

    /// What a read asks for, and the size of what it gives.
    struct Request
    {
        PixelBox box;
        Eigen::Index rows;
        Eigen::Index columns;
    };
    /// Forgets the last error; nothing if the read fails, which is a new one.
    std::optional<Request> beginRead(const PixelBox& box, double scale) const;
    /// The same for a write: where its pieces lie in the files and in the matrix.
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
    std::shared_ptr<const RasterDescription> m_description; ///< null before a set was opened
    mutable StreamError m_lastError;
    mutable int m_keepers = 0;
    mutable std::vector<std::shared_ptr<gdal_t>> m_keptFiles; // the one kept longest first
};

/// One raster file of a set: its paths, its extent and the dataset while one is open.
///
/// A file that is read is opened for each transfer and released after it. A file that is written goes into a
/// working file beside the target (a memory dataset for PNG, JPEG and JPEG 2000 targets), which `close()`
/// turns into the final, compressed file.
///
/// Takes no lock: hold a `GDALMutex` round `openRead`, `reopen`, `detach`, `close` and the transfers. Copies
/// share the raw dataset pointer, and each closes it when it is destroyed: only copy a handle that is closed. What is
/// kept aside (`keepAside`) is not copied.
struct VEXEL_EXPORT GDALStreamer::gdal_t
{
    /// What the handle has its file for.
    enum FileMode : std::int32_t
    {
        ReadOnly = 0,     ///< to be read
        Update = 1,       ///< to be read and written in place
        WritePending = 2, ///< to be written, nothing created yet
        Written = 3,      ///< the working file exists
        Closed = 4        ///< neither
    };

    /// A closed handle, with the paths that belong to `path`.
    explicit gdal_t(const QString& path = QString());
    /// Shares the dataset: only copy a handle that is closed.
    gdal_t(const gdal_t&) = default;
    /// As the copy constructor; a dataset that is open here is not closed, but one that is kept aside is.
    gdal_t& operator=(const gdal_t&) = default;
    /// Calls `close()`.
    ~gdal_t();

    /// Reads the description of a file: extent, bands, pages and pixel type. The dataset is released again.
    ///
    /// The extent comes from the geotransform, in the integer map frame; the width of a pixel is the
    /// resolution, a different height only sets the box's. Rotation is ignored. Logs a warning for a raster
    /// that is not north-up with square pixels by the sign of its pixel height, and for one whose extent has
    /// no pixels because its pixel size rounds to 0. Without a geotransform the extent is in pixels.
    ///
    /// @return false, the handle closed, if the file cannot be opened, has no bands or no supported pixel
    ///         type.
    bool openRead(const QString& path, bool readOnly);

    /// Prepares a file to be written: makes its folder and deletes an earlier file and working file. Creates
    /// nothing yet. The arguments are those of `GDALStreamer::openWrite`.
    ///
    /// @return false for an empty path and for one of GDAL's virtual files ("/vsi…").
    bool openWrite(const QString& path, std::size_t noBands, DataType dtype, const Workspace& ws,
                   const QString& projWKT, const QString& projTime, const QString& software);

    /// Makes `dataset` valid: opens the file, or creates the working file, with the bands and of the type that the members
    /// say now (`RGB` gives 3 bands and `RGBA` 4, whatever `noBands` says). Whoever asks may write into it, so that a
    /// working file counts as written from then on, and what it has no pixels of becomes no-data first.
    ///
    /// @return false if that fails or the handle is closed.
    bool reopen();

    /// Releases the dataset where nothing is lost by it: a memory dataset is kept. Always true.
    bool detach();

    /// Whether `detach` keeps the dataset of a file that is read aside for the next `reopen`. False lets one that
    /// is kept go.
    void keepAside(bool keep);

    /// Completes a written file, and releases everything. Always true: a file that cannot be completed is
    /// logged as an error.
    bool close();

    /// Releases everything without completing a written file, and removes what writing it has made, the
    /// completed file included. A file that is read or updated is only released.
    void discard();

    /// Gives the file another place than its georeference does, which `georeferenceLoss` tells then.
    void lieAt(const Workspace& extent);

    /// True when the box, in pixels of this file, lies inside it. A box that is turned over counts by its corners.
    bool valid(const PixelBox& box) const;
    /// Number of columns.
    int width() const;
    /// Number of rows.
    int height() const;
    /// True when there is an open dataset.
    bool opened() const { return dataset != nullptr; }

    /// @{
    /// Reads `src`, in pixels of this file, of one band into `out`, resized to `height` rows and `width`
    /// columns; picks the nearest pixel if that is not the box's size. The dataset is released afterwards.
    ///
    /// @param out    unspecified after a failure.
    /// @param band   one-based; for unsigned int also 100003 (RGB) and 100004 (RGBA), which read all colour
    ///               bands packed as 0xAARRGGBB. The former leaves the alpha byte of 3 and 4 band files as it
    ///               was.
    /// @param src    half-open.
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
    /// Writes `in` into `dst`, in pixels of this file, of one band. The dataset is released afterwards.
    ///
    /// @param in   pixel (0, 0) belongs at the min corner of `dst`.
    /// @param band as for `read`; the colour selectors need exactly 3 and 4 bands.
    /// @param dst  half-open.
    /// @return false if the file is not writable, has no such band, or `dst` is not of the matrix's size or
    ///         not inside the file.
    bool write(const PixelMatrix<signed char>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<unsigned char>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<short>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<unsigned short>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<int>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<unsigned int>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<float>& in, std::size_t band, const PixelBox& dst);
    bool write(const PixelMatrix<double>& in, std::size_t band, const PixelBox& dst);
    /// @}

    /// Reads `src` of several bands in one pass: band `bands[k]`, one-based, into band k of `out`. Picks the nearest
    /// pixel if the sizes of `out` and `src` differ. For the element types of `read`; otherwise as it, without band
    /// selectors.
    template <class T>
    bool readBands(const BandPixels<T>& out, const std::vector<int>& bands, const PixelBox& src);

    /// Writes several bands into `dst` in one pass, from where `readBands` puts them. Otherwise as `write`.
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
    double georeferenceLoss = 0.0;      ///< what the set's function of that name tells, of this file
    bool oneOfMany = false;             ///< in a set of tile files, whose folder is not worth listing
    std::shared_ptr<const RasterDescription> description; ///< what the header of a file that is read says
    StreamError error; ///< why the last operation failed, or a file could not be completed

private:
    friend class GDALStreamer; // completes its files
    friend class Transfer;

    /// A dataset that belongs to its handle alone: a copy of the handle has none.
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
    /// As `close`.
    ///
    /// @param completion who is told meanwhile, null for nobody.
    bool complete(Completion* completion);
    void finalise(Completion* completion);
    void finaliseImage(Completion* completion);
    void finaliseGeoTiff(Completion* completion);
    void failToComplete(const QString& reason, std::uint64_t bytesNeeded, const char* end,
                        const Completion* completion);
    /// Gives what is not written no-data and lets the working file go; with the reason where GDAL complains of that.
    bool finishWorkingFile(QString& reason, Completion* completion);
    bool translate(int& usageError, QString& reason, Completion* completion);
    bool isAnothers(const file::HeldFile& working) const;
    void removeWorkingFile(file::HeldFile& working);
    double bytesToComplete() const;
    /// Writes the projection file and gives what GDAL takes the reference from; empty for a raster without one.
    QString saveReference();
    void removeSideFiles();
    void releaseDataset();
    /// The same, and false with the reason if GDAL tells of a failure then.
    bool release(QString& reason);
};

namespace detail {

/// Bands one below the other in a matrix.
template <class T>
BandPixels<T> stacked(T* first, Eigen::Index rows, Eigen::Index columns)
{
    return {first, rows, columns, columns, rows * columns};
}

/// The part of the pixels that a box covers.
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
        // A packed colour read leaves bytes of its matrix alone.
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

// What the class returns and takes: at the end, since both need the class itself.
#include "RasterSpec.h"
#include "TileRange.h"

#endif
