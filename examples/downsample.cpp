// Builds a coarser copy of a raster: vexel-downsample INPUT OUTPUT --resolution R --strategy NAME ...
//
// Exit codes: 0 the output is there and whole, 1 something failed (standard error says what), 2 wrong usage, 3 the output
// is there, but pixels of the input that could not be read count as 0 in it, 130 stopped by Ctrl-C or SIGTERM, and
// nothing is left of the output.
// Standard output has one "name: value" a line; messages and progress go to standard error.

#include "commandline.h"
#include "common.h"
#include "progressbar.h"
#include "stoponsignal.h"
#include "system.h"

#include <QString>
#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <vexel/vexel.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

struct Arguments
{
    std::string input;
    std::string output;
    double resolution = 0.0;
    std::string strategy;
    bool tiles = false;
    bool alpha = false;
    bool leaveHolesOut = false;
    std::string srs;
    std::string noData;
    bool progress = false;
};

const std::map<std::string, vexel::DownsamplingStrategy>& strategies()
{
    using vexel::DownsamplingStrategy;
    static const std::map<std::string, DownsamplingStrategy> byName = {
        {"gauss", DownsamplingStrategy::Gauss},
        {"gaussalias", DownsamplingStrategy::GaussAlias},
        {"average", DownsamplingStrategy::Average},
        {"median", DownsamplingStrategy::Median},
        {"percentile75", DownsamplingStrategy::Percentile75},
        {"min", DownsamplingStrategy::Min},
        {"max", DownsamplingStrategy::Max},
        {"warp", DownsamplingStrategy::Warp},
    };
    return byName;
}

std::string checkResolution(const std::string& text)
{
    const std::optional<double> value = example::numberFromArgument(text);
    return value && std::isfinite(*value) && *value > 0.0 ? "" : "'" + text + "' is not a positive number";
}

std::string checkNoData(const std::string& text)
{
    return text == "auto" || example::numberFromArgument(text)
               ? ""
               : "'" + text + "' is neither a number nor nan nor auto";
}

/// What single options cannot tell.
void checkTogether(const Arguments& arguments)
{
    if (arguments.strategy != "warp")
        return;
    if (arguments.tiles)
        example::CommandLine::refuse("--tiles", "the strategy warp works on single files only");
    if (!arguments.srs.empty())
        example::CommandLine::refuse("--srs", "the strategy warp keeps the input's spatial reference");
}

void declareArguments(example::CommandLine& line, Arguments& arguments)
{
    line.add("INPUT", arguments.input, "raster file, or with --tiles the name of a set of tile files")
        .required();
    line.add("OUTPUT", arguments.output, "raster to create; an earlier one is replaced").required();
    line.add("--resolution", arguments.resolution, "edge of an output pixel in map units")
        .required()
        .check(checkResolution)
        .placeholder("R");
    line.add("--strategy", arguments.strategy, "how a block of pixels becomes one")
        .required()
        .oneOf(example::keysOf(strategies()))
        .placeholder("NAME");
    line.addFlag("--tiles", arguments.tiles, "input and output are sets of tile files NAME_x_y.tif");
    line.addFlag("--alpha", arguments.alpha, "the last band is alpha: 0 where a pixel is transparent");
    line.add("--srs", arguments.srs,
             "spatial reference of the output: a file with WKT, or EPSG:n "
             "[default: that of the input]")
        .placeholder("FILE|EPSG:n");
    line.add("--nodata", arguments.noData,
             "value that means no data: a number, nan, or auto for the one that the input declares for its "
             "first band, if any [default: values below -9999.999 alone]")
        .check(checkNoData)
        .placeholder("auto|VALUE");
    line.addFlag("--leave-holes-out", arguments.leaveHolesOut,
                 "let gauss blur valid pixels only, without those that are no-data or transparent");
    line.addFlag("--progress", arguments.progress, "draw the progress bar even if nobody is looking");
    line.addVersion(std::string("vexel-downsample ") + vexel::version());
    line.checkTogether([&arguments] { checkTogether(arguments); });
    line.setFooter(
        "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done, but pixels of the input could not be read and "
        "count as 0, 130 stopped by Ctrl-C or SIGTERM.");
}

/// The text of a file, or `text` itself if there is no such file.
std::string contentOrText(const std::string& text)
{
    std::ifstream file(text, std::ios::binary);
    if (!file)
        return text;
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// What `--srs` says, as WKT.
QString projectionFromArgument(const std::string& srs)
{
    OGRSpatialReference reference;
    if (reference.SetFromUserInput(contentOrText(srs).c_str()) != OGRERR_NONE)
        throw std::runtime_error("'" + srs +
                                 "' is neither a file with a spatial reference nor one by itself");
    char* wkt = nullptr;
    const OGRErr error = reference.exportToWkt(&wkt);
    const QString result = QString::fromUtf8(wkt);
    CPLFree(wkt);
    if (error != OGRERR_NONE || result.isEmpty())
        throw std::runtime_error("The spatial reference '" + srs + "' cannot be written as WKT");
    return result;
}

/// What the first band of an open set declares as no-data. The set has no accessor for it, so this asks GDAL,
/// under the lock that the library takes too.
std::optional<double> declaredNoData(vexel::GDALStreamer& set)
{
    const vexel::GDALMutex lock;
    if (!set.open(0) || !set.data(0))
        throw std::runtime_error("Unable to open '" + set.path(0).toStdString() + "'");
    int isDeclared = 0;
    const double value = set.data(0)->GetRasterBand(1)->GetNoDataValue(&isDeclared);
    return isDeclared != 0 ? std::optional<double>(value) : std::nullopt;
}

/// What `--nodata` says about an open set.
std::optional<double> noDataFromArgument(const std::string& text, vexel::GDALStreamer& input)
{
    if (text.empty())
        return std::nullopt;
    if (text == "auto")
        return declaredNoData(input);
    return example::numberFromArgument(text);
}

std::string failureText(const vexel::JobRunner::Result& result)
{
    const std::string reason =
        result.exceptionText.isEmpty() ? "" : ": " + result.exceptionText.toStdString();
    if (result.outcome == vexel::JobRunner::Outcome::Cancelled)
        return "Stopped, but the output cannot be removed" + reason;
    if (result.outcome == vexel::JobRunner::Outcome::CouldNotStart || result.failedSteps.empty())
        return "The job cannot start" + reason;
    return "Tile " + std::to_string(result.failedSteps.front() + 1) + " failed" + reason +
           "; nothing is left of the output";
}

/// What to say about pixels of the input that could not be read; empty if all could.
std::string unreadText(const vexel::DownsamplerBase& job, std::uint64_t pixels)
{
    const auto first = job.firstUnread();
    if (pixels == 0 || !first)
        return {};
    const vexel::PixelPoint& corner = first->box.min_corner();
    const vexel::PixelPoint& end = first->box.max_corner();
    std::ostringstream text;
    text << pixels << " pixels of the input could not be read and count as 0, first in '"
         << first->file.toStdString() << "', band " << first->band << ", columns " << corner.x() << " to "
         << end.x() - 1 << ", rows " << corner.y() << " to " << end.y() - 1;
    return text.str();
}

/// Runs the job to its end, then destroys it, which completes the output files. Returns what to say about the input.
std::string run(vexel::JobRunner& runner, std::shared_ptr<vexel::DownsamplerBase> job, bool showProgress)
{
    example::ProgressBar bar(showProgress);
    runner.setProgress([&bar](const vexel::JobRunner::Progress& progress) { bar.show(progress); });
    const vexel::JobRunner::Result result = runner.run(*job);
    if (result.outcome == vexel::JobRunner::Outcome::Cancelled && result.exceptionText.isEmpty())
        throw example::Stopped("Stopped; nothing is left of the output");
    if (result.outcome != vexel::JobRunner::Outcome::Finished)
        throw std::runtime_error(failureText(result));
    const std::string unread = unreadText(*job, result.unreadPixels);
    bar.show("completing the output");
    job.reset();
    bar.show("done");
    return unread;
}

/// Opens what was written and reads the last pixel of each file, since completing a file reports nothing.
void openWhole(vexel::GDALStreamer& set, const QString& path, vexel::GdalFileType type, std::uint64_t bands)
{
    bool whole = set.openRead(path, type) && set.noBands() == bands;
    for (std::uint64_t i = 0; whole && i < set.noTiles(); ++i) {
        const vexel::PixelPoint end = set.itile(i).max_corner();
        const vexel::PixelBox last({end.x() - 1, end.y() - 1}, end);
        vexel::PixelMatrix<double> pixel;
        whole = set.read(pixel, bands, last, /* scale */ 1.0, /* fill */ false, 0.0);
    }
    if (!whole)
        throw std::runtime_error("The output '" + path.toStdString() + "' is not whole");
}

/// Removes the files of an open set and those beside them.
void removeFiles(vexel::GDALStreamer& set)
{
    using vexel::file::remove;
    for (std::uint64_t i = 0; i < set.noTiles(); ++i) {
        for (const QString& beside : {set.tfwpath(i), set.prjpath(i)})
            if (vexel::file::exists(beside))
                remove(beside);
        remove(set.path(i));
    }
    set.close();
}

std::string textOf(const std::optional<double>& noData)
{
    return noData ? QString::number(*noData, 'g', 17).toStdString() : "none";
}

void report(const Arguments& arguments, const vexel::GDALStreamer& input, const vexel::GDALStreamer& output,
            double seconds)
{
    constexpr double mapUnit = 1e-5;
    const double megapixels = 1e-6 * input.width() * input.height();
    std::cout << "strategy: " << arguments.strategy << "\n"
              << "input size: " << input.width() << " x " << input.height() << "\n"
              << "output size: " << output.width() << " x " << output.height() << "\n"
              << "resolution: " << mapUnit * static_cast<double>(output.res()) << "\n"
              << "seconds: " << seconds << "\n"
              << "Mpx/s: " << megapixels / seconds << "\n"
              << "peak memory MiB: " << example::peakMemoryMiB() << std::endl;
}

void downsample(const Arguments& arguments)
{
    using namespace vexel;
    const QString inputPath = example::fromArgument(arguments.input);
    const QString outputPath = example::fromArgument(arguments.output);
    const GdalFileType type = arguments.tiles ? GdalFileType::TileSet : GdalFileType::SingleFile;

    GDALStreamer input;
    if (!input.openRead(inputPath, type))
        throw std::runtime_error("Unable to open input file '" + arguments.input + "'");
    const QString wkt =
        arguments.srs.empty() ? example::projectionOf(input) : projectionFromArgument(arguments.srs);

    const std::optional<double> noData = noDataFromArgument(arguments.noData, input);

    JobRunner runner;
    const example::StopOnSignal stopOnSignal(runner);
    const auto start = std::chrono::steady_clock::now();
    std::shared_ptr<DownsamplerBase> job = DownsamplerFactory::createDownsampler(
        strategies().at(arguments.strategy), inputPath, outputPath, wkt, arguments.resolution,
        arguments.alpha ? ImageAlphaType::LastBand : ImageAlphaType::NoAlpha, type);
    if (noData)
        job->treatAsNoData(*noData);
    job->leaveHolesOut(arguments.leaveHolesOut);
    const std::string unread = run(runner, std::move(job), arguments.progress || example::isErrorATerminal());
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

    GDALStreamer output;
    openWhole(output, outputPath, type, input.noBands());
    if (stopOnSignal.asked()) {
        // While files are completed there is no way to stop.
        removeFiles(output);
        throw example::Stopped("Stopped; nothing is left of the output");
    }
    report(arguments, input, output, elapsed.count());
    if (!arguments.noData.empty())
        std::cout << "no-data: " << textOf(noData) << std::endl;
    if (arguments.leaveHolesOut)
        std::cout << "holes: left out" << std::endl;
    if (!unread.empty())
        throw example::Unread(unread);
}

} // namespace

int main(int argc, char** argv)
{
    example::CommandLine line("Builds a coarser copy of a raster.", "vexel-downsample");
    Arguments arguments;
    declareArguments(line, arguments);
    return line.run(argc, argv, [&] { downsample(arguments); });
}
