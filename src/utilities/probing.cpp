#include "utilities/probing.h"

#include "companion/logmessage.h"

#include <exception>

namespace vexel {

namespace gdal {

bool doesExistValidFileAt(const QString& path, std::function<void(const GDALStreamer&)> onValid)
{
    GDALStreamer set;
    const bool valid = set.openRead(path);
    if (valid && onValid)
        onValid(set);
    return valid;
}

} // namespace gdal

void imageInfoWithGDAL(const GDALStreamer& set, ImageInfo& info)
{
    const Workspace& workspace = set.workspace();
    info.width = workspace.dx2px(workspace.width());
    info.height = workspace.dx2px(workspace.height());
    info.dtype = set.dtype();
    info.noBands = set.noBands();
    info.noPages = set.noPages();
}

bool imageInfoWithGDAL(const QString& path, ImageInfo& info)
{
    if (path.isEmpty()) {
        info = ImageInfo();
        return false;
    }
    try {
        GDALStreamer set;
        if (set.openRead(path, GdalFileType::SingleFile)) {
            imageInfoWithGDAL(set, info);
            return true;
        }
        log::message(log::level::warning) << "Unable to open image " + path;
    } catch (const std::exception&) {
        // A path that cannot be probed holds no image, whatever the reason.
    }
    return false;
}

} // namespace vexel
