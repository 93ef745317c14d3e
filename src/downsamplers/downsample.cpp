#include "downsamplers/downsample.h"

#include "companion/file.h"
#include "downsamplers/DownsamplerFactory.h"
#include "downsamplers/OpenError.h"
#include "streaming/GDALMutex.h"
#include "streaming/GDALStreamer.h"
#include "streaming/writetargets.h"

#include <gdal_priv.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace vexel {

/// What the options ask for, once the input is known.
class DownsampleRequest
{
public:
    explicit DownsampleRequest(const DownsampleOptions& options) : m_options(options) {}

    /// @throws OpenError for what cannot be done.
    std::shared_ptr<DownsamplerBase> job()
    {
        checkOptions();
        const GdalFileType type = m_options.m_tiles ? GdalFileType::TileSet : GdalFileType::SingleFile;
        if (needsInput() && !m_input.openRead(m_options.m_input, type))
            refuse(m_input.lastError());
        auto job = DownsamplerFactory::createDownsampler(
            m_options.m_strategy, m_options.m_input, m_options.m_output,
            m_options.m_reference.value_or(m_input.spatialReference()), resolution(),
            m_options.m_alpha ? ImageAlphaType::LastBand : ImageAlphaType::NoAlpha, type);
        m_input.close();
        if (m_options.m_factor && isByBlocks())
            job->factor = *m_options.m_factor;
        for (const double value : m_options.m_noData)
            job->treatAsNoData(value);
        job->leaveHolesOut(m_options.m_leaveHolesOut);
        return job;
    }

private:
    [[noreturn]] static void refuse(const StreamError& reason)
    {
        throw OpenError(reason.message().toStdString(), reason);
    }
    [[noreturn]] void refuse(const QString& why) const
    {
        refuse({StreamError::Code::BadArgument, m_options.m_output, why});
    }

    bool isWarp() const { return m_options.m_strategy == DownsamplingStrategy::Warp; }
    bool needsInput() const { return m_options.m_factor || !m_options.m_reference; }

    /// Whether the factor is taken as it is: the Gaussian fits it to the tiles.
    bool isByBlocks() const
    {
        return !isWarp() && m_options.m_strategy != DownsamplingStrategy::Gauss &&
               m_options.m_strategy != DownsamplingStrategy::GaussAlias;
    }

    void checkOptions() const
    {
        const auto strategy = static_cast<std::int32_t>(m_options.m_strategy);
        if (strategy < 0 || strategy > static_cast<std::int32_t>(DownsamplingStrategy::Warp))
            refuse(QString("there is no strategy %1").arg(strategy));
        if (m_options.m_resolution.has_value() == m_options.m_factor.has_value())
            refuse("either the resolution or the factor is needed");
        if (m_options.m_factor && !(*m_options.m_factor > 0.0 && std::isfinite(*m_options.m_factor)))
            refuse(QString("the factor %1 is no multiple of a pixel").arg(*m_options.m_factor));
        if (m_options.m_resolution &&
            !(*m_options.m_resolution > 0.0 && std::isfinite(*m_options.m_resolution)))
            refuse(QString("the resolution %1 is no size of a pixel").arg(*m_options.m_resolution));
        if (isWarp() && m_options.m_tiles)
            refuse("the warp works on single files only");
        if (isWarp() && m_options.m_reference)
            refuse("the warp keeps the input's spatial reference");
        if (isWarp() && (file::samepath(m_options.m_input, m_options.m_output) ||
                         anyIsReadFor(pathsOfTarget(m_options.m_output), {m_options.m_input})))
            refuse("it would replace a file that is read for the input");
    }

    double resolution()
    {
        return m_options.m_factor ? resolutionOf(*m_options.m_factor, pixelSize()) : *m_options.m_resolution;
    }

    /// The resolution that is so many times the input's when it is divided again, which the product may not be. There
    /// may be none: no number divided by 0.1 is 3. Then it is the next one on the side from which a half is rounded
    /// up as that of the factor itself is: of the output's resolution for blocks, of a tile's pixels for the Gaussian.
    double resolutionOf(double factor, double pixelSize) const
    {
        constexpr double largest = std::numeric_limits<double>::max();
        const double product = factor * pixelSize;
        for (const double close : {product, std::nextafter(product, 0.0), std::nextafter(product, largest)})
            if (close / pixelSize == factor)
                return close;
        const double below = product / pixelSize < factor ? product : std::nextafter(product, 0.0);
        return isByBlocks() ? std::nextafter(below, largest) : below;
    }

    /// The warp takes the pixel as the file has it, all others in integer map units.
    double pixelSize()
    {
        const GDALMutex lock;
        double transform[6] = {};
        if (isWarp() && m_input.open(0) && m_input.data(0) &&
            m_input.data(0)->GetGeoTransform(transform) == CE_None && transform[1] != 0.0)
            return std::fabs(transform[1]);
        return m_input.workspace().pixelSize();
    }

    const DownsampleOptions& m_options;
    GDALStreamer m_input;
};

std::shared_ptr<DownsamplerBase> DownsamplerFactory::createDownsampler(const DownsampleOptions& options)
{
    return DownsampleRequest(options).job();
}

JobRunner::Result downsample(const DownsampleOptions& options,
                             std::function<bool(const JobRunner::Progress&)> progress)
{
    std::shared_ptr<DownsamplerBase> job;
    try {
        job = DownsamplerFactory::createDownsampler(options);
    } catch (const OpenError& error) {
        return {JobRunner::Outcome::CouldNotStart, {}, {}, 0, error.reason};
    }
    JobRunner runner;
    if (progress)
        runner.setProgress([&](const JobRunner::Progress& told) {
            if (!progress(told))
                runner.stop();
        });
    return runner.run(*job);
}

} // namespace vexel
