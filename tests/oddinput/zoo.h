#ifndef VEXEL_TESTS_ODDINPUT_ZOO_H
#define VEXEL_TESTS_ODDINPUT_ZOO_H

#include "companion/DataType.h"

#include <QString>

#include <functional>
#include <string>
#include <vector>

/// Rasters in all the layouts that GDAL's own drivers write.
namespace zoo {

/// What GDAL must have been built with to make a raster.
struct Needs
{
    std::string driver;
    std::string compression = {}; ///< a value of the driver's creation option COMPRESS
    std::string type = {};        ///< a pixel type that the driver writes
};

struct Specimen
{
    std::string name;
    std::string file; ///< its name, without folder
    Needs needs;
    int bands;
    vexel::DataType dtype; ///< `Unknown` if the library reads no such pixels
    int pages;
    std::function<void(const QString& path)> make; ///< may put further files beside it
};

/// All of them.
const std::vector<Specimen>& specimens();

/// The one of that name; throws if there is none.
const Specimen& specimen(const std::string& name);

/// What this GDAL lacks to make it, by its own list; empty if nothing.
std::string missing(const Specimen& specimen);

} // namespace zoo

#endif
