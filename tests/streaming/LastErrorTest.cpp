#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
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
            Code::CannotOpen, "none.tif", "no tile files"},
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
                Code::UnsupportedType, "complex.tif", ""},
        Failure{"TileMissing",
                [](auto& set, auto& folder) {
                    makeRaster(folder / "set_1_1.tif");
                    makeRaster(folder / "set_3_1.tif");
                    return set.openRead(folder / "set.tif");
                },
                Code::IncompleteSet, "set.tif", "2 tile files for a grid of 1"},
        Failure{"NotOpenToRead", [](auto& set, auto&) { return readsBand(set, 1); }, Code::NotOpen, "", ""},
        Failure{"NotOpenToWrite", [](auto& set, auto&) { return set.write(pixels(), 1, box(0, 0, 8, 6)); },
                Code::NotOpen, "", ""},
        Failure{"NoSuchBand",
                [](auto& set, auto& folder) { return set.openRead(folder / "in.tif") && readsBand(set, 3); },
                Code::NoSuchBand, "in.tif", ""},
        Failure{"ScaleNotFinite",
                [](auto& set, auto& folder) {
                    return set.openRead(folder / "in.tif") && readsBand(set, 1, std::nan(""));
                },
                Code::BadArgument, "in.tif", ""},
        Failure{"BandsOfNothing",
                [](auto& set, auto& folder) {
                    return set.openRead(folder / "in.tif") && set.writeBands(pixels(), {}, box(0, 0, 8, 6));
                },
                Code::BadArgument, "in.tif", ""},
        Failure{"ReadOnly",
                [](auto& set, auto& folder) {
                    return set.openRead(folder / "in.tif") && set.write(pixels(), 1, box(0, 0, 8, 6));
                },
                Code::NotWritable, "in.tif", ""},
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
                Code::BadArgument, "out.tif", ""},
        Failure{"NoSuchPixelType",
                [](auto& set, auto& folder) {
                    return set.openWrite(folder / "out.tif", 1, DataType::Unknown, 8, 6) &&
                           set.write(pixels(), 1, box(0, 0, 8, 6));
                },
                Code::CannotCreate, "out.tif", ""},
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
                Code::NoSuchBand, "in.tif", ""},
        Failure{"NoSuchFileToOpen", [](auto& set, auto&) { return set.open(0); }, Code::NotOpen, "", ""},
        Failure{"NoSuchFileToClose", [](auto& set, auto&) { return set.close(0); }, Code::NotOpen, "", ""}),
    [](const auto& row) { return std::string(row.param.name); });

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
