#include "companion/gdaldrivers.h"

#include <gdal_priv.h>

#include <mutex>

namespace vexel::gdal {

void registerDrivers()
{
    static std::once_flag registered;
    std::call_once(registered, [] {
        if (GetGDALDriverManager()->GetDriverCount() == 0)
            GDALAllRegister();
    });
}

} // namespace vexel::gdal
