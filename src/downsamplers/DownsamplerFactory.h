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

/// Makes the job that builds a coarser copy of a raster. Its steps do the work, and `JobRunner::run` or `complete` makes
/// the output files of it; a job that is destroyed without either completes them too, but cannot say whether that has
/// worked.
///
/// @code
/// auto job = DownsamplerFactory::createDownsampler(DownsamplingStrategy::Average, "dem.tif", "coarse.tif", wkt,
///                                                  10.0, ImageAlphaType::NoAlpha, GdalFileType::SingleFile);
/// if (JobRunner().run(*job).outcome == JobRunner::Outcome::Finished)
///     std::cout << "coarse.tif is there and whole" << std::endl;
/// @endcode
///
/// @param strategy   how a block of pixels becomes one.
/// @param inputPath  a raster file, or the path that a set of tile files is named from.
/// @param outputPath the raster to create, replacing an earlier one; a set of tiles of 5000 by 5000 pixels,
///                   or one file.
/// @param wkt        the output's spatial reference as WKT; empty for none.
/// @param resolution edge of an output pixel in map units; at least half the input's.
/// @param alphaType  whether the input's last band is alpha.
/// @param fileType   how the input lies on disk and the output is written.
/// @throws std::logic_error   "Undefined value for DownsamplingStrategy" for a value that is none; nothing
///                            has been opened.
/// @throws OpenError          "Unable to open input file '…'" or "Unable to open output file '…'", with the reason; the
///                            latter also, before anything is deleted, if the output would overwrite a file that GDAL
///                            reads for the input (side files and sources of virtual rasters included), has no
///                            pixels, or would be finer than half the input's resolution.
///
/// The warp strategy opens nothing here and takes any `fileType`; it reads and writes single files, and
/// ignores `wkt`.
///
/// Safe to call from any thread; takes the GDAL lock while it opens files.
VEXEL_EXPORT std::shared_ptr<DownsamplerBase>
createDownsampler(DownsamplingStrategy strategy, const QString& inputPath, const QString& outputPath,
                  const QString& wkt, double resolution, ImageAlphaType alphaType, GdalFileType fileType);

} // namespace vexel::DownsamplerFactory

#endif
