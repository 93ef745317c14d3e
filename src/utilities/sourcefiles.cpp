#include "utilities/sourcefiles.h"

#include "companion/quietthread.h"
#include "streaming/GDALMutex.h"
#include "streaming/gdaldataset.h"

#include <memory>
#include <set>
#include <string>

namespace vexel::gdal {

namespace {

struct DestroyList
{
    void operator()(char** list) const { CSLDestroy(list); }
};
using List = std::unique_ptr<char*, DestroyList>;

bool isVirtual(GDALDataset& dataset)
{
    const GDALDriver* driver = dataset.GetDriver();
    return driver && EQUAL(driver->GetDescription(), "VRT");
}

bool hasOldStyleJpeg(GDALDataset& dataset)
{
    const char* compression = dataset.GetMetadataItem("COMPRESSION", "IMAGE_STRUCTURE");
    return compression && EQUAL(compression, "OJPEG");
}

/// Only what may have such pixels, or such sources. Does not list the folder, as it would for each source of many.
Dataset openTiffOrVirtual(const char* path)
{
    const char* const drivers[] = {"GTiff", "VRT", nullptr};
    const char* const noSiblings[] = {nullptr};
    return takeDataset(GDALOpenEx(path, GDAL_OF_RASTER | GDAL_OF_READONLY, drivers, nullptr, noSiblings));
}

bool givesSame(GDALDataset& dataset, std::set<std::string>& known)
{
    if (hasOldStyleJpeg(dataset))
        return false;
    if (!isVirtual(dataset))
        return true;
    const List list(dataset.GetFileList());
    for (char** name = list.get(); name && *name; ++name) {
        if (!known.insert(*name).second)
            continue;
        const Dataset source = openTiffOrVirtual(*name);
        if (source && !givesSame(*source, known))
            return false;
    }
    return true;
}

} // namespace

bool givesSamePixelsAgain(GDALDataset& dataset)
{
    const QuietThread quiet;
    std::set<std::string> known;
    return givesSame(dataset, known);
}

QStringList filesBehind(const QStringList& rasters)
{
    const GDALMutex lock;
    const QuietThread quiet; // what does not open is told when its pixels are wanted
    QStringList files = rasters;
    // A virtual raster names its sources, but not what belongs to these.
    QStringList toOpen = rasters;
    std::set<QString> known(rasters.begin(), rasters.end());
    for (int i = 0; i < toOpen.size(); ++i) {
        const Dataset dataset = openDataset(toOpen[i], GA_ReadOnly);
        if (!dataset)
            continue;
        const List list(dataset->GetFileList());
        for (char** name = list.get(); name && *name; ++name) {
            const QString file = QString::fromUtf8(*name);
            if (!known.insert(file).second)
                continue;
            files << file;
            if (isVirtual(*dataset))
                toOpen << file;
        }
    }
    return files;
}

} // namespace vexel::gdal
