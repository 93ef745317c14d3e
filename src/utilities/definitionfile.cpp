#include "utilities/definitionfile.h"

#include "companion/nativepath.h"

#include <filesystem>
#include <string>
#include <system_error>

namespace vexel::gdal {

QString definitionForGdal(const QString& path, const QString& content)
{
    std::error_code error;
    const std::string bytes = file::utf8Of(std::filesystem::absolute(file::nativePath(path), error));
    const QString absolute = QString::fromStdString(bytes);
    // GDAL reads many starts of a text as a reference before it looks for a file, more in each version, but none of them is
    // that of an absolute path. These two it looks for anywhere.
    const bool isTakenForDefinition = absolute.contains("+proj") || absolute.contains("+init");
    const bool isNameOfFile = !error && absolute.toStdString() == bytes; // a folder's name may be no UTF-8
    return isNameOfFile && !isTakenForDefinition ? absolute : content;
}

} // namespace vexel::gdal
