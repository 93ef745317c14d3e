#include "support/downsampling.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace downsampling {

namespace {

bool sameBits(double a, double b)
{
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

} // namespace

bool run(vexel::Worker& job)
{
    std::size_t steps = 0;
    if (!job.do_init(steps))
        return false;
    bool done = true;
    for (std::size_t step = 0; step < steps; ++step)
        done = job.do_step(step) && done;
    return done;
}

bool doStep(vexel::Worker& job, std::size_t step)
{
    return job.do_step(step);
}

rasters::Description mapped(int width, int height, GDALDataType type, int bands, std::int64_t res)
{
    rasters::Description description;
    description.width = width;
    description.height = height;
    description.bands = bands;
    description.type = type;
    const double edge = static_cast<double>(res) / 100000.0;
    description.geotransform = {500000.0, edge, 0.0, 4100000.0, 0.0, -edge};
    return description;
}

void makeTiles(const QString& path, const rasters::Description& whole, int tileWidth, int tileHeight,
               const rasters::PixelValue& value)
{
    for (int x0 = 0, column = 1; x0 < whole.width; x0 += tileWidth, ++column)
        for (int y0 = 0, row = 1; y0 < whole.height; y0 += tileHeight, ++row) {
            rasters::Description tile = whole;
            tile.width = std::min(tileWidth, whole.width - x0);
            tile.height = std::min(tileHeight, whole.height - y0);
            if (tile.geotransform) {
                (*tile.geotransform)[0] += x0 * (*tile.geotransform)[1];
                (*tile.geotransform)[3] += y0 * (*tile.geotransform)[5];
            }
            rasters::make(tilePath(path, column, row), tile,
                          [&](int x, int y, int band) { return value(x0 + x, y0 + y, band); });
        }
}

QString tilePath(const QString& path, int column, int row)
{
    const int dot = path.lastIndexOf('.');
    return path.left(dot) + "_" + QString::number(column) + "_" + QString::number(row) + path.mid(dot);
}

std::vector<double> stored(const std::vector<float>& values, GDALDataType type)
{
    GDALAllRegister();
    const int count = static_cast<int>(values.size());
    GDALDriver* memory = GetGDALDriverManager()->GetDriverByName("MEM");
    const rasters::Dataset dataset(memory->Create("", count, 1, 1, type, nullptr));
    std::vector<float> written = values;
    std::vector<double> back(values.size());
    GDALRasterBand* band = dataset->GetRasterBand(1);
    if (band->RasterIO(GF_Write, 0, 0, count, 1, written.data(), count, 1, GDT_Float32, 0, 0, nullptr) !=
            CE_None ||
        band->RasterIO(GF_Read, 0, 0, count, 1, back.data(), count, 1, GDT_Float64, 0, 0, nullptr) != CE_None)
        throw std::runtime_error("GDAL cannot convert values");
    return back;
}

std::string difference(const std::vector<double>& expected, const std::vector<double>& actual, int width)
{
    if (expected.size() != actual.size())
        return std::to_string(actual.size()) + " values instead of " + std::to_string(expected.size());
    std::size_t count = 0;
    std::ostringstream text;
    text.precision(17);
    for (std::size_t k = 0; k < expected.size(); ++k) {
        if (sameBits(expected[k], actual[k]))
            continue;
        if (count++ == 0)
            text << "column " << k % static_cast<std::size_t>(width) << ", row "
                 << k / static_cast<std::size_t>(width) << ": " << actual[k] << " instead of " << expected[k];
    }
    if (count > 1)
        text << ", and " << count - 1 << " more";
    return text.str();
}

bool isErrnoText(const std::string& text)
{
    for (int error = 0; error < 200; ++error)
        if (text == std::strerror(error))
            return true;
    return false;
}

std::string typeName(const testing::TestParamInfo<GDALDataType>& row)
{
    return GDALGetDataTypeName(row.param);
}

} // namespace downsampling
