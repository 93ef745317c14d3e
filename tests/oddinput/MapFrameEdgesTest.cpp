#include "streaming/GDALStreamer.h"

#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/boxes.h"
#include "support/downsampling.h"
#include "support/extents.h"
#include "support/files.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"
#include "utilities/probing.h"
#include "utilities/verify.h"

#include <cpl_error.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

// Numbers at the ends of what the map frame, pixel boxes and files can hold.

namespace {

using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;
using vexel::PixelPoint;
using vexel::StreamError;
using vexel::Workspace;
using Coefficients = std::array<double, 6>;

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int largest = std::numeric_limits<int>::max();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double tiny = std::numeric_limits<double>::denorm_min();
constexpr double huge = std::numeric_limits<double>::max();

double counted(int x, int y, int /*band*/)
{
    return x + 10.0 * y;
}

} // namespace

// --- Geotransforms --------------------------------------------------------------------------------------------

namespace {

struct EdgeCase
{
    const char* name;
    Coefficients geotransform; ///< of 10 x 20 pixels
    bool opens;
    MapExtent extent; ///< if it opens
};

void PrintTo(const EdgeCase& edge, std::ostream* stream)
{
    *stream << edge.name;
}

class GeotransformEdges : public testing::TestWithParam<EdgeCase>
{};

constexpr MapExtent none;

/// All but what matters is as usual.
Coefficients withSizes(double width, double height)
{
    return {10.0, width, 0.0, 50.0, 0.0, height};
}

Coefficients withOrigin(double x, double y)
{
    return {x, 1.0, 0.0, y, 0.0, -1.0};
}

} // namespace

TEST_P(GeotransformEdges, AreReadOrRefused)
{
    const TempFolder folder;
    const QString path = folder / "edge.vrt";
    rasters::makeVirtual(path, 10, 20, {GDT_Byte}, GetParam().geotransform);
    const QuietGdal quiet;
    const LogCapture log;
    const int openBefore = rasters::openDatasets();

    GDALStreamer set;
    ASSERT_EQ(set.openRead(path), GetParam().opens);
    expectExtent(set.workspace(), GetParam().extent);
    if (GetParam().opens) {
        PixelMatrix<unsigned char> pixels;
        EXPECT_TRUE(set.read(pixels, 1, PixelBox(), 1.0, true, 3));
        EXPECT_EQ(pixels.rows(), 20);
        EXPECT_EQ(pixels.cols(), 10);
        EXPECT_TRUE((pixels.array() == 0).all());
    } else {
        EXPECT_FALSE(set.opened());
        EXPECT_EQ(set.lastError().code, StreamError::Code::UnsupportedType);
    }
    set.close();
    vexel::ImageInfo info;
    EXPECT_EQ(vexel::imageInfoWithGDAL(path, info), GetParam().opens);
    EXPECT_EQ(vexel::gdal::verify(path).isWhole(), GetParam().opens);
    EXPECT_EQ(rasters::openDatasets(), openBefore);
}

// 2^63 is 9223372036854775808. Numbers of that size are multiples of 1024 as doubles.
INSTANTIATE_TEST_SUITE_P(
    Numbers, GeotransformEdges,
    testing::Values(
        EdgeCase{"Usual", withSizes(1.0, -1.0), true, {1000000, -5000000, 2000000, -3000000, 100000}},
        EdgeCase{"NegativeWidth", withSizes(-1.0, -1.0), true, {0, -5000000, 1000000, -3000000, 100000}},
        EdgeCase{"PositiveHeight", withSizes(1.0, 1.0), true, {1000000, -7000000, 2000000, -5000000, 100000}},
        EdgeCase{"ZeroWidth", withSizes(0.0, -1.0), false, none},
        EdgeCase{"NegativeZeroWidth", withSizes(-0.0, -1.0), false, none},
        EdgeCase{"ZeroHeight", withSizes(1.0, 0.0), false, none},
        EdgeCase{"TinyWidth", withSizes(1e-300, -1.0), false, none},
        EdgeCase{"TinyHeight", withSizes(1.0, -1e-300), false, none},
        EdgeCase{"SmallestSizes", withSizes(tiny, -tiny), false, none},
        EdgeCase{"JustBelowHalfAUnit", withSizes(4.9e-6, -4.9e-6), false, none},
        EdgeCase{"HalfAUnit", withSizes(5e-6, -5e-6), true, {1000000, -5000000, 1000010, -4999980, 1}},
        EdgeCase{"HugeWidth", withSizes(1e300, -1.0), false, none},
        EdgeCase{"HugeHeight", withSizes(1.0, -1e300), false, none},
        EdgeCase{"LargestSizes", withSizes(huge, -huge), false, none},
        EdgeCase{"InfiniteWidth", withSizes(infinity, -1.0), false, none},
        EdgeCase{"InfiniteHeight", withSizes(1.0, -infinity), false, none},
        EdgeCase{"InfiniteSizes", withSizes(-infinity, infinity), false, none},
        EdgeCase{"NaNWidth", withSizes(notANumber, -1.0), false, none},
        EdgeCase{"NaNHeight", withSizes(1.0, notANumber), false, none},
        EdgeCase{"NaNSizes", withSizes(notANumber, notANumber), false, none},
        EdgeCase{"NaNOrigin", withOrigin(notANumber, notANumber), true, {0, 0, 1000000, 2000000, 100000}},
        EdgeCase{
            "NearTheEndOf64Bits",
            withOrigin(9e13, 9e13),
            true,
            {9000000000000000000, -9000000000000000000, 9000000000001000000, -8999999999998000000, 100000}},
        EdgeCase{
            "NearTheStartOf64Bits",
            withOrigin(-9e13, -9e13),
            true,
            {-9000000000000000000, 9000000000000000000, -8999999999999000000, 9000000000002000000, 100000}},
        // The east edge wraps around, and then the width does.
        EdgeCase{"BeyondTheEndOf64Bits", withOrigin(1e300, 0.0), false, none},
        EdgeCase{"BeyondTheStartOf64Bits", withOrigin(0.0, -1e300), false, none},
        EdgeCase{"InfiniteOrigin", withOrigin(infinity, -infinity), false, none}),
    [](const auto& row) { return std::string(row.param.name); });

// --- Boxes ----------------------------------------------------------------------------------------------------

namespace {

struct BoxCase
{
    const char* name;
    PixelBox box;
};

void PrintTo(const BoxCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class BoxEdges : public testing::TestWithParam<std::tuple<BoxCase, GdalFileType>>
{
protected:
    /// A raster of 9 x 7 pixels with two equal bands, in tiles of 4 x 4 or one file.
    BoxEdges() : m_path(m_folder / "raster.tif")
    {
        rasters::Description description = downsampling::mapped(9, 7, GDT_Int16, 2);
        if (ftype() == GdalFileType::TileSet)
            downsampling::makeTiles(m_path, description, 4, 4, counted);
        else
            rasters::make(m_path, description, counted);
    }

    const PixelBox& box() const { return std::get<0>(GetParam()).box; }
    GdalFileType ftype() const { return std::get<1>(GetParam()); }

    void expectUnchanged() const
    {
        GDALStreamer set;
        ASSERT_TRUE(set.openRead(m_path, ftype()));
        for (std::size_t band = 1; band <= 2; ++band) {
            PixelMatrix<short> pixels;
            ASSERT_TRUE(set.read(pixels, band, PixelBox(), 1.0, true, 0));
            for (int y = 0; y < 7; ++y)
                for (int x = 0; x < 9; ++x)
                    EXPECT_EQ(pixels(y, x), x + 10 * y);
        }
    }

    const TempFolder m_folder;
    const QString m_path;
};

using BoxesFarOutside = BoxEdges;
using BoxesTooLarge = BoxEdges;

std::string nameOf(const testing::TestParamInfo<std::tuple<BoxCase, GdalFileType>>& row)
{
    return std::string(std::get<0>(row.param).name) +
           (std::get<1>(row.param) == GdalFileType::TileSet ? "OfTiles" : "OfFile");
}

} // namespace

TEST_P(BoxesFarOutside, ReadAsFilledAndWriteNothing)
{
    {
        GDALStreamer set;
        ASSERT_TRUE(set.openUpdate(m_path, ftype()));
        const Eigen::Index columns = std::int64_t{box().max_corner().x()} - box().min_corner().x();
        const Eigen::Index rows = std::int64_t{box().max_corner().y()} - box().min_corner().y();
        PixelMatrix<short> pixels;
        ASSERT_TRUE(set.read(pixels, 1, box(), 1.0, true, 77));
        EXPECT_EQ(pixels.rows(), rows);
        EXPECT_EQ(pixels.cols(), columns);
        EXPECT_TRUE((pixels.array() == 77).all());
        ASSERT_TRUE(set.readBands(pixels, {2, 1}, box(), 0.5, true, 78));
        EXPECT_TRUE((pixels.array() == 78).all());

        const PixelMatrix<short> other = PixelMatrix<short>::Constant(2 * rows, columns, -1);
        EXPECT_TRUE(set.write<short>(other.topRows(rows), 1, box()));
        EXPECT_TRUE(set.writeBands(other, {1, 2}, box()));
    }
    expectUnchanged();
}

INSTANTIATE_TEST_SUITE_P(
    Ends, BoxesFarOutside,
    testing::Combine(testing::Values(BoxCase{"NorthWest", box(lowest, lowest, lowest + 6, lowest + 4)},
                                     BoxCase{"SouthEast", box(largest - 6, largest - 4, largest, largest)},
                                     BoxCase{"NorthEast", box(largest - 6, lowest, largest, lowest + 4)},
                                     BoxCase{"EastOfRows", box(largest - 6, 2, largest, 6)},
                                     BoxCase{"SouthOfColumns", box(2, largest - 4, 8, largest)},
                                     BoxCase{"WestOfRows", box(lowest, 2, lowest + 6, 6)},
                                     BoxCase{"JustWest", box(-6, 0, 0, 4)},
                                     BoxCase{"JustEast", box(9, 0, 15, 4)}),
                     testing::Values(GdalFileType::SingleFile, GdalFileType::TileSet)),
    nameOf);

TEST_P(BoxesTooLarge, AreRefusedUnlessScaledDown)
{
    {
        GDALStreamer set;
        ASSERT_TRUE(set.openUpdate(m_path, ftype()));
        PixelMatrix<short> pixels;
        EXPECT_THROW(set.read(pixels, 1, box(), 1.0, true, 77), std::bad_alloc);
        EXPECT_THROW(set.readBands(pixels, {1, 2}, box(), 1.0, true, 77), std::bad_alloc);

        // The raster is far less than a pixel then.
        constexpr double scale = 1e-8;
        const auto scaled = [](int first, int end) {
            return std::lround((static_cast<double>(end) - first) * scale);
        };
        ASSERT_TRUE(set.read(pixels, 1, box(), scale, true, 77));
        EXPECT_EQ(pixels.rows(), scaled(box().min_corner().y(), box().max_corner().y()));
        EXPECT_EQ(pixels.cols(), scaled(box().min_corner().x(), box().max_corner().x()));
        EXPECT_TRUE((pixels.array() == 77).all());

        // The pixels start at the box's corner, and so do not reach the raster.
        const PixelMatrix<short> other = PixelMatrix<short>::Constant(6, 8, -1);
        EXPECT_TRUE(set.write(other, 1, box()));
        EXPECT_TRUE(set.writeBands(other, {1, 2}, box()));
    }
    expectUnchanged();
}

INSTANTIATE_TEST_SUITE_P(Ends, BoxesTooLarge,
                         testing::Combine(testing::Values(BoxCase{"All",
                                                                  box(lowest, lowest, largest, largest)},
                                                          BoxCase{"Rows", box(lowest, 0, largest, 7)},
                                                          BoxCase{"Columns", box(0, lowest, 9, largest)}),
                                          testing::Values(GdalFileType::SingleFile, GdalFileType::TileSet)),
                         nameOf);

TEST(BoxFromJustOutsideToTheEnd, TakesThePixelsThatReachTheRaster)
{
    const TempFolder folder;
    const QString path = folder / "raster.tif";
    rasters::make(path, downsampling::mapped(9, 7, GDT_Int16), counted);
    {
        GDALStreamer set;
        ASSERT_TRUE(set.openUpdate(path));
        const PixelMatrix<short> corner = PixelMatrix<short>::Constant(5, 4, -1);
        EXPECT_TRUE(set.write(corner, 1, box(-2, -3, largest, largest)));
    }
    const std::vector<double> pixels = rasters::pixels(path);
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 9; ++x)
            EXPECT_EQ(pixels[static_cast<std::size_t>(9 * y + x)], x < 2 && y < 2 ? -1.0 : counted(x, y, 1));
}

// --- Sizes ----------------------------------------------------------------------------------------------------

TEST(LargestRaster, IsReadAtItsFarEnd)
{
    const TempFolder folder;
    rasters::make(folder / "corner.tif", {4, 3}, [](int x, int y, int) { return 1.0 + x + 10.0 * y; });
    const QString path = folder / "largest.vrt";
    makeFile(path, "<VRTDataset rasterXSize=\"2147483647\" rasterYSize=\"2147483647\">"
                   "<VRTRasterBand dataType=\"Byte\" band=\"1\"><SimpleSource>"
                   "<SourceFilename relativeToVRT=\"1\">corner.tif</SourceFilename><SourceBand>1</SourceBand>"
                   "<SrcRect xOff=\"0\" yOff=\"0\" xSize=\"4\" ySize=\"3\"/>"
                   "<DstRect xOff=\"2147483643\" yOff=\"2147483644\" xSize=\"4\" ySize=\"3\"/>"
                   "</SimpleSource></VRTRasterBand></VRTDataset>");
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(path));
    EXPECT_EQ(set.width(), largest);
    EXPECT_EQ(set.height(), largest);
    vexel::ImageInfo info;
    vexel::imageInfoWithGDAL(set, info);
    EXPECT_EQ(info.width, largest);

    PixelMatrix<unsigned char> pixels;
    ASSERT_TRUE(set.read(pixels, 1, box(largest - 5, largest - 4, largest, largest), 1.0, true, 9));
    ASSERT_EQ(pixels.rows(), 4);
    ASSERT_EQ(pixels.cols(), 5);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(pixels(y, x), x < 1 || y < 1 ? 0 : 1 + (x - 1) + 10 * (y - 1));
    EXPECT_THROW(set.read(pixels, 1, PixelBox(), 2.0, true, 9), std::bad_alloc);
    set.close();
    EXPECT_TRUE(vexel::gdal::verify(path).isWhole());
}

namespace {

constexpr int side = 70000; // 4.9 thousand million pixels

const PixelBox farBox = box(side - 5, side - 4, side, side);

/// Five by four pixels that differ.
PixelMatrix<unsigned char> farPixels()
{
    PixelMatrix<unsigned char> pixels(4, 5);
    for (int i = 0; i < 20; ++i)
        pixels.data()[i] = static_cast<unsigned char>(100 + i);
    return pixels;
}

std::string fileBytes(const QString& path, std::size_t count)
{
    std::string bytes(count, '\0');
    std::ifstream file(path.toStdString(), std::ios::binary);
    file.read(bytes.data(), static_cast<std::streamsize>(count));
    return bytes;
}

const std::string bigTiff("II\x2B\0", 4);

} // namespace

TEST(RasterBeyond4GiB, IsUpdatedAndReadWhereItIsSparse)
{
    const TempFolder folder;
    const QString path = folder / "sparse.tif";
    {
        CPLStringList options;
        for (const char* option : {"SPARSE_OK=TRUE", "TILED=YES", "BIGTIFF=YES"})
            options.AddString(option);
        GDALAllRegister();
        const rasters::Dataset file(GetGDALDriverManager()->GetDriverByName("GTiff")->Create(
            path.toUtf8().constData(), side, side, 1, GDT_Byte, options.List()));
        ASSERT_TRUE(file);
    }
    GDALStreamer set;
    ASSERT_TRUE(set.openUpdate(path));
    EXPECT_EQ(set.width(), side);
    ASSERT_TRUE(set.write(farPixels(), 1, farBox));
    PixelMatrix<unsigned char> pixels;
    ASSERT_TRUE(set.read(pixels, 1, farBox, 1.0, true, 0));
    EXPECT_EQ(pixels, farPixels());
    ASSERT_TRUE(set.read(pixels, 1, box(0, side - 1, 4, side), 1.0, true, 9));
    EXPECT_TRUE((pixels.array() == 0).all());
    set.close();

    const vexel::gdal::VerifyReport report = vexel::gdal::verify(path);
    EXPECT_TRUE(report.isWhole());
    EXPECT_EQ(report.noBlocks, 1u);
    EXPECT_EQ(report.noSparseBlocks, 274u * 274u - 1u);
}

// GDAL extends an uncompressed file of zeros without writing them, so that the working file takes little room where the
// file system knows holes.
TEST(RasterBeyond4GiB, IsWrittenPastTheMarkOfTheWorkingFile)
{
    const TempFolder folder;
    const auto room = std::filesystem::space(folder.path().toStdString()).available;
    if (room < std::uintmax_t{6} << 30)
        GTEST_SKIP() << "there may be too little room on the disk";
    const QString path = folder / "large.tif";
    const QString workingFile = path + "_tmp.tif";
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(path, 1, DataType::UInt8, side, side));
    ASSERT_TRUE(set.write(farPixels(), 1, farBox));
    PixelMatrix<unsigned char> pixels;
    ASSERT_TRUE(set.read(pixels, 1, farBox, 1.0, true, 0));
    EXPECT_EQ(pixels, farPixels());
    ASSERT_TRUE(set.read(pixels, 1, box(0, 0, 5, 4), 1.0, true, 9));
    EXPECT_TRUE((pixels.array() == 0).all());

    EXPECT_EQ(fileBytes(workingFile, 4), bigTiff);
    EXPECT_GT(std::filesystem::file_size(workingFile.toStdString()), std::uintmax_t{4} << 30);
    {
        const rasters::Dataset working = rasters::open(workingFile);
        ASSERT_TRUE(working);
        PixelMatrix<unsigned char> byGdal(4, 5);
        ASSERT_EQ(working->GetRasterBand(1)->RasterIO(GF_Read, side - 5, side - 4, 5, 4, byGdal.data(), 5, 4,
                                                      GDT_Byte, 0, 0, nullptr),
                  CE_None);
        EXPECT_EQ(byGdal, farPixels());
    }
    set.discard();
    EXPECT_FALSE(std::filesystem::exists(workingFile.toStdString()));
}
