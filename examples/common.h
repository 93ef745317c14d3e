#ifndef VEXEL_EXAMPLES_COMMON_H
#define VEXEL_EXAMPLES_COMMON_H

#include <QString>
#include <cpl_error.h>
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
    names.reserve(table.size());
    for (const auto& [name, value] : table)
        names.push_back(name);
    return names;
}

/// Drops GDAL's messages on this thread while it lives. The library's silencer would put its own handler in the
/// place of the program's.
class SilentGdal
{
public:
    SilentGdal() { CPLPushErrorHandler(&CPLQuietErrorHandler); }
    ~SilentGdal() { CPLPopErrorHandler(); }
    SilentGdal(const SilentGdal&) = delete;
    SilentGdal& operator=(const SilentGdal&) = delete;
};

/// Opens a raster that may be a file or a set of tile files. GDAL is silenced, which would complain that there is no
/// file of the set's name.
inline void openInput(vexel::GDALStreamer& set, const std::string& path)
{
    const SilentGdal silence;
    if (!set.openRead(fromArgument(path)))
        throw std::runtime_error("Unable to open input file '" + path +
                                 "': " + set.lastError().text.toStdString());
}

} // namespace example

#endif
