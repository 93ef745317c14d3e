#include "zoo.h"

#include "interlacedpng.h"
#include "support/GdalOption.h"
#include "support/rasters.h"

#include <cpl_conv.h>
#include <gdal_priv.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>

namespace zoo {

namespace {

using rasters::Description;
using vexel::DataType;
using Options = std::vector<std::string>;
using Coefficients = std::array<double, 6>;

constexpr int width = 37;
constexpr int height = 29;
constexpr Coefficients northUp{500000.0, 0.5, 0.0, 4100000.0, 0.0, -0.5};

// --- Pixels ---------------------------------------------------------------------------------------------------

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

/// Noise over the range of the type; of floating types also what no integer can hold.
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

// --- Making files ---------------------------------------------------------------------------------------------

GDALDriver& driver(const std::string& name)
{
    GDALAllRegister();
    GDALDriver* found = GetGDALDriverManager()->GetDriverByName(name.c_str());
    if (!found)
        throw std::runtime_error("GDAL has no driver " + name);
    return *found;
}

/// Changes a dataset beyond its pixels.
using Change = std::function<void(GDALDataset& dataset)>;

void expect(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(std::string("GDAL cannot set ") + what);
}

/// A raster in memory, filled and changed.
rasters::Dataset inMemory(const Description& d, const Change& change)
{
    rasters::Dataset dataset(driver("MEM").Create("", d.width, d.height, d.bands, d.type, nullptr));
    expect(dataset != nullptr, "up a raster in memory");
    if (d.geotransform) {
        Coefficients coefficients = *d.geotransform;
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
    const rasters::Dataset copy(driver(d.driver).CreateCopy(path.toUtf8().constData(), &source, FALSE,
                                                            list.List(), nullptr, nullptr));
    if (!copy)
        throw std::runtime_error("GDAL cannot write " + path.toStdString());
}

/// Copies a raster that was changed in memory, and changes the file in turn.
std::function<void(const QString&)> copied(const Description& d, const Change& before,
                                           const Change& after = nullptr)
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

std::function<void(const QString&)> created(const Description& d)
{
    return [d](const QString& path) { rasters::make(path, d, noiseFor(d)); };
}

std::function<void(const QString&)> text(const std::string& content)
{
    return [content](const QString& path) {
        std::ofstream file(path.toStdString(), std::ios::binary);
        file << content;
        expect(static_cast<bool>(file.flush()), "a file's bytes");
    };
}

// --- Changes --------------------------------------------------------------------------------------------------

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

// --- Rows -----------------------------------------------------------------------------------------------------

Description described(GDALDataType type, int bands, const Options& options = {},
                      const std::optional<Coefficients>& geotransform = northUp)
{
    Description d;
    d.width = width;
    d.height = height;
    d.bands = bands;
    d.type = type;
    d.options = options;
    d.geotransform = geotransform;
    return d;
}

Description describedFor(const std::string& driverName, GDALDataType type, int bands,
                         const Options& options = {})
{
    Description d = described(type, bands, options, std::nullopt);
    d.driver = driverName;
    return d;
}

DataType readAs(GDALDataType type)
{
    switch (type) {
    case GDT_Byte:
        return DataType::UInt8;
    case GDT_UInt16:
        return DataType::UInt16;
    case GDT_Int16:
        return DataType::Int16;
    case GDT_UInt32:
        return DataType::UInt32;
    case GDT_Int32:
        return DataType::Int32;
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 11, 0)
    case GDT_Float16:
#endif
    case GDT_Float32:
        return DataType::Float32;
    case GDT_Float64:
        return DataType::Float64;
    default:
        return DataType::Unknown;
    }
}

std::string compressionOf(const Description& d)
{
    for (const std::string& option : d.options)
        if (option.compare(0, 9, "COMPRESS=") == 0)
            return option.substr(9);
    return std::string();
}

/// The same with another number of bands than were written, which is what GDAL makes of the colour space.
Specimen readWithBands(Specimen specimen, int bands)
{
    specimen.bands = bands;
    return specimen;
}

/// A file of the driver that the description names.
Specimen row(const std::string& name, const std::string& extension, const Description& d,
             std::function<void(const QString&)> make = nullptr)
{
    return {name,
            name + "." + extension,
            {d.driver, compressionOf(d)},
            d.bands,
            readAs(d.type),
            1,
            make ? std::move(make) : created(d)};
}

Specimen tiff(const std::string& name, GDALDataType type, int bands, const Options& options = {})
{
    return row(name, "tif", described(type, bands, options));
}

Specimen tiffOf(const std::string& name, const Description& d)
{
    return row(name, "tif", d);
}

Specimen tiffChanged(const std::string& name, const Description& d, const Change& before,
                     const Change& after = nullptr)
{
    return row(name, "tif", d, copied(d, before, after));
}

Description sized(int columns, int rows)
{
    Description d = described(GDT_UInt16, 2);
    d.width = columns;
    d.height = rows;
    return d;
}

Specimen placed(const std::string& name, const std::optional<Coefficients>& geotransform)
{
    return tiffOf(name, described(GDT_Byte, 1, {}, geotransform));
}

Specimen image(const std::string& name, const std::string& driverName, const std::string& extension,
               GDALDataType type, int bands, const Options& options = {}, const Change& change = nullptr)
{
    Description d = describedFor(driverName, type, bands, options);
    Specimen specimen = row(name, extension, d, copied(d, change));
    specimen.needs.type = GDALGetDataTypeName(type);
    return specimen;
}

Specimen png(const std::string& name, GDALDataType type, int bands, const Options& options = {},
             const Change& change = nullptr)
{
    return image(name, "PNG", "png", type, bands, options, change);
}

Specimen jpeg(const std::string& name, int bands, const Options& options = {}, const Change& change = nullptr)
{
    return image(name, "JPEG", "jpg", GDT_Byte, bands, options, change);
}

Specimen interlaced(const std::string& name, int samples)
{
    const auto value = [](int x, int y, int sample) {
        return static_cast<unsigned char>(255.0 * rasters::noise(x, y, sample));
    };
    const Description d = describedFor("PNG", GDT_Byte, samples);
    return row(name, "png", d, text(interlacedPng(d.width, d.height, samples, value)));
}

/// A text in the virtual format. Its source, "source.tif", is put beside it.
Specimen virtualRaster(const std::string& name, GDALDataType type, const std::string& content)
{
    Description d = describedFor("VRT", type, 1);
    return row(name, "vrt", d, [content](const QString& path) {
        const Description source = described(GDT_Int16, 2, {"TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=16"});
        rasters::make(path.left(path.lastIndexOf('/')) + "/source.tif", source, noiseFor(source));
        text(content)(path);
    });
}

std::string dataset(const std::string& size, const std::string& content)
{
    return "<VRTDataset " + size +
           ">\n<GeoTransform>500000.0, 0.5, 0.0, 4100000.0, 0.0, -0.5</GeoTransform>\n" + content +
           "</VRTDataset>\n";
}

const char* const fullSize = "rasterXSize=\"37\" rasterYSize=\"29\"";

std::string band(const std::string& type, const std::string& content)
{
    return "<VRTRasterBand dataType=\"" + type + "\" band=\"1\">\n" + content + "</VRTRasterBand>\n";
}

std::string source(const std::string& kind, const std::string& rectangles)
{
    return "<" + kind +
           "><SourceFilename relativeToVRT=\"1\">source.tif</SourceFilename><SourceBand>2</SourceBand>" +
           rectangles + "</" + kind + ">\n";
}

// --- The tables -----------------------------------------------------------------------------------------------

using Table = std::vector<Specimen>;

Table layouts()
{
    return {
        tiff("Stripped", GDT_Byte, 1),
        tiff("RowStrips", GDT_Int16, 1, {"BLOCKYSIZE=1"}),
        tiff("OneStrip", GDT_Int16, 1, {"BLOCKYSIZE=29"}),
        tiff("Tiled", GDT_UInt16, 1, {"TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=16"}),
        tiff("WideTiles", GDT_Byte, 3, {"TILED=YES", "BLOCKXSIZE=48", "BLOCKYSIZE=16"}),
        tiff("PixelInterleaved", GDT_Int16, 4, {"INTERLEAVE=PIXEL"}),
        tiff("Planar", GDT_Int16, 4, {"INTERLEAVE=BAND"}),
        tiff("PlanarTiled", GDT_Float32, 3,
             {"INTERLEAVE=BAND", "TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=16"}),
        tiff("SeventyBands", GDT_Byte, 70, {"INTERLEAVE=PIXEL"}),
        tiff("BigTiff", GDT_Byte, 2, {"BIGTIFF=YES"}),
        tiff("BigTiffTiled", GDT_Float64, 2, {"BIGTIFF=YES", "TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=32"}),
        tiff("BigEndian", GDT_Int32, 2, {"ENDIANNESS=BIG"}),
        tiff("BigEndianDeflate", GDT_UInt16, 3, {"ENDIANNESS=BIG", "COMPRESS=DEFLATE", "PREDICTOR=2"}),
        tiffOf("OnePixel", sized(1, 1)),
        tiffOf("OneRow", sized(37, 1)),
        tiffOf("OneColumn", sized(1, 29)),
    };
}

Table pixelTypes()
{
    Table table{
        tiff("Byte", GDT_Byte, 2),
        tiff("UInt16", GDT_UInt16, 2),
        tiff("Int16", GDT_Int16, 2),
        tiff("UInt32", GDT_UInt32, 2),
        tiff("Int32", GDT_Int32, 2),
        tiff("Float32", GDT_Float32, 2),
        tiff("Float64", GDT_Float64, 2),
        tiff("ComplexInt16", GDT_CInt16, 1),
        tiff("ComplexInt32", GDT_CInt32, 1),
        tiff("ComplexFloat32", GDT_CFloat32, 2),
        tiff("ComplexFloat64", GDT_CFloat64, 1),
        tiff("OneBit", GDT_Byte, 1, {"NBITS=1"}),
        tiff("TwoBits", GDT_Byte, 1, {"NBITS=2"}),
        tiff("FourBits", GDT_Byte, 2, {"NBITS=4"}),
        tiff("SevenBits", GDT_Byte, 3, {"NBITS=7"}),
        tiff("TwelveBits", GDT_UInt16, 2, {"NBITS=12"}),
        tiff("TwelveBitsTiled", GDT_UInt16, 1,
             {"NBITS=12", "TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=16", "COMPRESS=DEFLATE"}),
        tiff("TwentyFourBits", GDT_UInt32, 1, {"NBITS=24"}),
        tiff("HalfFloat", GDT_Float32, 2, {"NBITS=16"}),
    };
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 7, 0)
    table.push_back(tiff("SignedByte", GDT_Int8, 1));
#else
    table.push_back(tiff("SignedByte", GDT_Byte, 1, {"PIXELTYPE=SIGNEDBYTE"}));
#endif
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 5, 0)
    table.push_back(tiff("Int64", GDT_Int64, 1));
    table.push_back(tiff("UInt64", GDT_UInt64, 2));
#endif
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 11, 0)
    table.push_back(tiff("Float16", GDT_Float16, 2));
    table.push_back(tiff("ComplexFloat16", GDT_CFloat16, 1));
#endif
    return table;
}

Table compressions()
{
    const Options tiles{"TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=16"};
    const auto tiled = [&tiles](const std::string& compression) {
        Options options = tiles;
        options.push_back("COMPRESS=" + compression);
        return options;
    };
    return {
        tiff("Lzw", GDT_Byte, 1, {"COMPRESS=LZW"}),
        tiff("LzwPredicted", GDT_Int16, 3, {"COMPRESS=LZW", "PREDICTOR=2"}),
        tiff("LzwTiled", GDT_Int32, 1, tiled("LZW")),
        tiff("PackBits", GDT_Byte, 3, {"COMPRESS=PACKBITS"}),
        tiff("Deflate", GDT_UInt16, 2, {"COMPRESS=DEFLATE"}),
        tiff("DeflateFloat", GDT_Float32, 2, {"COMPRESS=DEFLATE", "PREDICTOR=3"}),
        tiff("DeflateTiled", GDT_Byte, 4, tiled("DEFLATE")),
        tiff("Lzma", GDT_Int16, 1, {"COMPRESS=LZMA"}),
        tiff("Zstd", GDT_UInt16, 2, {"COMPRESS=ZSTD", "PREDICTOR=2"}),
        tiff("ZstdTiled", GDT_Float64, 1, tiled("ZSTD")),
        tiff("Lerc", GDT_Float32, 1, {"COMPRESS=LERC"}),
        tiff("LercDeflate", GDT_UInt16, 1, tiled("LERC_DEFLATE")),
        tiff("LercZstd", GDT_Byte, 2, {"COMPRESS=LERC_ZSTD"}),
        tiff("JpegInTiff", GDT_Byte, 1, {"COMPRESS=JPEG"}),
        tiff("JpegInTiffRgb", GDT_Byte, 3, {"COMPRESS=JPEG", "PHOTOMETRIC=RGB", "INTERLEAVE=PIXEL"}),
        tiff("JpegInTiffYCbCr", GDT_Byte, 3,
             {"COMPRESS=JPEG", "PHOTOMETRIC=YCBCR", "INTERLEAVE=PIXEL", "TILED=YES", "BLOCKXSIZE=16",
              "BLOCKYSIZE=16"}),
        tiff("WebPInTiff", GDT_Byte, 3, {"COMPRESS=WEBP", "WEBP_LOSSLESS=YES", "INTERLEAVE=PIXEL"}),
        tiff("JxlInTiff", GDT_Byte, 3, {"COMPRESS=JXL", "INTERLEAVE=PIXEL"}),
        tiff("FaxRle", GDT_Byte, 1, {"COMPRESS=CCITTRLE", "NBITS=1"}),
        tiff("FaxGroup3", GDT_Byte, 1, {"COMPRESS=CCITTFAX3", "NBITS=1"}),
        tiff("FaxGroup4", GDT_Byte, 1, {"COMPRESS=CCITTFAX4", "NBITS=1"}),
    };
}

Table colourSpaces()
{
    return {
        tiffChanged("Palette", described(GDT_Byte, 1), colourTable(256)),
        tiffChanged("PaletteOfFourBits", described(GDT_Byte, 1, {"NBITS=4"}), colourTable(16)),
        tiff("MinIsWhite", GDT_Byte, 1, {"PHOTOMETRIC=MINISWHITE"}),
        tiff("GrayAlpha", GDT_Byte, 2, {"ALPHA=YES"}),
        tiff("Rgb", GDT_Byte, 3, {"PHOTOMETRIC=RGB"}),
        tiff("RgbAlpha", GDT_Byte, 4, {"PHOTOMETRIC=RGB", "ALPHA=YES"}),
        tiff("RgbPremultiplied", GDT_UInt16, 4, {"PHOTOMETRIC=RGB", "ALPHA=PREMULTIPLIED"}),
        tiff("Cmyk", GDT_Byte, 4, {"PHOTOMETRIC=CMYK"}),
        readWithBands(tiff("CieLab", GDT_Byte, 3, {"PHOTOMETRIC=CIELAB"}), 4),
    };
}

/// Only some blocks are in the file.
void makeSparse(const QString& path, const Description& d, bool withPixels)
{
    CPLStringList options;
    for (const std::string& option : d.options)
        options.AddString(option.c_str());
    const rasters::Dataset file(driver("GTiff").Create(path.toUtf8().constData(), d.width, d.height, d.bands,
                                                       d.type, options.List()));
    expect(file != nullptr, "up a sparse file");
    double pixel = 201.0;
    if (withPixels)
        expect(file->GetRasterBand(1)->RasterIO(GF_Write, 20, 3, 1, 1, &pixel, 1, 1, GDT_Float64, 0, 0,
                                                nullptr) == CE_None,
               "a pixel");
}

Specimen sparse(const std::string& name, bool withPixels)
{
    const Description d = described(
        GDT_Byte, 2, {"SPARSE_OK=TRUE", "TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=16", "INTERLEAVE=BAND"},
        std::nullopt);
    return row(name, "tif", d, [d, withPixels](const QString& path) { makeSparse(path, d, withPixels); });
}

Specimen pages()
{
    const Description d = described(GDT_UInt16, 2);
    Specimen specimen = row("Pages", "tif", d, [d](const QString& path) {
        const rasters::Dataset page = inMemory(d, nullptr);
        copyTo(path, d, {}, *page);
        copyTo(path, d, {"APPEND_SUBDATASET=YES"}, *page);
        copyTo(path, d, {"APPEND_SUBDATASET=YES", "COMPRESS=LZW"}, *page);
    });
    specimen.pages = 3;
    return specimen;
}

Table partsOfFiles()
{
    const Description tiled = described(GDT_Byte, 3, {"TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=16"});
    return {
        sparse("Sparse", /*withPixels=*/true),
        sparse("SparseWithoutBlocks", /*withPixels=*/false),
        pages(),
        tiffChanged("InternalMask", tiled, nullptr, maskInFile),
        tiffChanged("Overviews", tiled, nullptr, overviews),
        tiffChanged("OverviewsAndMask", described(GDT_Int16, 1), nullptr, overviewsAndMask),
        tiffChanged("NoDataScaleAndOffset", described(GDT_Int16, 1), noDataScaleAndOffset),
        tiffOf("WorldFile", described(GDT_Byte, 1, {"TFW=YES", "PROFILE=BASELINE"})),
    };
}

Table georeferences()
{
    return {
        placed("NorthUp", Coefficients{499999.123456, 0.0625, 0.0, -4100000.654321, 0.0, -0.0625}),
        placed("SouthUp", Coefficients{500000.0, 0.5, 0.0, 4100000.0, 0.0, 0.5}),
        placed("Mirrored", Coefficients{500000.0, -0.5, 0.0, 4100000.0, 0.0, -0.5}),
        placed("TurnedOver", Coefficients{500000.0, -0.25, 0.0, 4100000.0, 0.0, 0.25}),
        placed("Rotated", Coefficients{500000.0, 0.4, 0.3, 4100000.0, 0.3, -0.4}),
        placed("RotatedByARightAngle", Coefficients{500000.0, 0.0, 0.5, 4100000.0, 0.5, 0.0}),
        placed("FlatPixels", Coefficients{500000.0, 0.5, 0.0, 4100000.0, 0.0, -0.2}),
        placed("TallPixels", Coefficients{500000.0, 0.5, 0.0, 4100000.0, 0.0, -0.7}),
        placed("PixelsBelowAUnit", Coefficients{10.0, 1e-6, 0.0, 50.0, 0.0, -1e-6}),
        placed("PixelsOfHalfAUnit", Coefficients{10.0, 0.6e-5, 0.0, 50.0, 0.0, -0.6e-5}),
        placed("NoGeoreference", std::nullopt),
        tiffChanged("TiePointsOnly", described(GDT_Byte, 1, {}, std::nullopt), tiePoints),
        tiffChanged("PixelIsPoint", described(GDT_Byte, 1), pixelIsPoint),
    };
}

Table pngImages()
{
    const Change gray = colours({GCI_GrayIndex, GCI_AlphaBand});
    const Change rgba = colours({GCI_RedBand, GCI_GreenBand, GCI_BlueBand, GCI_AlphaBand});
    return {
        png("PngOneBit", GDT_Byte, 1, {"NBITS=1"}),
        png("PngTwoBits", GDT_Byte, 1, {"NBITS=2"}),
        png("PngFourBits", GDT_Byte, 1, {"NBITS=4"}),
        png("PngGray", GDT_Byte, 1),
        png("PngGray16", GDT_UInt16, 1),
        png("PngGrayAlpha", GDT_Byte, 2, {}, gray),
        png("PngGrayAlpha16", GDT_UInt16, 2, {}, gray),
        png("PngRgb", GDT_Byte, 3),
        png("PngRgb16", GDT_UInt16, 3),
        png("PngRgba", GDT_Byte, 4, {}, rgba),
        png("PngRgba16", GDT_UInt16, 4, {}, rgba),
        png("PngPalette", GDT_Byte, 1, {}, colourTable(256)),
        png("PngPaletteOfOneBit", GDT_Byte, 1, {"NBITS=1"}, colourTable(2)),
        interlaced("PngInterlacedGray", 1),
        interlaced("PngInterlacedGrayAlpha", 2),
        interlaced("PngInterlacedRgb", 3),
        interlaced("PngInterlacedRgba", 4),
    };
}

/// An image with a world file beside it.
Specimen withWorldFile(const std::string& name, const std::string& driverName, const std::string& extension)
{
    Description d = describedFor(driverName, GDT_Byte, 3, {"WORLDFILE=YES"});
    d.geotransform = northUp;
    return row(name, extension, d, copied(d, nullptr));
}

Table jpegImages()
{
    return {
        jpeg("Jpeg", 3),
        jpeg("JpegGray", 1),
        readWithBands(
            jpeg("JpegCmyk", 4, {}, colours({GCI_CyanBand, GCI_MagentaBand, GCI_YellowBand, GCI_BlackBand})),
            3),
        jpeg("JpegProgressive", 3, {"PROGRESSIVE=YES"}),
        jpeg("JpegProgressiveGray", 1, {"PROGRESSIVE=YES"}),
        jpeg("JpegOfLowQuality", 3, {"QUALITY=10"}),
        image("JpegOfTwelveBits", "JPEG", "jpg", GDT_UInt16, 1, {}),
        withWorldFile("JpegWithWorldFile", "JPEG", "jpg"),
        withWorldFile("PngWithWorldFile", "PNG", "png"),
    };
}

Table virtualRasters()
{
    const std::string smaller = "rasterXSize=\"20\" rasterYSize=\"10\"";
    const std::string whole = "<SrcRect xOff=\"0\" yOff=\"0\" xSize=\"37\" ySize=\"29\"/>"
                              "<DstRect xOff=\"0\" yOff=\"0\" xSize=\"37\" ySize=\"29\"/>";
    const std::string part = "<SrcRect xOff=\"9\" yOff=\"7\" xSize=\"20\" ySize=\"10\"/>"
                             "<DstRect xOff=\"0\" yOff=\"0\" xSize=\"20\" ySize=\"10\"/>";
    const std::string enlarged = "<SrcRect xOff=\"3\" yOff=\"5\" xSize=\"10\" ySize=\"7\"/>"
                                 "<DstRect xOff=\"4\" yOff=\"6\" xSize=\"31\" ySize=\"17\"/>";
    const std::string scale = "<ScaleOffset>100</ScaleOffset><ScaleRatio>0.01</ScaleRatio>";
    const std::string one = band("Int16", source("SimpleSource", whole));
    std::string mixed = dataset(fullSize, one + band("Byte", ""));
    mixed.replace(mixed.rfind("band=\"1\""), 8, "band=\"2\"");
    Table table{
        virtualRaster("Vrt", GDT_Int16, dataset(fullSize, one)),
        virtualRaster("VrtPart", GDT_Int16, dataset(smaller, band("Int16", source("SimpleSource", part)))),
        virtualRaster("VrtEnlarged", GDT_Int16,
                      dataset(fullSize, band("Int16", "<NoDataValue>-5</NoDataValue>" +
                                                          source("SimpleSource", enlarged)))),
        virtualRaster("VrtScaled", GDT_Float32,
                      dataset(fullSize, band("Float32", source("ComplexSource", whole + scale)))),
        virtualRaster("VrtMosaic", GDT_Int16,
                      dataset(fullSize, band("Int16", source("SimpleSource", whole) +
                                                          source("SimpleSource", enlarged)))),
        virtualRaster("VrtWithoutSources", GDT_UInt32, dataset(fullSize, band("UInt32", ""))),
        virtualRaster("VrtComplex", GDT_CFloat32, dataset(fullSize, band("CFloat32", ""))),
        virtualRaster("VrtOfMixedTypes", GDT_Unknown, mixed),
        virtualRaster("VrtWithoutBands", GDT_Unknown, dataset(fullSize, "")),
    };
    table[table.size() - 2].bands = 2;
    table[table.size() - 1].bands = 0;
    return table;
}

Table otherFormats()
{
    return {
        image("Bmp", "BMP", "bmp", GDT_Byte, 3),
        image("Gif", "GIF", "gif", GDT_Byte, 1, {}, colourTable(256)),
        image("Envi", "ENVI", "img", GDT_Float32, 2, {"INTERLEAVE=BIL"}),
        image("Imagine", "HFA", "img", GDT_Int16, 2, {"COMPRESSED=YES"}),
        image("Pixmap", "PNM", "ppm", GDT_Byte, 3),
    };
}

Table all()
{
    Table table;
    for (const auto& part : {layouts, pixelTypes, compressions, colourSpaces, partsOfFiles, georeferences,
                             pngImages, jpegImages, virtualRasters, otherFormats}) {
        Table rows = part();
        std::move(rows.begin(), rows.end(), std::back_inserter(table));
    }
    return table;
}

} // namespace

const std::vector<Specimen>& specimens()
{
    static const std::vector<Specimen> table = all();
    return table;
}

const Specimen& specimen(const std::string& name)
{
    const auto found = std::find_if(specimens().begin(), specimens().end(),
                                    [&](const Specimen& specimen) { return specimen.name == name; });
    if (found == specimens().end())
        throw std::runtime_error("there is no raster " + name);
    return *found;
}

std::string missing(const Specimen& specimen)
{
    const Needs& needs = specimen.needs;
    GDALAllRegister();
    GDALDriver* const found = GetGDALDriverManager()->GetDriverByName(needs.driver.c_str());
    if (!found)
        return "the driver " + needs.driver;
    const auto lists = [found](const char* list, const std::string& value) {
        const char* const text = found->GetMetadataItem(list);
        return text && std::string(text).find(value) != std::string::npos;
    };
    if (!needs.compression.empty() &&
        !lists(GDAL_DMD_CREATIONOPTIONLIST, "<Value>" + needs.compression + "</Value>"))
        return "the compression " + needs.compression;
    if (!needs.type.empty() && !lists(GDAL_DMD_CREATIONDATATYPES, needs.type))
        return "the pixel type " + needs.type + " in the driver " + needs.driver;
    return std::string();
}

} // namespace zoo
