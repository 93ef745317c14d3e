#include "companion/imageformat.h"

#include "companion/file.h"

#include <algorithm>
#include <initializer_list>

namespace vexel {

namespace {

bool hasExtensionOf(const QString& path, std::initializer_list<const char*> extensions)
{
    const QString extension = file::extension(path).toLower();
    return std::any_of(extensions.begin(), extensions.end(),
                       [&](const char* candidate) { return extension == QLatin1String(candidate); });
}

} // namespace

bool isJpeg(const QString& path)
{
    return hasExtensionOf(path, {".jpg", ".jpeg", ".jpe"});
}

bool isPng(const QString& path)
{
    return hasExtensionOf(path, {".png"});
}

bool isJp2(const QString& path)
{
    return hasExtensionOf(path, {".jp2", ".j2k", ".jpx", ".jpf", ".jpc", ".j2c"});
}

} // namespace vexel
