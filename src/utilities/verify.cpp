#include "utilities/verify.h"

#include "streaming/writetargets.h"
#include "utilities/filecheck.h"
#include "utilities/tilesetcheck.h"

#include <vector>

namespace vexel::gdal {

VerifyReport verify(const QString& path, bool decode)
{
    verification::FileCheck single = verification::checkFile(path, decode, /*oneOfMany=*/false);
    if (single.description)
        return single.report;
    const std::vector<TileFile> tiles = tileFilesOf(path);
    if (!tiles.empty())
        return verification::checkSet(path, tiles, decode);
    for (VerifyFinding& finding : single.report.findings)
        if (finding.code == VerifyCode::NotOpened)
            finding.code = VerifyCode::NoRaster;
    return single.report;
}

} // namespace vexel::gdal
