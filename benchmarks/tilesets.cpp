// What the number of tile files costs: opening a set, and finding the files of a small box.

#include "TemporaryFolder.h"
#include "companion/PixelMatrix.h"
#include "companion/gdaldrivers.h"
#include "streaming/GDALStreamer.h"
#include "utilities/tilenames.h"

#include <benchmark/benchmark.h>
#include <gdal_priv.h>

#include <array>
#include <map>
#include <memory>
#include <stdexcept>

using namespace vexel;

namespace {

constexpr int tileSide = 16;

void makeTile(GDALDriver& driver, const QString& path, int column, int row)
{
    GDALDataset* dataset = driver.Create(path.toUtf8().constData(), tileSide, tileSide, 1, GDT_Byte, nullptr);
    std::array<double, 6> geotransform = {static_cast<double>(column * tileSide), 1.0, 0.0,
                                          -static_cast<double>(row * tileSide),   0.0, -1.0};
    const bool made = dataset && dataset->SetGeoTransform(geotransform.data()) == CE_None;
    if (dataset)
        GDALClose(dataset);
    if (!made)
        throw std::runtime_error("Unable to write '" + path.toStdString() + "'");
}

/// The name of a set of that many files, which is made the first time.
QString setOf(int columns, int rows)
{
    static std::map<int, std::unique_ptr<TemporaryFolder>> folders;
    std::unique_ptr<TemporaryFolder>& folder = folders[columns * rows];
    const bool isNew = !folder;
    if (isNew)
        folder = std::make_unique<TemporaryFolder>();
    const QString path = *folder / "set.tif";
    vexel::gdal::registerDrivers();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    for (int row = 0; isNew && row < rows; ++row)
        for (int column = 0; column < columns; ++column)
            makeTile(*driver, vexel::gdal::tile2path(path, column + 1, row + 1), column, row);
    return path;
}

void openSet(benchmark::State& state, int columns, int rows)
{
    const QString path = setOf(columns, rows);
    bool done = true;
    for ([[maybe_unused]] auto _ : state) {
        GDALStreamer set;
        done = done && set.openRead(path, GdalFileType::TileSet) &&
               set.noTiles() == static_cast<std::uint64_t>(columns) * static_cast<std::uint64_t>(rows);
    }
    if (!done)
        state.SkipWithError("cannot open");
    state.counters["files"] =
        benchmark::Counter(static_cast<double>(columns) * rows * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

/// Reads a box across the corner of four files in the middle of the set.
void readSmallBox(benchmark::State& state, int columns, int rows)
{
    constexpr int boxSide = 8;
    GDALStreamer set;
    bool done = set.openRead(setOf(columns, rows), GdalFileType::TileSet);
    const PixelPoint first(columns / 2 * tileSide - boxSide / 2, rows / 2 * tileSide - boxSide / 2);
    const PixelBox box(first, PixelPoint(first.x() + boxSide, first.y() + boxSide));
    PixelMatrix<unsigned char> pixels;
    for ([[maybe_unused]] auto _ : state)
        done = done && set.read(pixels, 1, box, 1.0, /*fill=*/false, 0);
    if (!done)
        state.SkipWithError("cannot read");
    state.counters["pixels"] =
        benchmark::Counter(static_cast<double>(boxSide * boxSide) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

BENCHMARK_CAPTURE(openSet, 100, 10, 10)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(openSet, 1000, 40, 25)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(openSet, 10000, 100, 100)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readSmallBox, 100, 10, 10);
BENCHMARK_CAPTURE(readSmallBox, 1000, 40, 25);
BENCHMARK_CAPTURE(readSmallBox, 10000, 100, 100);

} // namespace
