#include "downsamplers/DownsamplerBase.h"

#include "downsamplers/BlockStep.h"
#include "downsamplers/DownsamplerArguments.h"
#include "downsamplers/OpenError.h"
#include "downsamplers/UnreadPixels.h"
#include "downsamplers/blockreducers.h"
#include "downsamplers/missingvalues.h"
#include "downsamplers/stepcontext.h"
#include "downsamplers/tilestep.h"
#include "streaming/gdalmessages.h"
#include "streaming/writetargets.h"
#include "workspace/arithmetic.h"
#include "workspace/mapunits.h"

#include <QStringList>

#include <cmath>
#include <string>
#include <utility>

namespace vexel {

namespace {

constexpr int outputTileSize = 5000;
constexpr double smallestFactor = 0.5; // blocks of a smaller one would be empty

[[noreturn]] void throwUnableToOpen(const char* which, const QString& path, const StreamError& reason)
{
    throw OpenError(std::string("Unable to open ") + which + " file '" + path.toStdString() + "'", reason);
}

[[noreturn]] void refuseOutput(const QString& path, const QString& why)
{
    throwUnableToOpen("output", path, {StreamError::Code::BadArgument, path, why});
}

/// The shortest decimal number of five digits or more that is not below `value`: it is accepted when it is typed back.
QString roundedUp(double value)
{
    for (int digits = 5; digits < 17; ++digits) {
        const double step = std::pow(10.0, std::floor(std::log10(value)) + 1 - digits);
        const QString text = QString::number(std::ceil(value / step) * step, 'g', digits);
        if (text.toDouble() >= value)
            return text;
    }
    return QString::number(value, 'g', 17);
}

QString tooFine(double resolution, double inputPixel)
{
    return QString("the resolution %1 is finer than half of the input's %2; the finest possible is %3")
        .arg(QString::number(resolution, 'g', 6), QString::number(inputPixel, 'g', 6),
             roundedUp(smallestFactor * inputPixel));
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

/// Input pixels per output pixel, before they are fitted to the tiles.
double ratioOfResolutions(const DownsamplerArguments& arguments, const GDALStreamer& input)
{
    const double resolution = arguments.resolution;
    if (!(resolution > 0.0) || std::isinf(resolution))
        refuseOutput(arguments.outputPath,
                     QString("the resolution %1 is no size of a pixel").arg(resolution));
    const double inputPixel = pixelSizeOf(input.workspace());
    const double ratio = resolution / inputPixel;
    if (ratio < smallestFactor)
        refuseOutput(arguments.outputPath, tooFine(resolution, inputPixel));
    return ratio;
}

void createOutput(GDALStreamer& output, const DownsamplerArguments& arguments, const GDALStreamer& input,
                  double factor)
{
    const std::int64_t outputRes = arithmetic::roundHalfAway(static_cast<double>(input.res()) * factor);
    const Workspace extent(input.workspace().mbounds(), outputRes);
    const QString& path = arguments.outputPath;
    const GdalFileType type = arguments.fileType;
    if (anyIsReadFor(pathsOfTarget(path, type, extent, outputTileSize, outputTileSize), filesOf(input)))
        refuseOutput(path, "it would replace a file that is read for the input");
    if (!output.openWrite(path, input.noBands(), input.dtype(), extent, arguments.wkt, QString(), QString(),
                          type, outputTileSize, outputTileSize))
        throwUnableToOpen("output", path, output.lastError());
}

} // namespace

struct DownsamplerBase::State
{
    std::vector<double> missingValues;
    bool leaveHolesOut = false;
    std::unique_ptr<const BlockReducer>
        reducer; ///< null where there is nothing faster than the strategy itself
    UnreadPixels unread;
    std::optional<UnreadBox> firstUnread;
};

DownsamplerBase::DownsamplerBase() : Worker(1), m_state(std::make_unique<State>())
{
    onComplete([this](const Progress& progress) { return completeOutput(progress); },
               [this] { return shareOfCompleting(); });
    onDiscard([this] {
        output.discard();
        input.close();
    });
}

StreamError DownsamplerBase::completeOutput(const Progress& progress)
{
    const StreamError error = output.complete(progress);
    if (error && output.isEveryFileInPlace())
        keepDespiteError();
    return error;
}

double DownsamplerBase::shareOfCompleting() const
{
    // Compressing a pixel takes about so many times what decoding and reducing one does.
    constexpr double weight = 4.0;
    const auto pixelsOf = [](const GDALStreamer& set) {
        return static_cast<double>(set.width()) * static_cast<double>(set.height());
    };
    const double toCompress = weight * pixelsOf(output);
    return toCompress / (toCompress + pixelsOf(input));
}

DownsamplerBase::DownsamplerBase(const QString& inputPath, const QString& outputPath, const QString& wkt,
                                 double resolution, ImageAlphaType alphaType, GdalFileType fileType,
                                 DownsamplingAlignment alignment)
    : DownsamplerBase(DownsamplerArguments{inputPath, outputPath, wkt, resolution, alphaType, fileType},
                      alignment)
{}

DownsamplerBase::DownsamplerBase(const DownsamplerArguments& arguments, DownsamplingAlignment alignment)
    : DownsamplerBase()
{
    alpha = arguments.alphaType == ImageAlphaType::LastBand;
    if (!input.openRead(arguments.inputPath, arguments.fileType))
        throwUnableToOpen("input", arguments.inputPath, input.lastError());
    factor = ratioOfResolutions(arguments, input);
    if (alignment == AlignToTile)
        factor = factorAlignedToTile(static_cast<int>(widthOf(input.itile(0))), factor);
    if (!std::isfinite(factor) || factor < smallestFactor)
        refuseOutput(arguments.outputPath, "the first tile is narrower than half a pixel of the output");
    createOutput(output, arguments, input, factor);
}

DownsamplerBase::~DownsamplerBase() = default;

void DownsamplerBase::reduceWith(std::unique_ptr<const BlockReducer> reducer)
{
    m_state->reducer = std::move(reducer);
}

bool DownsamplerBase::do_init(std::size_t& steps)
{
    steps = input.noTiles();
    m_state->unread = {};
    m_state->firstUnread.reset();
    return input.opened();
}

std::uint64_t DownsamplerBase::unreadPixels() const
{
    return m_state->unread.count();
}

std::optional<DownsamplerBase::UnreadBox> DownsamplerBase::firstUnread() const
{
    return m_state->firstUnread;
}

void DownsamplerBase::noteUnread(const std::vector<UnreadBlock>& blocks)
{
    if (!blocks.empty() && !m_state->firstUnread) {
        const UnreadBlock& first = blocks.front();
        m_state->firstUnread = UnreadBox{input.path(first.file), first.band, first.box};
    }
    for (const UnreadBlock& block : blocks)
        reportUnread(m_state->unread.add(block));
}

void DownsamplerBase::treatAsNoData(double value)
{
    m_state->missingValues.push_back(value);
}

const std::vector<double>& DownsamplerBase::missingValues() const
{
    return m_state->missingValues;
}

void DownsamplerBase::leaveHolesOut(bool leave)
{
    m_state->leaveHolesOut = leave;
}

bool DownsamplerBase::readInput(PixelMatrix<float>& out, std::size_t band, const PixelBox& box) const
{
    if (!input.opened())
        return false;
    const bool complete = input.read<float>(out, band, box, 1.0, /*fill=*/true, 0.0f);
    const bool isAlphaBand = alpha && band == input.noBands();
    if (!isAlphaBand)
        markMissingValues(out.data(), out.size(), missingValues());
    return complete;
}

StepContext DownsamplerBase::stepContext()
{
    return {input,
            output,
            alpha,
            m_state->leaveHolesOut,
            m_state->missingValues,
            [this](const std::vector<UnreadBlock>& blocks) { noteUnread(blocks); },
            [this](double share) { return reportProgress(share); }};
}

bool DownsamplerBase::do_step(std::size_t step)
{
    if (isOver() || step >= input.noTiles())
        return false;
    const TileStep plan = planTileStep(input.itile(step), input.workspace().ibounds(), factor, border);
    const EachGdalMessageOnce once;
    const StepContext context = stepContext();
    if (m_state->reducer)
        return reduceBlocks(context, plan, *m_state->reducer);
    const auto plain = makePlainReducer([this](const PixelRows<float>& pixels, std::int64_t columns) {
        return representativeValue(blockAt(pixels, columns));
    });
    return reduceBlocks(context, plan, *plain);
}

} // namespace vexel
