#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLERBASE_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLERBASE_H

#include "../companion/PixelMatrix.h"
#include "../companion/Worker.h"
#include "../export.h"
#include "../streaming/GDALStreamer.h"
#include "ImageAlphaType.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace vexel {

class BlockReducer;
struct StepContext;
struct UnreadBlock;

/// A job that turns one raster set into a coarser one over the same map box, one tile of the input a step.
///
/// Each step reads its tile with a margin, in strips of all bands, reduces every block of `factor` by
/// `factor` pixels to one by `representativeValue`, and writes the results. Pixels below -9999.999, and where
/// there is an alpha band those whose alpha is 0, are no-data to the reducers of the library. `complete` makes the output's
/// files, at the latest the destructor does. `discard` removes the output instead.
///
/// Progress is told on the calling thread, without the GDAL lock, after each piece that is read, of at most 16 MiB or one
/// row of the file's blocks, and after each strip that is written. Nothing is written after a stop.
///
/// Pixels that cannot be read count as zeros, and the step goes on: ask `unreadPixels` or `JobRunner::Result` whether
/// there were any before you trust the output. A transfer that fails is repeated block by block, so that only the blocks
/// that GDAL cannot decode are lost. Within a step, GDAL's messages of the same number and text reach the application's
/// error handler once; after a thousand different ones a warning says that the rest is left out.
///
/// A step decodes every block of its tile once, and those of the neighbours along the seams once more. The pixels that it
/// holds take about 64 MiB, whatever the size of the tile, and it takes time in proportion to these. While OpenMP's
/// threads reduce one strip, the calling thread reads the next one; what GDAL says about it, and what goes wrong, is told
/// when its turn comes.
///
/// `complete` makes the output's files from what the steps have written, as `GDALStreamer::finish` does, and lets other
/// threads have GDAL meanwhile. The share of the whole job that it takes is estimated by the pixels of both rasters.
///
/// A job belongs to one thread at a time. It takes the GDAL lock for each transfer.
class VEXEL_EXPORT DownsamplerBase : public Worker
{
public:
    /// Closes both sets: completes the output, but for a job that was completed or discarded, and holds the lock throughout.
    ~DownsamplerBase() override;

    /// Makes input pixels of this value no-data, as if the raster held -10000 there; NaN is a value like any
    /// other. May be called for several values, before the first step. Alpha bands are left alone, and the
    /// warp strategy knows one value, the last. Without such a call only values below -9999.999 are no-data.
    void treatAsNoData(double value);

    /// Lets the Gaussian leave out the pixels that are no-data, or transparent where there is an alpha band: what is left
    /// is scaled up, and no result lies beyond the valid pixels that it is made of. By default it blurs holes as the
    /// values that stand there. To be called before the first step. Which results are no-data stays the same. The other
    /// strategies leave such pixels out in any case, and do not change.
    void leaveHolesOut(bool leave);

    /// How many pixels of the input could not be read since `do_init`, and counted as zeros. Each pixel of each band
    /// counts once, however often steps read it; only pixels that a step needs are read. Always 0 for the warp strategy,
    /// which leaves reading to GDAL.
    std::uint64_t unreadPixels() const;

    /// A part of one band of an input file.
    struct UnreadBox
    {
        QString file;     ///< its path
        std::size_t band; ///< one-based
        PixelBox box;     ///< in pixels of that file, half-open
    };
    /// The first block, or what a step needs of it, that could not be read since `do_init`; the whole part of the file
    /// that a strip needs where the file could not be opened. Empty if `unreadPixels()` is 0.
    ///
    /// @code
    /// if (const auto first = job->firstUnread())
    ///     std::cerr << first->file.toStdString() << ": band " << first->band << " cannot be read everywhere\n";
    /// @endcode
    std::optional<UnreadBox> firstUnread() const;

protected:
    /// The pixels of one block, in place in the band that was read: rows, columns and a row stride.
    using Block = Eigen::Ref<PixelMatrix<float>, 0, Eigen::OuterStride<>>;

    /// Whether the factor is fitted to the tiles.
    enum DownsamplingAlignment : std::int32_t
    {
        NoAlignment = 0, ///< the factor is the ratio of the resolutions
        AlignToTile =
            1 ///< the factor is changed so that the first tile spans a whole number of output pixels
    };

    /// Opens the input and creates the output. The arguments and the errors are those of
    /// `DownsamplerFactory::createDownsampler`.
    DownsamplerBase(const QString& inputPath, const QString& outputPath, const QString& wkt,
                    double resolution, ImageAlphaType alphaType, GdalFileType fileType,
                    DownsamplingAlignment alignment);

    /// Opens nothing; `do_init` then reports no steps and fails.
    DownsamplerBase();

    GDALStreamer input;  ///< the raster to downsample
    GDALStreamer output; ///< the coarser raster
    double factor = 0.0; ///< input pixels per output pixel along each axis, fixed by the constructor
    int border = 0;      ///< input pixels added to a block on every side; set by subclasses
    bool alpha = false;  ///< the input's last band is alpha

    /// Reads one band of a box of the input as it is to be downsampled: 0 where no file covers the box, and
    /// -10000 for values that are to be treated as no-data. False if it cannot be read, or the input is not
    /// open.
    ///
    /// @param out  resized to the rows and columns of the box.
    /// @param band one-based.
    /// @param box  in pixels of the input, half-open.
    bool readInput(PixelMatrix<float>& out, std::size_t band, const PixelBox& box) const;

    /// What `treatAsNoData` was called with, in order.
    const std::vector<double>& missingValues() const;

private:
    /// Sets `steps` to the number of the input's tiles; false if the input is not open.
    bool do_init(std::size_t& steps) override;

    /// Downsamples tile `step`, all bands. False, after an error was logged, if the output cannot be written;
    /// bands written before stay written. Blocks that cannot be read count as zeros. False also for a step
    /// that there is not. What `representativeValue` throws is rethrown here.
    bool do_step(std::size_t step) override;

protected:
    /// The value that stands for one block. Called from several threads at once on different blocks: it must
    /// change nothing that they share. A block at the edge of the raster may be smaller than the others, but
    /// has at least one pixel. No-data pixels are below -9999.999; -10000 is to be returned for a block that has no
    /// other. Where it throws, the step ends with that exception.
    ///
    /// @code
    /// float representativeValue(const Block& block) const override { return block(0, 0); } // the nearest pixel
    /// @endcode
    virtual float representativeValue(const Block& block) const = 0;

    /// Reduces by something faster that equals `representativeValue` to the bit. For the library's own
    /// subclasses.
    void reduceWith(std::unique_ptr<const BlockReducer> reducer);

private:
    struct State;
    friend class DownsamplerGauss; // shares what steps are made of

    StepContext stepContext();
    StreamError completeOutput(const Progress& progress);
    double shareOfCompleting() const;
    void noteUnread(const std::vector<UnreadBlock>& blocks);

    std::unique_ptr<State> m_state;
};

} // namespace vexel

#endif
