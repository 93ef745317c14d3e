#include "downsamplers/BlockStep.h"

#include "companion/PixelMatrix.h"
#include "companion/errnotext.h"
#include "companion/logmessage.h"
#include "companion/pixelvalues.h"
#include "downsamplers/StripRun.h"
#include "downsamplers/missingvalues.h"
#include "downsamplers/outputpixels.h"
#include "streaming/tilegrid.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <optional>
#include <type_traits>
#include <vector>

namespace vexel {

namespace {

/// Where the results of a strip belong, cut to the output box of the tile.
PixelBox stripBox(const PixelBox& outBox, const StripPlace& strip)
{
    const auto at = [](int start, std::int64_t index, int end) {
        return static_cast<int>(std::min<std::int64_t>(start + index, end));
    };
    const PixelPoint& first = outBox.min_corner();
    const PixelPoint& end = outBox.max_corner();
    return {PixelPoint(at(first.x(), strip.columns.firstBlock, end.x()),
                       at(first.y(), strip.rows.firstBlock, end.y())),
            PixelPoint(at(first.x(), strip.columns.endBlock, end.x()),
                       at(first.y(), strip.rows.endBlock, end.y()))};
}

/// Always false, for the step that ends with it.
bool tellUnwritten(const GDALStreamer& output)
{
    const QString reason = errnoText();
    // The place is a part of the message, which applications compare: it stays, wherever this line goes.
    log::message(log::level::error, /*sourceFile=*/"DownsamplerBase", /*line=*/199)
        << "Unable to write tile to '" << output.path() << "': " << reason;
    return false;
}

/// What the strips of a tile become, as `StripRun` asks for it.
///
/// @tparam T   element type that the tile is read as.
/// @tparam Out element type of the results.
template <class T, class Out>
class BlockStep
{
public:
    using Pixel = T;
    using Result = Out;
    using Results = PixelMatrix<Out>;
    using Scratch = std::vector<float>; ///< a row of results before it is rounded

    BlockStep(const StepContext& context, const StripLayout& layout, const PixelBox& outBox,
              const BlockReducer& reducer)
        : m_context(context), m_layout(layout), m_outBox(outBox), m_reducer(reducer)
    {}

    double nanoseconds() const
    {
        const double perPixel =
            std::is_same_v<T, float> ? m_reducer.nanosecondsPerFloat() : m_reducer.nanosecondsPerByte();
        return perPixel * static_cast<double>(m_layout.rows.endOfAll()) *
               static_cast<double>(m_layout.columns.endOfAll()) *
               static_cast<double>(m_context.input.noBands());
    }

    Scratch makeScratch() const { return {}; }

    /// Bytes hold no no-data value: transparent ones are told by their alpha when they are reduced.
    void prepare(StripPixels<T>& pixels, Eigen::Index first, Eigen::Index end) const
    {
        if constexpr (std::is_same_v<T, float>)
            markMissing(m_context, pixels, first, end, m_context.alpha ? markTransparent : nullptr);
    }

    void reduce(const StripPixels<T>& pixels, const StripPlace& strip, const ResultRow<Out>& row,
                Scratch& values) const
    {
        values.resize(static_cast<std::size_t>(row.columns));
        reduceRow(pixels, row.band, m_layout.rows.span(row.block), strip.columns, values.data());
        if (m_context.isAlphaBand(row.band))
            std::transform(values.begin(), values.end(), values.begin(), opaqueOrTransparent);
        toOutput(values.data(), row.columns, row.values);
    }

    bool write(const StripPlace& strip, const StripNews& news, const Results& results) const
    {
        m_context.noteUnread(news.unread);
        std::vector<int> bands(m_context.input.noBands());
        std::iota(bands.begin(), bands.end(), 1);
        const PixelBox box = stripBox(m_outBox, strip);
        return (m_context.output.opened() &&
                (tilegrid::hasNoArea(box) || m_context.output.writeBands(results, bands, box))) ||
               tellUnwritten(m_context.output);
    }

private:
    static PixelRows<T> rowsOf(const StripPixels<T>& pixels, std::size_t band, const BlockSpan& span)
    {
        return {pixels.row(band, span.start), pixels.columns(), span.length};
    }

    void reduceRow(const StripPixels<T>& pixels, std::size_t band, const BlockSpan& span,
                   const BlockRun& columns, float* out) const
    {
        const BlockColumns blocks{m_layout.columns, columns};
        const PixelRows<T> rows = rowsOf(pixels, band, span);
        if constexpr (std::is_same_v<T, float>) {
            m_reducer.reduce(rows, blocks, out);
        } else {
            MaskedBytes bytes{rows, std::nullopt};
            if (m_context.alpha && !m_context.isAlphaBand(band))
                bytes.alpha = rowsOf(pixels, m_context.lastBand(), span);
            m_reducer.reduce(bytes, blocks, out);
        }
    }

    const StepContext& m_context;
    const StripLayout& m_layout;
    PixelBox m_outBox;
    const BlockReducer& m_reducer;
};

StripLayout layoutOf(const TileStep& plan)
{
    return {plan.readBox,
            plan.xOffset,
            plan.yOffset,
            plan.blocks.size,
            BlockAxis(plan.rows, plan.blocks, plan.yOffset, heightOf(plan.readBox)),
            BlockAxis(plan.columns, plan.blocks, plan.xOffset, widthOf(plan.readBox))};
}

template <class T, class Out>
bool runStrips(const StepContext& context, const TileStep& plan, const BlockReducer& reducer)
{
    const GDALStreamer::KeepFilesOpen keepOpen(context.input);
    const StripPlan strips(layoutOf(plan), context.input.blockWidth(), context.input.blockHeight(),
                           stripCost(context.input, sizeof(T), sizeof(Out), plan.blocks.factor));
    if (strips.strips().empty())
        return context.output.opened() || tellUnwritten(context.output);
    BlockStep<T, Out> step(context, strips.layout(), plan.outBox, reducer);
    return StripRun<BlockStep<T, Out>>(context.input, strips, step, context.report).run();
}

/// An input that was closed leaves no-data, which is transparent.
bool writeNoData(const StepContext& context, const PixelBox& outBox)
{
    std::vector<float> values(context.input.noBands(), noData);
    if (context.alpha && !values.empty())
        values.back() = 0.0f;
    return (context.output.opened() && writeConstant(context.output, outBox, values)) ||
           tellUnwritten(context.output);
}

} // namespace

bool reduceBlocks(const StepContext& context, const TileStep& plan, const BlockReducer& reducer)
{
    if (!context.input.opened())
        return writeNoData(context, plan.outBox);
    const bool asBytes = context.input.dtype() == DataType::UInt8 && context.missingValues.empty() &&
                         reducer.takesBytes(plan.blocks.size);
    if (!asBytes)
        return runStrips<float, float>(context, plan, reducer);
    return context.output.dtype() == DataType::UInt8
               ? runStrips<unsigned char, unsigned char>(context, plan, reducer)
               : runStrips<unsigned char, float>(context, plan, reducer);
}

} // namespace vexel
