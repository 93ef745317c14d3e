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
struct DownsamplerArguments;
struct StepContext;
struct UnreadBlock;

/// Turns one raster set into a coarser one over the same map box. It is a job with one step for each tile of the
/// input.
///
/// Each step reads its tile with a margin, in strips of all bands. It reduces every block of `factor` by `factor`
/// pixels to one pixel by `representativeValue`, and writes the results. Pixels below -9999.999 are no-data. If there
/// is an alpha band, pixels whose alpha is 0 are transparent, and the reducers of the library treat them as no-data
/// too.
///
/// After the last step, `complete` makes the files of the output, as `GDALStreamer::finish` does, and lets other
/// threads have GDAL meanwhile. If you do not call it, the destructor completes them. Call `discard` to remove the
/// output instead. The share of the whole job that completing takes is estimated from the number of pixels of both
/// rasters.
///
/// The job reports its progress on the calling thread, without the GDAL lock. (The warp strategy also reports on
/// GDAL's threads, but never on two at once.) It does so after each piece that it reads, of at most 16 MiB or one row
/// of file blocks, and after each strip that it writes. Nothing is written after a stop.
///
/// Pixels that cannot be read count as zeros, and the step continues. (The Gaussian fails instead: see
/// `DownsamplerGauss`.) You should ask `unreadPixels` or `JobRunner::Result` whether there were any before you trust
/// the output. A transfer that fails is repeated block by block, so only the file blocks that GDAL cannot decode are
/// lost. Within a step, GDAL's messages with the same number and text reach your error handler once. After a thousand
/// different messages, a warning says that the rest is left out.
///
/// A step decodes every file block of its tile once, and the file blocks of the neighbours along the seams once more.
/// There is one exception. If a row of file blocks is too large for one strip, it is cut into several strips next to
/// each other. The columns that neighbouring strips share are kept for the height of the tile, but only up to an
/// eighth of the 64 MiB below. If they need more, the file blocks along that seam are decoded twice.
///
/// The pixels that a step keeps in memory, shared columns included, take about 64 MiB, whatever the size of the tile.
/// They take more only if a single row of file blocks needs more, even when it is cut into strips that are one file
/// block or one block wide. The time of a step is proportional to the number of pixels in its tile.
///
/// While OpenMP's threads reduce one strip, the calling thread reads the next one. GDAL's messages and failures from
/// reading ahead are reported when the turn of that strip comes.
///
/// A job belongs to one thread at a time. It takes the GDAL lock for each transfer.
class VEXEL_EXPORT DownsamplerBase : public Worker
{
public:
    /// Closes both sets. Completes the output, unless the job was completed or discarded, and keeps the GDAL lock
    /// throughout.
    ~DownsamplerBase() override;

    /// Makes input pixels of this value no-data, as if the raster contained -10000 there. NaN is a value like any
    /// other. You can call this for several values, but you must call it before the first step. Alpha bands are left
    /// alone. The warp strategy uses one value only, the last. Without such a call only values below -9999.999 are
    /// no-data.
    void treatAsNoData(double value);

    /// Sets whether the Gaussian ignores invalid pixels: no-data, or transparent if there is an alpha band. If it
    /// does, the weights of the valid pixels are scaled up, so no result is outside the range of the valid pixels
    /// that it is made of. By default the Gaussian blurs invalid pixels with the values that are stored there. You
    /// must call this before the first step. It does not change which results are no-data. The other strategies
    /// always ignore invalid pixels, so it does not affect them.
    void leaveHolesOut(bool leave);

    /// Returns how many pixels of the input could not be read since `do_init`, and counted as zeros. Each pixel of
    /// each band counts once, however often steps read it. Only pixels that a step needs are read. Always 0 for the
    /// warp strategy, because GDAL does the reading there.
    std::uint64_t unreadPixels() const;

    /// A part of one band of an input file.
    struct UnreadBox
    {
        QString file;     ///< path of the file
        std::size_t band; ///< counted from 1
        PixelBox box;     ///< in pixels of that file, half-open
    };
    /// Returns the first block, or the part of it that a step needs, that could not be read since `do_init`. If the
    /// file could not be opened, it is the whole part of the file that a strip needs. Empty if `unreadPixels()` is 0.
    ///
    /// @code
    /// if (const auto first = job->firstUnread())
    ///     std::cerr << first->file.toStdString() << ": band " << first->band << " cannot be read everywhere\n";
    /// @endcode
    std::optional<UnreadBox> firstUnread() const;

protected:
    /// The pixels of one block, without a copy, in the band that was read: rows, columns and a row stride.
    using Block = Eigen::Ref<PixelMatrix<float>, 0, Eigen::OuterStride<>>;

    /// Whether the factor is changed to fit the tiles.
    enum DownsamplingAlignment : std::int32_t
    {
        NoAlignment = 0, ///< the factor is the ratio of the resolutions
        AlignToTile =
            1 ///< the factor is changed so that the first tile spans a whole number of output pixels
    };

    /// Opens the input and creates the output. Arguments and errors are the same as for
    /// `DownsamplerFactory::createDownsampler`. `alignment` says whether the factor is changed to fit the tiles.
    DownsamplerBase(const QString& inputPath, const QString& outputPath, const QString& wkt,
                    double resolution, ImageAlphaType alphaType, GdalFileType fileType,
                    DownsamplingAlignment alignment);

    /// Opens the input and creates the output. Only for the subclasses of the library.
    DownsamplerBase(const DownsamplerArguments& arguments, DownsamplingAlignment alignment);

    /// Opens nothing. `do_init` then reports no steps and fails.
    DownsamplerBase();

    GDALStreamer input;  ///< the raster to downsample
    GDALStreamer output; ///< the coarser raster
    double factor = 0.0; ///< input pixels per output pixel along each axis, fixed by the constructor
    int border = 0;      ///< input pixels added to a block on every side, set by subclasses
    bool alpha = false;  ///< the input's last band is alpha

    /// Reads one band of a box of the input in the form in which it is downsampled: 0 where no file covers the box,
    /// and -10000 for values given to `treatAsNoData`.
    ///
    /// @param out  resized to the rows and columns of the box.
    /// @param band counted from 1.
    /// @param box  in pixels of the input, half-open.
    /// @return false if the box cannot be read, or if the input is not open.
    bool readInput(PixelMatrix<float>& out, std::size_t band, const PixelBox& box) const;

    /// Returns the values that `treatAsNoData` was called with, in order.
    const std::vector<double>& missingValues() const;

private:
    /// Sets `steps` to the number of tiles of the input. False if the input is not open.
    bool do_init(std::size_t& steps) override;

    /// Downsamples tile `step`, all bands. Blocks that cannot be read count as zeros. False, after an error was
    /// logged, if the output cannot be written. Pixels that were written before stay written. False also if there is
    /// no such step, if the job is over, or if the progress callback asks to stop. An exception of
    /// `representativeValue` is rethrown here.
    bool do_step(std::size_t step) override;

protected:
    /// Returns the value that represents one block.
    ///
    /// @code
    /// float representativeValue(const Block& block) const override { return block(0, 0); } // the nearest pixel
    /// @endcode
    ///
    /// It is called from several threads at once for different blocks, so it must not change anything that they
    /// share. A block at the edge of the raster can be smaller than the others, but has at least one pixel. No-data
    /// pixels are below -9999.999, and transparent ones are made -10000 before. You must return -10000 for a block
    /// that has no other pixels. If it throws, the step ends with that exception.
    virtual float representativeValue(const Block& block) const = 0;

    /// Sets a faster reducer, whose results must equal `representativeValue` to the bit. Only for the subclasses of
    /// the library.
    void reduceWith(std::unique_ptr<const BlockReducer> reducer);

private:
    struct State;
    friend class DownsamplerGauss;  // uses the same parts for its steps
    friend class DownsampleRequest; // sets the factor that was asked for: dividing the resolution can miss it

    StepContext stepContext();
    StreamError completeOutput(const Progress& progress);
    double shareOfCompleting() const;
    void noteUnread(const std::vector<UnreadBlock>& blocks);

    std::unique_ptr<State> m_state;
};

} // namespace vexel

#endif
