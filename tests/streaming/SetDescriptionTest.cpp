#include "streaming/GDALStreamer.h"
#include "streaming/readpixels.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/rasters.h"

#include <gtest/gtest.h>
#include <ogr_spatialref.h>

#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// What a set tells without being read, what it is made by, and what goes through its files.

namespace {

using namespace vexel;
using Values = std::vector<double>;

rasters::PixelValue constant(double value)
{
    return [value](int, int, int) { return value; };
}

/// Gives bands no-data values.
void setNoData(const QString& path, const Values& values)
{
    const rasters::Dataset dataset = rasters::open(path, /*update=*/true);
    for (std::size_t band = 0; band < values.size(); ++band)
        ASSERT_EQ(dataset->GetRasterBand(static_cast<int>(band + 1))->SetNoDataValue(values[band]), CE_None);
}

// ---- Spatial reference and no-data

TEST(SpatialReference, IsThatOfTheFirstFile)
{
    const TempFolder folder;
    rasters::Description description = downsampling::mapped(8, 8, GDT_Byte);
    description.wkt = rasters::wkt(32633);
    rasters::make(folder / "in.tif", description, constant(7));
    downsampling::makeTiles(folder / "set.tif", description, 4, 4, constant(7));
    for (const char* name : {"in.tif", "set.tif"}) {
        GDALStreamer set;
        ASSERT_TRUE(set.openRead(folder / name));
        OGRSpatialReference reference;
        ASSERT_EQ(reference.importFromWkt(set.spatialReference().toUtf8().constData()), OGRERR_NONE);
        EXPECT_STREQ(reference.GetAuthorityCode(nullptr), "32633");
        set.close();
        EXPECT_FALSE(set.spatialReference().isEmpty()) << "kept, as the path is";
    }
}

TEST(SpatialReference, IsEmptyWithoutOne)
{
    const TempFolder folder;
    GDALStreamer set;
    EXPECT_EQ(set.spatialReference(), "");
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), constant(7));
    ASSERT_TRUE(set.openRead(folder / "in.tif"));
    EXPECT_EQ(set.spatialReference(), "");
}

TEST(SpatialReference, OfASetBeingWrittenIsWhatItIsWrittenWith)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "out.tif", 1, DataType::UInt8, Workspace(0, 0, 400000, 400000, 100000),
                              "PROJCS[]", "", "", GdalFileType::TileSet, 2, 2));
    EXPECT_EQ(set.spatialReference(), "PROJCS[]");
    set.discard();
}

TEST(NoDataValue, IsThatOfEachBandOfTheFirstFile)
{
    const TempFolder folder;
    rasters::Description description = downsampling::mapped(8, 8, GDT_Float32, 3);
    rasters::make(folder / "none.tif", description, constant(7));
    GDALStreamer set;
    EXPECT_EQ(set.noDataValue(1), std::nullopt);
    ASSERT_TRUE(set.openRead(folder / "none.tif"));
    for (const std::size_t band : {0u, 1u, 2u, 3u, 4u})
        EXPECT_EQ(set.noDataValue(band), std::nullopt);
    // GeoTIFF has one value for all bands, PAM has one for each.
    rasters::make(folder / "in.tif", description, constant(7));
    setNoData(folder / "in.tif", {-32767.5, -32767.5, -32767.5});
    ASSERT_TRUE(set.openRead(folder / "in.tif"));
    for (const std::size_t band : {1u, 2u, 3u})
        EXPECT_EQ(set.noDataValue(band), -32767.5);
    EXPECT_EQ(set.noDataValue(0), std::nullopt);
    EXPECT_EQ(set.noDataValue(4), std::nullopt);
    EXPECT_EQ(set.noDataValue(std::numeric_limits<std::size_t>::max()), std::nullopt);
}

TEST(NoDataValue, IsThatOfTheFirstFileWhereTilesDiffer)
{
    const TempFolder folder;
    const QString path = folder / "in.tif";
    downsampling::makeTiles(path, downsampling::mapped(12, 4, GDT_Float32), 4, 4, constant(7));
    setNoData(downsampling::tilePath(path, 1, 1), {1});
    setNoData(downsampling::tilePath(path, 2, 1), {2});
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(path));
    EXPECT_EQ(set.noDataValue(1), 1.0);
}

TEST(SetDescription, TravelsWithTheFilesAndGoesWithThem)
{
    const TempFolder folder;
    rasters::Description description = downsampling::mapped(8, 8, GDT_Float32);
    description.wkt = rasters::wkt(32633);
    rasters::make(folder / "in.tif", description, constant(7));
    setNoData(folder / "in.tif", {-5});
    GDALStreamer source;
    ASSERT_TRUE(source.openRead(folder / "in.tif"));
    const QString reference = source.spatialReference();
    GDALStreamer set(std::move(source));
    EXPECT_EQ(set.spatialReference(), reference);
    EXPECT_EQ(set.noDataValue(1), -5.0);
    EXPECT_FALSE(set.openRead(folder / "none.tif"));
    EXPECT_EQ(set.spatialReference(), "");
    EXPECT_EQ(set.noDataValue(1), std::nullopt);
}

/// A virtual raster whose bands have the given no-data values; none where it is empty.
void makeBands(const QString& path, const std::vector<std::string>& values)
{
    std::string text = "<VRTDataset rasterXSize=\"2\" rasterYSize=\"2\">";
    for (std::size_t k = 0; k < values.size(); ++k) {
        text += "<VRTRasterBand dataType=\"Float64\" band=\"" + std::to_string(k + 1) + "\">";
        if (!values[k].empty())
            text += "<NoDataValue>" + values[k] + "</NoDataValue>";
        text += "</VRTRasterBand>";
    }
    text += "</VRTDataset>";
    VSILFILE* const file = VSIFOpenL(path.toUtf8().constData(), "wb");
    ASSERT_TRUE(file);
    EXPECT_EQ(VSIFWriteL(text.data(), 1, text.size(), file), text.size());
    VSIFCloseL(file);
}

TEST(NoDataValue, MayDifferFromBandToBand)
{
    const TempFolder folder;
    makeBands(folder / "in.vrt", {"5", "5", "", "nan", "nan", "-inf", "6"});
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "in.vrt"));
    EXPECT_EQ(set.noDataValue(1), 5.0);
    EXPECT_EQ(set.noDataValue(2), 5.0);
    EXPECT_EQ(set.noDataValue(3), std::nullopt);
    for (const std::size_t band : {4u, 5u}) {
        ASSERT_TRUE(set.noDataValue(band));
        EXPECT_TRUE(std::isnan(*set.noDataValue(band)));
    }
    EXPECT_EQ(set.noDataValue(6), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(set.noDataValue(7), 6.0);
    EXPECT_EQ(set.noDataValue(8), std::nullopt);
}

TEST(NoDataValue, IsNotToldOfTooManyBandsWithTheirOwn)
{
    const TempFolder folder;
    std::vector<std::string> values;
    for (int band = 0; band < 3000; ++band)
        values.push_back(std::to_string(band));
    makeBands(folder / "many.vrt", values);
    makeBands(folder / "alike.vrt", std::vector<std::string>(3000, "9"));
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "many.vrt"));
    EXPECT_EQ(set.noDataValue(1), std::nullopt);
    ASSERT_TRUE(set.openRead(folder / "alike.vrt"));
    EXPECT_EQ(set.noDataValue(3000), 9.0);
    makeBands(folder / "nan.vrt", std::vector<std::string>(3000, "nan"));
    ASSERT_TRUE(set.openRead(folder / "nan.vrt"));
    EXPECT_TRUE(std::isnan(set.noDataValue(3000).value_or(0.0))) << "NaN is alike, too";
}

TEST(NoDataValue, OfASetBeingWrittenIsWhatItsFilesGet)
{
    for (const DataType type : {DataType::UInt8, DataType::UInt16, DataType::Int16, DataType::Int32,
                                DataType::Float32, DataType::Float64}) {
        const TempFolder folder;
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / "out.tif", RasterSpec().type(type).bands(2).extent(
                                                          Workspace(0, 0, 400000, 400000, 100000))));
        const std::optional<double> told = set.noDataValue(2);
        EXPECT_EQ(set.noDataValue(3), std::nullopt);
        ASSERT_TRUE(set.write<float>(PixelMatrix<float>::Constant(4, 4, 7.0f), 1, PixelBox({0, 0}, {4, 4})));
        set.close();
        int isThere = 0;
        const double written = rasters::open(folder / "out.tif")->GetRasterBand(2)->GetNoDataValue(&isThere);
        EXPECT_EQ(told.has_value(), isThere != 0) << static_cast<int>(type);
        EXPECT_EQ(told.value_or(written), written);
    }
}

// ---- RasterSpec

TEST(RasterSpec, LikeASetTakesBandsTypeExtentAndReferenceOver)
{
    const TempFolder folder;
    rasters::Description description = downsampling::mapped(60, 40, GDT_Int16, 3);
    description.wkt = rasters::wkt(32633);
    downsampling::makeTiles(folder / "in.tif", description, 20, 20, constant(-3));
    GDALStreamer in;
    ASSERT_TRUE(in.openRead(folder / "in.tif"));
    GDALStreamer out;
    ASSERT_TRUE(out.openWrite(folder / "out.tif", RasterSpec::like(in)));
    EXPECT_EQ(out.noBands(), 3u);
    EXPECT_EQ(out.dtype(), DataType::Int16);
    EXPECT_EQ(out.ftype(), GdalFileType::SingleFile);
    EXPECT_EQ(out.noTiles(), 1u);
    EXPECT_EQ(out.res(), in.res());
    EXPECT_EQ(out.workspace().minx(), in.workspace().minx());
    EXPECT_EQ(out.workspace().maxy(), in.workspace().maxy());
    EXPECT_EQ(out.spatialReference(), in.spatialReference());
    out.discard();
}

TEST(RasterSpec, SetsWhatTheArgumentsOfOpenWriteDo)
{
    const TempFolder folder;
    const Workspace extent(0, -4000000, 6000000, 0, 100000);
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "out.tif", RasterSpec()
                                                      .bands(2)
                                                      .type(DataType::Float32)
                                                      .extent(extent)
                                                      .reference(QString::fromStdString(rasters::wkt(32633)))
                                                      .tiles(30, 20)
                                                      .software("painter")));
    EXPECT_EQ(set.ftype(), GdalFileType::TileSet);
    ASSERT_EQ(set.noTiles(), 4u);
    ASSERT_TRUE(set.write<float>(PixelMatrix<float>::Constant(40, 60, 7.0f), 2, PixelBox({0, 0}, {60, 40})));
    set.close();
    const rasters::Dataset file = rasters::open(folder / "out_2_1.tif");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->GetRasterXSize(), 30);
    EXPECT_EQ(file->GetRasterCount(), 2);
    EXPECT_STREQ(file->GetMetadataItem("TIFFTAG_SOFTWARE"), "painter");
    EXPECT_NE(std::string(file->GetProjectionRef()).find("zone 33N"), std::string::npos);
}

TEST(RasterSpec, IsRefusedAsItsArgumentsAre)
{
    const TempFolder folder;
    GDALStreamer set;
    EXPECT_FALSE(set.openWrite(folder / "out.tif", RasterSpec())) << "no extent";
    EXPECT_EQ(set.lastError().code, StreamError::Code::BadArgument);
    EXPECT_FALSE(set.openWrite(QString(), RasterSpec().extent(Workspace(0, 0, 10, 10, 1))));
    EXPECT_FALSE(
        set.openWrite(folder / "out.tif", RasterSpec().extent(Workspace(0, 0, 10, 10, 1)).tiles(0, 5)));
}

// ---- readPixels

TEST(ReadPixels, GivesWhatReadDoes)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(6, 4, GDT_Int16, 2),
                  [](int x, int y, int band) { return 1000 * band + 10 * y + x; });
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "in.tif"));
    const auto pixels = readPixels<int>(set, 2, PixelBox({1, 1}, {4, 3}));
    ASSERT_TRUE(pixels);
    PixelMatrix<int> expected(2, 3);
    expected << 2011, 2012, 2013, 2021, 2022, 2023;
    EXPECT_EQ(*pixels, expected);
    const auto beyond = readPixels<int>(set, 1, PixelBox({5, 3}, {7, 4}));
    ASSERT_TRUE(beyond);
    EXPECT_EQ((*beyond)(0, 0), 1035);
    EXPECT_EQ((*beyond)(0, 1), 0);
    const auto scaled =
        readPixels<float>(set, 1, PixelBox({0, 0}, {8, 4}), ReadOptions().scale(0.5).fill(-1.0));
    ASSERT_TRUE(scaled);
    EXPECT_EQ(scaled->rows(), 2);
    EXPECT_EQ(scaled->cols(), 4);
    EXPECT_EQ((*scaled)(0, 3), -1.0f);
}

TEST(ReadPixels, FillsWithTheNearestValueThatTheTypeHolds)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(2, 2, GDT_Byte), constant(7));
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "in.tif"));
    const PixelBox outside({10, 10}, {11, 11});
    const auto filled = [&](double value) {
        return static_cast<int>(
            (*readPixels<unsigned char>(set, 1, outside, ReadOptions().fill(value)))(0, 0));
    };
    EXPECT_EQ(filled(200.0), 200);
    EXPECT_EQ(filled(-10000.0), 0);
    EXPECT_EQ(filled(1e300), 255);
    EXPECT_EQ(filled(std::nan("")), 0);
    EXPECT_EQ((*readPixels<int>(set, 1, outside, ReadOptions().fill(1e10)))(0, 0),
              std::numeric_limits<int>::max());
    EXPECT_EQ((*readPixels<int>(set, 1, outside, ReadOptions().fill(-1e10)))(0, 0),
              std::numeric_limits<int>::lowest());
    EXPECT_EQ((*readPixels<int>(set, 1, outside, ReadOptions().fill(std::nan(""))))(0, 0), 0);
    EXPECT_TRUE(std::isnan((*readPixels<float>(set, 1, outside, ReadOptions().fill(std::nan(""))))(0, 0)));
}

TEST(ReadPixels, IsEmptyWithTheReasonIfItFails)
{
    const TempFolder folder;
    GDALStreamer set;
    EXPECT_FALSE(readPixels<float>(set, 1, PixelBox({0, 0}, {1, 1})));
    EXPECT_EQ(set.lastError().code, StreamError::Code::NotOpen);
    rasters::make(folder / "in.tif", downsampling::mapped(2, 2, GDT_Byte), constant(7));
    ASSERT_TRUE(set.openRead(folder / "in.tif"));
    EXPECT_FALSE(readPixels<float>(set, 2, PixelBox({0, 0}, {1, 1})));
    EXPECT_EQ(set.lastError().code, StreamError::Code::NoSuchBand);
    EXPECT_FALSE(readPixels<float>(set, 1, PixelBox({0, 0}, {1, 1}), ReadOptions().scale(-1.0)));
}

TEST(ReadColours, GivesPackedPixels)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(2, 1, GDT_Byte, 4),
                  [](int x, int, int band) { return x == 0 ? 16 * band : 0; });
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "in.tif"));
    const auto pixels = readColours(set, PixelBox({0, 0}, {3, 1}), ReadOptions().fill(0xFF112233u));
    ASSERT_TRUE(pixels);
    EXPECT_EQ((*pixels)(0, 0), 0x40102030u);
    EXPECT_EQ((*pixels)(0, 1), 0u);
    EXPECT_EQ((*pixels)(0, 2), 0xFF112233u);
    GDALStreamer none;
    EXPECT_FALSE(readColours(none, PixelBox({0, 0}, {1, 1})));
}

// ---- Tiles

TEST(TileRange, GoesThroughTheFilesInTheirOrder)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(50, 30, GDT_Byte), 20, 20, constant(7));
    GDALStreamer set;
    EXPECT_EQ(set.tiles().begin(), set.tiles().end());
    ASSERT_TRUE(set.openRead(folder / "in.tif"));
    std::uint64_t next = 0;
    std::int64_t pixels = 0;
    for (const TileRange::Tile& tile : set.tiles()) {
        EXPECT_EQ(tile.index, next);
        EXPECT_EQ(tile.path, downsampling::tilePath(folder / "in.tif", tile.column + 1, tile.row + 1));
        EXPECT_EQ(tile.column, set.gtile(next).x());
        EXPECT_EQ(tile.row, set.gtile(next).y());
        EXPECT_EQ(tile.pixels.min_corner().x(), 20 * tile.column);
        EXPECT_EQ(widthOf(tile.map), 100000 * widthOf(tile.pixels));
        pixels += widthOf(tile.pixels) * heightOf(tile.pixels);
        ++next;
    }
    EXPECT_EQ(next, 6u);
    EXPECT_EQ(pixels, 50 * 30);
}

TEST(TileRange, HasIteratorsThatGoOnByThemselves)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(40, 40, GDT_Byte), 20, 20, constant(7));
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "in.tif"));
    TileRange::Iterator tile = set.tiles().begin();
    EXPECT_EQ((*tile++).index, 0u);
    EXPECT_EQ((*tile).index, 1u);
    EXPECT_EQ((*++tile).index, 2u);
    EXPECT_EQ((*tile).map.min_corner().x(), set.workspace().minx() + 20 * 100000) << "second column";
    EXPECT_EQ(std::distance(set.tiles().begin(), set.tiles().end()), 4);
}

} // namespace
