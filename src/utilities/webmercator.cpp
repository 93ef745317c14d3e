#include "utilities/webmercator.h"

#include "companion/CommandOptions.h"
#include "companion/file.h"
#include "streaming/GDALMutex.h"
#include "streaming/writetargets.h"
#include "utilities/WarpOutput.h"
#include "utilities/definitionfile.h"
#include "utilities/warpoptions.h"
#include "utilities/webmercatorarguments.h"

#include <gdal_priv.h>
#include <gdal_utils.h>

namespace vexel::gdal {

namespace {

constexpr const char* webMercator = "+proj=merc +a=6378137 +b=6378137 +lat_ts=0.0 +lon_0=0.0 +x_0=0.0 +y_0=0 "
                                    "+k=1.0 +units=m +nadgrids=@null +no_defs";

/// Warps with the options of GDAL's utility. False only if they are refused: a warp that fails for another
/// reason, a missing input for one, counts as done. Callers look whether the output is there.
bool warp(const QString& input, const QString& output, const CommandOptions& arguments)
{
    const Dataset source = openDataset(input, GA_ReadOnly);
    const WarpOptions options = warpOptions(arguments);
    if (!options)
        return false;
    const WarpOutput target(output);
    int usageError = 0;
    GDALDatasetH sources[] = {handleOf(source)};
    target.finish(
        takeDataset(GDALWarp(output.toUtf8().constData(), nullptr, 1, sources, options.get(), &usageError)));
    return usageError == 0;
}

} // namespace

void appendWebMercatorArguments(CommandOptions& arguments, const QString& sourceSrsFile,
                                const QString& targetSrsFile)
{
    arguments << "-q"
              << "-multi"
              << "-overwrite"
              << "-s_srs" << sourceSrsFile << "-t_srs" << targetSrsFile;
}

bool warpToGoogle(const QString& input, const QString& output, const QString& sourceSrs)
{
    const GDALMutex lock;
    const QString sourceSrsFile = file::basepath(output) + "_src.prj";
    const QString targetSrsFile = file::basepath(output) + "_dst.prj";
    QStringList replaced = pathsOfTarget(output);
    for (const QString& srsFile : {sourceSrsFile, targetSrsFile})
        if (file::exists(srsFile))
            replaced << srsFile;
    if (anyIsReadFor(replaced, {input}))
        return false;
    // Not looked at: GDAL refuses a reference file that is missing or makes no sense.
    file::writeText(sourceSrsFile, sourceSrs);
    file::writeText(targetSrsFile, webMercator);
    bool accepted = false;
    try {
        CommandOptions arguments;
        appendWebMercatorArguments(arguments, definitionForGdal(sourceSrsFile, sourceSrs),
                                   definitionForGdal(targetSrsFile, webMercator));
        accepted = warp(input, output, arguments);
    } catch (...) {
        return false;
    }
    return file::remove(sourceSrsFile) && file::remove(targetSrsFile) && accepted;
}

} // namespace vexel::gdal
