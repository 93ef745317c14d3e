#ifndef VEXEL_STREAMING_GDAL_T_H
#define VEXEL_STREAMING_GDAL_T_H

#include "GDALStreamer.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace vexel {

struct CloseDataset;
class Completion;
class RasterDescription;
namespace file {
class HeldFile;
}

/// One raster file of a set: its paths, its extent, and its dataset while one is open. It is for advanced use: a
/// `GDALStreamer` does all of this for one file or many, takes the lock, and reports the reason of a failure.
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

} // namespace vexel

#endif
