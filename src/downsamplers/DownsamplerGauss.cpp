#include "downsamplers/DownsamplerGauss.h"

#include "companion/LargeBuffer.h"
#include "companion/errnotext.h"
#include "companion/gaussrecursion.h"
#include "companion/log.h"
#include "downsamplers/StripReader.h"
#include "downsamplers/gaussstep.h"
#include "downsamplers/outputpixels.h"
#include "streaming/gdalmessages.h"
#include "workspace/arithmetic.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace vexel {

namespace {

constexpr float noData = -10000.0f;
constexpr float firstValid = static_cast<float>(-9999.999);
constexpr int blurOrder = 4;

/// Rows of results that are sampled at a time, in floats.
constexpr Eigen::Index rowsAtATime = 256;

float opaqueOrTransparent(float alpha)
{
    return static_cast<double>(alpha) > 127.5 ? 255.0f : 0.0f;
}

/// The low 8 bits of the value without its fraction: 0 for a transparent pixel.
unsigned char maskOfAlpha(float alpha)
{
    return static_cast<unsigned char>(arithmetic::truncate(static_cast<double>(alpha)));
}

/// Makes no-data of the results whose pixel, as it was before it was blurred, is invalid: below the threshold, or
/// transparent.
template <class T>
void dropInvalid(const T* pixels, const T* alphas, const std::vector<std::ptrdiff_t>& columns, float* results)
{
    for (const std::ptrdiff_t column : columns) {
        const bool isMissing = static_cast<float>(pixels[column]) < firstValid;
        if (isMissing || (alphas && maskOfAlpha(static_cast<float>(alphas[column])) == 0))
            *results = noData;
        ++results;
    }
}

/// The pixels that the results along one axis are sampled at, counted from the part's first pixel; none for
/// results whose sample lies beyond it.
std::vector<std::ptrdiff_t> positionsOf(const GaussPart& part, double factor, int offset)
{
    std::vector<std::ptrdiff_t> positions;
    for (std::int64_t i = part.firstResult; i < part.endResult; ++i) {
        const std::int64_t position = samplePosition(i, factor, offset);
        if (position >= part.endPixel)
            break;
        positions.push_back(position - part.firstPixel);
    }
    return positions;
}

/// Where the results of a part belong.
PixelBox outBoxOf(const GaussStep& plan, const GaussPart& columns, const GaussPart& rows)
{
    const PixelPoint& corner = plan.outBox.min_corner();
    const auto at = [](int start, std::int64_t index) { return arithmetic::saturate32(start + index); };
    return {PixelPoint(at(corner.x(), columns.firstResult), at(corner.y(), rows.firstResult)),
            PixelPoint(at(corner.x(), columns.endResult), at(corner.y(), rows.endResult))};
}

/// The part's columns of what is read, from north to south.
PixelBox readBoxOf(const GaussStep& plan, const GaussPart& columns)
{
    const PixelPoint& corner = plan.readBox.min_corner();
    return {PixelPoint(corner.x() + static_cast<int>(columns.firstPixel), corner.y()),
            PixelPoint(corner.x() + static_cast<int>(columns.endPixel), plan.readBox.max_corner().y())};
}

std::int64_t heightOf(const PixelBox& box)
{
    return std::int64_t{box.max_corner().y()} - box.min_corner().y();
}

/// The rows that a tile's parts read, in what is read. A part reads on to a boundary of the file's blocks, so
/// that the next one, which keeps what both need, decodes none twice.
class PartRows
{
public:
    PartRows(const GaussStep& plan, int blockHeight)
        : m_available(heightOf(plan.readBox)), m_origin(plan.yOffset),
          m_unit(blockHeight > 0 && blockHeight <= m_available / 8 ? blockHeight : 1)
    {}

    /// Rows of the file's blocks, or 1 where they are too high for parts to keep to them.
    std::int64_t unit() const { return m_unit; }

    std::int64_t readEnd(const GaussPart& rows) const
    {
        return std::min(m_available, boundaryBefore(rows.endPixel + m_unit - 1, m_unit, m_origin));
    }

    /// Rows that the largest of the parts holds.
    std::int64_t most(const std::vector<GaussPart>& parts) const
    {
        std::int64_t most = 0;
        for (const GaussPart& rows : parts)
            most = std::max(most, readEnd(rows) - rows.firstPixel);
        return most;
    }

private:
    std::int64_t m_available;
    std::int64_t m_origin;
    std::int64_t m_unit;
};

/// Always false, for the step that ends with it.
bool tellUnread(const GDALStreamer& input)
{
    const QString reason = errnoText();
    log::LogStreamer(log::defaultLogSource(), log::level::error, QString(),
                     log::FileAndLine("DownsamplerGauss", __LINE__))
        << "Unable to read tile " << input.path() << "': " << reason;
    return false;
}

/// The same for what cannot be written.
bool tellUnwritten(const GDALStreamer& output, const PixelBox& tile)
{
    const QString reason = errnoText();
    log::LogStreamer(log::defaultLogSource(), log::level::error, QString(),
                     log::FileAndLine("DownsamplerGauss", __LINE__))
        << "Unable to write tile " << textOf(tile) << " to '" << output.path() << "': " << reason;
    return false;
}

} // namespace

/// Where the results of one part come from.
struct DownsamplerGauss::Samples
{
    std::vector<std::ptrdiff_t> rows;    ///< from the part's first row, as many as lie in it
    std::vector<std::ptrdiff_t> columns; ///< the same
    Eigen::Index firstRow;               ///< of the part, in what is read
    Eigen::Index noRows;                 ///< of the part

    auto reachedRows() const { return static_cast<Eigen::Index>(rows.size()); }
    auto reachedColumns() const { return static_cast<Eigen::Index>(columns.size()); }
};

/// The results of one part as they are written, band by band.
template <class Out>
struct DownsamplerGauss::Results
{
    Eigen::Index rows; ///< of each band
    Eigen::Index columns;
    LargeBuffer<Out> pixels;

    Out* row(std::size_t band, Eigen::Index i) const
    {
        return pixels.data() + (static_cast<Eigen::Index>(band - 1) * rows + i) * columns;
    }
};

/// What part of a step's work something is.
struct DownsamplerGauss::Share
{
    double before; ///< what was done before it
    double own;
};

DownsamplerGauss::DownsamplerGauss(const QString& inputPath, const QString& outputPath, const QString& wkt,
                                   double resolution, ImageAlphaType alphaType, GdalFileType fileType)
    : DownsamplerBase(inputPath, outputPath, wkt, resolution, alphaType, fileType, AlignToTile)
{}

DownsamplerGauss::~DownsamplerGauss() = default;

float DownsamplerGauss::representativeValue(const Block&) const
{
    return 0.0f;
}

bool DownsamplerGauss::isAlphaBand(std::size_t band) const
{
    return alpha && band == input.noBands();
}

bool DownsamplerGauss::do_step(std::size_t step)
{
    if (step >= input.noTiles())
        return false;
    const GaussStep plan = planGaussStep(input.itile(step), input.workspace().ibounds(), factor);
    const EachGdalMessageOnce once;
    const bool asBytes = input.dtype() == DataType::UInt8 && missingValues().empty();
    if (!asBytes)
        return downsampleTile<float, float>(plan);
    return output.dtype() == DataType::UInt8 ? downsampleTile<unsigned char, unsigned char>(plan)
                                             : downsampleTile<unsigned char, float>(plan);
}

template <class T, class Out>
bool DownsamplerGauss::downsampleTile(const GaussStep& plan)
{
    const GDALStreamer::KeepFilesOpen keepOpen(input);
    const PartRows partRows(plan, input.blockHeight());
    const GaussParts parts = cutIntoParts(plan, input.noBands(), sizeof(T), partRows.unit(), workingSetBytes);
    if (parts.columns.empty() || parts.rows.empty())
        return leaveEmpty(plan);
    const double noParts = static_cast<double>(parts.columns.size() * parts.rows.size());
    double done = 0.0;
    for (const GaussPart& columns : parts.columns) {
        StripReader<T> pixels(input, readBoxOf(plan, columns), partRows.most(parts.rows), plan.yOffset);
        for (const GaussPart& rows : parts.rows) {
            if (input.opened())
                markMissing(pixels, pixels.advance(rows.firstPixel, partRows.readEnd(rows)));
            if (!downsamplePart<T, Out>(pixels, plan, columns, rows, {done / noParts, 1.0 / noParts}))
                return false;
            ++done;
        }
    }
    return true;
}

/// A tile without results needs its files all the same.
bool DownsamplerGauss::leaveEmpty(const GaussStep& plan) const
{
    if (!input.opened() && !isAlphaBand(1))
        return tellUnread(input);
    return output.opened() || tellUnwritten(output, plan.outBox);
}

void DownsamplerGauss::markMissing(StripReader<unsigned char>&, Eigen::Index) const
{
    // Bytes hold no no-data value.
}

void DownsamplerGauss::markMissing(StripReader<float>& pixels, Eigen::Index firstNewRow) const
{
    for (std::size_t band = 1; band <= input.noBands(); ++band)
        if (!isAlphaBand(band))
            for (Eigen::Index y = firstNewRow; y < pixels.endRow(); ++y)
                markMissingValues(pixels.row(band - 1, y), pixels.columns());
}

template <class T, class Out>
bool DownsamplerGauss::downsamplePart(StripReader<T>& pixels, const GaussStep& plan, const GaussPart& columns,
                                      const GaussPart& rows, const Share& share)
{
    const std::size_t noBands = input.noBands();
    Samples samples{{}, {}, rows.firstPixel, rows.endPixel - rows.firstPixel};
    if (input.opened()) {
        samples.rows = positionsOf(rows, factor, plan.yOffset);
        samples.columns = positionsOf(columns, factor, plan.xOffset);
    }
    const std::int64_t resultRows = rows.endResult - rows.firstResult;
    const std::int64_t resultColumns = columns.endResult - columns.firstResult;
    const Results<Out> results{
        resultRows, resultColumns,
        LargeBuffer<Out>(noBands * static_cast<std::size_t>(resultRows * resultColumns))};
    const LargeBuffer<float> data(samples.rows.size() * static_cast<std::size_t>(pixels.columns()));
    const PixelBox outBox = outBoxOf(plan, columns, rows);
    for (std::size_t band = 1; band <= noBands; ++band) {
        if (!isRead(band, pixels)) {
            // Those before are not lost by it. What fails first is told, as if each had been written by itself.
            return (band == 1 || writeData(band - 1, plan, outBox, results)) && tellUnread(input);
        }
        if (band == 1)
            noteUnreadAlpha(pixels);
        blurImage(band, pixels, samples, plan.sigma, data.data());
        subSample(band, pixels, samples, plan.sigma, data.data(), results);
        if (band == noBands && !writeData(noBands, plan, outBox, results))
            return false;
        const double done = static_cast<double>(band) / static_cast<double>(noBands);
        if (!reportProgress(share.before + share.own * done)) {
            if (band < noBands)
                writeData(band, plan, outBox, results);
            return false;
        }
    }
    return true;
}

template <class T>
bool DownsamplerGauss::isRead(std::size_t band, const StripReader<T>& pixels) const
{
    return isAlphaBand(band) || (input.opened() && !pixels.hasFailed(band - 1));
}

/// Other bands that cannot be read end the step.
template <class T>
void DownsamplerGauss::noteUnreadAlpha(StripReader<T>& pixels)
{
    std::vector<UnreadBlock> unread = pixels.takeUnread();
    const auto isOther = [this](const UnreadBlock& block) { return !isAlphaBand(block.band); };
    unread.erase(std::remove_if(unread.begin(), unread.end(), isOther), unread.end());
    noteUnread(unread);
}

template <class T>
void DownsamplerGauss::blurImage(std::size_t band, StripReader<T>& pixels, const Samples& samples,
                                 double sigma, float* data)
{
    if (samples.rows.empty() || samples.columns.empty())
        return;
    const T* first = pixels.row(band - 1, samples.firstRow);
    const Eigen::Index columns = pixels.columns();
    GaussRecursion(static_cast<float>(sigma), blurOrder)
        .filterColumns(ImagePart<const T>{first, samples.noRows, columns, columns}, samples.rows,
                       {data, samples.reachedRows(), columns, columns});
}

template <class T, class Out>
void DownsamplerGauss::subSample(std::size_t band, StripReader<T>& pixels, const Samples& samples,
                                 double sigma, const float* data, const Results<Out>& results)
{
    const GaussRecursion recursion(static_cast<float>(sigma), blurOrder);
    const Eigen::Index reachedColumns = samples.reachedColumns();
    const Eigen::Index reachedRows = reachedColumns == 0 ? 0 : samples.reachedRows();
    std::vector<float> cells(static_cast<std::size_t>(rowsAtATime * results.columns), noData);
    for (Eigen::Index first = 0; first < results.rows; first += rowsAtATime) {
        const Eigen::Index reached = std::max<Eigen::Index>(0, std::min(rowsAtATime, reachedRows - first));
        if (reached < rowsAtATime)
            std::fill(cells.begin() + reached * results.columns, cells.end(), noData);
        const Eigen::Index columns = pixels.columns();
        recursion.filterRows({data + first * columns, reached, columns, columns}, samples.columns,
                             {cells.data(), reached, reachedColumns, results.columns});
        for (Eigen::Index i = 0; i < std::min(rowsAtATime, results.rows - first); ++i) {
            float* row = cells.data() + i * results.columns;
            if (i < reached)
                finishRow(band, pixels, samples, first + i, row);
            toOutput(row, results.columns, results.row(band, first + i));
        }
    }
}

template <class T>
void DownsamplerGauss::finishRow(std::size_t band, StripReader<T>& pixels, const Samples& samples,
                                 Eigen::Index i, float* cells)
{
    if (isAlphaBand(band)) {
        std::transform(cells, cells + samples.reachedColumns(), cells, opaqueOrTransparent);
        return;
    }
    const Eigen::Index row = samples.firstRow + samples.rows[static_cast<std::size_t>(i)];
    dropInvalid(pixels.row(band - 1, row), alpha ? pixels.row(input.noBands() - 1, row) : nullptr,
                samples.columns, cells);
}

/// @param outBox where the results belong, a part of the tile's.
template <class Out>
bool DownsamplerGauss::writeData(std::size_t noBands, const GaussStep& plan, const PixelBox& outBox,
                                 const Results<Out>& results)
{
    std::vector<int> bands(noBands);
    std::iota(bands.begin(), bands.end(), 1);
    const BandPixels<const Out> pixels{results.pixels.data(), results.rows, results.columns, results.columns,
                                       results.rows * results.columns};
    return (output.opened() && output.writeBands(pixels, bands, outBox)) ||
           tellUnwritten(output, plan.outBox);
}

} // namespace vexel
