#include "FuzzInput.h"

#include "companion/log.h"

#include <cpl_error.h>
#include <gdal_frmts.h>
#include <gdal_priv.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace fuzz {

namespace {

bool prepareOnce()
{
    vexel::log::defaultLogSource().setSink(
        [](vexel::log::level, const QString&, const vexel::log::FileAndLine&, const QString&) {});
    CPLSetErrorHandler(CPLQuietErrorHandler);
    // The library leaves drivers that are registered as they are. Those of other formats are not what is tested.
    GDALRegister_GTiff();
    GDALRegister_PNG();
    GDALRegister_JPEG();
    GDALRegister_MEM();
    GDALRegister_VRT();
    GDALSetCacheMax64(cacheBytes);
    return true;
}

} // namespace

void require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

void prepare()
{
    static const bool prepared = prepareOnce();
    (void)prepared;
}

QString temporaryFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "vexel-fuzz-XXXXXX").string();
    require(mkdtemp(name.data()) != nullptr, "there is a temporary folder");
    return QString::fromStdString(name);
}

} // namespace fuzz
