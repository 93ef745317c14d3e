#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLERFACTORY_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLERFACTORY_H

#include "../export.h"
#include "../streaming/GdalFileType.h"
#include "DownsamplerBase.h"
#include "DownsamplingStrategy.h"
#include "ImageAlphaType.h"

#include <QString>

#include <memory>

/// Makes downsampling jobs.
namespace vexel::DownsamplerFactory {

/// Makes the job that builds a coarser copy of a raster.
///
/// @code
/// auto job = DownsamplerFactory::createDownsampler(DownsamplingStrategy::Average, "dem.tif", "coarse.tif", wkt,
///                                                  10.0, ImageAlphaType::NoAlpha, GdalFileType::SingleFile);
/// if (JobRunner().run(*job).outcome == JobRunner::Outcome::Finished)
///     std::cout << "coarse.tif is there and whole" << std::endl;
/// @endcode
///
/// The steps of the job do the work, and `JobRunner::run` or `complete` makes the output files. A job that you
/// destroy without either completes them too, but cannot report whether that worked.
///
/// @param strategy   how a block of pixels becomes one.
/// @param inputPath  a raster file, or the path that a set of tile files is named from.
/// @param outputPath the raster to create, which replaces an earlier one. It is one file, or a set of tiles of 5000
///                   by 5000 pixels.
/// @param wkt        spatial reference of the output as WKT, empty for none.
/// @param resolution edge of an output pixel in map units. It must be at least half the input's.
/// @param alphaType  whether the last band of the input is alpha.
/// @param fileType   how the input is stored on the disk and the output is written.
/// @throws std::logic_error "Undefined value for DownsamplingStrategy" if `strategy` is not one of the enumerators.
///         Nothing has been opened then.
/// @throws OpenError "Unable to open input file '…'" or "Unable to open output file '…'", with the reason. The latter
///         is also thrown, before anything is deleted, if the output would overwrite a file that GDAL reads for the
///         input (side files and sources of virtual rasters included), if it has no pixels, or if it would be finer
///         than half the input's resolution.
///
/// The warp strategy opens nothing here and accepts any `fileType`, because it only reads and writes single files. It
/// ignores `wkt`.
///
/// You can call this from any thread. It takes the GDAL lock while it opens files.
VEXEL_EXPORT std::shared_ptr<DownsamplerBase>
createDownsampler(DownsamplingStrategy strategy, const QString& inputPath, const QString& outputPath,
                  const QString& wkt, double resolution, ImageAlphaType alphaType, GdalFileType fileType);

} // namespace vexel::DownsamplerFactory

#endif
