// Measures what no downsampler can do without: vexel-bench-floor INPUT... --output FILE...
//
// Decodes every block of the inputs once, and encodes the finished outputs once, by GDAL with the threads and the
// cache that its configuration gives. Opening the outputs and decoding them is not counted.
// Standard output has one "name: value" a line.

#include <CLI/CLI.hpp>
#include <gdal_priv.h>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct CloseDataset
{
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<GDALDataset, CloseDataset>;

void check(bool done, const std::string& what)
{
    if (!done)
        throw std::runtime_error(what + ": " + CPLGetLastErrorMsg());
}

/// Time on the clock, and of all threads together.
struct Seconds
{
    double wall = 0.0;
    double cpu = 0.0;
};

Seconds now()
{
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
    };
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now().time_since_epoch();
    return {wall.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime)};
}

template <class Work>
Seconds measured(const Work& work)
{
    const Seconds start = now();
    work();
    const Seconds end = now();
    return {end.wall - start.wall, end.cpu - start.cpu};
}

Dataset open(const std::string& path)
{
    Dataset dataset(
        GDALDataset::FromHandle(GDALOpenEx(path.c_str(), GDAL_OF_RASTER, nullptr, nullptr, nullptr)));
    check(dataset && dataset->GetRasterCount() > 0, path);
    return dataset;
}

/// Rows to read at a time: whole blocks, and so many that GDAL's threads have several of them.
int rowsAtATime(GDALDataset& dataset)
{
    constexpr int fewest = 256;
    int blockWidth = 0;
    int blockHeight = 0;
    dataset.GetRasterBand(1)->GetBlockSize(&blockWidth, &blockHeight);
    const int blocks = std::max(1, fewest / blockHeight);
    return std::min(blocks * blockHeight, dataset.GetRasterYSize());
}

/// @param pixels keeps its memory from file to file.
void decode(const std::string& path, std::vector<std::uint8_t>& pixels)
{
    const Dataset dataset = open(path);
    const GDALDataType type = dataset->GetRasterBand(1)->GetRasterDataType();
    const int width = dataset->GetRasterXSize();
    const int bands = dataset->GetRasterCount();
    const GSpacing valueBytes = GDALGetDataTypeSizeBytes(type);
    const int rows = rowsAtATime(*dataset);
    pixels.resize(std::max(pixels.size(), static_cast<std::size_t>(valueBytes * bands * width * rows)));
    for (int y = 0; y < dataset->GetRasterYSize(); y += rows) {
        const int count = std::min(rows, dataset->GetRasterYSize() - y);
        check(dataset->RasterIO(GF_Read, 0, y, width, count, pixels.data(), width, count, type, bands,
                                nullptr, valueBytes * bands, valueBytes * bands * width, valueBytes,
                                nullptr) == CE_None,
              path);
    }
}

Dataset inMemory(const std::string& path)
{
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("MEM");
    const Dataset source = open(path);
    Dataset copy(driver ? driver->CreateCopy("", source.get(), FALSE, nullptr, nullptr, nullptr) : nullptr);
    check(copy != nullptr, path);
    return copy;
}

/// As the library completes its files.
void encode(GDALDataset& pixels, const std::string& path)
{
    const bool isFloating = GDALDataTypeIsFloating(pixels.GetRasterBand(1)->GetRasterDataType()) != 0;
    std::vector<const char*> options = {"BIGTIFF=IF_SAFER", "COMPRESS=LZW",
                                        isFloating ? "PREDICTOR=3" : "PREDICTOR=2"};
    const int bands = pixels.GetRasterCount();
    if (bands == 3 || bands == 4)
        options.push_back("PHOTOMETRIC=RGB");
    if (bands == 4)
        options.push_back("ALPHA=YES");
    options.push_back(nullptr);
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    const Dataset written(driver ? driver->CreateCopy(path.c_str(), &pixels, FALSE,
                                                      const_cast<char**>(options.data()), nullptr, nullptr)
                                 : nullptr);
    check(written != nullptr, path);
}

Seconds encodeAll(const std::vector<std::string>& outputs)
{
    Seconds total;
    for (const std::string& output : outputs) {
        const Dataset pixels = inMemory(output);
        const std::string copy = output + ".floor.tif";
        const Seconds seconds = measured([&] { encode(*pixels, copy); });
        total.wall += seconds.wall;
        total.cpu += seconds.cpu;
        std::filesystem::remove(copy);
        std::filesystem::remove(copy + ".aux.xml");
    }
    return total;
}

void report(const std::string& half, const Seconds& seconds)
{
    std::cout << half << " wall seconds: " << seconds.wall << "\n"
              << half << " CPU seconds: " << seconds.cpu << std::endl;
}

void measure(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs)
{
    GDALAllRegister();
    std::vector<std::uint8_t> pixels;
    report("decode", measured([&] {
               for (const std::string& input : inputs)
                   decode(input, pixels);
           }));
    report("encode", encodeAll(outputs));
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Decodes rasters once and encodes others once, and tells how long it takes.",
                 "vexel-bench-floor");
    std::vector<std::string> inputs;
    std::vector<std::string> outputs;
    app.add_option("INPUT", inputs, "files to decode")->required();
    app.add_option("--output", outputs, "finished files to encode again")->required();
    CLI11_PARSE(app, argc, argv);
    try {
        measure(inputs, outputs);
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "vexel-bench-floor: " << e.what() << std::endl;
        return 1;
    }
}
