#include "companion/color.h"
#include "streaming/bandpixels.h"
#include "streaming/failures.h"
#include "streaming/pixeltypes.h"
#include "streaming/tilegrid.h"

#include <algorithm>
#include <limits>
#include <new>

namespace vexel {

namespace {

using Code = StreamError::Code;

/// Where a box is in the files that it touches: an entry per file.
struct Pieces
{
    std::vector<std::size_t> files;
    std::vector<PixelBox> inFiles;
    std::vector<PixelBox> inMatrix;
};

/// Does `transfer(file, inFile, inMatrix)` for each piece until one returns false. Keeps the GDAL lock throughout.
template <class TransferPiece>
bool forEachPiece(const Pieces& pieces, const TransferPiece& transfer)
{
    const GDALMutex lock;
    for (std::size_t k = 0; k < pieces.files.size(); ++k)
        if (!transfer(pieces.files[k], pieces.inFiles[k], pieces.inMatrix[k]))
            return false;
    return true;
}

} // namespace

bool GDALStreamer::failSize(Eigen::Index rows, Eigen::Index columns, Eigen::Index rightRows,
                            Eigen::Index rightColumns) const
{
    return fail(Code::BadArgument, "Pixels have " + sizeText(columns, rows) + " rather than " +
                                       sizeText(rightColumns, rightRows));
}

bool GDALStreamer::failRows(Eigen::Index rows, std::size_t noBands) const
{
    return fail(Code::BadArgument,
                QString("%1 rows cannot be shared out among %2 bands").arg(rows).arg(noBands));
}

bool GDALStreamer::map(const PixelBox& request, std::vector<std::size_t>& tiles,
                       std::vector<PixelBox>& inTile, std::vector<PixelBox>& inRequest, double scale) const
{
    tiles.clear();
    inTile.clear();
    inRequest.clear();
    for (const tilegrid::Piece& piece : tilegrid::piecesOf(m_workspace, request, scale)) {
        tiles.push_back(piece.tile);
        inTile.push_back(piece.inTile);
        inRequest.push_back(piece.inRequest);
    }
    return true;
}

bool GDALStreamer::valid(const PixelBox& request) const
{
    return tilegrid::isNear(request, width(), height());
}

std::optional<GDALStreamer::Request> GDALStreamer::beginRead(const PixelBox& box, double scale) const
{
    m_lastError = StreamError();
    if (!opened()) {
        failNotOpen();
        return std::nullopt;
    }
    const PixelBox request = tilegrid::hasNoArea(box) ? wholeSet() : box;
    const auto size = tilegrid::scaledSize(request, scale);
    if (!size) {
        fail(Code::BadArgument, QString("The scale is %1").arg(scale));
        return std::nullopt;
    }
    // Places in the matrix are told as pixel boxes, whose corners have 32 bits.
    constexpr Eigen::Index largest = std::numeric_limits<int>::max();
    if (size->rows > largest || size->columns > largest)
        throw std::bad_alloc();
    return Request{request, size->rows, size->columns};
}

PixelBox GDALStreamer::wholeSet() const
{
    const int columns = width();
    const int rows = height();
    return PixelBox(PixelPoint(std::min(columns, 0), std::min(rows, 0)),
                    PixelPoint(std::max(columns, 0), std::max(rows, 0)));
}

PixelBox GDALStreamer::orOverlap(const PixelBox& box, Eigen::Index rows, Eigen::Index columns) const
{
    const bool zeroWidth = box.min_corner().x() == box.max_corner().x();
    const bool zeroHeight = box.min_corner().y() == box.max_corner().y();
    if (!zeroWidth && !zeroHeight)
        return box;
    return PixelBox(PixelPoint(0, 0), PixelPoint(static_cast<int>(std::min<Eigen::Index>(columns, width())),
                                                 static_cast<int>(std::min<Eigen::Index>(rows, height()))));
}

GDALStreamer::gdal_t& GDALStreamer::fileToRead(std::size_t i) const
{
    constexpr std::size_t mostKept = 16;
    const std::shared_ptr<gdal_t>& file = m_files[i];
    if (m_keepers > 0 && std::find(m_keptFiles.begin(), m_keptFiles.end(), file) == m_keptFiles.end()) {
        if (m_keptFiles.size() == mostKept) {
            m_keptFiles.front()->keepAside(/*keep=*/false);
            m_keptFiles.erase(m_keptFiles.begin());
        }
        m_keptFiles.push_back(file);
        file->keepAside(/*keep=*/true);
    }
    return *file;
}

template <class T>
bool GDALStreamer::readOneBand(PixelMatrix<T>& out, std::size_t band, const PixelBox& box, double scale,
                               const T* fillValue) const
{
    const auto request = beginRead(box, scale);
    if (!request)
        return false;
    resizePixels(out, request->rows, request->columns);
    if (fillValue)
        out.setConstant(*fillValue);

    Pieces pieces;
    map(request->box, pieces.files, pieces.inFiles, pieces.inMatrix, scale);
    PixelMatrix<T> scratch;
    return forEachPiece(pieces, [&](std::size_t i, const PixelBox& source, const PixelBox& target) {
        const int rows = target.max_corner().y() - target.min_corner().y();
        const int columns = target.max_corner().x() - target.min_corner().x();
        if (rows <= 0 || columns <= 0)
            return true;
        gdal_t& file = fileToRead(i);
        if (pieces.files.size() == 1 && rows == out.rows() && columns == out.cols())
            return file.read(out, band, source, columns, rows) || failIn(file);
        // Set to 0, because a packed colour read does not write the alpha bytes.
        resizePixels(scratch, rows, columns);
        scratch.setZero();
        if (!file.read(scratch, band, source, columns, rows))
            return failIn(file);
        out.block(target.min_corner().y(), target.min_corner().x(), rows, columns) = scratch;
        return true;
    });
}

template <class T>
bool GDALStreamer::writeOneBand(const PixelMatrix<T>& in, std::size_t band, const PixelBox& box) const
{
    m_lastError = StreamError();
    if (!opened())
        return failNotOpen();
    Pieces pieces;
    map(orOverlap(box, in.rows(), in.cols()), pieces.files, pieces.inFiles, pieces.inMatrix, 1.0);
    PixelMatrix<T> scratch;
    return forEachPiece(pieces, [&](std::size_t i, PixelBox target, PixelBox source) {
        if (!tilegrid::clipToMatrix(target, source, {in.rows(), in.cols()}))
            return true;
        const std::int64_t rows = heightOf(source);
        const std::int64_t columns = widthOf(source);
        const bool isAll = rows == in.rows() && columns == in.cols();
        if (!isAll) {
            resizePixels(scratch, rows, columns);
            scratch = in.block(source.min_corner().y(), source.min_corner().x(), rows, columns);
        }
        gdal_t& file = *m_files[i];
        return file.write(isAll ? in : scratch, band, target) || failIn(file);
    });
}

template <class T>
bool GDALStreamer::readPieces(const BandPixels<T>& out, const std::vector<int>& bands, const Request& request,
                              double scale) const
{
    Pieces pieces;
    map(request.box, pieces.files, pieces.inFiles, pieces.inMatrix, scale);
    return forEachPiece(pieces, [&](std::size_t i, const PixelBox& source, const PixelBox& target) {
        const BandPixels<T> part = partOf(out, target);
        if (part.rows <= 0 || part.columns <= 0)
            return true;
        gdal_t& file = fileToRead(i);
        return file.readBands(part, bands, source) || failIn(file);
    });
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
    return readPieces(stacked(out.data(), request->rows, request->columns), bands, *request, scale);
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
    return readPieces(out, bands, *request, 1.0);
}

template <class T>
bool GDALStreamer::writeBands(const PixelMatrix<T>& in, const std::vector<int>& bands,
                              const PixelBox& box) const
{
    const auto noBands = static_cast<Eigen::Index>(bands.size());
    if (noBands == 0 || in.rows() % noBands != 0)
        return failRows(in.rows(), bands.size());
    return writeBands(stacked(in.data(), in.rows() / noBands, in.cols()), bands, box);
}

template <class T>
bool GDALStreamer::writeBands(const BandPixels<const T>& in, const std::vector<int>& bands,
                              const PixelBox& box) const
{
    m_lastError = StreamError();
    if (!opened())
        return failNotOpen();
    if (bands.empty())
        return failRows(in.rows, 0);
    Pieces pieces;
    map(orOverlap(box, in.rows, in.columns), pieces.files, pieces.inFiles, pieces.inMatrix, 1.0);
    return forEachPiece(pieces, [&](std::size_t i, PixelBox target, PixelBox source) {
        if (!tilegrid::clipToMatrix(target, source, {in.rows, in.columns}))
            return true;
        gdal_t& file = *m_files[i];
        return file.writeBands(partOf(in, source), bands, target) || failIn(file);
    });
}

#define VEXEL_INSTANTIATE(T)                                                                                 \
    template VEXEL_EXPORT bool GDALStreamer::readOneBand(PixelMatrix<T>&, std::size_t, const PixelBox&,      \
                                                         double, const T*) const;                            \
    template VEXEL_EXPORT bool GDALStreamer::writeOneBand(const PixelMatrix<T>&, std::size_t,                \
                                                          const PixelBox&) const;                            \
    template VEXEL_EXPORT bool GDALStreamer::readBands(PixelMatrix<T>&, const std::vector<int>&,             \
                                                       const PixelBox&, double, bool, std::common_type_t<T>) \
        const;                                                                                               \
    template VEXEL_EXPORT bool GDALStreamer::readBands(const BandPixels<T>&, const std::vector<int>&,        \
                                                       const PixelBox&) const;                               \
    template VEXEL_EXPORT bool GDALStreamer::writeBands(const PixelMatrix<T>&, const std::vector<int>&,      \
                                                        const PixelBox&) const;                              \
    template VEXEL_EXPORT bool GDALStreamer::writeBands<T>(const BandPixels<const T>&,                       \
                                                           const std::vector<int>&, const PixelBox&) const;
VEXEL_FOR_EACH_PIXEL_TYPE(VEXEL_INSTANTIATE)
#undef VEXEL_INSTANTIATE

bool GDALStreamer::readRGB(PixelMatrix<unsigned int>& out, const PixelBox& box, double scale, bool fill,
                           unsigned int fillValue) const
{
    if (!read(out, rgb_band(), box, scale, fill, fillValue))
        return false;
    color::setAlpha(out, 255);
    return true;
}

bool GDALStreamer::readRGBA(PixelMatrix<unsigned int>& out, const PixelBox& box, double scale, bool fill,
                            unsigned int fillValue) const
{
    return read(out, rgba_band(), box, scale, fill, fillValue);
}

bool GDALStreamer::requireColours(std::uint64_t bands) const
{
    m_lastError = StreamError();
    if (!opened())
        return failNotOpen();
    return m_noBands == bands ||
           fail(Code::NoSuchBand,
                QString("Packed colours of %1 bands do not go into %2 bands").arg(bands).arg(m_noBands));
}

bool GDALStreamer::writeRGB(const PixelMatrix<unsigned int>& in, const PixelBox& box) const
{
    return requireColours(3) && write(in, rgb_band(), box);
}

bool GDALStreamer::writeRGBA(const PixelMatrix<unsigned int>& in, const PixelBox& box) const
{
    return requireColours(4) && write(in, rgba_band(), box);
}

} // namespace vexel
