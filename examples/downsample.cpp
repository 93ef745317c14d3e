// Builds a coarser copy of a raster: vexel-downsample INPUT OUTPUT --resolution R --strategy NAME ...
//
// Exit codes: 0 the output is there and whole, 1 something failed (the reason is on standard error), 2 wrong usage,
// 3 the output is there, but pixels of the input that could not be read count as 0 in it, 130 stopped by Ctrl-C or
// SIGTERM, and nothing is left of the output.
// Standard output has one "name: value" per line, or JSON. Messages and progress go to standard error.

#include "commandline.h"
#include "common.h"
#include "progressbar.h"
#include "stoponsignal.h"
#include "system.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <vexel/vexel.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

struct Arguments
{
    std::string input;
    std::string output;
    double resolution = 0.0; // one of both is 0
    double factor = 0.0;
    std::string strategy;
    bool tiles = false;
    bool alpha = false;
    bool leaveHolesOut = false;
    std::string srs;
    std::string noData;
    bool progress = false;
    bool quiet = false;
    bool json = false;
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

std::string checkPositive(const std::string& text)
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
    if ((arguments.resolution > 0.0) == (arguments.factor > 0.0))
        example::CommandLine::refuse("--resolution", "either this or --factor is needed");
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
        .check(checkPositive)
        .placeholder("R");
    line.add("--factor", arguments.factor, "the same as a multiple of the input's, instead of --resolution")
        .check(checkPositive)
        .placeholder("F");
    line.add("--strategy", arguments.strategy, "how to make one pixel of a block of pixels")
        .required()
        .oneOf(example::keysOf(strategies()))
        .placeholder("NAME");
    line.addFlag("--tiles", arguments.tiles, "input and output are sets of tile files NAME_x_y.tif");
    line.addFlag("--alpha", arguments.alpha,
                 "the last band is alpha, and pixels whose alpha is 0 are transparent");
    line.add("--srs", arguments.srs,
             "spatial reference of the output: a file with WKT, or EPSG:n "
             "[default: the one of the input]")
        .placeholder("FILE|EPSG:n");
    line.add("--nodata", arguments.noData,
             "value that means no-data: a number, nan, or auto for the value that the input declares for its "
             "first band, if any [default: only values below -9999.999]")
        .check(checkNoData)
        .placeholder("auto|VALUE");
    line.addFlag("--leave-holes-out", arguments.leaveHolesOut,
                 "let gauss blur valid pixels only, not pixels that are no-data or transparent");
    line.addFlag("--progress", arguments.progress,
                 "draw the progress bar even if standard error is not a terminal");
    line.addFlag("--quiet", arguments.quiet, "print nothing unless something goes wrong");
    line.addFlag("--json", arguments.json, "write the summary as JSON");
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

/// What the options say, and what `--nodata` comes to.
struct Plan
{
    vexel::DownsampleOptions options;
    std::optional<double> noData;
};

vexel::GdalFileType typeOf(const Arguments& arguments)
{
    return arguments.tiles ? vexel::GdalFileType::TileSet : vexel::GdalFileType::SingleFile;
}

/// What is wrong, without what the program knows better than the library how to say.
[[noreturn]] void refuse(const vexel::StreamError& reason)
{
    const bool isArgument = reason.code == vexel::StreamError::Code::BadArgument;
    throw std::runtime_error((isArgument ? reason.text : reason.message()).toStdString());
}

/// A path with stars in place of column and row: "naip_*_*.tif".
std::string tilePattern(const QString& path)
{
    QString pattern = vexel::gdal::tile2path(path, 1, 1);
    const int numbers = static_cast<int>(pattern.lastIndexOf("_1_1"));
    return pattern.replace(numbers, 4, "_*_*").toStdString();
}

/// Opens the input. GDAL is silenced, whose words the library's error has.
void openInput(vexel::GDALStreamer& input, const Arguments& arguments)
{
    using vexel::GdalFileType;
    const example::SilentGdal silence;
    const QString path = example::fromArgument(arguments.input);
    if (input.openRead(path, typeOf(arguments)))
        return;
    const vexel::StreamError reason = input.lastError();
    if (arguments.tiles && input.openRead(path, GdalFileType::SingleFile))
        throw std::runtime_error("no tile files " + tilePattern(path) + "; '" + arguments.input +
                                 "' is a single file: leave --tiles out");
    if (arguments.tiles && reason.code == vexel::StreamError::Code::CannotOpen)
        throw std::runtime_error("no tile files " + tilePattern(path) +
                                 ": give the name without the numbers");
    if (!arguments.tiles && input.openRead(path, GdalFileType::TileSet))
        throw std::runtime_error("no file '" + arguments.input + "', but tile files " + tilePattern(path) +
                                 ": add --tiles");
    refuse(reason);
}

/// What `--nodata` says about an open set.
std::optional<double> noDataFromArgument(const std::string& text, const vexel::GDALStreamer& input)
{
    if (text.empty())
        return std::nullopt;
    return text == "auto" ? input.noDataValue(1) : example::numberFromArgument(text);
}

Plan planOf(const Arguments& arguments, const vexel::GDALStreamer& input)
{
    Plan plan{vexel::DownsampleOptions(example::fromArgument(arguments.input),
                                       example::fromArgument(arguments.output)),
              noDataFromArgument(arguments.noData, input)};
    plan.options.strategy(strategies().at(arguments.strategy))
        .alpha(arguments.alpha)
        .tiles(arguments.tiles)
        .leaveHolesOut(arguments.leaveHolesOut);
    if (arguments.factor > 0.0)
        plan.options.factor(arguments.factor);
    else
        plan.options.resolution(arguments.resolution);
    if (!arguments.srs.empty())
        plan.options.reference(projectionFromArgument(arguments.srs));
    if (plan.noData)
        plan.options.noData(*plan.noData);
    return plan;
}

/// Ends the program unless the job has ended well.
void checkResult(const vexel::JobRunner::Result& result)
{
    using Outcome = vexel::JobRunner::Outcome;
    const std::string thrown =
        result.exceptionText.isEmpty() ? "" : ": " + result.exceptionText.toStdString();
    switch (result.outcome) {
    case Outcome::Finished:
        return;
    case Outcome::Cancelled:
        if (result.exceptionText.isEmpty())
            throw example::Stopped("nothing is left of the output");
        throw std::runtime_error("stopped, but the output cannot be removed" + thrown);
    case Outcome::NotCompleted:
        refuse(result.error);
    case Outcome::CouldNotStart:
        throw std::runtime_error("the job cannot start" + thrown);
    case Outcome::Failed:
        break;
    }
    const std::string where =
        result.failedSteps.empty() ? "the output" : "tile " + std::to_string(result.failedSteps.front() + 1);
    throw std::runtime_error(where + " failed" + thrown + "; nothing is left of the output");
}

/// What to say about pixels of the input that could not be read; empty if all could.
std::string unreadText(const vexel::DownsamplerBase& job)
{
    const auto first = job.firstUnread();
    if (!first)
        return {};
    const vexel::PixelPoint& corner = first->box.min_corner();
    const vexel::PixelPoint& end = first->box.max_corner();
    std::ostringstream text;
    text << job.unreadPixels() << " pixels of the input could not be read and count as 0, first in '"
         << first->file.toStdString() << "', band " << first->band << ", columns " << corner.x() << " to "
         << end.x() - 1 << ", rows " << corner.y() << " to " << end.y() - 1;
    return text.str();
}

/// Runs the job to its end. Returns what to say about the input.
std::string run(vexel::JobRunner& runner, const vexel::DownsampleOptions& options, bool showProgress)
{
    std::shared_ptr<vexel::DownsamplerBase> job;
    try {
        job = vexel::DownsamplerFactory::createDownsampler(options);
    } catch (const vexel::OpenError& error) {
        refuse(error.reason);
    }
    example::ProgressBar bar(showProgress);
    runner.setProgress([&bar](const vexel::JobRunner::Progress& progress) { bar.show(progress); });
    checkResult(runner.run(*job));
    bar.showDone();
    return unreadText(*job);
}

/// Edge of the pixels of a file in map units; none for one without georeference. The set has it in integer map units, which
/// are too coarse for degrees.
std::optional<double> pixelSizeOf(vexel::GDALStreamer& set)
{
    const vexel::GDALMutex lock;
    double transform[6] = {};
    if (!set.open(0) || !set.data(0) || set.data(0)->GetGeoTransform(transform) != CE_None)
        return std::nullopt;
    return std::hypot(transform[1], transform[4]);
}

std::string textOf(const std::optional<double>& number, int digits)
{
    return number ? QString::number(*number, 'g', digits).toStdString() : "none";
}

/// What was done, as JSON has it too.
struct Summary
{
    std::string strategy;
    int inputWidth, inputHeight;
    int outputWidth, outputHeight;
    std::optional<double> resolution;
    double seconds;
    std::optional<std::optional<double>> noData; ///< none if it was not asked for
    bool leaveHolesOut;

    double megapixelsPerSecond() const { return 1e-6 * inputWidth * inputHeight / seconds; }
};

void print(const Summary& summary)
{
    std::cout << "strategy: " << summary.strategy << "\n"
              << "input size: " << summary.inputWidth << " x " << summary.inputHeight << "\n"
              << "output size: " << summary.outputWidth << " x " << summary.outputHeight << "\n"
              << "resolution: " << textOf(summary.resolution, 6) << "\n"
              << "seconds: " << summary.seconds << "\n"
              << "Mpx/s: " << summary.megapixelsPerSecond() << "\n"
              << "peak memory MiB: " << example::peakMemoryMiB() << "\n";
    if (summary.noData)
        std::cout << "no-data: " << textOf(*summary.noData, 17) << "\n";
    if (summary.leaveHolesOut)
        std::cout << "holes: left out\n";
    std::cout << std::flush;
}

/// JSON has no NaN, and no infinity.
QJsonValue jsonOf(const std::optional<double>& number)
{
    if (!number)
        return QJsonValue();
    return std::isfinite(*number) ? QJsonValue(*number) : QJsonValue(QString::number(*number));
}

void printJson(const Summary& summary)
{
    const auto size = [](int width, int height) { return QJsonObject{{"width", width}, {"height", height}}; };
    QJsonObject json{{"strategy", QString::fromStdString(summary.strategy)},
                     {"input", size(summary.inputWidth, summary.inputHeight)},
                     {"output", size(summary.outputWidth, summary.outputHeight)},
                     {"resolution", jsonOf(summary.resolution)},
                     {"seconds", summary.seconds},
                     {"megapixelsPerSecond", summary.megapixelsPerSecond()},
                     {"peakMemoryMiB", example::peakMemoryMiB()},
                     {"leaveHolesOut", summary.leaveHolesOut}};
    if (summary.noData)
        json.insert("noData", jsonOf(*summary.noData));
    std::cout << QJsonDocument(json).toJson().toStdString() << std::flush;
}

Summary summaryOf(const Arguments& arguments, const Plan& plan, vexel::GDALStreamer& input, double seconds)
{
    vexel::GDALStreamer output;
    if (!output.openRead(example::fromArgument(arguments.output), typeOf(arguments)))
        refuse(output.lastError());
    Summary summary{arguments.strategy,     input.width(), input.height(), output.width(),
                    output.height(),        std::nullopt,  seconds,        std::nullopt,
                    arguments.leaveHolesOut};
    if (pixelSizeOf(input))
        summary.resolution = pixelSizeOf(output);
    if (!arguments.noData.empty())
        summary.noData = plan.noData;
    return summary;
}

void downsample(const Arguments& arguments)
{
    vexel::GDALStreamer input;
    openInput(input, arguments);
    const Plan plan = planOf(arguments, input);

    vexel::JobRunner runner;
    const example::StopOnSignal stopOnSignal(runner);
    const auto start = std::chrono::steady_clock::now();
    const bool showProgress = !arguments.quiet && (arguments.progress || example::isErrorATerminal());
    const std::string unread = run(runner, plan.options, showProgress);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

    if (!arguments.quiet) {
        const Summary summary = summaryOf(arguments, plan, input, elapsed.count());
        arguments.json ? printJson(summary) : print(summary);
    }
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
