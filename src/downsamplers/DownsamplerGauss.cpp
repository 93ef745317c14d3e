#include "downsamplers/DownsamplerGauss.h"

#include "companion/errnotext.h"
#include "companion/logmessage.h"
#include "companion/pixelvalues.h"
#include "downsamplers/GaussRow.h"
#include "downsamplers/StripRun.h"
#include "downsamplers/gaussstep.h"
#include "downsamplers/missingvalues.h"
#include "downsamplers/outputpixels.h"
#include "downsamplers/stepcontext.h"
#include "streaming/gdalmessages.h"
#include "workspace/arithmetic.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <numeric>
#include <type_traits>
#include <vector>

namespace vexel {

namespace {

/// The low 8 bits of the value without its fraction: 0 for a transparent pixel.
unsigned char maskOfAlpha(float alpha)
{
    return static_cast<unsigned char>(arithmetic::truncate(static_cast<double>(alpha)));
}

/// Where the results of a strip belong.
PixelBox outBoxOf(const GaussStep& plan, const StripPlace& strip)
{
    const PixelPoint& corner = plan.outBox.min_corner();
    const auto at = [](int start, std::int64_t index) { return arithmetic::saturate32(start + index); };
    return {PixelPoint(at(corner.x(), strip.columns.firstBlock), at(corner.y(), strip.rows.firstBlock)),
            PixelPoint(at(corner.x(), strip.columns.endBlock), at(corner.y(), strip.rows.endBlock))};
}

/// Always false, for the step that ends with it.
bool tellUnread(const GDALStreamer& input)
{
    const QString reason = errnoText();
    // A quote closes that none opens. The text stays as it is, because applications compare it.
    log::message(log::level::error) << "Unable to read tile " << input.path() << "': " << reason;
    return false;
}

/// The same for what cannot be written.
bool tellUnwritten(const GDALStreamer& output, const PixelBox& tile)
{
    const QString reason = errnoText();
    log::message(log::level::error) << "Unable to write tile " << textOf(tile) << " to '" << output.path()
                                    << "': " << reason;
    return false;
}

/// What the strips of a tile become, as `StripRun` asks for it.
///
/// @tparam T   element type that the tile is read as.
/// @tparam Out element type of the results.
template <class T, class Out>
class GaussStrips
{
public:
    using Pixel = T;
    using Result = Out;
    using Results = PixelMatrix<Out>;
    using Scratch = GaussRow<T>;

    GaussStrips(const StepContext& context, const GaussStep& plan)
        : m_context(context), m_plan(plan), m_kernel(plan.sigma, static_cast<int>(plan.margin))
    {}

    double nanoseconds() const
    {
        constexpr double perWeight = 0.1;
        return perWeight * m_kernel.size() * static_cast<double>(m_plan.rows.samples.size()) *
               static_cast<double>(widthOf(m_plan.readBox)) * static_cast<double>(m_context.input.noBands());
    }

    Scratch makeScratch() const { return GaussRow<T>(m_kernel); }

    /// Transparent bytes are told by their alpha when they are blurred.
    void prepare(StripPixels<T>& pixels, Eigen::Index first, Eigen::Index end) const
    {
        if constexpr (std::is_same_v<T, float>) {
            const bool marksMasked = m_context.alpha && m_context.leaveHolesOut;
            markMissing(m_context, pixels, first, end, marksMasked ? markMasked : nullptr);
        }
    }

    void reduce(const StripPixels<T>& pixels, const StripPlace& strip, const ResultRow<Out>& row,
                Scratch& scratch) const
    {
        const std::size_t band = row.band;
        const std::int64_t sample = m_plan.rows.samples[static_cast<std::size_t>(row.block)];
        const SampledPixels columns{m_plan.columns.samples.data() + strip.columns.firstBlock,
                                    strip.columns.noBlocks(), strip.columns.firstPixel};
        const bool isAlpha = m_context.isAlphaBand(band);
        const RowsRead<T> rows{pixels, band, strip.rows.firstPixel, strip.rows.endPixel};
        const RowsRead<T> alphas{pixels, m_context.lastBand(), strip.rows.firstPixel, strip.rows.endPixel};
        float* values = nullptr;
        if (!m_context.leaveHolesOut || isAlpha || (std::is_same_v<T, unsigned char> && !m_context.alpha))
            values = scratch.blur(rows, sample, columns);
        else
            values = scratch.blurValid(rows, alphas, sample, columns);
        if (isAlpha)
            std::transform(values, values + columns.count, values, opaqueOrTransparent);
        else
            dropInvalid(pixels.row(band, sample),
                        m_context.alpha ? pixels.row(m_context.lastBand(), sample) : nullptr, columns,
                        values);
        toOutput(values, columns.count, row.values);
    }

    /// The bands before one that cannot be read are not lost by it. What fails first is told, as if each had been
    /// written by itself.
    bool write(const StripPlace& strip, const StripNews& news, const Results& results) const
    {
        const std::size_t noBands = noteUnread(news.unread);
        if (noBands > 0 && !writeBands(strip, results, noBands))
            return tellUnwritten(m_context.output, m_plan.outBox);
        if (noBands == m_context.input.noBands())
            return true;
        errno = news.error;
        return tellUnread(m_context.input);
    }

private:
    static void markMasked(float* pixels, const float* alphas, std::ptrdiff_t count)
    {
        for (std::ptrdiff_t x = 0; x < count; ++x)
            if (maskOfAlpha(alphas[x]) == 0)
                pixels[x] = noData;
    }

    /// Makes no-data of the results whose pixel, as it was before it was blurred, is invalid: below the threshold, or
    /// transparent.
    static void dropInvalid(const T* pixels, const T* alphas, const SampledPixels& columns, float* values)
    {
        for (std::ptrdiff_t j = 0; j < columns.count; ++j) {
            const std::ptrdiff_t column = columns.at(j);
            const bool isMissing = static_cast<float>(pixels[column]) < firstValidFloat;
            if (isMissing || (alphas && maskOfAlpha(static_cast<float>(alphas[column])) == 0))
                values[j] = noData;
        }
    }

    /// Those of the alpha band count as zeros, others end the step. Returns how many bands come before such a one.
    std::size_t noteUnread(const std::vector<UnreadBlock>& unread) const
    {
        std::size_t readBands = m_context.input.noBands();
        std::vector<UnreadBlock> ofAlpha;
        for (const UnreadBlock& block : unread)
            if (m_context.isAlphaBand(block.band - 1))
                ofAlpha.push_back(block);
            else
                readBands = std::min(readBands, block.band - 1);
        if (readBands == m_context.input.noBands())
            m_context.noteUnread(ofAlpha);
        return readBands;
    }

    bool writeBands(const StripPlace& strip, const Results& results, std::size_t noBands) const
    {
        std::vector<int> bands(noBands);
        std::iota(bands.begin(), bands.end(), 1);
        const Eigen::Index rows = strip.rows.noBlocks();
        return m_context.output.opened() &&
               m_context.output.writeBands(BandPixels<const Out>{results.data(), rows, results.cols(),
                                                                 results.cols(), rows * results.cols()},
                                           bands, outBoxOf(m_plan, strip));
    }

    const StepContext& m_context;
    const GaussStep& m_plan;
    GaussKernel m_kernel;
};

template <class T, class Out>
bool runStrips(const StepContext& context, const GaussStep& plan, double factor)
{
    const GDALStreamer::KeepFilesOpen keepOpen(context.input);
    const StripPlan strips({plan.readBox, plan.xOffset, plan.yOffset, 2 * plan.margin + 1,
                            BlockAxis(plan.rows.windows), BlockAxis(plan.columns.windows)},
                           context.input.blockWidth(), context.input.blockHeight(),
                           stripCost(context.input, sizeof(T), sizeof(Out), factor));
    if (strips.strips().empty())
        return context.output.opened() || tellUnwritten(context.output, plan.outBox);
    GaussStrips<T, Out> step(context, plan);
    return StripRun<GaussStrips<T, Out>>(context.input, strips, step, context.report).run();
}

/// An alpha band alone needs no input: it is no-data where there is none.
bool writeWithoutInput(const StepContext& context, const PixelBox& outBox)
{
    if (!context.isAlphaBand(0))
        return tellUnread(context.input);
    return (context.output.opened() && writeConstant(context.output, outBox, {noData})) ||
           tellUnwritten(context.output, outBox);
}

} // namespace

DownsamplerGauss::DownsamplerGauss(const QString& inputPath, const QString& outputPath, const QString& wkt,
                                   double resolution, ImageAlphaType alphaType, GdalFileType fileType)
    : DownsamplerBase(inputPath, outputPath, wkt, resolution, alphaType, fileType, AlignToTile)
{}

DownsamplerGauss::~DownsamplerGauss() = default;

float DownsamplerGauss::representativeValue(const Block&) const
{
    return 0.0f;
}

bool DownsamplerGauss::do_step(std::size_t step)
{
    if (isOver() || step >= input.noTiles())
        return false;
    const GaussStep plan = planGaussStep(input.itile(step), input.workspace().ibounds(), factor);
    const EachGdalMessageOnce once;
    const StepContext context = stepContext();
    if (!input.opened())
        return writeWithoutInput(context, plan.outBox);
    if (input.dtype() != DataType::UInt8 || !missingValues().empty())
        return runStrips<float, float>(context, plan, factor);
    return output.dtype() == DataType::UInt8 ? runStrips<unsigned char, unsigned char>(context, plan, factor)
                                             : runStrips<unsigned char, float>(context, plan, factor);
}

} // namespace vexel
