#include "downsamplers/DownsamplerBase.h"

#include "companion/errnotext.h"
#include "companion/log.h"
#include "companion/parallelrows.h"
#include "downsamplers/BlockReducer.h"
#include "downsamplers/StripStep.h"
#include "downsamplers/UnreadPixels.h"
#include "downsamplers/outputpixels.h"
#include "downsamplers/tilestep.h"
#include "streaming/gdalmessages.h"
#include "streaming/writetargets.h"
#include "workspace/arithmetic.h"

#include <QStringList>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <type_traits>

namespace vexel {

namespace {

constexpr float noData = -10000.0f;
constexpr double opaqueAbove = 127.5;
constexpr int outputTileSize = 5000;
constexpr double mapUnitsPerUnit = 1e-5;
constexpr double smallestFactor = 0.5; // blocks of a smaller one would be empty

[[noreturn]] void throwUnableToOpen(const char* which, const QString& path)
{
    throw std::runtime_error(std::string("Unable to open ") + which + " file '" + path.toStdString() + "'");
}

double pixelSizeOf(const Workspace& workspace)
{
    const auto res = static_cast<double>(workspace.res());
    return (res * mapUnitsPerUnit + res * mapUnitsPerUnit) * 0.5;
}

QStringList filesOf(const GDALStreamer& set)
{
    QStringList files;
    for (std::uint64_t i = 0; i < set.noTiles(); ++i)
        files << set.path(i);
    return files;
}

void markTransparentAsMissing(float* pixels, const float* alpha, Eigen::Index columns)
{
    for (Eigen::Index x = 0; x < columns; ++x)
        pixels[x] = alpha[x] == 0.0f ? noData : pixels[x];
}

/// What reading makes of a value: one beyond the floats is infinite, but for those that round to the last of them.
float asRead(double value)
{
    using Float = std::numeric_limits<float>;
    constexpr double largest = Float::max();
    constexpr double firstInfinite = largest * (1.0 + 0x1p-25);
    if (std::isnan(value) || std::abs(value) <= largest)
        return static_cast<float>(value);
    const float magnitude = std::abs(value) < firstInfinite ? Float::max() : Float::infinity();
    return value < 0.0 ? -magnitude : magnitude;
}

void markAsMissing(float* pixels, Eigen::Index columns, float value)
{
    const bool isNaN = std::isnan(value);
    for (Eigen::Index x = 0; x < columns; ++x)
        if (pixels[x] == value || (isNaN && std::isnan(pixels[x])))
            pixels[x] = noData;
}

/// Roughly, to tell whether a team of threads pays.
template <class T>
double nanosecondsPerPixel(const BlockReducer* reducer)
{
    constexpr double oneByOne = 4.0;
    if (!reducer)
        return oneByOne;
    return std::is_same_v<T, float> ? reducer->nanosecondsPerFloat() : reducer->nanosecondsPerByte();
}

double shareOf(std::size_t done, std::size_t all)
{
    return static_cast<double>(done) / static_cast<double>(all);
}

void makeOpaqueOrTransparent(float* values, Eigen::Index columns)
{
    for (Eigen::Index x = 0; x < columns; ++x)
        values[x] = static_cast<double>(values[x]) > opaqueAbove ? 255.0f : 0.0f;
}

/// Where the results of a strip belong, cut to the output box of the tile.
PixelBox stripBox(const PixelBox& outBox, const BlockRun& columns, const BlockRun& rows)
{
    const auto at = [](int start, std::int64_t index, int end) {
        return static_cast<int>(std::min<std::int64_t>(start + index, end));
    };
    const PixelPoint& first = outBox.min_corner();
    const PixelPoint& end = outBox.max_corner();
    return {PixelPoint(at(first.x(), columns.firstBlock, end.x()), at(first.y(), rows.firstBlock, end.y())),
            PixelPoint(at(first.x(), columns.endBlock, end.x()), at(first.y(), rows.endBlock, end.y()))};
}

/// Always false, for the step that ends with it.
bool tellUnwritten(const GDALStreamer& output)
{
    const QString reason = errnoText();
    log::LogStreamer(log::defaultLogSource(), log::level::error, QString(),
                     log::FileAndLine("DownsamplerBase", 199))
        << "Unable to write tile to '" << output.path() << "': " << reason;
    return false;
}

} // namespace

DownsamplerBase::DownsamplerBase() : Worker(1)
{
    onDiscard([this] {
        output.discard();
        input.close();
    });
}

DownsamplerBase::DownsamplerBase(const QString& inputPath, const QString& outputPath, const QString& wkt,
                                 double resolution, ImageAlphaType alphaType, GdalFileType fileType,
                                 DownsamplingAlignment alignment)
    : DownsamplerBase()
{
    alpha = alphaType == ImageAlphaType::LastBand;
    if (!input.openRead(inputPath, fileType))
        throwUnableToOpen("input", inputPath);

    factor = resolution / pixelSizeOf(input.workspace());
    if (alignment == AlignToTile)
        factor =
            factorAlignedToTile(input.itile(0).max_corner().x() - input.itile(0).min_corner().x(), factor);
    if (!(resolution > 0.0) || !std::isfinite(factor) || factor < smallestFactor)
        throwUnableToOpen("output", outputPath);

    const std::int64_t outputRes = arithmetic::roundHalfAway(static_cast<double>(input.res()) * factor);
    const Workspace extent(input.workspace().mbounds(), outputRes);
    const QStringList replaced = pathsOfTarget(outputPath, fileType, extent, outputTileSize, outputTileSize);
    if (anyIsReadFor(replaced, filesOf(input)) ||
        !output.openWrite(outputPath, input.noBands(), input.dtype(), extent, wkt, QString(), QString(),
                          fileType, outputTileSize, outputTileSize))
        throwUnableToOpen("output", outputPath);
}

DownsamplerBase::~DownsamplerBase() = default;

void DownsamplerBase::reduceWith(std::unique_ptr<const BlockReducer> reducer)
{
    m_reducer = std::move(reducer);
}

DownsamplerBase::Block DownsamplerBase::blockAt(const PixelRows<float>& pixels, std::int64_t columns)
{
    // The view is read only; Eigen has no reference with a stride to what is constant in the signature that
    // is fixed.
    using View = Eigen::Map<PixelMatrix<float>, 0, Eigen::OuterStride<>>;
    return Block(
        View(const_cast<float*>(pixels.first), pixels.rows, columns, Eigen::OuterStride<>(pixels.step)));
}

bool DownsamplerBase::do_init(std::size_t& steps)
{
    steps = input.noTiles();
    m_unread.reset();
    m_firstUnread.reset();
    return input.opened();
}

std::uint64_t DownsamplerBase::unreadPixels() const
{
    return m_unread ? m_unread->count() : 0;
}

std::optional<DownsamplerBase::UnreadBox> DownsamplerBase::firstUnread() const
{
    return m_firstUnread;
}

void DownsamplerBase::noteUnread(const std::vector<UnreadBlock>& blocks)
{
    if (!blocks.empty() && !m_unread) {
        m_unread = std::make_unique<UnreadPixels>();
        const UnreadBlock& first = blocks.front();
        m_firstUnread = UnreadBox{input.path(first.file), first.band, first.box};
    }
    for (const UnreadBlock& block : blocks)
        reportUnread(m_unread->add(block));
}

void DownsamplerBase::treatAsNoData(double value)
{
    m_missingValues.push_back(value);
}

bool DownsamplerBase::readInput(PixelMatrix<float>& out, std::size_t band, const PixelBox& box) const
{
    if (!input.opened())
        return false;
    const bool complete = input.read<float>(out, band, box, 1.0, /*fill=*/true, 0.0f);
    const bool isAlphaBand = alpha && band == input.noBands();
    if (!isAlphaBand)
        markMissingValues(out.data(), out.size());
    return complete;
}

void DownsamplerBase::markMissingValues(float* pixels, Eigen::Index count) const
{
    for (const double value : m_missingValues)
        markAsMissing(pixels, count, asRead(value));
}

bool DownsamplerBase::do_step(std::size_t step)
{
    if (step >= input.noTiles())
        return false;
    const TileStep plan = planTileStep(input.itile(step), input.workspace().ibounds(), factor, border);
    const EachGdalMessageOnce once;
    const bool asBytes = m_reducer && input.dtype() == DataType::UInt8 && m_missingValues.empty() &&
                         m_reducer->takesBytes(plan.blockSize);
    if (!asBytes)
        return runStrips<float, float>(plan);
    return output.dtype() == DataType::UInt8 ? runStrips<unsigned char, unsigned char>(plan)
                                             : runStrips<unsigned char, float>(plan);
}

template <class T, class Out>
bool DownsamplerBase::runStrips(const TileStep& plan)
{
    if (!input.opened())
        return writeNoData(plan);
    const GDALStreamer::KeepFilesOpen keepOpen(input);
    const StripStep<T> strips(input, plan, factor, border, sizeof(Out));
    const std::size_t noStrips = strips.noStrips();
    if (noStrips == 0)
        return output.opened() || tellUnwritten(output);
    std::size_t done = 0;
    const auto prepare = [this](StripReader<T>& strip, Eigen::Index firstNewRow) {
        noteUnread(strip.takeUnread());
        markMissing(strip, firstNewRow);
    };
    const auto work = [&](StripReader<T>& strip, const BlockRun& columns, const BlockRun& rows) {
        const PixelMatrix<Out> result = reduceStrip<T, Out>(strip, strips, columns, rows);
        return writeStrip(plan, columns, rows, result) && reportProgress(shareOf(++done, noStrips));
    };
    return strips.forEachStrip(prepare, work);
}

void DownsamplerBase::markMissing(StripReader<unsigned char>&, Eigen::Index) const
{
    // Bytes hold no no-data value: transparent ones are told by their alpha when they are reduced.
}

void DownsamplerBase::markMissing(StripReader<float>& strip, Eigen::Index firstNewRow) const
{
    const std::size_t noBands = input.noBands();
    const std::size_t noDataBands = alpha ? noBands - 1 : noBands;
    for (std::size_t band = 0; band < noDataBands; ++band)
        parallelRows(strip.endRow() - firstNewRow, strip.columns() / 2, [&](Eigen::Index i) {
            float* pixels = strip.row(band, firstNewRow + i);
            markMissingValues(pixels, strip.columns());
            if (alpha)
                markTransparentAsMissing(pixels, strip.row(noBands - 1, firstNewRow + i), strip.columns());
        });
}

template <class T, class Out>
PixelMatrix<Out> DownsamplerBase::reduceStrip(StripReader<T>& strip, const StripStep<T>& step,
                                              const BlockRun& columns, const BlockRun& rows) const
{
    const auto noBands = static_cast<std::int64_t>(input.noBands());
    const std::int64_t noRows = rows.endBlock - rows.firstBlock;
    PixelMatrix<Out> result(noBands * noRows, columns.endBlock - columns.firstBlock);
    const std::int64_t pixelsPerRow =
        (columns.endPixel - columns.firstPixel) * step.rows().span(rows.firstBlock).length;
    const double nanoseconds = static_cast<double>(pixelsPerRow) * nanosecondsPerPixel<T>(m_reducer.get());
    const auto reduceOne = [&](std::int64_t k, std::vector<float>& values) {
        const auto band = static_cast<std::size_t>(k / noRows);
        const BlockSpan& span = step.rows().span(rows.firstBlock + k % noRows);
        const bool isAlphaBand = alpha && band + 1 == input.noBands();
        const PixelRows<T> pixels{strip.row(band, span.start), strip.columns(), span.length};
        const PixelRows<T> alphaRows{strip.row(input.noBands() - 1, span.start), strip.columns(),
                                     span.length};
        reduceRow(pixels, alpha && !isAlphaBand ? &alphaRows : nullptr, step.columns(), columns,
                  values.data());
        if (isAlphaBand)
            makeOpaqueOrTransparent(values.data(), result.cols());
        toOutput(values.data(), result.cols(), result.data() + k * result.cols());
    };
    parallelRows(
        noBands * noRows, static_cast<std::int64_t>(nanoseconds) + 1,
        [&] { return std::vector<float>(static_cast<std::size_t>(result.cols())); }, reduceOne);
    return result;
}

void DownsamplerBase::reduceRow(const PixelRows<unsigned char>& pixels,
                                const PixelRows<unsigned char>* alphaRows, const BlockAxis& axis,
                                const BlockRun& columns, float* out) const
{
    m_reducer->reduce(pixels, alphaRows, axis, columns.firstBlock, columns.endBlock, columns.firstPixel, out);
}

void DownsamplerBase::reduceRow(const PixelRows<float>& pixels, const PixelRows<float>*,
                                const BlockAxis& axis, const BlockRun& columns, float* out) const
{
    if (m_reducer) {
        m_reducer->reduce(pixels, axis, columns.firstBlock, columns.endBlock, columns.firstPixel, out);
        return;
    }
    for (std::int64_t j = columns.firstBlock; j < columns.endBlock; ++j) {
        const BlockSpan& span = axis.span(j);
        *out++ = representativeValue(
            blockAt({pixels.first + span.start - columns.firstPixel, pixels.step, pixels.rows}, span.length));
    }
}

bool DownsamplerBase::writeNoData(const TileStep& plan)
{
    if (!output.opened())
        return tellUnwritten(output);
    constexpr std::int64_t valuesAtATime = 1 << 20;
    const auto noBands = static_cast<std::int64_t>(input.noBands());
    const std::int64_t rowsAtATime =
        std::max<std::int64_t>(valuesAtATime / std::max<std::int64_t>(noBands * plan.columns, 1), 1);
    PixelMatrix<float> strip;
    for (std::int64_t first = 0; first < plan.rows; first += rowsAtATime) {
        const std::int64_t rows = std::min(rowsAtATime, plan.rows - first);
        if (strip.rows() != noBands * rows) {
            strip = PixelMatrix<float>::Constant(noBands * rows, plan.columns, noData);
            if (alpha)
                strip.bottomRows(rows).setZero();
        }
        if (!writeStrip(plan, {0, plan.columns, 0, 0, 0}, {first, first + rows, 0, 0, 0}, strip))
            return false;
    }
    return true;
}

template <class Out>
bool DownsamplerBase::writeStrip(const TileStep& plan, const BlockRun& columns, const BlockRun& rows,
                                 const PixelMatrix<Out>& result)
{
    std::vector<int> bands(input.noBands());
    std::iota(bands.begin(), bands.end(), 1);
    const PixelBox box = stripBox(plan.outBox, columns, rows);
    const bool isEmpty =
        box.min_corner().x() >= box.max_corner().x() || box.min_corner().y() >= box.max_corner().y();
    return (output.opened() && (isEmpty || output.writeBands(result, bands, box))) || tellUnwritten(output);
}

} // namespace vexel
