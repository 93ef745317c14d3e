#ifndef VEXEL_EXAMPLES_PICTURES_H
#define VEXEL_EXAMPLES_PICTURES_H

#include "common.h"

#include <QString>
#include <vexel/vexel.h>

#include <stdexcept>
#include <string>

/// What the programs that write pictures have in common.
namespace example {

/// Colour pixels 0xAARRGGBB.
using Picture = vexel::PixelMatrix<unsigned int>;

/// A check of an argument: empty if it names a PNG file, else what is wrong.
inline std::string checkPng(const std::string& path)
{
    return vexel::isPng(fromArgument(path)) ? "" : "'" + path + "' is not the name of a PNG file";
}

/// Throws unless a picture of that size is at the path: completing a file reports nothing.
inline void requirePicture(const QString& path, Eigen::Index width, Eigen::Index height)
{
    vexel::ImageInfo info;
    if (!vexel::imageInfoWithGDAL(path, info) || info.width != width || info.height != height)
        throw std::runtime_error("The output '" + path.toStdString() + "' is not whole");
}

} // namespace example

#endif
