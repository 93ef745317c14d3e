#include "downsamplers/DownsamplerBase.h"

#include "companion/errnotext.h"
#include "companion/log.h"
#include "companion/parallelrows.h"
#include "downsamplers/tilestep.h"
#include "streaming/writetargets.h"
#include "workspace/arithmetic.h"

#include <QStringList>

#include <cmath>
#include <limits>
#include <stdexcept>

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

void markTransparentAsMissing(PixelMatrix<float>& data, const PixelMatrix<float>& alphaBand)
{
    parallelRows(data.rows(), data.cols(), [&](Eigen::Index row) {
        float* pixels = data.data() + row * data.cols();
        const float* alpha = alphaBand.data() + row * data.cols();
        for (Eigen::Index x = 0; x < data.cols(); ++x)
            if (alpha[x] == 0.0f)
                pixels[x] = noData;
    });
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

void markAsMissing(PixelMatrix<float>& data, float value)
{
    const bool isNaN = std::isnan(value);
    parallelRows(data.rows(), data.cols(), [&](Eigen::Index row) {
        float* pixels = data.data() + row * data.cols();
        for (Eigen::Index x = 0; x < data.cols(); ++x)
            if (pixels[x] == value || (isNaN && std::isnan(pixels[x])))
                pixels[x] = noData;
    });
}

double shareOf(std::size_t done, std::size_t all)
{
    return static_cast<double>(done) / static_cast<double>(all);
}

void makeOpaqueOrTransparent(PixelMatrix<float>& alphaBand)
{
    alphaBand = alphaBand.unaryExpr([](float value) { return value > opaqueAbove ? 255.0f : 0.0f; });
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
    if (writingWouldDelete(filesOf(input), outputPath, fileType, extent, outputTileSize, outputTileSize) ||
        !output.openWrite(outputPath, input.noBands(), input.dtype(), extent, wkt, QString(), QString(),
                          fileType, outputTileSize, outputTileSize))
        throwUnableToOpen("output", outputPath);
}

DownsamplerBase::~DownsamplerBase() = default;

bool DownsamplerBase::do_init(std::size_t& steps)
{
    steps = input.noTiles();
    return input.opened();
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
        for (const double value : m_missingValues)
            markAsMissing(out, asRead(value));
    return complete;
}

bool DownsamplerBase::do_step(std::size_t step)
{
    if (step >= input.noTiles())
        return false;
    const TileStep plan = planTileStep(input.itile(step), input.workspace().ibounds(), factor, border);
    const std::size_t noBands = input.noBands();

    // Bands that cannot be read count as zeros: what reading them returns is ignored.
    PixelMatrix<float> alphaBand;
    PixelMatrix<float> data;
    if (alpha)
        readInput(alphaBand, noBands, plan.readBox);
    for (std::size_t band = 1; band <= noBands; ++band) {
        const bool isAlphaBand = alpha && band == noBands;
        if (isAlphaBand)
            data.swap(alphaBand);
        else
            readInput(data, band, plan.readBox);
        if (alpha && !isAlphaBand)
            markTransparentAsMissing(data, alphaBand);
        PixelMatrix<float> result = reduceBlocks(plan, data);
        if (isAlphaBand)
            makeOpaqueOrTransparent(result);
        if (!writeResult(band, plan, result) || !reportProgress(shareOf(band, noBands)))
            return false;
    }
    return true;
}

PixelMatrix<float> DownsamplerBase::reduceBlocks(const TileStep& plan, PixelMatrix<float>& data) const
{
    PixelMatrix<float> result = PixelMatrix<float>::Constant(plan.rows, plan.columns, noData);
    parallelRows(plan.rows, plan.columns * plan.blockSize, [&](Eigen::Index i) {
        const auto rows = blockSpan(i, factor, plan.yOffset, border, plan.blockSize, data.rows());
        if (!rows)
            return;
        for (Eigen::Index j = 0; j < plan.columns; ++j) {
            const auto columns = blockSpan(j, factor, plan.xOffset, border, plan.blockSize, data.cols());
            if (columns)
                result(i, j) = representativeValue(
                    Block(data.block(rows->start, columns->start, rows->length, columns->length)));
        }
    });
    return result;
}

bool DownsamplerBase::writeResult(std::size_t band, const TileStep& plan, const PixelMatrix<float>& result)
{
    if (output.opened() && output.write(result, band, plan.outBox))
        return true;
    const QString reason = errnoText();
    log::LogStreamer(log::defaultLogSource(), log::level::error, QString(),
                     log::FileAndLine("DownsamplerBase", 199))
        << "Unable to write tile to '" << output.path() << "': " << reason;
    return false;
}

} // namespace vexel
