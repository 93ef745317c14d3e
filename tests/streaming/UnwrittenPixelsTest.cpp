#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/listing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

// Files, and pixels of files, that nobody has written.

using namespace streamingtest;
using vexel::DataType;
using vexel::GDALMutex;
using vexel::GDALStreamer;
using vexel::PixelMatrix;
using Code = vexel::StreamError::Code;

namespace {

constexpr double noData = -10000.0;

std::uint64_t bytesOnDisk(const QString& path)
{
    struct stat status = {};
    if (stat(path.toStdString().c_str(), &status) != 0)
        throw std::runtime_error("cannot look at " + path.toStdString());
    return static_cast<std::uint64_t>(status.st_blocks) * 512;
}

PixelMatrix<float> ones(int width, int height)
{
    return PixelMatrix<float>::Constant(height, width, 1.0f);
}

/// All pixels of a band are of the value, but those of the box, which are 1.
void expectPixels(const QString& path, int band, int width, const vexel::PixelBox& written, double value)
{
    const std::vector<double> pixels = rasters::pixels(path, band);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const int x = static_cast<int>(i) % width;
        const int y = static_cast<int>(i) / width;
        const bool isWritten = x >= written.min_corner().x() && x < written.max_corner().x() &&
                               y >= written.min_corner().y() && y < written.max_corner().y();
        wrong += pixels[i] == (isWritten ? 1.0 : value) ? 0 : 1;
    }
    EXPECT_EQ(wrong, 0u) << "band " << band;
}

/// A way not to write to a set that is open for it.
struct Untouched
{
    const char* name;
    void (*touch)(GDALStreamer& set);
};

void PrintTo(const Untouched& untouched, std::ostream* out)
{
    *out << untouched.name;
}

class UnwrittenFile : public testing::TestWithParam<Untouched>
{};

} // namespace

TEST_P(UnwrittenFile, IsNotThere)
{
    const QuietGdal quiet;
    for (const char* name : {"out.tif", "out.png", "out.jpg"}) {
        const TempFolder folder;
        const LogCapture log;
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / name, 1, DataType::Int16, 8, 6));
        GetParam().touch(set);
        EXPECT_TRUE(set.close());
        EXPECT_FALSE(set.lastError());
        EXPECT_EQ(listing(folder.path()), "") << name;
        EXPECT_EQ(log.text(), "");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Touches, UnwrittenFile,
    testing::Values(
        Untouched{"Read",
                  [](GDALStreamer& set) {
                      PixelMatrix<float> out;
                      EXPECT_TRUE(set.read(out, 1, box(0, 0, 8, 6), 1.0, false, 0.0f));
                  }},
        Untouched{"NoSuchBand",
                  [](GDALStreamer& set) { EXPECT_FALSE(set.write(ones(8, 6), 2, box(0, 0, 8, 6))); }},
        Untouched{"PackedColoursForOneBand",
                  [](GDALStreamer& set) {
                      EXPECT_FALSE(
                          set.write(PixelMatrix<unsigned int>::Ones(6, 8).eval(), 100003, box(0, 0, 8, 6)));
                  }},
        Untouched{"BesideTheRaster",
                  [](GDALStreamer& set) { EXPECT_TRUE(set.write(ones(8, 6), 1, box(8, 6, 16, 12))); }}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(UnwrittenFileHandle, KeepsItsModeWhenItIsRead)
{
    const TempFolder folder;
    GDALStreamer::gdal_t file;
    ASSERT_TRUE(file.openWrite(folder / "out.tif", 1, DataType::Float32, pixelFrame(8, 6), "", "", ""));
    PixelMatrix<float> out;
    EXPECT_TRUE(file.read(out, 1, box(0, 0, 8, 6), 8, 6));
    EXPECT_EQ(file.mode, GDALStreamer::gdal_t::Written);
    EXPECT_FALSE(file.write(ones(5, 5), 1, box(0, 0, 8, 6))) << "of another size";
    EXPECT_FALSE(file.write(ones(8, 6), 1, box(1, 0, 9, 6))) << "beyond the file";
    EXPECT_TRUE(file.close());
    EXPECT_EQ(listing(folder.path()), "");
}

TEST(UnwrittenFileHandle, OfATransferThatGdalRefusedLaterIsWritten)
{
    const TempFolder folder;
    GDALStreamer::gdal_t file;
    ASSERT_TRUE(file.openWrite(folder / "out.tif", 1, DataType::Float32, pixelFrame(8, 6), "", "", ""));
    EXPECT_TRUE(file.write(ones(2, 2), 1, box(0, 0, 2, 2)));
    EXPECT_FALSE(file.write(ones(5, 5), 1, box(0, 0, 8, 6)));
    EXPECT_TRUE(file.close());
    EXPECT_TRUE(exists(folder / "out.tif"));
}

TEST(UnwrittenFileHandle, CountsAsWrittenOnceTheApplicationHasItsDataset)
{
    for (const int bands : {1, 3}) {
        const TempFolder folder;
        GDALStreamer set;
        ASSERT_TRUE(
            set.openWrite(folder / "out.tif", static_cast<std::uint64_t>(bands), DataType::Int16, 70, 50));
        {
            const GDALMutex lock;
            ASSERT_TRUE(set.open(0));
            std::int16_t pixel = 0;
            ASSERT_EQ(set.data(0)->GetRasterBand(bands)->RasterIO(GF_Read, 69, 49, 1, 1, &pixel, 1, 1,
                                                                  GDT_Int16, 0, 0),
                      CE_None);
            EXPECT_EQ(pixel, -10000);
            pixel = 1;
            ASSERT_EQ(
                set.data(0)->GetRasterBand(1)->RasterIO(GF_Write, 3, 4, 1, 1, &pixel, 1, 1, GDT_Int16, 0, 0),
                CE_None);
        }
        EXPECT_TRUE(set.close());
        EXPECT_FALSE(set.lastError());
        for (int band = 1; band <= bands; ++band)
            expectPixels(folder / "out.tif", band, 70, band == 1 ? box(3, 4, 4, 5) : box(0, 0, 0, 0), noData);
    }
}

TEST(UnwrittenPixels, AreNoDataInEachTypeThatHoldsIt)
{
    const std::vector<std::pair<DataType, double>> types{
        {DataType::Int16, noData},   {DataType::Int32, noData}, {DataType::Float32, noData},
        {DataType::Float64, noData}, {DataType::UInt8, 0.0},    {DataType::UInt16, 0.0},
        {DataType::UInt32, 0.0}};
    for (const auto& [type, value] : types)
        for (const int bands : {1, 3}) {
            SCOPED_TRACE(std::to_string(static_cast<int>(type)) + ", " + std::to_string(bands));
            const TempFolder folder;
            GDALStreamer set;
            ASSERT_TRUE(set.openWrite(folder / "out.tif", static_cast<std::uint64_t>(bands), type, 90, 70));
            ASSERT_TRUE(set.write(ones(20, 30), 1, box(10, 20, 30, 50)));
            for (int band = 1; band <= bands; ++band) {
                PixelMatrix<double> out;
                ASSERT_TRUE(
                    set.read(out, static_cast<std::size_t>(band), box(0, 0, 90, 70), 1.0, false, 0.0));
                EXPECT_EQ(out(0, 0), value) << band;
                EXPECT_EQ(out(20, 10), band == 1 ? 1.0 : value) << band;
                EXPECT_EQ(out(20, 30), value) << band;
                EXPECT_EQ(out(69, 89), value) << band;
            }
            ASSERT_TRUE(set.close());
            EXPECT_FALSE(set.lastError());
            for (int band = 1; band <= bands; ++band)
                expectPixels(folder / "out.tif", band, 90, band == 1 ? box(10, 20, 30, 50) : box(0, 0, 0, 0),
                             value);
        }
}

TEST(UnwrittenPixels, AreNoDataInACompletedFileThatNobodyRead)
{
    for (const int bands : {1, 3}) {
        const TempFolder folder;
        GDALStreamer set;
        ASSERT_TRUE(
            set.openWrite(folder / "out.tif", static_cast<std::uint64_t>(bands), DataType::Float32, 900, 70));
        ASSERT_TRUE(set.write(ones(900, 30), 1, box(0, 20, 900, 50))) << "whole blocks, of one band";
        ASSERT_TRUE(set.close());
        for (int band = 1; band <= bands; ++band)
            expectPixels(folder / "out.tif", band, 900, band == 1 ? box(0, 20, 900, 50) : box(0, 0, 0, 0),
                         noData);
    }
}

TEST(UnwrittenPixels, TakeNoRoomOnTheDisk)
{
    for (const DataType type : {DataType::Int16, DataType::Float32, DataType::Float64, DataType::UInt16})
        for (const int bands : {1, 3}) {
            SCOPED_TRACE(std::to_string(static_cast<int>(type)) + ", " + std::to_string(bands));
            const TempFolder folder;
            GDALStreamer set;
            ASSERT_TRUE(
                set.openWrite(folder / "out.tif", static_cast<std::uint64_t>(bands), type, 2000, 2000));
            ASSERT_TRUE(set.write(ones(2000, 8), 1, box(0, 1000, 2000, 1008)));
            // 4 to 96 MB of pixels, of which 8 rows of at most 48 kB were written, beside the table of blocks.
            EXPECT_LT(bytesOnDisk(folder / "out.tif_tmp.tif"), 1000000u);
            PixelMatrix<float> out;
            ASSERT_TRUE(set.read(out, 1, box(0, 500, 2000, 501), 1.0, false, 0.0f));
            EXPECT_EQ(out(0, 7), type == DataType::UInt16 ? 0.0f : -10000.0f);
            set.discard();
        }
}

// A second filling would take away what was written in between.
TEST(UnwrittenPixels, AreFilledOnce)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "out.tif", 3, DataType::Float32, 64, 48));
    const auto values = [](int band) { return noiseMatrix<float>(64, 48, band); };
    for (int y = 0; y < 48; y += 5) // no multiple of a block's rows
        for (int band : {2, 3, 1}) {
            const int rows = std::min(5, 48 - y);
            ASSERT_TRUE(set.write(PixelMatrix<float>(values(band).middleRows(y, rows)),
                                  static_cast<std::size_t>(band), box(0, y, 64, y + rows)));
            PixelMatrix<float> out;
            ASSERT_TRUE(set.read(out, 1, box(0, 0, 64, 48), 0.5, false, 0.0f));
        }
    ASSERT_TRUE(set.close());
    for (int band = 1; band <= 3; ++band)
        EXPECT_EQ(gdalPixels<float>(folder / "out.tif", band), values(band)) << band;
}

TEST(UnwrittenPixels, OfTheTilesOfASetAreNoDataOnlyWhereATileWasWritten)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "set.tif", 2, DataType::Float32, pixelFrame(40, 30), "", "", "",
                              vexel::GdalFileType::TileSet, 20, 30));
    ASSERT_TRUE(set.write(ones(5, 5), 2, box(0, 0, 5, 5)));
    PixelMatrix<float> out;
    ASSERT_TRUE(set.read(out, 1, box(0, 0, 40, 30), 1.0, false, 0.0f));
    EXPECT_EQ(out.minCoeff(), -10000.0f);
    EXPECT_EQ(out.maxCoeff(), -10000.0f);
    ASSERT_TRUE(set.close());
    EXPECT_TRUE(exists(folder / "set_1_1.tif"));
    EXPECT_EQ(listing(folder.path()), "set_1_1.tfw set_1_1.tif");
    expectPixels(folder / "set_1_1.tif", 2, 20, box(0, 0, 5, 5), noData);
    expectPixels(folder / "set_1_1.tif", 1, 20, box(0, 0, 0, 0), noData);
}
