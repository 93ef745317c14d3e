#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/CommaDecimals.h"
#include "support/TempFolder.h"
#include "support/extents.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <locale>
#include <ostream>
#include <string>
#include <vector>

using namespace streamingtest;
using vexel::DataType;
using File = vexel::GDALStreamer::gdal_t;

namespace {

using Coefficients = std::array<double, 6>;

/// Reads a file before anybody has registered GDAL's drivers.
bool readsWithoutDrivers()
{
    const TempFolder folder;
    makeFile(folder / "a.pgm", "P5\n3 2\n255\nabcdef");
    const bool registered = GDALGetDriverCount() != 0;
    File file;
    vexel::PixelMatrix<unsigned char> pixels;
    return !registered && file.openRead(folder / "a.pgm", /*readOnly=*/true) && file.width() == 3 &&
           file.height() == 2 && file.read(pixels, 1, box(0, 0, 3, 2), 3, 2) && pixels(1, 0) == 'd';
}

} // namespace

namespace {

struct GeoreferenceCase
{
    const char* name;
    Coefficients geotransform;
    MapExtent extent; ///< of 10 x 20 pixels
    const char* message;
};

void PrintTo(const GeoreferenceCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterFileGeoreference : public testing::TestWithParam<GeoreferenceCase>
{};

} // namespace

TEST_P(RasterFileGeoreference, GivesTheExtentAndWarnsByTheSignedRatio)
{
    const TempFolder folder;
    rasters::makeVirtual(folder / "a.vrt", 10, 20, {GDT_Byte}, GetParam().geotransform);
    const OwnMessages log;
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.vrt", /*readOnly=*/true));
    expectExtent(file.workspace, GetParam().extent);
    EXPECT_EQ(log.text(), GetParam().message);
}

// Powers of two, so that products with 100000 end exactly in .5: 1/64 is 1562.5 units, 3/64 is 4687.5.
constexpr double tie = 0.015625;
const GeoreferenceCase georeferences[] = {
    {"NorthUp", {100, 0.5, 0, 200, 0, -0.5}, {10000000, -20000000, 10500000, -19000000, 50000}, ""},
    {"SouthUp",
     {100, 0.5, 0, 200, 0, 0.5},
     {10000000, -21000000, 10500000, -20000000, 50000},
     "6: Read image with non-square pixels: dx = 0.5, dy = 0.5"},
    {"MirroredAndNorthUp",
     {100, -0.5, 0, 200, 0, -0.5},
     {9500000, -20000000, 10000000, -19000000, 50000},
     "6: Read image with non-square pixels: dx = -0.5, dy = -0.5"},
    {"MirroredAndSouthUp", {100, -0.5, 0, 200, 0, 0.5}, {9500000, -21000000, 10000000, -20000000, 50000}, ""},
    {"FlatPixels", {100, 0.5, 0, 200, 0, -0.25}, {10000000, -20000000, 10500000, -19500000, 50000}, ""},
    {"TallPixels", {100, 0.25, 0, 200, 0, -0.5}, {10000000, -20000000, 10250000, -19000000, 25000}, ""},
    {"TallPixelsSouthUp", {100, 0.25, 0, 200, 0, 0.5}, {10000000, -21000000, 10250000, -20000000, 25000}, ""},
    {"FlatPixelsSouthUp",
     {100, 1, 0, 200, 0, 0.5},
     {10000000, -21000000, 11000000, -20000000, 100000},
     "6: Read image with non-square pixels: dx = 1, dy = 0.5"},
    {"RatioBelowTheReciprocal", {0, 0.99999000005, 0, 0, 0, 1}, {0, -2000000, 999990, 0, 99999}, ""},
    {"RatioAboveTheReciprocal",
     {0, 0.99999000015, 0, 0, 0, 1},
     {0, -2000000, 999990, 0, 99999},
     "6: Read image with non-square pixels: dx = 0.99999, dy = 1"},
    {"RotationIgnored",
     {100, 0.5, 0.125, 200, -0.125, -0.5},
     {10000000, -20000000, 10500000, -19000000, 50000},
     ""},
    {"TiesRoundAwayFromZero",
     {tie, 3 * tie, 0, tie, 0, -3 * tie},
     {1563, -1563, 1563 + 10 * 4688, -1563 + 20 * 4688, 4688},
     ""},
    {"NegativeTiesRoundAwayFromZero",
     {-tie, 3 * tie, 0, -tie, 0, -3 * tie},
     {-1563, 1563, -1563 + 10 * 4688, 1563 + 20 * 4688, 4688},
     ""},
    {"TieOfThePixelHeight", {0, tie / 2, 0, 0, 0, -tie}, {0, 0, 7810, 20 * 1563, 781}, ""},
    {"BelowTiesRoundDown", {0.000004, 1, 0, 0.000004, 0, -1}, {0, 0, 1000000, 2000000, 100000}, ""},
    {"SmallestResolution", {0, 0.0000078125, 0, 0, 0, -0.0000078125}, {0, 0, 10, 20, 1}, ""},
    {"MetresOfAMapGrid",
     {345678.905, 0.05, 0, 5345678.905, 0, -0.05},
     {34567890500, -534567890500, 34567890500 + 50000, -534567890500 + 100000, 5000},
     ""},
};
INSTANTIATE_TEST_SUITE_P(Coefficients, RasterFileGeoreference, testing::ValuesIn(georeferences),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(RasterFileOpenRead, WarnsWithDecimalPointsUnderALocaleWithCommas)
{
    const TempFolder folder;
    rasters::makeVirtual(folder / "a.vrt", 10, 20, {GDT_Byte}, Coefficients{0, 0.5, 0, 0, 0, 0.25});
    const OwnMessages log;
    File file;
    {
        const CommaDecimals commas;
        EXPECT_TRUE(file.openRead(folder / "a.vrt", /*readOnly=*/true));
    }
    EXPECT_EQ(log.text(), "6: Read image with non-square pixels: dx = 0.5, dy = 0.25");
}

TEST(RasterFileOpenRead, WithoutGeotransformLiesInPixelUnits)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {10, 20}, [](int, int, int) { return 1; });
    const OwnMessages log;
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    expectExtent(file.workspace, {0, 0, 10, 20, 1});
    EXPECT_EQ(log.text(), "");
}

TEST(RasterFileOpenRead, TakesTheGeotransformOfAGeoTiff)
{
    const TempFolder folder;
    rasters::Description d{10, 20};
    d.geotransform = Coefficients{100, 0.5, 0, 200, 0, -0.5};
    rasters::make(folder / "a.tif", d, [](int, int, int) { return 1; });
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    expectExtent(file.workspace, {10000000, -20000000, 10500000, -19000000, 50000});
    EXPECT_EQ(file.width(), 10);
    EXPECT_EQ(file.height(), 20);
}

TEST(RasterFileOpenRead, ADifferentPixelHeightChangesTheHeight)
{
    const TempFolder folder;
    rasters::makeVirtual(folder / "a.vrt", 10, 20, {GDT_Byte}, Coefficients{0, 0.5, 0, 0, 0, -0.25});
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.vrt", /*readOnly=*/true));
    EXPECT_EQ(file.width(), 10);
    EXPECT_EQ(file.height(), 10);
}

namespace {

struct TinyPixelCase
{
    const char* name;
    double dx, dy;
};

void PrintTo(const TinyPixelCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterFileTinyPixels : public testing::TestWithParam<TinyPixelCase>
{};

} // namespace

TEST_P(RasterFileTinyPixels, AreWarnedAboutAndGiveNoExtent)
{
    const TempFolder folder;
    rasters::makeVirtual(folder / "a.vrt", 10, 20, {GDT_Byte},
                         Coefficients{8, GetParam().dx, 0, 50, 0, GetParam().dy});
    const OwnMessages log;
    File file;
    EXPECT_TRUE(file.openRead(folder / "a.vrt", /*readOnly=*/true));
    EXPECT_TRUE(file.workspace.empty());
    ASSERT_EQ(log.messages().size(), 1u) << log.text();
    EXPECT_EQ(log.messages().front().level, 6);
}

INSTANTIATE_TEST_SUITE_P(Sizes, RasterFileTinyPixels,
                         testing::Values(TinyPixelCase{"Both", 1e-6, -1e-6},
                                         TinyPixelCase{"JustBelowHalfAUnit", 0.0000049, -0.0000049},
                                         TinyPixelCase{"WidthOnly", 1e-6, -1},
                                         TinyPixelCase{"HeightOnly", 1, -1e-6}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(RasterFileOpenRead, CoordinatesBeyond64BitsSaturate)
{
    const TempFolder folder;
    rasters::makeVirtual(folder / "a.vrt", 10, 20, {GDT_Byte}, Coefficients{-1e300, 1, 0, 1e300, 0, -1});
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.vrt", /*readOnly=*/true));
    constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    expectExtent(file.workspace, {lowest, lowest, lowest + 1000000, lowest + 2000000, 100000});
}

TEST(RasterFileOpenRead, CoordinatesThatOverflowWrap)
{
    const TempFolder folder;
    rasters::makeVirtual(folder / "a.vrt", 10, 20, {GDT_Byte}, Coefficients{1e300, 1, 0, 0, 0, -1});
    const QuietGdal quiet;
    const LogCapture log;
    File file;
    file.openRead(folder / "a.vrt", /*readOnly=*/true);
    constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    // The far edge wraps round to the west, and the constructor puts the corners in order.
    EXPECT_EQ(file.workspace.minx(), lowest + 1000000 - 1);
    EXPECT_EQ(file.workspace.maxx(), largest);
}

TEST(RasterFileOpenRead, NotANumberCountsAsZero)
{
    const TempFolder folder;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    rasters::makeVirtual(folder / "a.vrt", 10, 20, {GDT_Byte}, Coefficients{nan, 1, 0, nan, 0, -1});
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.vrt", /*readOnly=*/true));
    expectExtent(file.workspace, {0, 0, 1000000, 2000000, 100000});
}

namespace {

struct TypeCase
{
    const char* name;
    std::vector<GDALDataType> bands;
    DataType type; ///< Unknown when the open fails
};

void PrintTo(const TypeCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterFileType : public testing::TestWithParam<TypeCase>
{};

} // namespace

TEST_P(RasterFileType, IsThatOfThePixels)
{
    const TempFolder folder;
    rasters::makeVirtual(folder / "a.vrt", 5, 4, GetParam().bands);
    ASSERT_TRUE(rasters::open(folder / "a.vrt"));
    const OwnMessages log;
    File file;
    file.noBands = 77;
    const bool expected = GetParam().type != DataType::Unknown;
    EXPECT_EQ(file.openRead(folder / "a.vrt", /*readOnly=*/true), expected);
    EXPECT_EQ(file.dtype, GetParam().type);
    EXPECT_EQ(file.mode, expected ? File::ReadOnly : File::Closed);
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(rasters::openDatasets(), 0);
    if (expected) {
        EXPECT_EQ(file.noBands, GetParam().bands.size());
    }
}

const TypeCase types[] = {
    {"Byte", {GDT_Byte}, DataType::UInt8},
    {"Int16", {GDT_Int16}, DataType::Int16},
    {"Int32", {GDT_Int32}, DataType::Int32},
    {"Float32", {GDT_Float32}, DataType::Float32},
    {"Float64", {GDT_Float64}, DataType::Float64},
    {"UInt16", {GDT_UInt16}, DataType::UInt16},
    {"UInt32", {GDT_UInt32}, DataType::UInt32},
    {"TwoBytes", std::vector<GDALDataType>(2, GDT_Byte), DataType::UInt8},
    {"ThreeBytes", std::vector<GDALDataType>(3, GDT_Byte), DataType::UInt8},
    {"FourBytes", std::vector<GDALDataType>(4, GDT_Byte), DataType::UInt8},
    {"FiveFloats", std::vector<GDALDataType>(5, GDT_Float32), DataType::Float32},
    {"ComplexInt16", {GDT_CInt16}, DataType::Unknown},
    {"ComplexFloat32", {GDT_CFloat32}, DataType::Unknown},
    {"ComplexFloat64", {GDT_CFloat64}, DataType::Unknown},
    {"Mixed", {GDT_Byte, GDT_Int16}, DataType::Unknown},
    {"MixedLast", {GDT_Byte, GDT_Byte, GDT_CFloat32}, DataType::Unknown},
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 5, 0)
    {"Int64", {GDT_Int64}, DataType::Unknown},
    {"UInt64", {GDT_UInt64}, DataType::Unknown},
#endif
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 11, 0)
    {"Float16", {GDT_Float16}, DataType::Float32},
    {"HalfAndWholeFloat", {GDT_Float16, GDT_Float32}, DataType::Float32},
    {"ComplexFloat16", {GDT_CFloat16}, DataType::Unknown},
#endif
};
INSTANTIATE_TEST_SUITE_P(Pixels, RasterFileType, testing::ValuesIn(types),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(RasterFileOpenRead, OfAFileWithoutBandsFails)
{
    const TempFolder folder;
    const OwnMessages log;
    rasters::Description d{4, 3};
    d.driver = "NITF";
    d.options = {"NUMI=0"};
    rasters::make(folder / "a.ntf", d, [](int, int, int) { return 1; });
    ASSERT_EQ(rasters::open(folder / "a.ntf")->GetRasterCount(), 0);
    File file;
    EXPECT_FALSE(file.openRead(folder / "a.ntf", /*readOnly=*/true));
    EXPECT_EQ(file.mode, File::Closed);
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(rasters::openDatasets(), 0);
    EXPECT_EQ(log.text(), "");
}

TEST(RasterFileOpenRead, CountsTheImagesOfTheFile)
{
    const TempFolder folder;
    rasters::Description d{4, 3};
    rasters::make(folder / "a.tif", d, [](int, int, int) { return 1; });
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    EXPECT_EQ(file.noPages, 1u);
    d.options = {"APPEND_SUBDATASET=YES"};
    rasters::make(folder / "a.tif", d, [](int, int, int) { return 2; });
    rasters::make(folder / "a.tif", d, [](int, int, int) { return 3; });
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    EXPECT_EQ(file.noPages, 3u);
}

TEST(RasterFileOpenRead, ForgetsWhatItHeldBefore)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {4, 3, 3}, [](int, int, int) { return 1; });
    makeFile(folder / "broken.tif", "no raster at all");
    const OwnMessages log;
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    EXPECT_FALSE(file.openRead(folder / "broken.tif", /*readOnly=*/true));
    EXPECT_EQ(file.noBands, 0u);
    EXPECT_EQ(file.dtype, DataType::Unknown);
    EXPECT_EQ(file.path, folder / "broken.tif");
    EXPECT_EQ(log.text(), "");
}

TEST(RasterFileOpenRead, OfWhatIsNoRasterFailsSilently)
{
    const TempFolder folder;
    makeFile(folder / "empty.tif", "");
    makeFile(folder / "text.tif", "II*");
    std::filesystem::create_directory((folder / "folder.tif").toStdString());
    const OwnMessages log;
    for (const char* name : {"empty.tif", "text.tif", "folder.tif", "missing.tif", "missing/missing.tif"})
        for (const bool readOnly : {true, false}) {
            File file;
            EXPECT_FALSE(file.openRead(folder / name, readOnly)) << name;
            EXPECT_EQ(file.mode, File::Closed);
            EXPECT_FALSE(file.opened());
        }
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(folder.listing(), "empty.tif folder.tif text.tif");
}

// Started anew, since the other tests register the drivers.
TEST(RasterFileOpenRead, NeedsNoRegisteredDrivers)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(std::exit(readsWithoutDrivers() ? 0 : 1), testing::ExitedWithCode(0), "");
}
