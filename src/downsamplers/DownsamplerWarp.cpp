#include "downsamplers/DownsamplerWarp.h"

#include "companion/CommandOptions.h"
#include "companion/file.h"
#include "companion/gdaldrivers.h"
#include "companion/logmessage.h"
#include "companion/pixelvalues.h"
#include "streaming/failures.h"
#include "streaming/gdaldataset.h"
#include "streaming/gdalmessages.h"
#include "streaming/writetargets.h"
#include "utilities/WarpOutput.h"
#include "utilities/warpoptions.h"

#include <gdal_priv.h>
#include <gdal_utils.h>

#include <cmath>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>

namespace vexel {

namespace {

/// Hands GDAL's progress on. GDAL calls it from its own threads too, and must not see an exception.
class WarpProgress
{
public:
    explicit WarpProgress(std::function<bool(double)> report) : m_report(std::move(report)) {}

    static int CPL_STDCALL callback(double share, const char*, void* self)
    {
        return static_cast<WarpProgress*>(self)->report(share) ? TRUE : FALSE;
    }

    bool stopped() const { return m_stopped; }

    void rethrow() const
    {
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

private:
    bool report(double share)
    {
        const std::lock_guard<std::mutex> oneAtATime(m_mutex);
        try {
            m_stopped = m_stopped || !m_report(share);
        } catch (...) {
            m_stopped = true;
            m_failure = std::current_exception();
        }
        return !m_stopped;
    }

    std::function<bool(double)> m_report;
    std::mutex m_mutex;
    bool m_stopped = false;
    std::exception_ptr m_failure;
};

/// GDAL opens the input of a warp without a word. Nobody else hears of this second try.
QString whyNotOpened(const QString& path)
{
    const GdalMessages messages(GdalMessages::Fate::Dropped);
    takeDataset(GDALOpenEx(path.toUtf8().constData(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR, nullptr,
                           nullptr, nullptr));
    return messages.firstFailure();
}

/// Runs GDAL's warp utility. False if GDAL does not accept the arguments or was asked to stop.
///
/// @param firstOutput set, unless it has been, when GDAL gets as far as to replace the output.
/// @param failure why there is no result, in GDAL's words; empty if there is.
bool warp(const QString& inputPath, const QString& outputPath, const QStringList& arguments,
          WarpProgress& progress, std::optional<gdal::WarpOutput>& firstOutput, QString& failure)
{
    gdal::registerDrivers();
    const GdalMessages messages;
    gdal::CommandOptions list;
    for (const QString& argument : arguments)
        list << argument;
    const Dataset source =
        takeDataset(GDALOpenEx(inputPath.toUtf8().constData(), GDAL_OF_RASTER, nullptr, nullptr, nullptr));
    const gdal::WarpOptions options = gdal::warpOptions(list);
    int usageError = options ? 0 : 1;
    const gdal::WarpOutput output(outputPath);
    Dataset result;
    if (options) {
        if (source && !firstOutput)
            firstOutput = output;
        GDALWarpAppOptionsSetProgress(options.get(), &WarpProgress::callback, &progress);
        GDALDatasetH sourceHandle = handleOf(source);
        result = takeDataset(
            GDALWarp(outputPath.toUtf8().constData(), nullptr, 1, &sourceHandle, options.get(), &usageError));
    }
    failure = QString();
    // What a warp leaves that was asked to stop is the job's to keep or to discard.
    if (!progress.stopped() && !output.finish(std::move(result))) {
        failure = orNoReason(source ? messages.firstFailure() : whyNotOpened(inputPath));
        log::message(log::level::error) << "Error code from GDAL: " << usageError;
    }
    // A missing result alone does not count as a failure, only what GDAL says of the arguments does.
    return usageError == 0 && !progress.stopped();
}

} // namespace

DownsamplerWarp::DownsamplerWarp(const QString& inputPath, const QString& outputPath, const QString&,
                                 double resolution, ImageAlphaType)
    : m_inputPath(inputPath), m_outputPath(outputPath), m_resolution(resolution)
{
    onComplete([this](const Progress&) { return answer(); });
    onDiscard([this] {
        if (m_output)
            m_output->discard();
        m_output.reset();
    });
}

QStringList DownsamplerWarp::arguments(double resolution, double noDataValue)
{
    const QString pixelSize = QString::number(resolution, 'g', 6);
    const bool isDefault = noDataValue == noData;
    const QString sourceNoData = QString::number(noDataValue, 'g', isDefault ? 6 : 17);
    return {"-q",      "-multi",  "-overwrite", "-r",         "cubicspline", "-tr",
            pixelSize, pixelSize, "-srcnodata", sourceNoData, "-dstnodata",  QString::number(noData, 'g', 6)};
}

bool DownsamplerWarp::do_init(std::size_t& steps)
{
    steps = 1;
    return true;
}

bool DownsamplerWarp::isPossible() const
{
    return std::isfinite(m_resolution) && m_resolution > 0.0 && !file::samepath(m_inputPath, m_outputPath) &&
           !anyIsReadFor(pathsOfTarget(m_outputPath), {m_inputPath});
}

StreamError DownsamplerWarp::answer() const
{
    using Code = StreamError::Code;
    return m_failure.isEmpty() ? StreamError() : StreamError{Code::CannotComplete, m_outputPath, m_failure};
}

bool DownsamplerWarp::do_step(std::size_t)
{
    if (isOver() || !isPossible())
        return false;
    WarpProgress progress([this](double share) { return reportProgress(share); });
    const double sourceNoData = missingValues().empty() ? noData : missingValues().back();
    const bool accepted =
        warp(m_inputPath, m_outputPath, arguments(m_resolution, sourceNoData), progress, m_output, m_failure);
    progress.rethrow();
    return accepted;
}

float DownsamplerWarp::representativeValue(const Block&) const
{
    return 0.0f;
}

} // namespace vexel
