#include "utilities/sourcefiles.h"

#include "companion/quietthread.h"
#include "streaming/GDALMutex.h"
#include "streaming/gdaldataset.h"

#include <memory>
#include <set>

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

} // namespace

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
