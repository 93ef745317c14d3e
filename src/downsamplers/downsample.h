#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLE_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLE_H

#include "../companion/JobRunner.h"
#include "../export.h"
#include "DownsamplerFactory.h"
#include "DownsamplingStrategy.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vexel {

/// Sets the input, the output and the settings of `downsample`. Each function sets one thing and returns the same
/// options, so you can write all that you need in one expression. Takes no lock.
class VEXEL_EXPORT DownsampleOptions
{
public:
    /// Asks for a coarser copy of the raster `input` at `output`, by the mean of blocks. You must also call either
    /// `resolution` or `factor`.
    DownsampleOptions(const QString& input, const QString& output) : m_input(input), m_output(output) {}

    /// Sets how a block of pixels becomes one. It is `DownsamplingStrategy::Average` if you do not call this.
    DownsampleOptions& strategy(DownsamplingStrategy strategy)
    {
        m_strategy = strategy;
        return *this;
    }
    /// Sets the edge of an output pixel in map units. It must be at least half the input's.
    DownsampleOptions& resolution(double mapUnits)
    {
        m_resolution = mapUnits;
        return *this;
    }
    /// Sets the edge of an output pixel as a multiple of the input's. It must be at least 0.5.
    DownsampleOptions& factor(double factor)
    {
        m_factor = factor;
        return *this;
    }
    /// Sets whether the last band of the input is alpha, which is 0 if a pixel is transparent. False if you do not
    /// call this.
    DownsampleOptions& alpha(bool isLastBand)
    {
        m_alpha = isLastBand;
        return *this;
    }
    /// Sets whether input and output are sets of tile files. If you do not call this, each is one file.
    DownsampleOptions& tiles(bool areSets)
    {
        m_tiles = areSets;
        return *this;
    }
    /// Sets the spatial reference of the output as WKT, empty for none. The output has the reference of the input if
    /// you do not call this. You cannot call it for the warp, which always keeps the reference of the input.
    DownsampleOptions& reference(const QString& wkt)
    {
        m_reference = wkt;
        return *this;
    }
    /// Makes pixels of this value no-data, as `DownsamplerBase::treatAsNoData` does. You can call it for several
    /// values.
    DownsampleOptions& noData(double value)
    {
        m_noData.push_back(value);
        return *this;
    }
    /// Sets whether the Gaussian ignores invalid pixels (no-data or transparent). False if you do not call this.
    DownsampleOptions& leaveHolesOut(bool leave)
    {
        m_leaveHolesOut = leave;
        return *this;
    }

private:
    friend class DownsampleRequest; // makes the job

    QString m_input;
    QString m_output;
    DownsamplingStrategy m_strategy = DownsamplingStrategy::Average;
    std::optional<double> m_resolution;
    std::optional<double> m_factor;
    bool m_alpha = false;
    bool m_tiles = false;
    std::optional<QString> m_reference;
    std::vector<double> m_noData;
    bool m_leaveHolesOut = false;
};

/// Builds a coarser copy of a raster, from opening the input to completing the output.
///
/// @code
/// const auto result = downsample(DownsampleOptions("dem.tif", "coarse.tif").factor(4));
/// if (result.outcome != JobRunner::Outcome::Finished)
///     std::cerr << result.error << std::endl; // the reason, if it could not start or not be completed
/// @endcode
///
/// @param options  input, output and settings.
/// @param progress called with the progress of the job, on this thread and without the GDAL lock. (The warp also
///                 calls it on GDAL's threads.) Return false to stop. It can be empty.
/// @return how the job ended. `Finished` means that the output is there and whole. With every other outcome nothing
///         is left of the output, unless only a file next to the raster could not be written (`NotCompleted`).
///         `CouldNotStart`, with the reason in `error`, means that a file cannot be opened, that the output would
///         replace a file that is read for the input, that the library does not offer the strategy or the resolution,
///         that both or neither of resolution and factor are set, or that the warp was given a tile set or a spatial
///         reference. The outcome is `Cancelled` after a stop, and `Failed` if a step fails or if `progress` throws.
/// @throws std::bad_alloc if memory runs out. Nothing else is thrown.
///
/// Takes the GDAL lock for each transfer. The cost is the cost of the job: see `DownsamplerBase`.
[[nodiscard]] VEXEL_EXPORT JobRunner::Result
downsample(const DownsampleOptions& options, std::function<bool(const JobRunner::Progress&)> progress = {});

namespace DownsamplerFactory {

/// Makes the job that `downsample` runs. Use it if you want to run the job yourself, or to ask it which pixels could
/// not be read.
///
/// @throws OpenError with the reason, in every case in which `downsample` returns `CouldNotStart`.
///
/// Takes the GDAL lock while it opens files.
[[nodiscard]] VEXEL_EXPORT std::shared_ptr<DownsamplerBase>
createDownsampler(const DownsampleOptions& options);

} // namespace DownsamplerFactory

} // namespace vexel

#endif
