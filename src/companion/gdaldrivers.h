#ifndef VEXEL_COMPANION_GDALDRIVERS_H
#define VEXEL_COMPANION_GDALDRIVERS_H

namespace vexel::gdal {

/// Registers GDAL's drivers, once in a process and from whichever thread comes first, unless the application
/// has registered any itself. To be called before GDAL is asked to open or create a dataset.
void registerDrivers();

} // namespace vexel::gdal

#endif
