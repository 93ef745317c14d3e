#include "utilities/probing.h"

#include "streaming/GDALMutex.h"
#include "streaming/streamingsupport.h"
#include "support/TempFolder.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"
#include "utilities/tilenames.h"

#include <cpl_error.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::ImageInfo;
using vexel::imageInfoWithGDAL;
using vexel::gdal::doesExistValidFileAt;

namespace {

constexpr int width = 12;
constexpr int height = 7;

void makeRaster(const QString& path, int bands = 1, GDALDataType type = GDT_Byte)
{
    rasters::make(path, {width, height, bands, type}, storedNoise<unsigned char>());
}

/// Two columns and one row of files with the west edge at 100, of 2 bands of 16 bits. `path` itself does not
/// come to be.
void makeTileSet(const QString& path)
{
    for (int column = 0; column < 2; ++column) {
        rasters::Description d{width, height, 2, GDT_Int16};
        d.geotransform = std::array<double, 6>{100.0 + column * width, 1, 0, 200, 0, -1};
        rasters::make(vexel::gdal::tile2path(path, column + 1, 1), d, storedNoise<short>());
    }
}

ImageInfo oddInfo()
{
    ImageInfo info;
    info.width = -1;
    info.height = -2;
    info.dtype = DataType::Float64;
    info.noBands = 77;
    info.noPages = 88;
    return info;
}

void expectInfo(const ImageInfo& info, std::int64_t columns, std::int64_t rows, DataType dtype,
                std::uint64_t bands, std::uint64_t pages)
{
    EXPECT_EQ(info.width, columns);
    EXPECT_EQ(info.height, rows);
    EXPECT_EQ(info.dtype, dtype);
    EXPECT_EQ(info.noBands, bands);
    EXPECT_EQ(info.noPages, pages);
}

void expectUntouched(const ImageInfo& info)
{
    expectInfo(info, -1, -2, DataType::Float64, 77, 88);
}

/// Makes GDAL's errors of this thread exceptions while it lives, as an application may.
template <class Exception>
class ThrowingErrors
{
public:
    ThrowingErrors() : m_handler(raise) {}

private:
    static void raise(CPLErr level, const std::string&)
    {
        if (level == CE_Failure)
            throw Exception("raised by the error handler");
    }

    GdalHandler m_handler;
};

/// An exception of no standard type.
struct Foreign
{
    explicit Foreign(const char*) {}
};

} // namespace

TEST(DoesExistValidFileAt, HandsOverTheOpenFile)
{
    const TempFolder folder;
    makeRaster(folder / "a.tif", 3);
    int calls = 0;
    EXPECT_TRUE(doesExistValidFileAt(folder / "a.tif", [&](const GDALStreamer& set) {
        ++calls;
        EXPECT_TRUE(set.opened());
        EXPECT_EQ(set.path(), folder / "a.tif");
        EXPECT_EQ(set.noTiles(), 1u);
        vexel::PixelMatrix<unsigned char> pixels;
        EXPECT_TRUE(set.read(pixels, 2, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
        EXPECT_EQ(pixels, noiseMatrix<unsigned char>(width, height, 2));
    }));
    EXPECT_EQ(calls, 1);
}

TEST(DoesExistValidFileAt, FindsTileSetsByTheirBaseName)
{
    const TempFolder folder;
    makeTileSet(folder / "a.tif");
    const OwnMessages messages;
    int calls = 0;
    EXPECT_TRUE(doesExistValidFileAt(folder / "a.tif", [&](const GDALStreamer& set) {
        ++calls;
        EXPECT_EQ(set.noTiles(), 2u);
        EXPECT_EQ(set.width(), 2 * width);
    }));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(messages.text(), "");
}

TEST(DoesExistValidFileAt, PrefersTheSingleFile)
{
    const TempFolder folder;
    makeTileSet(folder / "a.tif");
    makeRaster(folder / "a.tif");
    EXPECT_TRUE(doesExistValidFileAt(folder / "a.tif",
                                     [](const GDALStreamer& set) { EXPECT_EQ(set.noTiles(), 1u); }));
}

TEST(DoesExistValidFileAt, NeedsNoCallback)
{
    const TempFolder folder;
    makeRaster(folder / "a.tif");
    EXPECT_TRUE(doesExistValidFileAt(folder / "a.tif", {}));
    EXPECT_TRUE(doesExistValidFileAt(folder / "a.tif", nullptr));
    const OwnMessages messages;
    EXPECT_FALSE(doesExistValidFileAt(folder / "none.tif", {}));
}

TEST(DoesExistValidFileAt, IsFalseForWhatIsNoRaster)
{
    const TempFolder folder;
    makeFile(folder / "text.tif", "no raster");
    makeRaster(folder / "complex.tif", 1, GDT_CFloat32);
    ASSERT_TRUE(std::filesystem::create_directory((folder / "a folder").toStdString()));
    const OwnMessages messages;
    const auto mustNotBeCalled = [](const GDALStreamer&) { ADD_FAILURE() << "called"; };
    for (const QString& path :
         {QString(), folder / "none.tif", folder / "text.tif", folder / "complex.tif", folder / "a folder"})
        EXPECT_FALSE(doesExistValidFileAt(path, mustNotBeCalled)) << path.toStdString();
    EXPECT_EQ(messages.text(), "");
}

TEST(DoesExistValidFileAt, ClosesTheSetBeforeItReturns)
{
    const TempFolder folder;
    makeRaster(folder / "a.tif");
    const int before = rasters::openDatasets();
    EXPECT_TRUE(doesExistValidFileAt(folder / "a.tif", [&](const GDALStreamer& set) {
        // The set that is handed over is not a constant one.
        EXPECT_TRUE(const_cast<GDALStreamer&>(set).open(0));
        EXPECT_EQ(rasters::openDatasets(), before + 1);
    }));
    EXPECT_EQ(rasters::openDatasets(), before);
}

TEST(DoesExistValidFileAt, LetsTheCallbacksExceptionOutOnceTheSetIsClosed)
{
    const TempFolder folder;
    makeRaster(folder / "a.tif");
    const int before = rasters::openDatasets();
    const auto fail = [](const GDALStreamer& set) {
        EXPECT_TRUE(const_cast<GDALStreamer&>(set).open(0));
        throw std::out_of_range("from the callback");
    };
    try {
        doesExistValidFileAt(folder / "a.tif", fail);
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::out_of_range& failure) {
        EXPECT_EQ(failure.what(), std::string("from the callback"));
    }
    EXPECT_EQ(rasters::openDatasets(), before);
}

TEST(DoesExistValidFileAt, DestroysTheCallback)
{
    const TempFolder folder;
    makeRaster(folder / "a.tif");
    const auto held = std::make_shared<int>();
    EXPECT_TRUE(doesExistValidFileAt(folder / "a.tif", [copy = held](const GDALStreamer&) {}));
    EXPECT_EQ(held.use_count(), 1);
}

TEST(DoesExistValidFileAt, CallsBackWithoutTheGdalLock)
{
    const TempFolder folder;
    makeRaster(folder / "a.tif");
    EXPECT_TRUE(doesExistValidFileAt(folder / "a.tif", [](const GDALStreamer&) {
        // Would wait for ever.
        std::async(std::launch::async, [] { const vexel::GDALMutex lock; }).get();
    }));
}

TEST(ImageInfoOfSet, TellsSizeTypeBandsAndPages)
{
    const TempFolder folder;
    makeRaster(folder / "a.tif", 3);
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    ImageInfo info = oddInfo();
    imageInfoWithGDAL(set, info);
    expectInfo(info, width, height, DataType::UInt8, 3, 1);
}

TEST(ImageInfoOfSet, DescribesTheWholeTileSet)
{
    const TempFolder folder;
    makeTileSet(folder / "a.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif", GdalFileType::TileSet));
    ImageInfo info;
    imageInfoWithGDAL(set, info);
    expectInfo(info, 2 * width, height, DataType::Int16, 2, 1);
}

TEST(ImageInfoOfSet, CountsSquarePixels)
{
    const TempFolder folder;
    rasters::Description d{width, height};
    // Half as high as they are wide: 7 rows of 1 are 3 whole pixels of 2.
    d.geotransform = std::array<double, 6>{0, 2, 0, 0, 0, -1};
    rasters::make(folder / "a.tif", d, storedNoise<unsigned char>());
    const OwnMessages messages;
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    ImageInfo info;
    imageInfoWithGDAL(set, info);
    expectInfo(info, width, 3, DataType::UInt8, 1, 1);
}

TEST(ImageInfoOfSet, DescribesASetThatIsNotOpen)
{
    ImageInfo info = oddInfo();
    GDALStreamer set;
    imageInfoWithGDAL(set, info);
    expectInfo(info, 0, 0, DataType::Unknown, 0, 0);

    const TempFolder folder;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 4, DataType::Float32, 30, 20));
    imageInfoWithGDAL(set, info);
    expectInfo(info, 30, 20, DataType::Float32, 4, 0);
    set.close();
    info = oddInfo();
    imageInfoWithGDAL(set, info);
    expectInfo(info, 30, 20, DataType::Float32, 4, 0);
}

struct TypeCase
{
    const char* name;
    GDALDataType gdal;
    DataType type;
    int bands;
};

class ImageInfoOfFile : public testing::TestWithParam<TypeCase>
{};

TEST_P(ImageInfoOfFile, TellsTypeAndBands)
{
    const TempFolder folder;
    makeRaster(folder / "a.tif", GetParam().bands, GetParam().gdal);
    const OwnMessages messages;
    ImageInfo info = oddInfo();
    EXPECT_TRUE(imageInfoWithGDAL(folder / "a.tif", info));
    expectInfo(info, width, height, GetParam().type, static_cast<std::uint64_t>(GetParam().bands), 1);
    EXPECT_EQ(messages.text(), "");
}

INSTANTIATE_TEST_SUITE_P(Types, ImageInfoOfFile,
                         testing::Values(TypeCase{"Byte", GDT_Byte, DataType::UInt8, 1},
                                         TypeCase{"Colour", GDT_Byte, DataType::UInt8, 3},
                                         TypeCase{"ColourWithAlpha", GDT_Byte, DataType::UInt8, 4},
                                         TypeCase{"Int16", GDT_Int16, DataType::Int16, 2},
                                         TypeCase{"UInt16", GDT_UInt16, DataType::UInt16, 1},
                                         TypeCase{"Int32", GDT_Int32, DataType::Int32, 1},
                                         TypeCase{"UInt32", GDT_UInt32, DataType::UInt32, 1},
                                         TypeCase{"Float32", GDT_Float32, DataType::Float32, 5},
                                         TypeCase{"Float64", GDT_Float64, DataType::Float64, 1}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ImageInfoOfPath, TellsThePagesOfAFile)
{
    const TempFolder folder;
    for (int page = 0; page < 3; ++page) {
        rasters::Description d{width, height};
        if (page > 0)
            d.options = {"APPEND_SUBDATASET=YES"};
        rasters::make(folder / "a.tif", d, storedNoise<unsigned char>());
    }
    ImageInfo info;
    EXPECT_TRUE(imageInfoWithGDAL(folder / "a.tif", info));
    expectInfo(info, width, height, DataType::UInt8, 1, 3);
}

TEST(ImageInfoOfPath, DescribesRealRasters)
{
    const QString data = VEXEL_EXAMPLE_DATA;
    ImageInfo info;
    EXPECT_TRUE(imageInfoWithGDAL(data + "/jacksboro_dem_utm_f32.tif", info));
    expectInfo(info, 414, 436, DataType::Float32, 1, 1);
    EXPECT_TRUE(imageInfoWithGDAL(data + "/naip_washington_rgba.tif", info));
    expectInfo(info, 640, 640, DataType::UInt8, 4, 1);
}

TEST(ImageInfoOfPath, KnowsNoTileSets)
{
    const TempFolder folder;
    makeTileSet(folder / "a.tif");
    const OwnMessages messages;
    ImageInfo info = oddInfo();
    EXPECT_FALSE(imageInfoWithGDAL(folder / "a.tif", info));
    expectUntouched(info);
    EXPECT_EQ(messages.text(), "6: Unable to open image " + (folder / "a.tif").toStdString());
}

TEST(ImageInfoOfPath, WarnsOfAFileThatCannotBeOpened)
{
    const TempFolder folder;
    makeFile(folder / "text.tif", "no raster");
    for (const QString& path : {folder / "none.tif", folder / "text.tif", folder.path()}) {
        const OwnMessages messages;
        ImageInfo info = oddInfo();
        EXPECT_FALSE(imageInfoWithGDAL(path, info));
        expectUntouched(info);
        ASSERT_EQ(messages.messages().size(), 1u);
        EXPECT_EQ(messages.messages()[0].level, 6);
        EXPECT_EQ(messages.messages()[0].text, "Unable to open image " + path.toStdString());
        EXPECT_EQ(messages.messages()[0].category, "");
        EXPECT_EQ(messages.messages()[0].file, "probing");
        EXPECT_GT(messages.messages()[0].line, 0u);
    }
}

TEST(ImageInfoOfPath, GivesDefaultsForAnEmptyPathInSilence)
{
    const OwnMessages messages;
    for (const QString& path : {QString(), QString("")}) {
        ImageInfo info = oddInfo();
        EXPECT_FALSE(imageInfoWithGDAL(path, info));
        expectInfo(info, 0, 0, DataType::Unknown, 0, 0);
    }
    EXPECT_EQ(messages.text(), "");
}

TEST(ImageInfoOfPath, DropsStandardExceptionsInSilence)
{
    const TempFolder folder;
    const OwnMessages messages;
    const ThrowingErrors<std::runtime_error> throwing;
    ImageInfo info = oddInfo();
    EXPECT_FALSE(imageInfoWithGDAL(folder / "none.tif", info));
    expectUntouched(info);
    EXPECT_EQ(messages.text(), "");
}

TEST(ImageInfoOfPath, LetsOtherExceptionsOut)
{
    const TempFolder folder;
    const OwnMessages messages;
    const ThrowingErrors<Foreign> throwing;
    ImageInfo info = oddInfo();
    EXPECT_THROW(imageInfoWithGDAL(folder / "none.tif", info), Foreign);
    expectUntouched(info);
    EXPECT_EQ(messages.text(), "");
}
