// Reads and writes of one box of one file, for each element type.

#include "TemporaryFolder.h"
#include "companion/PixelMatrix.h"
#include "companion/gdaldrivers.h"
#include "streaming/GDALStreamer.h"

#include <benchmark/benchmark.h>
#include <gdal_priv.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>

using namespace vexel;

namespace {

constexpr int fileSide = 4096;
constexpr int fileBlock = 256;
constexpr int boxSide = 1024;

/// Boxes whose corners are those of the file's blocks, or lie in the middle of them.
enum class Box
{
    Aligned,
    NotAligned
};

PixelBox boxOf(Box kind)
{
    const int first = fileBlock * 4 + (kind == Box::Aligned ? 0 : fileBlock / 2 + 1);
    return {PixelPoint(first, first), PixelPoint(first + boxSide, first + boxSide)};
}

/// What a file of that element type holds; signed chars are read from bytes.
template <class T>
DataType dataType()
{
    if (sizeof(T) == 1)
        return DataType::UInt8;
    if (std::is_floating_point_v<T>)
        return sizeof(T) == 4 ? DataType::Float32 : DataType::Float64;
    if (sizeof(T) == 2)
        return std::is_signed_v<T> ? DataType::Int16 : DataType::UInt16;
    return std::is_signed_v<T> ? DataType::Int32 : DataType::UInt32;
}

template <class T>
GDALDataType gdalType()
{
    switch (dataType<T>()) {
    case DataType::Int16:
        return GDT_Int16;
    case DataType::UInt16:
        return GDT_UInt16;
    case DataType::Int32:
        return GDT_Int32;
    case DataType::UInt32:
        return GDT_UInt32;
    case DataType::Float32:
        return GDT_Float32;
    case DataType::Float64:
        return GDT_Float64;
    default:
        return GDT_Byte;
    }
}

template <class T>
PixelMatrix<T> ramp(int side)
{
    PixelMatrix<T> pixels(side, side);
    for (Eigen::Index i = 0; i < pixels.size(); ++i)
        pixels.data()[i] = static_cast<T>((i * 7 + i / side) % 100);
    return pixels;
}

/// A file in blocks, not compressed: what is measured is the way of the pixels.
template <class T>
void makeFile(const QString& path)
{
    const std::string block = std::to_string(fileBlock);
    const std::string options[] = {"TILED=YES", "BLOCKXSIZE=" + block, "BLOCKYSIZE=" + block};
    const char* list[] = {options[0].c_str(), options[1].c_str(), options[2].c_str(), nullptr};
    vexel::gdal::registerDrivers();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    GDALDataset* dataset = driver->Create(path.toUtf8().constData(), fileSide, fileSide, 1, gdalType<T>(),
                                          const_cast<char**>(list));
    PixelMatrix<T> pixels = ramp<T>(fileSide);
    const bool written = dataset && dataset->GetRasterBand(1)->RasterIO(
                                        GF_Write, 0, 0, fileSide, fileSide, pixels.data(), fileSide, fileSide,
                                        gdalType<T>(), 0, 0, nullptr) == CE_None;
    if (dataset)
        GDALClose(dataset);
    if (!written)
        throw std::runtime_error("Unable to write '" + path.toStdString() + "'");
}

void countPixels(benchmark::State& state)
{
    state.counters["pixels"] =
        benchmark::Counter(static_cast<double>(boxSide) * boxSide * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

template <class T>
void read(benchmark::State& state, Box kind)
{
    const TemporaryFolder folder;
    makeFile<T>(folder / "raster.tif");
    GDALStreamer set;
    bool done = set.openRead(folder / "raster.tif", GdalFileType::SingleFile);
    PixelMatrix<T> pixels;
    for ([[maybe_unused]] auto _ : state)
        done = done && set.read(pixels, 1, boxOf(kind), 1.0, /*fill=*/false, T(0));
    if (!done)
        state.SkipWithError("cannot read");
    countPixels(state);
}

template <class T>
void write(benchmark::State& state, Box kind)
{
    const TemporaryFolder folder;
    makeFile<T>(folder / "raster.tif");
    const PixelMatrix<T> pixels = ramp<T>(boxSide);
    GDALStreamer set;
    bool done = set.openUpdate(folder / "raster.tif", GdalFileType::SingleFile);
    for ([[maybe_unused]] auto _ : state)
        done = done && set.write(pixels, 1, boxOf(kind));
    if (!done)
        state.SkipWithError("cannot write");
    countPixels(state);
}

template <class T>
void registerTransfers(const std::string& type)
{
    for (const Box kind : {Box::Aligned, Box::NotAligned}) {
        const std::string name = type + (kind == Box::Aligned ? "/aligned" : "/not aligned");
        benchmark::RegisterBenchmark(("read/" + name).c_str(), read<T>, kind)->UseRealTime();
        benchmark::RegisterBenchmark(("write/" + name).c_str(), write<T>, kind)->UseRealTime();
    }
}

const bool registered = [] {
    registerTransfers<signed char>("signed char");
    registerTransfers<unsigned char>("unsigned char");
    registerTransfers<short>("short");
    registerTransfers<unsigned short>("unsigned short");
    registerTransfers<int>("int");
    registerTransfers<unsigned int>("unsigned int");
    registerTransfers<float>("float");
    registerTransfers<double>("double");
    return true;
}();

} // namespace
