#include "downsample.h"

#include "scenes.h"

#include <QString>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <utility>

namespace quality {

namespace {

using vexel::DownsamplingStrategy;
using vexel::GdalFileType;
using vexel::ImageAlphaType;

struct Job
{
    std::string input;
    std::string output;
    Strategy strategy;
    int factor;
    ImageAlphaType alpha;
    GdalFileType type;
};

void run(const Job& job)
{
    std::shared_ptr<vexel::DownsamplerBase> downsampler = vexel::DownsamplerFactory::createDownsampler(
        job.strategy.value, QString::fromStdString(job.input), QString::fromStdString(job.output),
        /*wkt=*/"", job.factor, job.alpha, job.type);
    downsampler->leaveHolesOut(job.strategy.holes == Holes::LeftOut);
    const std::shared_ptr<vexel::Worker> worker = std::move(downsampler);
    std::size_t steps = 0;
    bool done = worker->do_init(steps);
    for (std::size_t step = 0; done && step < steps; ++step)
        done = worker->do_step(step);
    if (!done)
        throw std::runtime_error(std::string(job.strategy.name) + " of '" + job.input + "' failed");
}

void downsampleAll(const std::string& inputFolder, const std::string& outputFolder, const Strategy& strategy,
                   int factor)
{
    for (const Scene& scene : scenes()) {
        const std::string file = std::string("/") + scene.name + ".tif";
        const bool hasAlpha = scene.kind == PixelKind::Rgba;
        run({inputFolder + file, outputFolder + file, strategy, factor,
             hasAlpha ? ImageAlphaType::LastBand : ImageAlphaType::NoAlpha, GdalFileType::SingleFile});
    }
    if (strategy.value == DownsamplingStrategy::Warp)
        return;
    for (const SceneTiles& tiles : sceneTiles()) {
        const std::string file = std::string("/") + tiles.name + ".tif";
        run({inputFolder + file, outputFolder + file, strategy, factor, ImageAlphaType::NoAlpha,
             GdalFileType::TileSet});
    }
}

} // namespace

const std::vector<Strategy>& strategies()
{
    static const std::vector<Strategy> all = {
        {"gauss", DownsamplingStrategy::Gauss},
        {"gaussalias", DownsamplingStrategy::GaussAlias},
        {gaussWithHolesLeftOut, DownsamplingStrategy::Gauss, Holes::LeftOut},
        {"average", DownsamplingStrategy::Average},
        {"median", DownsamplingStrategy::Median},
        {"percentile75", DownsamplingStrategy::Percentile75},
        {"min", DownsamplingStrategy::Min},
        {"max", DownsamplingStrategy::Max},
        {"warp", DownsamplingStrategy::Warp},
    };
    return all;
}

bool isBlockStrategy(const std::string& name)
{
    static const std::set<std::string> blocks = {"average", "median", "percentile75", "min", "max"};
    return blocks.count(name) != 0;
}

bool isGauss(const Strategy& strategy)
{
    return strategy.value == DownsamplingStrategy::Gauss ||
           strategy.value == DownsamplingStrategy::GaussAlias;
}

void downsampleScenes(const std::string& inputFolder, const std::string& outputFolder)
{
    for (const Strategy& strategy : strategies())
        for (const int factor : factors) {
            const std::string folder = outputFolder + "/" + strategy.name + "/" + std::to_string(factor);
            std::filesystem::create_directories(folder);
            downsampleAll(inputFolder, folder, strategy, factor);
        }
}

} // namespace quality
