#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/InLocale.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelMatrix;
using vexel::Workspace;

namespace {

constexpr int width = 30;
constexpr int height = 20;

QJsonObject gdalinfo(const QString& path)
{
    const std::string text = rasters::run({"gdalinfo", "-json", path.toStdString()});
    return QJsonDocument::fromJson(QByteArray::fromStdString(text)).object();
}

std::string tiffinfo(const QString& path)
{
    // It warns about every GeoTIFF tag.
    return rasters::run({"sh", "-c", "exec tiffinfo \"$0\" 2>/dev/null", path.toStdString()});
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

std::string metadata(const QJsonObject& info, const char* domain, const char* key)
{
    return info["metadata"].toObject()[QString(domain)].toObject()[QString(key)].toString().toStdString();
}

/// 2.5 m pixels with the north-west corner at (300000.5, 5000000.25).
Workspace utmExtent()
{
    return {30000050000, -500000025000, 30000050000 + width * 250000, -500000025000 + height * 250000,
            250000};
}

struct Target
{
    std::uint64_t bands = 1;
    DataType type = DataType::UInt8;
    Workspace extent = utmExtent();
    std::string wkt = {};
    std::string time = {};
    std::string software = {};
};

/// Writes all bands full of a value that differs from pixel to pixel.
void writeRaster(const QString& path, const Target& target)
{
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(path, target.bands, target.type, target.extent,
                              QString::fromStdString(target.wkt), QString::fromStdString(target.time),
                              QString::fromStdString(target.software), GdalFileType::SingleFile, 0, 0));
    const std::uint64_t bands = target.type == DataType::RGB    ? 3
                                : target.type == DataType::RGBA ? 4
                                                                : target.bands;
    for (std::uint64_t band = 1; band <= bands; ++band)
        ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(width, height, static_cast<int>(band)), band,
                              box(0, 0, width, height)));
    EXPECT_TRUE(set.close());
}

} // namespace

namespace {

struct FormatCase
{
    const char* name;
    DataType type;
    std::uint64_t bands; ///< asked for
    int bandsWritten;
    const char* gdalType;
    int predictor;
    bool noData;
};

void PrintTo(const FormatCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class WrittenGeoTiff : public testing::TestWithParam<FormatCase>
{
protected:
    void SetUp() override
    {
        Target target;
        target.type = GetParam().type;
        target.bands = GetParam().bands;
        writeRaster(folder / "a.tif", target);
    }

    TempFolder folder;
};

} // namespace

TEST_P(WrittenGeoTiff, IsCompressedWithTheRightPredictor)
{
    const std::string text = tiffinfo(folder / "a.tif");
    EXPECT_TRUE(contains(text, "Compression Scheme: LZW")) << text;
    EXPECT_TRUE(contains(text, GetParam().predictor == 3 ? "Predictor: floating point predictor 3"
                                                         : "Predictor: horizontal differencing 2"))
        << text;
    EXPECT_EQ(metadata(gdalinfo(folder / "a.tif"), "IMAGE_STRUCTURE", "COMPRESSION"), "LZW");
}

TEST_P(WrittenGeoTiff, HasTypeNoDataAndColours)
{
    const QJsonObject info = gdalinfo(folder / "a.tif");
    EXPECT_EQ(info["driverShortName"].toString(), "GTiff");
    const QJsonArray bands = info["bands"].toArray();
    ASSERT_EQ(bands.size(), GetParam().bandsWritten);
    const bool colour = bands.size() == 3 || bands.size() == 4;
    for (int i = 0; i < bands.size(); ++i) {
        const QJsonObject band = bands[i].toObject();
        EXPECT_EQ(band["type"].toString(), GetParam().gdalType);
        EXPECT_EQ(band.contains("noDataValue"), GetParam().noData);
        if (GetParam().noData) {
            EXPECT_EQ(band["noDataValue"].toDouble(), -10000.0);
        }
        if (colour) {
            EXPECT_EQ(
                band["colorInterpretation"].toString().toStdString(),
                (std::vector<std::string>{"Red", "Green", "Blue", "Alpha"}[static_cast<std::size_t>(i)]));
        }
    }
    const std::string text = tiffinfo(folder / "a.tif");
    EXPECT_TRUE(contains(text, colour ? "Photometric Interpretation: RGB color"
                                      : "Photometric Interpretation: min-is-black"))
        << text;
    EXPECT_EQ(contains(text, "Extra Samples: 1<unassoc-alpha>"), bands.size() == 4) << text;
}

TEST_P(WrittenGeoTiff, HoldsThePixels)
{
    for (int band = 1; band <= GetParam().bandsWritten; ++band)
        EXPECT_EQ(gdalPixels<unsigned char>(folder / "a.tif", band),
                  noiseMatrix<unsigned char>(width, height, band));
}

INSTANTIATE_TEST_SUITE_P(
    Types, WrittenGeoTiff,
    testing::Values(FormatCase{"RGB", DataType::RGB, 1, 3, "Byte", 2, false},
                    FormatCase{"RGBA", DataType::RGBA, 1, 4, "Byte", 2, false},
                    FormatCase{"UInt8", DataType::UInt8, 1, 1, "Byte", 2, false},
                    FormatCase{"Int16", DataType::Int16, 1, 1, "Int16", 2, true},
                    FormatCase{"Int32", DataType::Int32, 1, 1, "Int32", 2, true},
                    FormatCase{"Float32", DataType::Float32, 1, 1, "Float32", 3, true},
                    FormatCase{"Float64", DataType::Float64, 1, 1, "Float64", 3, true},
                    FormatCase{"UInt16", DataType::UInt16, 1, 1, "UInt16", 2, false},
                    FormatCase{"UInt32", DataType::UInt32, 1, 1, "UInt32", 2, false},
                    FormatCase{"UInt16Other", DataType::UInt16Other, 1, 1, "UInt16", 2, false},
                    FormatCase{"TwoBytes", DataType::UInt8, 2, 2, "Byte", 2, false},
                    FormatCase{"ThreeBytes", DataType::UInt8, 3, 3, "Byte", 2, false},
                    FormatCase{"FourShorts", DataType::UInt16, 4, 4, "UInt16", 2, false},
                    FormatCase{"FourSignedShorts", DataType::Int16, 4, 4, "Int16", 2, true},
                    FormatCase{"ThreeFloats", DataType::Float32, 3, 3, "Float32", 3, true},
                    FormatCase{"FiveBytes", DataType::UInt8, 5, 5, "Byte", 2, false}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(WrittenFile, IsGeoreferencedWithinAndBeside)
{
    const TempFolder folder;
    Target target;
    target.wkt = rasters::wkt(32633);
    writeRaster(folder / "a.tif", target);
    EXPECT_EQ(folder.listing(), "a.prj a.tfw a.tif");
    EXPECT_EQ(fileText(folder / "a.prj"), target.wkt);
    EXPECT_EQ(fileText(folder / "a.tfw"), "2.500000000000\n0\n0\n-2.500000000000\n300000.500000000000\n"
                                          "5000000.250000000000\n");

    const QJsonObject info = gdalinfo(folder / "a.tif");
    const QJsonArray geotransform = info["geoTransform"].toArray();
    ASSERT_EQ(geotransform.size(), 6);
    const double expected[] = {300000.5, 2.5, 0, 5000000.25, 0, -2.5};
    for (int i = 0; i < 6; ++i)
        EXPECT_DOUBLE_EQ(geotransform[i].toDouble(), expected[i]);
    const std::string srs = info["coordinateSystem"].toObject()["wkt"].toString().toStdString();
    EXPECT_TRUE(contains(srs, "WGS 84 / UTM zone 33N")) << srs;
    const QJsonArray size = info["size"].toArray();
    EXPECT_EQ(size[0].toInt(), width);
    EXPECT_EQ(size[1].toInt(), height);
}

TEST(WrittenFile, HoldsDecimalPointsUnderALocaleWithCommas)
{
    const TempFolder folder;
    {
        const InLocale commas({"de_DE.UTF-8", "fr_FR.UTF-8"});
        if (!commas.known())
            GTEST_SKIP() << "no locale with a decimal comma is installed";
        writeRaster(folder / "a.tif", {});
    }
    EXPECT_EQ(fileText(folder / "a.tfw"), "2.500000000000\n0\n0\n-2.500000000000\n300000.500000000000\n"
                                          "5000000.250000000000\n");
    EXPECT_DOUBLE_EQ(gdalinfo(folder / "a.tif")["geoTransform"].toArray()[0].toDouble(), 300000.5);
}

TEST(WrittenFile, WithoutACommonCoordinateSystemHasNoProjection)
{
    const TempFolder folder;
    for (const char* wkt : {"", "garbage", "LOCAL_CS[\"drawing\",UNIT[\"metre\",1]]"}) {
        Target target;
        target.wkt = wkt;
        writeRaster(folder / "a.tif", target);
        EXPECT_EQ(folder.listing(), "a.tfw a.tif") << wkt;
        EXPECT_STREQ(rasters::open(folder / "a.tif")->GetProjectionRef(), "") << wkt;
    }
}

TEST(WrittenFile, CarriesTimeAndSoftware)
{
    const TempFolder folder;
    Target target;
    target.time = "2021:03:04 05:06:07";
    target.software = "Surveyor 7 \xC3\xA4=b";
    writeRaster(folder / "a.tif", target);
    const QJsonObject info = gdalinfo(folder / "a.tif");
    EXPECT_EQ(metadata(info, "", "TIFFTAG_DATETIME"), target.time);
    EXPECT_EQ(metadata(info, "", "TIFFTAG_SOFTWARE"), target.software);
    const std::string text = tiffinfo(folder / "a.tif");
    EXPECT_TRUE(contains(text, "DateTime: 2021:03:04 05:06:07")) << text;
    EXPECT_TRUE(contains(text, "Software: Surveyor 7 ")) << text;
}

TEST(WrittenFile, NamesTheDefaultSoftwareAndNoTime)
{
    const TempFolder folder;
    writeRaster(folder / "a.tif", {});
    const QJsonObject info = gdalinfo(folder / "a.tif");
    EXPECT_EQ(metadata(info, "", "TIFFTAG_SOFTWARE"), "vexelstudio");
    EXPECT_FALSE(info["metadata"].toObject()[""].toObject().contains("TIFFTAG_DATETIME"));
}

TEST(WrittenFile, BecomesAGeoTiffWhateverItsName)
{
    const TempFolder folder;
    for (const char* name : {"a", "b.dat", "c.img", "d.TIF", "e.vrt", "f.x.y", "dir.with.dots/g"}) {
        Target target;
        target.wkt = rasters::wkt(32633);
        writeRaster(folder / name, target);
        const rasters::Dataset dataset = rasters::open(folder / name);
        ASSERT_TRUE(dataset) << name;
        EXPECT_STREQ(dataset->GetDriver()->GetDescription(), "GTiff") << name;
        EXPECT_STRNE(dataset->GetProjectionRef(), "") << name;
        EXPECT_STREQ(dataset->GetMetadataItem("COMPRESSION", "IMAGE_STRUCTURE"), "LZW") << name;
        EXPECT_FALSE(exists((folder / name) + "_tmp.tif")) << name;
        EXPECT_EQ(gdalPixels<unsigned char>(folder / name), noiseMatrix<unsigned char>(width, height))
            << name;
    }
    EXPECT_TRUE(exists(folder / "aw"));
    EXPECT_TRUE(exists(folder / "b.dtw"));
    EXPECT_TRUE(exists(folder / "f.x.prj"));
    EXPECT_TRUE(exists(folder / "dir.with.dots/gw"));
}

TEST(WrittenFile, TakesARelativePath)
{
    const TempFolder folder;
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(folder.path()));
    Target target;
    target.wkt = rasters::wkt(32633);
    writeRaster("a.tif", target);
    writeRaster("sub/b.tif", target);
    QDir::setCurrent(before);
    EXPECT_EQ(folder.listing(), "a.prj a.tfw a.tif sub");
    EXPECT_TRUE(exists(folder / "sub/b.tfw"));
    EXPECT_TRUE(gdalinfo(folder / "sub/b.tif").contains("coordinateSystem"));
}

TEST(WrittenFile, ReplacesTheFilesOfBefore)
{
    const TempFolder folder;
    for (const char* name : {"a.tif", "a.tfw", "a.prj", "a.tif_tmp.tif"})
        makeFile(folder / name,
                 "something that was longer than what comes now, for sure it was, or was it not?"
                 "0123456789012345678901234567890123456789");
    Target target;
    target.wkt = rasters::wkt(4326);
    writeRaster(folder / "a.tif", target);
    EXPECT_EQ(folder.listing(), "a.prj a.tfw a.tif");
    EXPECT_EQ(fileText(folder / "a.prj"), target.wkt);
    EXPECT_EQ(fileText(folder / "a.tfw").substr(0, 15), "2.500000000000\n");
    EXPECT_EQ(gdalinfo(folder / "a.tif")["driverShortName"].toString(), "GTiff");
}

TEST(WrittenFile, WithoutAnyPixelDoesNotComeToBe)
{
    const TempFolder folder;
    const OwnMessages log;
    for (const char* name : {"a.tif", "a.png", "a.jpg", "a.jp2"}) {
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / name, 3, DataType::UInt8, 30, 20));
        EXPECT_TRUE(set.close());
    }
    EXPECT_EQ(folder.listing(), "");
    EXPECT_EQ(log.text(), "");
}

namespace {

struct UnwrittenCase
{
    const char* name;
    DataType type;
    double value;
};

void PrintTo(const UnwrittenCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class WrittenFileInPart : public testing::TestWithParam<UnwrittenCase>
{};

} // namespace

TEST_P(WrittenFileInPart, IsNoDataElsewhereWhereTheTypeCanHoldIt)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 2, GetParam().type, 300, 200));
    ASSERT_TRUE(
        set.write(PixelMatrix<double>(PixelMatrix<double>::Constant(1, 1, 5)), 2, box(170, 90, 171, 91)));
    ASSERT_TRUE(set.close());
    for (int band = 1; band <= 2; ++band) {
        PixelMatrix<double> expected = PixelMatrix<double>::Constant(200, 300, GetParam().value);
        if (band == 2)
            expected(90, 170) = 5;
        const PixelMatrix<double> written = gdalPixels<double>(folder / "a.tif", band);
        EXPECT_EQ((written.array() != expected.array()).count(), 0) << "band " << band;
    }
}

INSTANTIATE_TEST_SUITE_P(Types, WrittenFileInPart,
                         testing::Values(UnwrittenCase{"UInt8", DataType::UInt8, 0},
                                         UnwrittenCase{"Int16", DataType::Int16, -10000},
                                         UnwrittenCase{"Int32", DataType::Int32, -10000},
                                         UnwrittenCase{"Float32", DataType::Float32, -10000},
                                         UnwrittenCase{"Float64", DataType::Float64, -10000},
                                         UnwrittenCase{"UInt16", DataType::UInt16, 0},
                                         UnwrittenCase{"UInt32", DataType::UInt32, 0},
                                         UnwrittenCase{"UInt16Other", DataType::UInt16Other, 0}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(WrittenFile, OverAFolderIsLoggedAndLeavesNoWorkingFile)
{
    const TempFolder folder;
    std::filesystem::create_directory((folder / "a.tif").toStdString());
    makeFile(folder / "a.tif/inside");
    const OwnMessages log;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, 30, 20));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(30, 20), 1, box(0, 0, 30, 20)));
    EXPECT_TRUE(set.close());
    EXPECT_EQ(log.text(), "7: Failed to write to <" + (folder / "a.tif").toStdString() + ">");
    EXPECT_EQ(folder.listing(), "a.tif") << "no world file without its raster";
    EXPECT_EQ(fileText(folder / "a.tif/inside"), "stale");
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(WrittenFile, WhoseWorkingFileVanishedIsLoggedWithTheUsageError)
{
    const TempFolder folder;
    const OwnMessages log;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, 30, 20));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(30, 20), 1, box(0, 0, 30, 20)));
    ASSERT_EQ(folder.listing(), "a.tif_tmp.tif");
    std::filesystem::remove((folder / "a.tif_tmp.tif").toStdString());
    EXPECT_TRUE(set.close());
    EXPECT_EQ(log.text(),
              "7: Failed to write to <" + (folder / "a.tif").toStdString() + ">\n7: GDAL error 1");
    EXPECT_FALSE(exists(folder / "a.tif"));
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(WrittenFile, WhoseFolderVanishedIsLogged)
{
    const TempFolder folder;
    const OwnMessages log;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "gone/a.tif", 1, DataType::UInt8, 30, 20));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(30, 20), 1, box(0, 0, 30, 20)));
    std::filesystem::remove_all((folder / "gone").toStdString());
    EXPECT_TRUE(set.close());
    ASSERT_FALSE(log.messages().empty());
    EXPECT_EQ(log.messages().front().level, 7);
    EXPECT_EQ(log.messages().front().text,
              "Failed to write to <" + (folder / "gone/a.tif").toStdString() + ">");
    EXPECT_EQ(folder.listing(), "");
}

TEST(WrittenFile, WhoseSideFilesCannotBeWrittenIsWhole)
{
    const TempFolder folder;
    std::filesystem::create_directory((folder / "a.tfw").toStdString());
    const OwnMessages log;
    writeRaster(folder / "a.tif", {});
    EXPECT_EQ(gdalPixels<unsigned char>(folder / "a.tif"), noiseMatrix<unsigned char>(width, height));
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
}
