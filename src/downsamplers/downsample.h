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

/// What `downsample` is to do. Each function sets one thing and returns the same options, so that you can write what you
/// need in one expression. Takes no lock.
class VEXEL_EXPORT DownsampleOptions
{
public:
    /// A coarser copy of the raster `input` at `output`, by the mean of blocks. Call either `resolution` or `factor`.
    DownsampleOptions(const QString& input, const QString& output) : m_input(input), m_output(output) {}

    /// How a block of pixels becomes one; `DownsamplingStrategy::Average` if not called.
    DownsampleOptions& strategy(DownsamplingStrategy strategy)
    {
        m_strategy = strategy;
        return *this;
    }
    /// Edge of an output pixel in map units; at least half the input's.
    DownsampleOptions& resolution(double mapUnits)
    {
        m_resolution = mapUnits;
        return *this;
    }
    /// The same as a multiple of the input's, from 0.5 on.
    DownsampleOptions& factor(double factor)
    {
        m_factor = factor;
        return *this;
    }
    /// Whether the input's last band is alpha: 0 where a pixel is transparent. False if not called.
    DownsampleOptions& alpha(bool isLastBand)
    {
        m_alpha = isLastBand;
        return *this;
    }
    /// Whether input and output are sets of tile files; otherwise each is one file.
    DownsampleOptions& tiles(bool areSets)
    {
        m_tiles = areSets;
        return *this;
    }
    /// The output's spatial reference as WKT, empty for none; the input's own if not called. The warp keeps that in any
    /// case.
    DownsampleOptions& reference(const QString& wkt)
    {
        m_reference = wkt;
        return *this;
    }
    /// Makes pixels of this value no-data, as `DownsamplerBase::treatAsNoData`. May be called for several values.
    DownsampleOptions& noData(double value)
    {
        m_noData.push_back(value);
        return *this;
    }
    /// Whether the Gaussian leaves out pixels that are no-data or transparent. False if not called.
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
/// @param progress told how far it is, on this thread, without the GDAL lock; false stops. May be empty.
/// @return how it ended. `Finished`: the output is there and whole. Otherwise nothing is left of it, unless only a file
///         beside the raster could not be written (`NotCompleted`). `CouldNotStart`, with the reason in `error`, for a file
///         that cannot be opened, a resolution that the library does not offer, both or neither of resolution and factor,
///         and for the warp of a tile set or with a reference of its own. `Failed` if `progress` throws.
/// @throws std::bad_alloc if memory runs out, and nothing else.
///
/// Takes the GDAL lock for each transfer. Its cost is that of the job: see `DownsamplerBase`.
///
/// @code
/// const auto result = downsample(DownsampleOptions("dem.tif", "coarse.tif").factor(4));
/// if (result.outcome != JobRunner::Outcome::Finished)
///     std::cerr << result.error << std::endl;
/// @endcode
[[nodiscard]] VEXEL_EXPORT JobRunner::Result
downsample(const DownsampleOptions& options, std::function<bool(const JobRunner::Progress&)> progress = {});

namespace DownsamplerFactory {

/// Makes the job of `downsample`, for those who run it themselves or ask it what could not be read.
///
/// @throws OpenError with the reason, for everything that ends `downsample` with `CouldNotStart`.
///
/// Takes the GDAL lock while it opens files.
[[nodiscard]] VEXEL_EXPORT std::shared_ptr<DownsamplerBase>
createDownsampler(const DownsampleOptions& options);

} // namespace DownsamplerFactory

} // namespace vexel

#endif
