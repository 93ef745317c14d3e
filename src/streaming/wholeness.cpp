#include "streaming/wholeness.h"

#include "companion/nativepath.h"
#include "utilities/blockplaces.h"

#include <fstream>
#include <ios>
#include <string>

namespace vexel {

namespace {

/// True if the file ends with those bytes.
bool endsWith(const QString& path, const std::string& end)
{
    std::ifstream file(file::nativePath(path), std::ios::binary);
    std::string found(end.size(), '\0');
    return file.seekg(-static_cast<std::streamoff>(end.size()), std::ios::end) &&
           file.read(found.data(), static_cast<std::streamsize>(found.size())) && found == end;
}

/// Behind the image GDAL puts a mask, if there is one, and then the image's size in four bytes, the lowest first.
bool endsBeforeMask(const QString& path, const std::string& imageEnd)
{
    std::ifstream file(file::nativePath(path), std::ios::binary);
    unsigned char size[4] = {};
    std::string found(imageEnd.size(), '\0');
    return file.seekg(-4, std::ios::end) && file.read(reinterpret_cast<char*>(size), 4) &&
           file.seekg((std::streamoff{size[0]} | std::streamoff{size[1]} << 8 |
                       std::streamoff{size[2]} << 16 | std::streamoff{size[3]} << 24) -
                          static_cast<std::streamoff>(imageEnd.size()),
                      std::ios::beg) &&
           file.read(found.data(), static_cast<std::streamsize>(found.size())) && found == imageEnd;
}

} // namespace

bool isWholePng(const QString& path, QString& reason)
{
    if (endsWith(path, "IEND\xAE\x42\x60\x82"))
        return true;
    reason = "The end of the file could not be written";
    return false;
}

bool isWholeJpeg(const QString& path, QString& reason)
{
    const std::string end = "\xFF\xD9";
    if (endsWith(path, end) || endsBeforeMask(path, end))
        return true;
    reason = "The end of the file could not be written";
    return false;
}

bool isWholeGeoTiff(const QString& path, QString& reason)
{
    if (gdal::hasAllBlocks(path, reason))
        return true;
    reason.prepend("A part of the file could not be written: ");
    return false;
}

} // namespace vexel
