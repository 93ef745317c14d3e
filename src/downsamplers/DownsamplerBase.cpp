#include "downsamplers/DownsamplerBase.h"

#include "downsamplers/BlockStep.h"
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
#include <stdexcept>
#include <utility>

namespace vexel {

namespace {

constexpr int outputTileSize = 5000;
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
    if (step >= input.noTiles())
        return false;
    const TileStep plan = planTileStep(input.itile(step), input.workspace().ibounds(), factor, border);
    const EachGdalMessageOnce once;
    const StepContext context = stepContext();
    if (m_state->reducer)
        return reduceBlocks(context, plan, factor, border, *m_state->reducer);
    const auto plain = makePlainReducer([this](const PixelRows<float>& pixels, std::int64_t columns) {
        return representativeValue(blockAt(pixels, columns));
    });
    return reduceBlocks(context, plan, factor, border, *plain);
}

} // namespace vexel
