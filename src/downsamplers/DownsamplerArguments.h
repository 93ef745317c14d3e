#ifndef VEXEL_DOWNSAMPLERS_DOWNSAMPLERARGUMENTS_H
#define VEXEL_DOWNSAMPLERS_DOWNSAMPLERARGUMENTS_H

#include "downsamplers/ImageAlphaType.h"
#include "streaming/GdalFileType.h"

#include <QString>

namespace vexel {

/// What every job is made from: the arguments of `DownsamplerFactory::createDownsampler` that each strategy takes over.
struct DownsamplerArguments
{
    QString inputPath;        ///< a raster file, or the path that a set of tile files is named from
    QString outputPath;       ///< the raster to create
    QString wkt;              ///< spatial reference of the output, empty for none
    double resolution;        ///< edge of an output pixel in map units
    ImageAlphaType alphaType; ///< whether the last band of the input is alpha
    GdalFileType fileType;    ///< of the input and of the output
};

} // namespace vexel

#endif
