#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// Why operations of a raster set fail.

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelMatrix;
using vexel::StreamError;
using Code = vexel::StreamError::Code;

namespace {

double ones(int, int, int)
{
    return 1.0;
}

void makeRaster(const QString& path, int bands = 2, GDALDataType type = GDT_Byte)
{
    rasters::make(path, {8, 6, bands, type}, ones);
}

PixelMatrix<unsigned char> pixels(Eigen::Index rows = 6, Eigen::Index columns = 8)
{
    return PixelMatrix<unsigned char>::Constant(rows, columns, 7);
}

/// A tile that begins `x` pixels of a map unit to the east.
void makePlaced(const QString& path, int x, int width = 8, int bands = 2)
{
    rasters::Description d{width, 6, bands};
    d.geotransform = std::array<double, 6>{static_cast<double>(x), 1, 0, 0, 0, -1};
    rasters::make(path, d, ones);
}

bool readsBand(const GDALStreamer& set, std::size_t band, double scale = 1.0)
{
    PixelMatrix<unsigned char> out;
    return set.read(out, band, box(0, 0, 0, 0), scale, false, 0);
}

/// A call that fails, on a set that may have been prepared.
struct Failure
{
    const char* name;
    std::function<bool(GDALStreamer&, const TempFolder&)> call;
    Code code;
    const char* file; ///< that the reason names, "" for none
    const char* text; ///< a part of what it says
};

void PrintTo(const Failure& failure, std::ostream* out)
{
    *out << failure.name;
}

class LastError : public testing::TestWithParam<Failure>
{};

} // namespace

TEST_P(LastError, HasTheReason)
{
    const QuietGdal quiet;
    const TempFolder folder;
    makeRaster(folder / "in.tif");
    GDALStreamer set;
    const Failure& failure = GetParam();
    EXPECT_FALSE(failure.call(set, folder));
    EXPECT_EQ(static_cast<int>(set.lastError().code), static_cast<int>(failure.code));
    EXPECT_EQ(set.lastError().path, *failure.file ? folder / failure.file : QString());
    EXPECT_NE(set.lastError().text.toStdString().find(failure.text), std::string::npos)
        << set.lastError().text.toStdString();
    EXPECT_NE(set.lastError().text, "");
    const std::string message = set.lastError().message().toStdString();
    EXPECT_NE(message.find(set.lastError().text.toStdString()), std::string::npos) << message;
    EXPECT_EQ(message.find(set.lastError().path.toStdString()), 0u) << message;
}

INSTANTIATE_TEST_SUITE_P(
    Failures, LastError,
    testing::Values(
        Failure{"EmptyPath", [](auto& set, auto&) { return set.openRead("", GdalFileType::SingleFile); },
                Code::BadArgument, "", ""},
        Failure{"MissingFile", [](auto& set, auto& folder) { return set.openRead(folder / "none.tif"); },
                Code::CannotOpen, "none.tif", "none.tif: No such file"},
        Failure{
            "MissingSet",
            [](auto& set, auto& folder) { return set.openRead(folder / "none.tif", GdalFileType::TileSet); },
            Code::CannotOpen, "none.tif", "There are no tile files, named as "},
        Failure{"TileThatIsNoRaster",
                [](auto& set, auto& folder) {
                    makeFile(folder / "set_2_1.tif", "no raster");
                    return set.openRead(folder / "set.tif");
                },
                Code::CannotOpen, "set.tif", "set_2_1.tif: "},
        Failure{"TileOfASetThatIsNoRaster",
                [](auto& set, auto& folder) {
                    makePlaced(folder / "set_1_1.tif", 0);
                    makeFile(folder / "set_2_1.tif", "no raster");
                    makePlaced(folder / "set_3_1.tif", 16);
                    return set.openRead(folder / "set.tif");
                },
                Code::IncompleteSet, "set.tif", "2 tile files for a grid of 3 tiles: set_2_1.tif: "},
        Failure{"TileMissingInTheMiddle",
                [](auto& set, auto& folder) {
                    makePlaced(folder / "set_1_1.tif", 0);
                    makePlaced(folder / "set_3_1.tif", 16);
                    return set.openRead(folder / "set.tif");
                },
                Code::IncompleteSet, "set.tif", "2 tile files for a grid of 3 tiles: set_2_1.tif is missing"},
        Failure{"TileOfAnotherSize",
                [](auto& set, auto& folder) {
                    makePlaced(folder / "set_1_1.tif", 0, 5);
                    makePlaced(folder / "set_2_1.tif", 8);
                    return set.openRead(folder / "set.tif");
                },
                Code::IncompleteSet, "set.tif", "set_1_1.tif has 5 x 6 pixels rather than 8 x 6"},
        Failure{"TilesThatLieApart",
                [](auto& set, auto& folder) {
                    makePlaced(folder / "set_1_1.tif", 0);
                    makePlaced(folder / "set_2_1.tif", 800000);
                    return set.openRead(folder / "set.tif");
                },
                Code::IncompleteSet, "set.tif",
                "2 tile files for a grid of 100001 tiles: set_3_1.tif is missing"},
        Failure{"TileOfOtherBands",
                [](auto& set, auto& folder) {
                    makePlaced(folder / "set_1_1.tif", 0);
                    makePlaced(folder / "set_2_1.tif", 8, 8, 3);
                    return set.openRead(folder / "set.tif");
                },
                Code::IncompleteSet, "set_2_1.tif", "3 of type 3 rather than 2 of type 3"},
        Failure{"NoRaster",
                [](auto& set, auto& folder) {
                    makeFile(folder / "text.tif", "no raster");
                    return set.openRead(folder / "text.tif");
                },
                Code::CannotOpen, "text.tif", "not recognized"},
        Failure{"ComplexPixels",
                [](auto& set, auto& folder) {
                    makeRaster(folder / "complex.tif", 1, GDT_CFloat32);
                    return set.openRead(folder / "complex.tif");
                },
                Code::UnsupportedType, "complex.tif", "Pixels of type CFloat32 in the first of 1 bands"},
        Failure{"TileMissing",
                [](auto& set, auto& folder) {
                    makeRaster(folder / "set_1_1.tif");
                    makeRaster(folder / "set_3_1.tif");
                    return set.openRead(folder / "set.tif");
                },
                Code::IncompleteSet, "set.tif", "2 tile files for a grid of 1 tiles: set_2_1.tif is missing"},
        Failure{"NotOpenToRead", [](auto& set, auto&) { return readsBand(set, 1); }, Code::NotOpen, "",
                "No raster is open in the set"},
        Failure{"NotOpenToWrite", [](auto& set, auto&) { return set.write(pixels(), 1, box(0, 0, 8, 6)); },
                Code::NotOpen, "", "No raster is open in the set"},
        Failure{"NoSuchBand",
                [](auto& set, auto& folder) { return set.openRead(folder / "in.tif") && readsBand(set, 3); },
                Code::NoSuchBand, "in.tif", "There is no band 3 of 2"},
        Failure{"NoSuchBandAmongOthers",
                [](auto& set, auto& folder) {
                    PixelMatrix<unsigned char> out;
                    return set.openRead(folder / "in.tif") &&
                           set.readBands(out, {1, -7}, box(0, 0, 8, 6), 1.0, false, 0);
                },
                Code::NoSuchBand, "in.tif", "There is no band -7 of 2"},
        Failure{"NoBandAtAll",
                [](auto& set, auto& folder) {
                    PixelMatrix<unsigned char> out;
                    return set.openRead(folder / "in.tif") &&
                           set.readBands(vexel::BandPixels<unsigned char>{out.data(), 6, 8, 8, 48}, {},
                                         box(0, 0, 8, 6));
                },
                Code::NoSuchBand, "in.tif", "No band was named"},
        Failure{"MemoryOfAnotherSize",
                [](auto& set, auto& folder) {
                    PixelMatrix<unsigned char> out = pixels(3, 4);
                    return set.openRead(folder / "in.tif") &&
                           set.readBands(vexel::BandPixels<unsigned char>{out.data(), 3, 4, 4, 12}, {1},
                                         box(0, 0, 8, 6));
                },
                Code::BadArgument, "in.tif", "Pixels have 4 x 3 rather than 8 x 6"},
        Failure{"RowsThatCannotBeShared",
                [](auto& set, auto& folder) {
                    return set.openUpdate(folder / "in.tif") &&
                           set.writeBands(pixels(7), {1, 2}, box(0, 0, 8, 6));
                },
                Code::BadArgument, "in.tif", "7 rows cannot be shared out among 2 bands"},
        Failure{"PackedColoursOfTwoBands",
                [](auto& set, auto& folder) {
                    PixelMatrix<unsigned int> out;
                    return set.openRead(folder / "in.tif") &&
                           set.readRGB(out, box(0, 0, 8, 6), 1.0, false, 0);
                },
                Code::NoSuchBand, "in.tif", "Its 2 bands are not those of packed colours"},
        Failure{"PackedColoursOfNoSet",
                [](auto& set, auto&) {
                    return set.writeRGB(PixelMatrix<unsigned int>::Zero(6, 8), box(0, 0, 8, 6));
                },
                Code::NotOpen, "", "No raster is open in the set"},
        Failure{"TilesWithoutPixels",
                [](auto& set, auto& folder) {
                    return set.openWrite(folder / "out.tif", 1, DataType::UInt8, pixelFrame(8, 6), "", "", "",
                                         GdalFileType::TileSet, 4, 0);
                },
                Code::BadArgument, "out.tif", "Tiles have 4 x 0 pixels"},
        Failure{"EmptyPathToWrite",
                [](auto& set, auto&) { return set.openWrite("", 1, DataType::UInt8, 8, 6); },
                Code::BadArgument, "", "The path is empty"},
        Failure{"TooManyBands",
                [](auto& set, auto& folder) {
                    return set.openWrite(folder / "out.tif", 1ull << 40, DataType::UInt8, 8, 6) &&
                           set.write(pixels(), 1, box(0, 0, 8, 6));
                },
                Code::CannotCreate, "out.tif", "Files have no 1099511627776 bands"},
        Failure{"ScaleNotFinite",
                [](auto& set, auto& folder) {
                    return set.openRead(folder / "in.tif") && readsBand(set, 1, std::nan(""));
                },
                Code::BadArgument, "in.tif", "The scale is nan"},
        Failure{"BandsOfNothing",
                [](auto& set, auto& folder) {
                    return set.openRead(folder / "in.tif") && set.writeBands(pixels(), {}, box(0, 0, 8, 6));
                },
                Code::BadArgument, "in.tif", "6 rows cannot be shared out among 0 bands"},
        Failure{"ReadOnly",
                [](auto& set, auto& folder) {
                    return set.openRead(folder / "in.tif") && set.write(pixels(), 1, box(0, 0, 8, 6));
                },
                Code::NotWritable, "in.tif", "The file was opened to be read"},
        Failure{"FileGone",
                [](auto& set, auto& folder) {
                    set.openRead(folder / "in.tif");
                    std::filesystem::remove((folder / "in.tif").toStdString());
                    return readsBand(set, 1);
                },
                Code::CannotOpen, "in.tif", "No such file"},
        Failure{"FileCutOff",
                [](auto& set, auto& folder) {
                    rasters::make(folder / "cut.tif", {600, 600, 1, GDT_Byte}, ones);
                    set.openRead(folder / "cut.tif");
                    std::filesystem::resize_file((folder / "cut.tif").toStdString(), 100000);
                    return readsBand(set, 1);
                },
                Code::CannotRead, "cut.tif", "TIFFReadEncodedStrip"},
        Failure{"NoPixelsToWrite",
                [](auto& set, auto& folder) {
                    return set.openWrite(folder / "out.tif", 1, DataType::UInt8, 0, 5);
                },
                Code::BadArgument, "out.tif", "The extent has 0 x 5 pixels"},
        Failure{"NoSuchPixelType",
                [](auto& set, auto& folder) {
                    return set.openWrite(folder / "out.tif", 1, DataType::Unknown, 8, 6) &&
                           set.write(pixels(), 1, box(0, 0, 8, 6));
                },
                Code::CannotCreate, "out.tif", "Files have no pixels of type 0"},
        Failure{"FolderInTheWay",
                [](auto& set, auto& folder) {
                    set.openWrite(folder / "out.tif", 1, DataType::UInt8, 8, 6);
                    std::filesystem::create_directory((folder / "out.tif_tmp.tif").toStdString());
                    return set.write(pixels(), 1, box(0, 0, 8, 6));
                },
                Code::CannotCreate, "out.tif", "directory"},
        Failure{"PackedPixelsIntoTwoBands",
                [](auto& set, auto& folder) {
                    return set.openUpdate(folder / "in.tif") &&
                           set.writeRGB(PixelMatrix<unsigned int>::Zero(6, 8), box(0, 0, 8, 6));
                },
                Code::NoSuchBand, "in.tif", "Packed colours of 3 bands do not go into 2 bands"},
        Failure{"NoSuchFileToOpen", [](auto& set, auto&) { return set.open(0); }, Code::NotOpen, "",
                "There is no file 0 among 0 files"},
        Failure{"NoSuchFileToClose", [](auto& set, auto&) { return set.close(0); }, Code::NotOpen, "",
                "There is no file 0 among 0 files"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ErrorMessage, IsASentenceForEachCode)
{
    EXPECT_EQ(StreamError().message(), "");
    const std::vector<std::pair<Code, std::string>> codes{
        {Code::BadArgument, "was asked for something impossible"},
        {Code::NotOpen, "is not open"},
        {Code::CannotOpen, "cannot be opened"},
        {Code::UnsupportedType, "has no pixels that can be read"},
        {Code::IncompleteSet, "is no complete set of tiles"},
        {Code::NoSuchBand, "has no such band"},
        {Code::NotWritable, "is not open to be written"},
        {Code::CannotRead, "cannot be read"},
        {Code::CannotWrite, "cannot be written"},
        {Code::CannotCreate, "cannot be created"},
        {Code::CannotComplete, "could not be completed"},
        {Code::Stopped, "was not completed"},
        {static_cast<Code>(13), "failed"}};
    for (const auto& [code, words] : codes) {
        EXPECT_EQ(StreamError({code, "a b.tif", "Why"}).message().toStdString(),
                  "a b.tif: " + words + ": Why");
        EXPECT_EQ(StreamError({code, "", "Why"}).message().toStdString(), "The raster " + words + ": Why");
    }
}

TEST(ErrorMessage, IsWrittenAsItIs)
{
    std::ostringstream stream;
    stream.width(60);
    stream.fill('*');
    stream << StreamError{Code::CannotOpen, QString::fromUtf8("\xC3\xA9.tif"), "Why"};
    EXPECT_EQ(stream.str(), "\xC3\xA9.tif: cannot be opened: Why");
}

TEST(LastErrorOfASet, MovesAlong)
{
    const QuietGdal quiet;
    const TempFolder folder;
    makeRaster(folder / "in.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "in.tif"));
    EXPECT_FALSE(readsBand(set, 9));
    const GDALStreamer taker(std::move(set));
    EXPECT_EQ(taker.lastError().code, Code::NoSuchBand);
    EXPECT_EQ(taker.noTiles(), 1u);
    EXPECT_FALSE(set.lastError());
    EXPECT_FALSE(set.opened());
    EXPECT_EQ(set.path(), folder / "in.tif");
    EXPECT_EQ(set.noBands(), 2u);
    EXPECT_EQ(set.dtype(), DataType::UInt8);
    EXPECT_EQ(set.width(), 8);
    EXPECT_EQ(set.height(), 6);
    EXPECT_EQ(set.noTiles(), 0u);
    EXPECT_FALSE(readsBand(set, 1));
    EXPECT_EQ(set.lastError().code, Code::NotOpen);
}

TEST(LastErrorOfASet, IsClearedByTheNextOperation)
{
    const QuietGdal quiet;
    const TempFolder folder;
    makeRaster(folder / "in.tif");
    GDALStreamer set;
    EXPECT_FALSE(set.lastError());
    EXPECT_FALSE(set.openRead(folder / "none.tif"));
    EXPECT_TRUE(set.lastError());
    EXPECT_TRUE(set.openRead(folder / "in.tif"));
    EXPECT_FALSE(set.lastError());
    EXPECT_EQ(set.lastError().path, "");
    EXPECT_EQ(set.lastError().text, "");
    EXPECT_FALSE(readsBand(set, 9));
    EXPECT_TRUE(set.lastError());
    EXPECT_TRUE(readsBand(set, 1));
    EXPECT_FALSE(set.lastError());
}

TEST(LastErrorOfASet, TellsAfterCloseWhatCouldNotBeCompleted)
{
    const TempFolder folder;
    const OwnMessages messages;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "out.tif", 1, DataType::UInt8, 8, 6));
    ASSERT_TRUE(set.write(pixels(), 1, box(0, 0, 8, 6)));
    std::filesystem::create_directory((folder / "out.tif").toStdString());
    makeFile(folder / "out.tif/inside");
    EXPECT_TRUE(set.close());
    EXPECT_EQ(set.lastError().code, Code::CannotComplete);
    EXPECT_EQ(set.lastError().path, folder / "out.tif");
    EXPECT_NE(set.lastError().text, "");
    EXPECT_EQ(messages.text(), "7: Failed to write to <" + (folder / "out.tif").toStdString() + ">");
}

TEST(LastErrorOfASet, IsNoneWhenFilesAreCompleted)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "out.tif", 1, DataType::UInt8, 8, 6));
    ASSERT_TRUE(set.write(pixels(), 1, box(0, 0, 8, 6)));
    EXPECT_TRUE(set.close());
    EXPECT_FALSE(set.lastError());
}

TEST(LastErrorOfAFile, IsThatOfItsLastOperation)
{
    const QuietGdal quiet;
    const TempFolder folder;
    makeRaster(folder / "in.tif");
    GDALStreamer::gdal_t file;
    EXPECT_FALSE(file.openRead(folder / "none.tif", true));
    EXPECT_EQ(file.error.code, Code::CannotOpen);
    EXPECT_TRUE(file.openRead(folder / "in.tif", true));
    PixelMatrix<unsigned char> out;
    EXPECT_FALSE(file.read(out, 1, box(3, 3, 3, 4), 1, 1)) << "no area";
    EXPECT_EQ(file.error.code, Code::BadArgument);
    EXPECT_TRUE(file.read(out, 1, box(0, 0, 8, 6), 8, 6));
    EXPECT_FALSE(file.error);
}
