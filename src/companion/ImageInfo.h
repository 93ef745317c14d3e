#ifndef VEXEL_COMPANION_IMAGEINFO_H
#define VEXEL_COMPANION_IMAGEINFO_H

#include "DataType.h"

#include <cstdint>

namespace vexel {

/// Describes an image without its pixels.
struct ImageInfo
{
    std::int64_t width = 0;             ///< in pixels
    std::int64_t height = 0;            ///< in pixels
    DataType dtype = DataType::Unknown; ///< pixel type of every band
    std::uint64_t noBands = 0;          ///< number of bands
    std::uint64_t noPages = 0;          ///< number of images in the file
};

} // namespace vexel

#endif
