#ifndef VEXEL_DOWNSAMPLERS_STEPCONTEXT_H
#define VEXEL_DOWNSAMPLERS_STEPCONTEXT_H

#include "downsamplers/StripPlan.h"
#include "downsamplers/StripReader.h"
#include "downsamplers/blockwiseread.h"
#include "downsamplers/missingvalues.h"
#include "streaming/GDALStreamer.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace vexel {

/// What a step of any strategy works on and reports to.
struct StepContext
{
    GDALStreamer& input;
    GDALStreamer& output;
    bool alpha;                               ///< the last band is alpha
    bool leaveHolesOut;                       ///< of the Gaussian's blur
    const std::vector<double>& missingValues; ///< those to be treated as no-data
    std::function<void(const std::vector<UnreadBlock>&)> noteUnread;
    std::function<bool(double)> report; ///< false asks the step to stop

    /// @param band counted from 0.
    bool isAlphaBand(std::size_t band) const { return alpha && band == lastBand(); }
    std::size_t lastBand() const { return input.noBands() - 1; }
};

/// Makes no-data of pixels that are to be treated so, in rows `first` to `end` - 1 of all bands but alpha.
///
/// @param markMasked makes no-data of those that the alpha row masks; null where none is masked.
inline void markMissing(const StepContext& context, StripPixels<float>& pixels, Eigen::Index first,
                        Eigen::Index end,
                        void (*markMasked)(float* pixels, const float* alphas, std::ptrdiff_t count))
{
    for (std::size_t band = 0; band < context.input.noBands(); ++band)
        for (Eigen::Index y = first; y < end && !context.isAlphaBand(band); ++y) {
            markMissingValues(pixels.row(band, y), pixels.columns(), context.missingValues);
            if (markMasked)
                markMasked(pixels.row(band, y), pixels.row(context.lastBand(), y), pixels.columns());
        }
}

/// Memory that strips of the input's pixels take, read as elements of `pixelBytes` and reduced to such of `resultBytes`.
/// Results are there twice, as they are and as GDAL takes them.
inline StripCost stripCost(const GDALStreamer& input, std::size_t pixelBytes, std::size_t resultBytes,
                           double factor)
{
    const auto noBands = static_cast<double>(input.noBands());
    return {noBands * static_cast<double>(pixelBytes), 2.0 * noBands * static_cast<double>(resultBytes),
            factor * factor};
}

} // namespace vexel

#endif
