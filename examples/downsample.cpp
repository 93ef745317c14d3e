// Builds a coarser copy of a raster: vexel-downsample INPUT OUTPUT --resolution R --strategy NAME ...
//
// Exit codes: 0 the output is there and whole, 1 something failed (standard error says what), 2 wrong usage.
// Standard output has one "name: value" a line; messages and progress go to standard error.

#include "common.h"

#include <CLI/CLI.hpp>
#include <QString>
#include <ogr_spatialref.h>
#include <vexel/vexel.h>

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

struct Arguments
{
    std::string input;
    std::string output;
    double resolution = 0.0;
    std::string strategy;
    bool tiles = false;
    bool alpha = false;
    std::string srs;
    bool progress = false;
};

const std::map<std::string, vexel::DownsamplingStrategy>& strategies()
{
    using vexel::DownsamplingStrategy;
    static const std::map<std::string, DownsamplingStrategy> byName = {
        {"gauss", DownsamplingStrategy::Gauss},   {"average", DownsamplingStrategy::Average},
        {"median", DownsamplingStrategy::Median}, {"percentile75", DownsamplingStrategy::Percentile75},
        {"min", DownsamplingStrategy::Min},       {"max", DownsamplingStrategy::Max},
        {"warp", DownsamplingStrategy::Warp},
    };
    return byName;
}

std::string checkResolution(const std::string& text)
{
    double value = 0.0;
    const bool isNumber = CLI::detail::lexical_cast(text, value);
    return isNumber && std::isfinite(value) && value > 0.0 ? "" : "'" + text + "' is not a positive number";
}

void declareArguments(CLI::App& app, Arguments& arguments)
{
    app.add_option("INPUT", arguments.input, "raster file, or with --tiles the name of a set of tile files")
        ->required();
    app.add_option("OUTPUT", arguments.output, "raster to create; an earlier one is replaced")->required();
    app.add_option("--resolution", arguments.resolution, "edge of an output pixel in map units")
        ->required()
        ->check(CLI::Validator(checkResolution, ""))
        ->type_name("R");
    app.add_option("--strategy", arguments.strategy, "how a block of pixels becomes one")
        ->required()
        ->check(CLI::IsMember(strategies()))
        ->type_name("NAME");
    app.add_flag("--tiles", arguments.tiles, "input and output are sets of tile files NAME_x_y.tif");
    app.add_flag("--alpha", arguments.alpha, "the last band is alpha: 0 where a pixel is transparent");
    app.add_option("--srs", arguments.srs,
                   "spatial reference of the output: a file with WKT, or EPSG:n "
                   "[default: that of the input]")
        ->type_name("FILE|EPSG:n");
    app.add_flag("--progress", arguments.progress, "draw the progress bar even if nobody is looking");
    app.set_version_flag("--version", std::string("vexel-downsample ") + vexel::version());
    app.footer("Exit codes: 0 done, 1 failed, 2 wrong usage.");
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

class ProgressBar
{
public:
    explicit ProgressBar(bool visible) : m_visible(visible) {}
    ~ProgressBar()
    {
        if (m_visible)
            std::cerr << std::endl;
    }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void show(std::size_t stepsDone, std::size_t steps, const char* what) const
    {
        if (!m_visible)
            return;
        constexpr std::size_t width = 40;
        const std::size_t filled = steps == 0 ? 0 : width * stepsDone / steps;
        std::cerr << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] "
                  << stepsDone << "/" << steps << " tiles, " << what << std::flush;
    }

private:
    bool m_visible;
};

/// Runs the job to its end, then destroys it, which completes the output files.
void run(std::shared_ptr<vexel::Worker> job, const ProgressBar& progress)
{
    std::size_t steps = 0;
    if (!job->do_init(steps))
        throw std::runtime_error("The job cannot start");
    for (std::size_t step = 0; step < steps; ++step) {
        progress.show(step, steps, "downsampling  ");
        if (!job->do_step(step))
            throw std::runtime_error("Tile " + std::to_string(step) + " failed; the output is incomplete");
    }
    progress.show(steps, steps, "closing output");
    job.reset();
    progress.show(steps, steps, "done          ");
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

double peakMemoryMiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
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
              << "peak memory MiB: " << peakMemoryMiB() << std::endl;
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

    const auto start = std::chrono::steady_clock::now();
    {
        const ProgressBar progress(arguments.progress || isatty(STDERR_FILENO) != 0);
        run(DownsamplerFactory::createDownsampler(
                strategies().at(arguments.strategy), inputPath, outputPath, wkt, arguments.resolution,
                arguments.alpha ? ImageAlphaType::LastBand : ImageAlphaType::NoAlpha, type),
            progress);
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

    GDALStreamer output;
    openWhole(output, outputPath, type, input.noBands());
    report(arguments, input, output, elapsed.count());
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Builds a coarser copy of a raster.", "vexel-downsample");
    Arguments arguments;
    declareArguments(app, arguments);
    return example::runProgram(app, argc, argv, [&] { downsample(arguments); });
}
