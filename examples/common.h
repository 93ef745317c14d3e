#ifndef VEXEL_EXAMPLES_COMMON_H
#define VEXEL_EXAMPLES_COMMON_H

#include <CLI/CLI.hpp>
#include <QString>
#include <gdal_priv.h>
#include <vexel/vexel.h>

#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>

/// What the example programs have in common.
namespace example {

/// Exit codes of every program.
enum ExitCode
{
    done = 0,
    failed = 1,   ///< the reason is on standard error
    usage = 2,    ///< the arguments make no sense; nothing was touched
    stopped = 130 ///< by Ctrl-C or SIGTERM; nothing is left of the output
};

/// Ends a program that was asked to stop.
class Stopped : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

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

/// GDAL's threads and memory are the application's to allow; the library takes what it finds. A user's own settings,
/// in the environment, go first.
inline void configureGdal()
{
    // Blocks of GeoTIFFs are decoded and encoded on all processors. That is most of what these programs do.
    if (!CPLGetConfigOption("GDAL_NUM_THREADS", nullptr))
        CPLSetConfigOption("GDAL_NUM_THREADS", "ALL_CPUS");
    // By default GDAL keeps decoded blocks until they fill a twentieth of the machine's memory. The library asks for
    // each block once, so that a larger cache than this one gains nothing.
    if (!CPLGetConfigOption("GDAL_CACHEMAX", nullptr))
        CPLSetConfigOption("GDAL_CACHEMAX", "64");
}

/// Parses the arguments, then does the work; every failure becomes a message and an exit code.
template <class Work>
int runProgram(CLI::App& app, int argc, char** argv, const Work& work)
{
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? done : usage;
    }
    try {
        configureGdal();
        // GDAL's own messages join those of the library.
        vexel::gdal::setErrorHandler(vexel::gdal::logErrorHandler);
        work();
        return done;
    } catch (const Stopped& reason) {
        std::cerr << app.get_name() << ": " << reason.what() << std::endl;
        return stopped;
    } catch (const std::exception& error) {
        std::cerr << app.get_name() << ": " << error.what() << std::endl;
        return failed;
    }
}

} // namespace example

#endif
