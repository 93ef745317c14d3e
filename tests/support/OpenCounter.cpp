#include "support/OpenCounter.h"

#include <gdal_priv.h>

#include <mutex>
#include <vector>

namespace {

/// What the driver notes, which is called without anything of the counter's.
struct Notes
{
    std::mutex mutex;
    std::map<std::string, int> opens;
};

Notes& notes()
{
    static Notes all;
    return all;
}

GDALDataset* noteAndTurnDown(GDALOpenInfo* info)
{
    const std::lock_guard<std::mutex> lock(notes().mutex);
    ++notes().opens[info->pszFilename];
    return nullptr;
}

std::vector<GDALDriver*> registeredDrivers()
{
    GDALDriverManager& manager = *GetGDALDriverManager();
    if (manager.GetDriverCount() == 0)
        GDALAllRegister();
    std::vector<GDALDriver*> drivers;
    for (int i = 0; i < manager.GetDriverCount(); ++i)
        drivers.push_back(manager.GetDriver(i));
    return drivers;
}

GDALDriver* makeSpy()
{
    auto* spy = new GDALDriver();
    spy->SetDescription("OpenCounter");
    spy->SetMetadataItem(GDAL_DCAP_RASTER, "YES");
    spy->pfnOpen = noteAndTurnDown;
    return spy;
}

} // namespace

OpenCounter::OpenCounter() : m_spy(makeSpy())
{
    reset();
    // Drivers are asked in the order of their registration.
    const std::vector<GDALDriver*> others = registeredDrivers();
    GDALDriverManager& manager = *GetGDALDriverManager();
    for (GDALDriver* driver : others)
        manager.DeregisterDriver(driver);
    manager.RegisterDriver(m_spy);
    for (GDALDriver* driver : others)
        manager.RegisterDriver(driver);
}

OpenCounter::~OpenCounter()
{
    GetGDALDriverManager()->DeregisterDriver(m_spy);
    GDALDestroyDriver(m_spy);
}

int OpenCounter::opens(const QString& path) const
{
    const std::lock_guard<std::mutex> lock(notes().mutex);
    const auto found = notes().opens.find(path.toStdString());
    return found == notes().opens.end() ? 0 : found->second;
}

std::map<std::string, int> OpenCounter::opens() const
{
    const std::lock_guard<std::mutex> lock(notes().mutex);
    return notes().opens;
}

int OpenCounter::total() const
{
    int total = 0;
    for (const auto& path : opens())
        total += path.second;
    return total;
}

void OpenCounter::reset()
{
    const std::lock_guard<std::mutex> lock(notes().mutex);
    notes().opens.clear();
}
