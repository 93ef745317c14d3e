#include "utilities/tilesetcheck.h"

#include "utilities/filecheck.h"
#include "utilities/tilelayout.h"
#include "utilities/verifyreport.h"

namespace vexel::gdal::verification {

VerifyReport checkSet(const QString& path, const std::vector<TileFile>& files, bool decode)
{
    VerifyReport report;
    std::vector<Tile> tiles;
    for (const TileFile& file : files) {
        const FileCheck check = checkFile(file.path, decode, /*oneOfMany=*/true);
        append(report, check.report);
        if (check.description)
            tiles.push_back({file, *check.description});
    }
    append(report, checkLayout(path, files, tiles));
    return report;
}

} // namespace vexel::gdal::verification
