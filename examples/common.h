#ifndef VEXEL_EXAMPLES_COMMON_H
#define VEXEL_EXAMPLES_COMMON_H

#include <QString>
#include <gdal_priv.h>
#include <vexel/vexel.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// What the example programs have in common.
namespace example {

/// Arguments are taken as UTF-8, in whatever locale the program runs.
inline QString fromArgument(const std::string& argument)
{
    return QString::fromStdString(argument);
}

/// The number that an argument is, or none. With a point, "nan" and "inf" in any case, and without separators: CLI11 2.6
/// takes 1,5 for 15.
inline std::optional<double> numberFromArgument(const std::string& argument)
{
    bool isNumber = false;
    const double value = fromArgument(argument).toLower().toDouble(&isNumber);
    return isNumber ? std::optional<double>(value) : std::nullopt;
}

/// The names of a table.
template <class Value>
std::vector<std::string> keysOf(const std::map<std::string, Value>& table)
{
    std::vector<std::string> names;
    for (const auto& [name, value] : table)
        names.push_back(name);
    return names;
}

/// Opens a raster that may be a file or a set of tile files. GDAL is silenced, which would complain that there is no
/// file of the set's name.
inline void openInput(vexel::GDALStreamer& set, const std::string& path)
{
    const vexel::gdal::RAIIErrorSilencer silence;
    if (!set.openRead(fromArgument(path)))
        throw std::runtime_error("Unable to open input file '" + path + "'");
}

/// The spatial reference of an open set as WKT, empty if it has none. The set has no accessor for what a file
/// declares, so this asks GDAL, under the lock that the library takes too. The dataset is left to the set,
/// which releases it after its next transfer: a file that is closed cannot be read any more.
inline QString projectionOf(vexel::GDALStreamer& set)
{
    const vexel::GDALMutex lock;
    if (!set.open(0) || !set.data(0))
        throw std::runtime_error("Unable to open '" + set.path(0).toStdString() + "'");
    return QString::fromUtf8(set.data(0)->GetProjectionRef());
}

} // namespace example

#endif
