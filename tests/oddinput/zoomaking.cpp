#include "zoomaking.h"

#include "support/GdalOption.h"
#include "support/files.h"
#include "support/rasters.h"

#include <gdal_priv.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <utility>

namespace zoo {

namespace {

int bitsOf(const Description& d)
{
    for (const std::string& option : d.options)
        if (option.compare(0, 6, "NBITS=") == 0)
            return std::atoi(option.c_str() + 6);
    return 0;
}

/// Smallest and largest value to fill a raster with.
std::pair<double, double> rangeOf(const Description& d)
{
    const int bits = bitsOf(d);
    switch (d.type) {
    case GDT_Int16:
        return {-32768.0, 32767.0};
    case GDT_Int32:
        return {-2147483648.0, 2147483647.0};
    case GDT_Byte:
    case GDT_UInt16:
    case GDT_UInt32:
        return {0.0, std::ldexp(1.0, bits > 0 ? bits : GDALGetDataTypeSizeBits(d.type)) - 1.0};
    default:
        return {-70000.0, 70000.0};
    }
}

bool isFloating(GDALDataType type)
{
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 11, 0)
    if (type == GDT_Float16)
        return true;
#endif
    return type == GDT_Float32 || type == GDT_Float64;
}

} // namespace

rasters::PixelValue noiseFor(const Description& d)
{
    const std::pair<double, double> range = rangeOf(d);
    const bool floating = isFloating(d.type) && bitsOf(d) == 0;
    return [range, floating](int x, int y, int band) {
        if (floating && y == 1 && x < 4) {
            constexpr double infinity = std::numeric_limits<double>::infinity();
            constexpr double special[] = {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity,
                                          1e30};
            return special[x];
        }
        const double value = range.first + (range.second - range.first) * rasters::noise(x, y, band);
        return floating ? value : std::round(value);
    };
}

void expect(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(std::string("GDAL cannot set ") + what);
}

rasters::Dataset inMemory(const Description& d, const Change& change)
{
    rasters::Dataset dataset(rasters::driver("MEM").Create("", d.width, d.height, d.bands, d.type, nullptr));
    expect(dataset != nullptr, "up a raster in memory");
    if (d.geotransform) {
        std::array<double, 6> coefficients = *d.geotransform;
        expect(dataset->SetGeoTransform(coefficients.data()) == CE_None, "the geotransform");
    }
    const rasters::PixelValue value = noiseFor(d);
    for (int band = 1; band <= d.bands; ++band)
        for (int y = 0; y < d.height; ++y)
            for (int x = 0; x < d.width; ++x) {
                double pixel = value(x, y, band);
                expect(dataset->GetRasterBand(band)->RasterIO(GF_Write, x, y, 1, 1, &pixel, 1, 1, GDT_Float64,
                                                              0, 0, nullptr) == CE_None,
                       "a pixel");
            }
    if (change)
        change(*dataset);
    return dataset;
}

void copyTo(const QString& path, const Description& d, const Options& options, GDALDataset& source)
{
    CPLStringList list;
    for (const std::string& option : options)
        list.AddString(option.c_str());
    const rasters::Dataset copy(rasters::driver(d.driver).CreateCopy(path.toUtf8().constData(), &source,
                                                                     FALSE, list.List(), nullptr, nullptr));
    if (!copy)
        throw std::runtime_error("GDAL cannot write " + path.toStdString());
}

Make copied(const Description& d, const Change& before, const Change& after)
{
    return [=](const QString& path) {
        copyTo(path, d, d.options, *inMemory(d, before));
        if (!after)
            return;
        const rasters::Dataset file = rasters::open(path, /*update=*/true);
        expect(file != nullptr, "anything: the file does not open again");
        after(*file);
    };
}

Make created(const Description& d)
{
    return [d](const QString& path) { rasters::make(path, d, noiseFor(d)); };
}

Make text(const std::string& content)
{
    return [content](const QString& path) { makeFile(path, content); };
}

Change colourTable(int colours)
{
    return [colours](GDALDataset& dataset) {
        GDALColorTable table;
        for (int i = 0; i < colours; ++i) {
            const auto component = [i](int factor) { return static_cast<short>((i * factor) % 256); };
            const GDALColorEntry entry{component(7), component(31), component(101), 255};
            table.SetColorEntry(i, &entry);
        }
        expect(dataset.GetRasterBand(1)->SetColorTable(&table) == CE_None, "a colour table");
        dataset.GetRasterBand(1)->SetColorInterpretation(GCI_PaletteIndex);
    };
}

Change colours(std::vector<GDALColorInterp> interpretations)
{
    return [interpretations](GDALDataset& dataset) {
        for (std::size_t i = 0; i < interpretations.size(); ++i)
            dataset.GetRasterBand(static_cast<int>(i) + 1)->SetColorInterpretation(interpretations[i]);
    };
}

void tiePoints(GDALDataset& dataset)
{
    std::array<GDAL_GCP, 3> points{};
    const double places[3][2] = {{0.0, 0.0}, {30.0, 2.0}, {5.0, 20.0}};
    for (std::size_t i = 0; i < points.size(); ++i) {
        GDALInitGCPs(1, &points[i]);
        points[i].dfGCPPixel = places[i][0];
        points[i].dfGCPLine = places[i][1];
        points[i].dfGCPX = 500000.0 + places[i][0] * 0.4 + places[i][1] * 0.01;
        points[i].dfGCPY = 4100000.0 - places[i][1] * 0.6;
    }
    const bool done = dataset.SetGCPs(static_cast<int>(points.size()), points.data(), "") == CE_None;
    GDALDeinitGCPs(static_cast<int>(points.size()), points.data());
    expect(done, "tie points");
}

void noDataScaleAndOffset(GDALDataset& dataset)
{
    GDALRasterBand& band = *dataset.GetRasterBand(1);
    expect(band.SetNoDataValue(17.0) == CE_None && band.SetScale(0.25) == CE_None &&
               band.SetOffset(-3.0) == CE_None,
           "no-data, scale and offset");
}

void pixelIsPoint(GDALDataset& dataset)
{
    expect(dataset.SetMetadataItem(GDALMD_AREA_OR_POINT, GDALMD_AOP_POINT) == CE_None, "the place of pixels");
}

void maskInFile(GDALDataset& dataset)
{
    const GdalOption inFile("GDAL_TIFF_INTERNAL_MASK", "YES");
    expect(dataset.CreateMaskBand(GMF_PER_DATASET) == CE_None, "a mask");
    std::vector<unsigned char> mask(static_cast<std::size_t>(dataset.GetRasterXSize()));
    for (std::size_t x = 0; x < mask.size(); x += 2)
        mask[x] = 255;
    for (int y = 0; y < dataset.GetRasterYSize(); ++y)
        expect(dataset.GetRasterBand(1)->GetMaskBand()->RasterIO(GF_Write, 0, y, dataset.GetRasterXSize(), 1,
                                                                 mask.data(), dataset.GetRasterXSize(), 1,
                                                                 GDT_Byte, 0, 0, nullptr) == CE_None,
               "a row of the mask");
}

void overviews(GDALDataset& dataset)
{
    int factors[] = {2, 4};
    expect(dataset.BuildOverviews("AVERAGE", 2, factors, 0, nullptr, nullptr, nullptr) == CE_None,
           "overviews");
}

void overviewsAndMask(GDALDataset& dataset)
{
    maskInFile(dataset);
    overviews(dataset);
}

} // namespace zoo
