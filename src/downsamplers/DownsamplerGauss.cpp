#include "downsamplers/DownsamplerGauss.h"

#include "companion/errnotext.h"
#include "companion/gaussrecursion.h"
#include "companion/log.h"
#include "companion/parallelrows.h"
#include "downsamplers/StripReader.h"
#include "downsamplers/gaussstep.h"
#include "workspace/arithmetic.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace vexel {

namespace {

constexpr float noData = -10000.0f;
constexpr float firstValid = static_cast<float>(-9999.999);
constexpr int blurOrder = 4;

float opaqueOrTransparent(float alpha)
{
    return static_cast<double>(alpha) > 127.5 ? 255.0f : 0.0f;
}

/// The low 8 bits of the value without its fraction: 0 for a transparent pixel.
unsigned char maskOfAlpha(float alpha)
{
    return static_cast<unsigned char>(arithmetic::truncate(static_cast<double>(alpha)));
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

} // namespace

/// Where the results of one part come from.
struct DownsamplerGauss::Samples
{
    std::vector<std::ptrdiff_t> rows;    ///< from the part's first row, as many as lie in it
    std::vector<std::ptrdiff_t> columns; ///< the same
    Eigen::Index firstRow;               ///< of the part, in what is read
    Eigen::Index noRows;                 ///< of the part
    Eigen::Index resultRows;
    Eigen::Index resultColumns;

    auto reachedRows() const { return static_cast<Eigen::Index>(rows.size()); }
    auto reachedColumns() const { return static_cast<Eigen::Index>(columns.size()); }
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
    const bool asBytes = input.dtype() == DataType::UInt8 && missingValues().empty();
    return asBytes ? downsampleTile<unsigned char>(plan) : downsampleTile<float>(plan);
}

template <class T>
bool DownsamplerGauss::downsampleTile(const GaussStep& plan)
{
    const GDALStreamer::KeepFilesOpen keepOpen(input);
    const PartRows partRows(plan, input.blockHeight());
    const GaussParts parts = cutIntoParts(plan, input.noBands(), sizeof(T), partRows.unit(), workingSetBytes);
    const double noParts = static_cast<double>(parts.columns.size() * parts.rows.size());
    double done = 0.0;
    for (const GaussPart& columns : parts.columns) {
        StripReader<T> pixels(input, readBoxOf(plan, columns), partRows.most(parts.rows), plan.yOffset);
        for (const GaussPart& rows : parts.rows) {
            if (input.opened())
                markMissing(pixels, pixels.advance(rows.firstPixel, partRows.readEnd(rows)));
            if (!downsamplePart(pixels, plan, columns, rows, {done / noParts, 1.0 / noParts}))
                return false;
            ++done;
        }
    }
    return true;
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

template <class T>
bool DownsamplerGauss::downsamplePart(StripReader<T>& pixels, const GaussStep& plan, const GaussPart& columns,
                                      const GaussPart& rows, const Share& share)
{
    const std::size_t noBands = input.noBands();
    Samples samples{{},
                    {},
                    rows.firstPixel,
                    rows.endPixel - rows.firstPixel,
                    rows.endResult - rows.firstResult,
                    columns.endResult - columns.firstResult};
    if (input.opened()) {
        samples.rows = positionsOf(rows, factor, plan.yOffset);
        samples.columns = positionsOf(columns, factor, plan.xOffset);
    }
    const PixelBox outBox = outBoxOf(plan, columns, rows);
    result.resize(static_cast<Eigen::Index>(noBands) * samples.resultRows, samples.resultColumns);
    for (std::size_t band = 1; band <= noBands; ++band) {
        if (!readData(band, pixels, samples)) {
            // Those before are not lost by it.
            if (band > 1)
                writeData(band - 1, outBox);
            return false;
        }
        blurImage(band, pixels, samples, plan.sigma, blurOrder);
        subSample(band, samples);
        if (band == noBands && !writeData(noBands, outBox))
            return false;
        if (!reportProgress(share.before +
                            share.own * static_cast<double>(band) / static_cast<double>(noBands))) {
            if (band < noBands)
                writeData(band, outBox);
            return false;
        }
    }
    return true;
}

template <class T>
bool DownsamplerGauss::readData(std::size_t band, StripReader<T>& pixels, const Samples& samples)
{
    if (isAlphaBand(band))
        return true;
    if (!input.opened() || pixels.hasFailed(band - 1)) {
        const QString reason = errnoText();
        log::LogStreamer(log::defaultLogSource(), log::level::error, QString(),
                         log::FileAndLine("DownsamplerGauss", __LINE__))
            << "Unable to read tile " << input.path() << "': " << reason;
        return false;
    }
    mask.resize(samples.reachedRows(), samples.reachedColumns());
    parallelRows(mask.rows(), 2 * mask.cols(), [&](Eigen::Index i) {
        const Eigen::Index row = samples.firstRow + samples.rows[static_cast<std::size_t>(i)];
        const T* values = pixels.row(band - 1, row);
        const T* alphas = alpha ? pixels.row(input.noBands() - 1, row) : nullptr;
        for (Eigen::Index j = 0; j < mask.cols(); ++j) {
            const std::ptrdiff_t column = samples.columns[static_cast<std::size_t>(j)];
            const bool isMissing = static_cast<float>(values[column]) < firstValid;
            mask(i, j) = isMissing ? 0 : alphas ? maskOfAlpha(static_cast<float>(alphas[column])) : 255;
        }
    });
    return true;
}

template <class T>
void DownsamplerGauss::blurImage(std::size_t band, StripReader<T>& pixels, const Samples& samples,
                                 double sigma, int n)
{
    if (samples.rows.empty() || samples.columns.empty())
        return;
    const GaussRecursion recursion(static_cast<float>(sigma), n);
    const T* first = pixels.row(band - 1, samples.firstRow);
    data.resize(samples.reachedRows(), pixels.columns());
    recursion.filterColumns(ImagePart<const T>{first, samples.noRows, pixels.columns(), pixels.columns()},
                            samples.rows, {data.data(), data.rows(), data.cols(), data.cols()});
    float* results = result.row(static_cast<Eigen::Index>(band - 1) * samples.resultRows).data();
    recursion.filterRows({data.data(), data.rows(), data.cols(), data.cols()}, samples.columns,
                         {results, data.rows(), samples.reachedColumns(), samples.resultColumns});
}

void DownsamplerGauss::subSample(std::size_t band, const Samples& samples)
{
    const Eigen::Index first = static_cast<Eigen::Index>(band - 1) * samples.resultRows;
    const Eigen::Index reachedColumns = samples.rows.empty() ? 0 : samples.reachedColumns();
    parallelRows(samples.resultRows, samples.resultColumns, [&](Eigen::Index i) {
        const Eigen::Index reached = i < samples.reachedRows() ? reachedColumns : 0;
        float* cells = result.row(first + i).data();
        for (Eigen::Index j = 0; j < reached; ++j)
            cells[j] = isAlphaBand(band) ? opaqueOrTransparent(cells[j])
                       : mask(i, j) != 0 ? cells[j]
                                         : noData;
        std::fill(cells + reached, cells + samples.resultColumns, noData);
    });
}

bool DownsamplerGauss::writeData(std::size_t noBands, const PixelBox& outBox)
{
    std::vector<int> bands(noBands);
    std::iota(bands.begin(), bands.end(), 1);
    const Eigen::Index rows = result.rows() / static_cast<Eigen::Index>(input.noBands());
    const BandPixels<const float> pixels{result.data(), rows, result.cols(), result.cols(),
                                         rows * result.cols()};
    if (output.opened() && output.writeBands(pixels, bands, outBox))
        return true;
    const QString reason = errnoText();
    log::LogStreamer(log::defaultLogSource(), log::level::error, QString(),
                     log::FileAndLine("DownsamplerGauss", __LINE__))
        << "Unable to write tile " << textOf(outBox) << " to '" << output.path() << "': " << reason;
    return false;
}

} // namespace vexel
