#include "zoo.h"

#include "support/rasters.h"
#include "zoorows.h"

#include <gdal_priv.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>

namespace zoo {

namespace {

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
    const rasters::Dataset file(rasters::driver("GTiff").Create(path.toUtf8().constData(), d.width, d.height,
                                                                d.bands, d.type, options.List()));
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
