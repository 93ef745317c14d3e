#ifndef VEXEL_VEXEL_H
#define VEXEL_VEXEL_H

/// @file
/// Includes the whole public interface, except qtimage.h.

#include <vexel/version.h>

#include "companion/CommandOptions.h"
#include "companion/DataType.h"
#include "companion/ImageInfo.h"
#include "companion/JobRunner.h"
#include "companion/PixelMatrix.h"
#include "companion/StreamError.h"
#include "companion/Worker.h"
#include "companion/color.h"
#include "companion/datasetinfo.h"
#include "companion/errorhandler.h"
#include "companion/file.h"
#include "companion/gaussblur.h"
#include "companion/geo.h"
#include "companion/imageformat.h"
#include "companion/log.h"
#include "companion/sidepaths.h"
#include "companion/text.h"
#include "downsamplers/DownsamplerBase.h"
#include "downsamplers/DownsamplerFactory.h"
#include "downsamplers/DownsamplerGauss.h"
#include "downsamplers/DownsamplingStrategy.h"
#include "downsamplers/ImageAlphaType.h"
#include "downsamplers/OpenError.h"
#include "downsamplers/downsample.h"
#include "export.h"
#include "imageloader/GDALImageLoader.h"
#include "imageloader/SimpleImageLoader.h"
#include "streaming/GDALMutex.h"
#include "streaming/GDALStreamer.h"
#include "streaming/GdalFileType.h"
#include "streaming/RAIIErrorSilencer.h"
#include "streaming/RasterSpec.h"
#include "streaming/TileRange.h"
#include "streaming/readpixels.h"
#include "utilities/probing.h"
#include "utilities/sidefiles.h"
#include "utilities/tilenames.h"
#include "utilities/verify.h"
#include "utilities/webmercator.h"
#include "workspace/Workspace.h"
#include "workspace/geometry.h"

#endif
