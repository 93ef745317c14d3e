#include "streaming/failures.h"
#include "streaming/gdalmessages.h"
#include "streaming/pixeltypes.h"
#include "streaming/unwrittenblocks.h"
#include "streaming/writetargets.h"

#include <gdal_priv.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <vector>

namespace vexel {

/// What transfers alone may do with a file: unlike `reopen()` they do not make it count as written.
class Transfer
{
public:
    explicit Transfer(GDALStreamer::gdal_t& file) : m_file(file) {}

    bool open() { return m_file.openToTransfer(); }

    /// To be called before pixels of the box are read.
    bool beginRead(const PixelBox& box)
    {
        return m_file.mode != GDALStreamer::gdal_t::Written ||
               unwritten::fillTouched(*m_file.dataset, m_file.m_unwrittenBlocks, box);
    }

    /// Does `write()`, which hands GDAL the pixels of the box, and notes that it has.
    template <class Write>
    bool write(const PixelBox& box, bool allBands, const Write& write)
    {
        std::vector<bool>& blocks = m_file.m_unwrittenBlocks;
        // GDAL takes no pixel of a box that reaches beyond the file.
        const bool isTaken = m_file.valid(box);
        m_file.m_isWritten = m_file.m_isWritten || isTaken;
        if (isTaken &&
            !(allBands ? unwritten::fillEdges : unwritten::fillTouched)(*m_file.dataset, blocks, box))
            return false;
        if (!write())
            return false;
        if (allBands)
            unwritten::noteWritten(*m_file.dataset, blocks, box);
        return true;
    }

private:
    GDALStreamer::gdal_t& m_file;
};

namespace {

using Handle = GDALStreamer::gdal_t;
using PackedPixels = PixelMatrix<unsigned int>;

constexpr std::size_t rgbBand = 100003;
constexpr std::size_t rgbaBand = 100004;
constexpr unsigned int opaque = 0xFF000000u;

/// In memory order a packed pixel is blue, green, red, alpha.
constexpr std::array<int, 4> bandsInMemoryOrder{3, 2, 1, 4};

using Code = StreamError::Code;

/// Releases the dataset when a transfer ends, however it ends.
class ReleaseAfterTransfer
{
public:
    explicit ReleaseAfterTransfer(Handle& handle) : m_handle(handle) {}
    ~ReleaseAfterTransfer() { m_handle.detach(); }
    ReleaseAfterTransfer(const ReleaseAfterTransfer&) = delete;
    ReleaseAfterTransfer& operator=(const ReleaseAfterTransfer&) = delete;

private:
    Handle& m_handle;
};

/// Notes that a transfer failed with what GDAL said, unless a better reason has been noted.
bool failTransfer(Handle& handle, Code code, const GdalMessages& messages)
{
    return handle.error ? false : failFile(handle, code, messages.firstFailure());
}

/// Does `work()` with the dataset open.
template <class Work>
bool readTransfer(Handle& handle, const Work& work)
{
    handle.error = StreamError();
    const GdalMessages messages;
    const ReleaseAfterTransfer release(handle);
    return (Transfer(handle).open() && work()) || failTransfer(handle, Code::CannotRead, messages);
}

/// Whether a working file that has just been created and released is all there. One in memory is.
bool isCreated(const Handle& handle, QString& reason)
{
    return handle.dataset || hasRoomForAllPixels(handle, reason);
}

/// The same for what writes. A full disk shows only when the dataset is released, and while a file is created, GDAL 3.10
/// with the system's libtiff may not report it even then.
template <class Work>
bool writeTransfer(Handle& handle, const Work& work)
{
    handle.error = StreamError();
    GdalMessages messages;
    const bool creates = handle.mode == Handle::WritePending;
    bool written = false;
    {
        const ReleaseAfterTransfer release(handle);
        written = Transfer(handle).open() && work();
        if (written)
            messages.ignoreSoFar();
    }
    QString reason;
    if (written && !messages.hasFailure())
        return !creates || isCreated(handle, reason) || failFile(handle, Code::CannotWrite, reason);
    return failTransfer(handle, Code::CannotWrite, messages);
}

/// A box as RasterIO takes it.
struct Window
{
    int x;
    int y;
    int columns;
    int rows;
};

/// Not a box without area, which RasterIO would skip without an error, nor one too large for it.
bool requireWindow(Handle& handle, const PixelBox& box, Window& window)
{
    const std::int64_t columns = std::int64_t{box.max_corner().x()} - box.min_corner().x();
    const std::int64_t rows = std::int64_t{box.max_corner().y()} - box.min_corner().y();
    constexpr std::int64_t largest = std::numeric_limits<int>::max();
    if (columns < 1 || rows < 1 || columns > largest || rows > largest)
        return failFile(handle, Code::BadArgument, "The box " + boxText(box) + " has no area");
    window = {box.min_corner().x(), box.min_corner().y(), static_cast<int>(columns), static_cast<int>(rows)};
    return true;
}

bool hasBand(const Handle& handle, std::size_t band)
{
    return handle.dataset && band >= 1 && band <= handle.noBands;
}

/// Returns null if the file has no such band.
GDALRasterBand* requireBand(Handle& handle, std::size_t band)
{
    if (hasBand(handle, band))
        return handle.dataset->GetRasterBand(static_cast<int>(band));
    failFile(handle, Code::NoSuchBand, noBandText(band, handle.noBands));
    return nullptr;
}

bool requireWritable(Handle& handle)
{
    return handle.dataset->GetAccess() == GA_Update ||
           failFile(handle, Code::NotWritable, "The file was opened to be read");
}

/// An empty matrix is fine, and nothing is read into it.
bool requireSize(Handle& handle, Eigen::Index width, Eigen::Index height)
{
    return (width >= 0 && height >= 0) ||
           failFile(handle, Code::BadArgument, "There are no pixels of " + sizeText(width, height));
}

/// The pixels that a read takes from a file, and the size that it gives them.
struct Source
{
    const PixelBox& box;
    int width;
    int height;
};

/// Finds the window of a read, and makes `out` as large as its result.
template <class T>
bool prepareRead(Handle& handle, PixelMatrix<T>& out, const Source& source, Window& window)
{
    if (!requireWindow(handle, source.box, window) || !requireSize(handle, source.width, source.height))
        return false;
    resizePixels(out, source.height, source.width);
    return true;
}

template <class T>
bool readPixels(Handle& handle, PixelMatrix<T>& out, std::size_t band, const Source& source)
{
    GDALRasterBand* raster = requireBand(handle, band);
    Window window{};
    if (!raster || !prepareRead(handle, out, source, window))
        return false;
    if (out.size() == 0)
        return true;
    return Transfer(handle).beginRead(source.box) &&
           raster->RasterIO(GF_Read, window.x, window.y, window.columns, window.rows, out.data(),
                            source.width, source.height, gdalBufferType<T>(), 0, 0, nullptr) == CE_None;
}

template <class T>
bool readBand(Handle& handle, PixelMatrix<T>& out, std::size_t band, const Source& source)
{
    return readTransfer(handle, [&] { return readPixels(handle, out, band, source); });
}

/// The box must have the size of the matrix.
bool requireFit(Handle& handle, const Window& window, Eigen::Index rows, Eigen::Index columns)
{
    return (window.columns == columns && window.rows == rows) ||
           failFile(handle, Code::BadArgument,
                    "Pixels have " + sizeText(columns, rows) + " rather than " +
                        sizeText(window.columns, window.rows));
}

template <class T>
bool writePixels(Handle& handle, const PixelMatrix<T>& in, std::size_t band, const PixelBox& dst)
{
    Window window{};
    if (!requireWindow(handle, dst, window) || !requireFit(handle, window, in.rows(), in.cols()))
        return false;
    GDALRasterBand* raster = requireBand(handle, band);
    if (!raster || !requireWritable(handle))
        return false;
    // GDAL takes one pointer for both directions.
    void* pixels = const_cast<T*>(in.data());
    return Transfer(handle).write(dst, /*allBands=*/handle.dataset->GetRasterCount() == 1, [&] {
        return raster->RasterIO(GF_Write, window.x, window.y, window.columns, window.rows, pixels,
                                window.columns, window.rows, gdalBufferType<T>(), 0, 0, nullptr) == CE_None;
    });
}

template <class T>
bool writeBand(Handle& handle, const PixelMatrix<T>& in, std::size_t band, const PixelBox& dst)
{
    return writeTransfer(handle, [&] { return writePixels(handle, in, band, dst); });
}

/// At least one band, and only bands of the file.
bool requireBands(Handle& handle, const std::vector<int>& bands)
{
    if (bands.empty())
        return failFile(handle, Code::NoSuchBand, "No band was named");
    const auto missing = std::find_if(bands.begin(), bands.end(), [&handle](int band) {
        return band < 1 || !hasBand(handle, static_cast<std::size_t>(band));
    });
    return missing == bands.end() || failFile(handle, Code::NoSuchBand, noBandText(*missing, handle.noBands));
}

/// True if each band of the file is among them.
bool areAll(std::vector<int> bands, int noBands)
{
    std::sort(bands.begin(), bands.end());
    return std::unique(bands.begin(), bands.end()) - bands.begin() == noBands;
}

/// Transfers several bands in one pass over the file.
template <class T>
bool transferBands(GDALDataset& dataset, GDALRWFlag direction, const std::vector<int>& bands,
                   const Window& window, const BandPixels<T>& pixels)
{
    constexpr GSpacing size = sizeof(T);
    constexpr Eigen::Index largest = std::numeric_limits<int>::max();
    if (pixels.rows > largest || pixels.columns > largest)
        return false;
    return dataset.RasterIO(direction, window.x, window.y, window.columns, window.rows, pixels.first,
                            static_cast<int>(pixels.columns), static_cast<int>(pixels.rows),
                            gdalBufferType<T>(), static_cast<int>(bands.size()),
                            const_cast<int*>(bands.data()), size, size * pixels.rowStep,
                            size * pixels.bandStep, nullptr) == CE_None;
}

/// Transfers the first `bands` bytes of packed pixels in one pass over the file.
bool transferPacked(GDALDataset& dataset, GDALRWFlag direction, const Window& window, PackedPixels& pixels,
                    int bands)
{
    std::array<int, 4> bandMap = bandsInMemoryOrder;
    const auto width = static_cast<int>(pixels.cols());
    const auto height = static_cast<int>(pixels.rows());
    return dataset.RasterIO(direction, window.x, window.y, window.columns, window.rows, pixels.data(), width,
                            height, GDT_Byte, bands, bandMap.data(), /*nPixelSpace=*/4, GSpacing{4} * width,
                            /*nBandSpace=*/1, nullptr) == CE_None;
}

bool readGray(Handle& handle, PackedPixels& out, const Source& source)
{
    if (!readPixels(handle, out, 1, source))
        return false;
    out = out.unaryExpr([](unsigned int gray) { return opaque | (gray * 0x010101u); });
    return true;
}

bool readGrayWithAlpha(Handle& handle, PackedPixels& out, const Source& source)
{
    PackedPixels alpha;
    if (!readPixels(handle, out, 1, source) || !readPixels(handle, alpha, 2, source))
        return false;
    out = out.binaryExpr(alpha,
                         [](unsigned int gray, unsigned int a) { return (a << 24) | (gray * 0x010101u); });
    return true;
}

bool readColour(Handle& handle, PackedPixels& out, bool withAlpha, const Source& source)
{
    Window window{};
    if (!prepareRead(handle, out, source, window))
        return false;
    const bool alphaFromFile = withAlpha && handle.noBands == 4;
    if (withAlpha && !alphaFromFile)
        out.setConstant(opaque);
    return out.size() == 0 || (Transfer(handle).beginRead(source.box) &&
                               transferPacked(*handle.dataset, GF_Read, window, out, alphaFromFile ? 4 : 3));
}

bool failColours(Handle& handle)
{
    return failFile(handle, Code::NoSuchBand,
                    QString("Its %1 bands are not those of packed colours").arg(handle.noBands));
}

/// The box must lie in the file, by the rule of `gdal_t::valid`.
bool requireInside(Handle& handle, const PixelBox& box)
{
    return handle.valid(box) || failFile(handle, Code::BadArgument,
                                         "The box " + boxText(box) + " reaches beyond the file's " +
                                             sizeText(handle.width(), handle.height()) + " pixels");
}

bool readPackedPixels(Handle& handle, PackedPixels& out, bool withAlpha, const Source& source)
{
    if (!requireInside(handle, source.box))
        return false;
    const bool bytes = handle.dtype == DataType::UInt8;
    if (handle.noBands == 3 || handle.noBands == 4)
        return readColour(handle, out, withAlpha, source);
    if (handle.noBands == 1 && bytes)
        return readGray(handle, out, source);
    if (handle.noBands == 2 && bytes && withAlpha)
        return readGrayWithAlpha(handle, out, source);
    return failColours(handle);
}

bool readPacked(Handle& handle, PackedPixels& out, bool withAlpha, const Source& source)
{
    return readTransfer(handle, [&] { return readPackedPixels(handle, out, withAlpha, source); });
}

bool writePackedPixels(Handle& handle, const PackedPixels& in, int bands, const PixelBox& dst)
{
    Window window{};
    if (!requireInside(handle, dst))
        return false;
    if (handle.noBands != static_cast<std::uint64_t>(bands))
        return failColours(handle);
    if (!requireWindow(handle, dst, window) || !requireFit(handle, window, in.rows(), in.cols()) ||
        !requireWritable(handle))
        return false;
    // GDAL takes one pointer for both directions.
    auto& pixels = const_cast<PackedPixels&>(in);
    return Transfer(handle).write(dst, /*allBands=*/handle.dataset->GetRasterCount() == bands, [&] {
        return transferPacked(*handle.dataset, GF_Write, window, pixels, bands);
    });
}

bool writePacked(Handle& handle, const PackedPixels& in, int bands, const PixelBox& dst)
{
    return writeTransfer(handle, [&] { return writePackedPixels(handle, in, bands, dst); });
}

} // namespace

bool Handle::read(PixelMatrix<signed char>& out, std::size_t band, const PixelBox& src, int width, int height)
{
    return readBand(*this, out, band, {src, width, height});
}

bool Handle::read(PixelMatrix<unsigned char>& out, std::size_t band, const PixelBox& src, int width,
                  int height)
{
    return readBand(*this, out, band, {src, width, height});
}

bool Handle::read(PixelMatrix<short>& out, std::size_t band, const PixelBox& src, int width, int height)
{
    return readBand(*this, out, band, {src, width, height});
}

bool Handle::read(PixelMatrix<unsigned short>& out, std::size_t band, const PixelBox& src, int width,
                  int height)
{
    return readBand(*this, out, band, {src, width, height});
}

bool Handle::read(PixelMatrix<int>& out, std::size_t band, const PixelBox& src, int width, int height)
{
    return readBand(*this, out, band, {src, width, height});
}

bool Handle::read(PackedPixels& out, std::size_t band, const PixelBox& src, int width, int height)
{
    if (band == rgbBand || band == rgbaBand)
        return readPacked(*this, out, /*withAlpha=*/band == rgbaBand, {src, width, height});
    return readBand(*this, out, band, {src, width, height});
}

bool Handle::read(PixelMatrix<float>& out, std::size_t band, const PixelBox& src, int width, int height)
{
    return readBand(*this, out, band, {src, width, height});
}

bool Handle::read(PixelMatrix<double>& out, std::size_t band, const PixelBox& src, int width, int height)
{
    return readBand(*this, out, band, {src, width, height});
}

bool Handle::write(const PixelMatrix<signed char>& in, std::size_t band, const PixelBox& dst)
{
    return writeBand(*this, in, band, dst);
}

bool Handle::write(const PixelMatrix<unsigned char>& in, std::size_t band, const PixelBox& dst)
{
    return writeBand(*this, in, band, dst);
}

bool Handle::write(const PixelMatrix<short>& in, std::size_t band, const PixelBox& dst)
{
    return writeBand(*this, in, band, dst);
}

bool Handle::write(const PixelMatrix<unsigned short>& in, std::size_t band, const PixelBox& dst)
{
    return writeBand(*this, in, band, dst);
}

bool Handle::write(const PixelMatrix<int>& in, std::size_t band, const PixelBox& dst)
{
    return writeBand(*this, in, band, dst);
}

bool Handle::write(const PackedPixels& in, std::size_t band, const PixelBox& dst)
{
    if (band == rgbBand || band == rgbaBand)
        return writePacked(*this, in, band == rgbaBand ? 4 : 3, dst);
    return writeBand(*this, in, band, dst);
}

bool Handle::write(const PixelMatrix<float>& in, std::size_t band, const PixelBox& dst)
{
    return writeBand(*this, in, band, dst);
}

bool Handle::write(const PixelMatrix<double>& in, std::size_t band, const PixelBox& dst)
{
    return writeBand(*this, in, band, dst);
}

template <class T>
bool Handle::readBands(const BandPixels<T>& out, const std::vector<int>& bands, const PixelBox& src)
{
    return readTransfer(*this, [&] {
        Window window{};
        if (!requireBands(*this, bands) || !requireWindow(*this, src, window))
            return false;
        if (!requireSize(*this, out.columns, out.rows))
            return false;
        return out.rows == 0 || out.columns == 0 ||
               (Transfer(*this).beginRead(src) && transferBands(*dataset, GF_Read, bands, window, out));
    });
}

template <class T>
bool Handle::writeBands(const BandPixels<const T>& in, const std::vector<int>& bands, const PixelBox& dst)
{
    return writeTransfer(*this, [&] {
        Window window{};
        if (!requireBands(*this, bands) || !requireWindow(*this, dst, window) ||
            !requireFit(*this, window, in.rows, in.columns) || !requireWritable(*this))
            return false;
        // GDAL takes one pointer for both directions.
        const BandPixels<T> pixels{const_cast<T*>(in.first), in.rows, in.columns, in.rowStep, in.bandStep};
        return Transfer(*this).write(dst, areAll(bands, dataset->GetRasterCount()), [&] {
            return transferBands(*dataset, GF_Write, bands, window, pixels);
        });
    });
}

#define VEXEL_INSTANTIATE(T)                                                                                 \
    template VEXEL_EXPORT bool Handle::readBands(const BandPixels<T>&, const std::vector<int>&,              \
                                                 const PixelBox&);                                           \
    template VEXEL_EXPORT bool Handle::writeBands<T>(const BandPixels<const T>&, const std::vector<int>&,    \
                                                     const PixelBox&);
VEXEL_FOR_EACH_PIXEL_TYPE(VEXEL_INSTANTIATE)
#undef VEXEL_INSTANTIATE

} // namespace vexel
