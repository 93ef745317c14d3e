#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"
#include "tilefixtures.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelMatrix;
using vexel::Workspace;

namespace {

constexpr int width = 20;
constexpr int height = 12;
constexpr int tileEdge = 10; // two columns, two rows

/// A way for a written raster to lie on disk.
struct Road
{
    const char* name;
    const char* extension;
    GdalFileType ftype;
    bool withProjection;
};

QString nameOf(const Road& road)
{
    return QString("out") + road.extension;
}

Workspace extent()
{
    return {30000000000, -500000000000, 30000000000 + width * 200000, -500000000000 + height * 200000,
            200000};
}

void openForWriting(GDALStreamer& set, const TempFolder& folder, const Road& road)
{
    const QString wkt = road.withProjection ? QString::fromStdString(rasters::wkt(32633)) : QString();
    ASSERT_TRUE(set.openWrite(folder / nameOf(road), 3, DataType::UInt8, extent(), wkt, QString(), QString(),
                              road.ftype, tileEdge, tileEdge));
    ASSERT_EQ(set.noTiles(), road.ftype == GdalFileType::TileSet ? 4u : 1u);
}

void writeAll(GDALStreamer& set)
{
    for (std::size_t band = 1; band <= 3; ++band)
        ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(width, height, static_cast<int>(band)), band,
                              box(0, 0, width, height)));
}

/// The first of three bands, of the north-west corner only.
void writeSome(GDALStreamer& set)
{
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(4, 4), 1, box(0, 0, 4, 4)));
}

} // namespace

class Discard : public testing::TestWithParam<Road>
{
protected:
    TempFolder folder;
};

TEST_P(Discard, OfASetThatNothingWasWrittenToLeavesNothing)
{
    {
        GDALStreamer set;
        openForWriting(set, folder, GetParam());
        set.discard();
        EXPECT_FALSE(set.opened());
        EXPECT_EQ(folder.listing(), "");
    }
    EXPECT_EQ(folder.listing(), "");
}

TEST_P(Discard, OfAPartlyWrittenSetLeavesNothing)
{
    const int before = rasters::openDatasets();
    {
        GDALStreamer set;
        openForWriting(set, folder, GetParam());
        writeSome(set);
        set.discard();
        EXPECT_FALSE(set.opened());
        EXPECT_EQ(folder.listing(), "");
        EXPECT_EQ(rasters::openDatasets(), before);
    }
    EXPECT_EQ(folder.listing(), "");
}

TEST_P(Discard, OfAWrittenSetLeavesNothing)
{
    const int before = rasters::openDatasets();
    {
        GDALStreamer set;
        openForWriting(set, folder, GetParam());
        writeAll(set);
        set.discard();
        EXPECT_FALSE(set.opened());
        EXPECT_EQ(folder.listing(), "");
        EXPECT_EQ(rasters::openDatasets(), before);
    }
    EXPECT_EQ(folder.listing(), "");
}

TEST_P(Discard, RemovesFilesThatWereCompletedOneByOne)
{
    const OwnMessages messages;
    for (std::uint64_t completed = 1; completed <= 4; ++completed) {
        GDALStreamer set;
        openForWriting(set, folder, GetParam());
        writeAll(set);
        for (std::uint64_t i = 0; i < completed && i < set.noTiles(); ++i) {
            const QString file = set.path(i);
            const QString world = set.tfwpath(i);
            const QString projection = set.prjpath(i);
            const bool isTiff = QString(GetParam().extension) == ".tif";
            ASSERT_TRUE(set.close(i));
            ASSERT_TRUE(exists(file));
            ASSERT_EQ(exists(world), isTiff);
            ASSERT_EQ(exists(projection), isTiff && GetParam().withProjection);
        }
        set.discard();
        EXPECT_EQ(folder.listing(), "") << completed;
    }
    EXPECT_EQ(messages.text(), "");
}

TEST_P(Discard, OfADatasetThatIsOpenLeavesNothing)
{
    const int before = rasters::openDatasets();
    GDALStreamer set;
    openForWriting(set, folder, GetParam());
    for (std::uint64_t i = 0; i < set.noTiles(); ++i)
        ASSERT_TRUE(set.open(i));
    ASSERT_NE(set.data(0), nullptr);
    set.discard();
    EXPECT_EQ(rasters::openDatasets(), before);
    EXPECT_EQ(folder.listing(), "");
}

TEST_P(Discard, KeepsTheDescription)
{
    GDALStreamer set;
    openForWriting(set, folder, GetParam());
    const std::uint64_t tiles = set.noTiles();
    set.discard();
    EXPECT_EQ(set.path(), folder / nameOf(GetParam()));
    EXPECT_EQ(set.noBands(), 3u);
    EXPECT_EQ(set.dtype(), DataType::UInt8);
    EXPECT_EQ(set.width(), width);
    EXPECT_EQ(set.height(), height);
    EXPECT_EQ(set.noTiles(), tiles);
}

TEST_P(Discard, TwiceAndCloseAfterwardsChangeNothing)
{
    GDALStreamer set;
    openForWriting(set, folder, GetParam());
    writeAll(set);
    set.discard();
    makeFile(folder / nameOf(GetParam()), "of somebody else");
    set.discard();
    EXPECT_TRUE(set.close());
    EXPECT_EQ(fileText(folder / nameOf(GetParam())), "of somebody else");
    EXPECT_EQ(folder.listing(), nameOf(GetParam()).toStdString());
}

TEST_P(Discard, NothingCanBeReadOrWrittenAfterwards)
{
    GDALStreamer set;
    openForWriting(set, folder, GetParam());
    writeAll(set);
    set.discard();
    PixelMatrix<unsigned char> pixels;
    EXPECT_FALSE(set.read(pixels, 1, box(0, 0, 1, 1), 1.0, true, 0));
    EXPECT_FALSE(set.write(noiseMatrix<unsigned char>(4, 4), 1, box(0, 0, 4, 4)));
    EXPECT_FALSE(set.open(0));
    EXPECT_EQ(folder.listing(), "");
}

TEST_P(Discard, TheSetCanBeOpenedAgain)
{
    GDALStreamer set;
    openForWriting(set, folder, GetParam());
    writeSome(set);
    set.discard();
    openForWriting(set, folder, GetParam());
    writeAll(set);
    const QString first = set.path(0);
    const int firstWidth = set.itile(0).max_corner().x();
    const int firstHeight = set.itile(0).max_corner().y();
    set.close();
    const rasters::Dataset written = rasters::open(first);
    ASSERT_TRUE(written);
    EXPECT_EQ(written->GetRasterXSize(), firstWidth);
    EXPECT_EQ(written->GetRasterYSize(), firstHeight);
    if (QString(GetParam().extension) != ".jpg") {
        EXPECT_EQ(gdalPixels<unsigned char>(first, 2),
                  noiseMatrix<unsigned char>(firstWidth, firstHeight, 2));
    }
}

TEST_P(Discard, LeavesFilesOfOthersAlone)
{
    GDALStreamer set;
    openForWriting(set, folder, GetParam());
    const QString base = folder / "out";
    const QString extension = GetParam().extension;
    for (const QString& stray : {base + ".txt", base + "_3_3" + extension, base + "_1_1.txt",
                                 base + "2" + extension, folder / ("x" + extension + "_tmp.tif")})
        makeFile(stray);
    const std::string before = folder.listing();
    writeAll(set);
    set.close(0);
    set.discard();
    EXPECT_EQ(folder.listing(), before);
}

TEST_P(Discard, TakesTheFilesThatWereMovedToAnotherSet)
{
    GDALStreamer set;
    openForWriting(set, folder, GetParam());
    writeAll(set);
    GDALStreamer other(std::move(set));
    other.discard();
    EXPECT_EQ(folder.listing(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Roads, Discard,
    testing::Values(Road{"SingleTiff", ".tif", GdalFileType::SingleFile, true},
                    Road{"TiledTiff", ".tif", GdalFileType::TileSet, true},
                    Road{"SingleTiffWithoutProjection", ".tif", GdalFileType::SingleFile, false},
                    Road{"TiledTiffWithoutProjection", ".tif", GdalFileType::TileSet, false},
                    Road{"SinglePng", ".png", GdalFileType::SingleFile, true},
                    Road{"TiledPng", ".png", GdalFileType::TileSet, true},
                    Road{"SingleJpeg", ".jpg", GdalFileType::SingleFile, true},
                    Road{"TiledJpeg", ".jpg", GdalFileType::TileSet, true}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DiscardOfGeoTiff, LeavesTheProjectionFileOfAnotherRasterAlone)
{
    const TempFolder folder;
    makeFile(folder / "out.prj", "of the shapes beside it");
    GDALStreamer set;
    openForWriting(set, folder, {"", ".tif", GdalFileType::SingleFile, /*withProjection=*/false});
    writeAll(set);
    set.close(0);
    ASSERT_EQ(folder.listing(), "out.prj out.tfw out.tif");
    set.discard();
    EXPECT_EQ(folder.listing(), "out.prj");
    EXPECT_EQ(fileText(folder / "out.prj"), "of the shapes beside it");
}

TEST(DiscardOfImages, LeavesSideFilesOfThatNameAlone)
{
    // No world or projection file is written beside an image.
    const TempFolder folder;
    makeFile(folder / "out.pgw");
    makeFile(folder / "out.prj");
    GDALStreamer set;
    openForWriting(set, folder, {"", ".png", GdalFileType::SingleFile, /*withProjection=*/true});
    writeAll(set);
    set.close(0);
    ASSERT_EQ(folder.listing(), "out.pgw out.png out.prj");
    set.discard();
    EXPECT_EQ(folder.listing(), "out.pgw out.prj");
}

TEST(DiscardOfImages, LeavesAFileNamedLikeAWorkingFileAlone)
{
    // An image is built in memory.
    const TempFolder folder;
    GDALStreamer set;
    openForWriting(set, folder, {"", ".png", GdalFileType::SingleFile, /*withProjection=*/true});
    writeAll(set);
    makeFile(folder / "out.png_tmp.tif");
    set.discard();
    EXPECT_EQ(folder.listing(), "out.png_tmp.tif");
}

TEST(DiscardOfGeoTiff, FindsNothingOfOneThatCouldNotBeCompleted)
{
    const TempFolder folder;
    const OwnMessages messages;
    GDALStreamer set;
    openForWriting(set, folder, {"", ".tif", GdalFileType::SingleFile, /*withProjection=*/true});
    writeAll(set);
    ASSERT_TRUE(std::filesystem::remove((folder / "out.tif_tmp.tif").toStdString()));
    set.close(0);
    EXPECT_EQ(messages.text(),
              "7: Failed to write to <" + (folder / "out.tif").toStdString() + ">\n7: GDAL error 1");
    ASSERT_EQ(folder.listing(), "") << "no side file without its raster";
    set.discard();
    EXPECT_EQ(folder.listing(), "");
}

TEST(DiscardOfFinishedSet, AfterCloseThereIsNothingToDiscard)
{
    const TempFolder folder;
    GDALStreamer set;
    openForWriting(set, folder, {"", ".tif", GdalFileType::SingleFile, /*withProjection=*/false});
    writeAll(set);
    set.close();
    set.discard();
    EXPECT_EQ(folder.listing(), "out.tfw out.tif");
}

TEST(DiscardOfEmptySet, DoesNothing)
{
    GDALStreamer set;
    set.discard();
    EXPECT_FALSE(set.opened());
    EXPECT_EQ(set.path(), QString());
}

class DiscardOfOpenedSet : public testing::TestWithParam<std::pair<const char*, bool>>
{
protected:
    void SetUp() override
    {
        makeBothRoads(folder, RasterShape(), GDT_Byte, storedNoise<unsigned char>());
        listing = folder.listing();
        firstTile = fileText(folder / "set_1_1.tif");
        single = fileText(folder / "single.tif");
    }

    TempFolder folder;
    std::string listing;
    std::string firstTile;
    std::string single;
};

TEST_P(DiscardOfOpenedSet, OnlyClosesIt)
{
    const auto& [name, update] = GetParam();
    const int before = rasters::openDatasets();
    for (const GdalFileType type : {GdalFileType::SingleFile, GdalFileType::TileSet}) {
        const QString path = folder / (type == GdalFileType::TileSet ? "set.tif" : "single.tif");
        GDALStreamer set;
        ASSERT_TRUE(update ? set.openUpdate(path, type) : set.openRead(path, type));
        ASSERT_TRUE(set.open(0));
        set.discard();
        EXPECT_FALSE(set.opened());
    }
    EXPECT_EQ(rasters::openDatasets(), before);
    EXPECT_EQ(folder.listing(), listing);
    EXPECT_EQ(fileText(folder / "set_1_1.tif"), firstTile);
    EXPECT_EQ(fileText(folder / "single.tif"), single);
}

TEST_P(DiscardOfOpenedSet, OnlyClosesItAfterThatObjectHadWrittenTheSameFile)
{
    const auto& [name, update] = GetParam();
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "mine.tif", 1, DataType::UInt8, 5, 5));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(5, 5), 1, box(0, 0, 5, 5)));
    set.close(0);
    ASSERT_TRUE(update ? set.openUpdate(folder / "mine.tif") : set.openRead(folder / "mine.tif"));
    set.discard();
    EXPECT_EQ(gdalPixels<unsigned char>(folder / "mine.tif"), noiseMatrix<unsigned char>(5, 5));
}

INSTANTIATE_TEST_SUITE_P(Modes, DiscardOfOpenedSet,
                         testing::Values(std::pair<const char*, bool>{"Read", false},
                                         std::pair<const char*, bool>{"Update", true}),
                         [](const auto& row) { return std::string(row.param.first); });

TEST(DiscardOfOpenedFile, KeepsWhatAnUpdateHasWritten)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", placed(0, 0, 5, 5, 1, GDT_Byte), [](int, int, int) { return 7; });
    GDALStreamer set;
    ASSERT_TRUE(set.openUpdate(folder / "a.tif"));
    ASSERT_TRUE(set.write(noiseMatrix<unsigned char>(5, 5), 1, box(0, 0, 5, 5)));
    set.discard();
    EXPECT_EQ(folder.listing(), "a.tif");
    EXPECT_EQ(gdalPixels<unsigned char>(folder / "a.tif"), noiseMatrix<unsigned char>(5, 5));
}

TEST(DiscardOfOneFile, LeavesTheHandleClosed)
{
    const TempFolder folder;
    GDALStreamer::gdal_t file;
    ASSERT_TRUE(file.openWrite(folder / "a.tif", 1, DataType::Int16, pixelFrame(5, 5), "", "", ""));
    ASSERT_TRUE(file.reopen());
    ASSERT_EQ(folder.listing(), "a.tif_tmp.tif");
    file.discard();
    EXPECT_EQ(file.mode, GDALStreamer::gdal_t::Closed);
    EXPECT_FALSE(file.opened());
    EXPECT_FALSE(file.reopen());
    EXPECT_EQ(folder.listing(), "");
}

TEST(DiscardOfOneFile, OfAHandleThatWasNeverOpenedDoesNothing)
{
    const TempFolder folder;
    makeFile(folder / "a.tif");
    makeFile(folder / "a.tif_tmp.tif");
    GDALStreamer::gdal_t file(folder / "a.tif");
    file.discard();
    EXPECT_EQ(folder.listing(), "a.tif a.tif_tmp.tif");
}

TEST(DiscardOfOneFile, AHandleThatIsWrittenAgainForgetsTheFirstFile)
{
    const TempFolder folder;
    GDALStreamer::gdal_t file;
    for (const char* name : {"a.tif", "b.tif"}) {
        ASSERT_TRUE(file.openWrite(folder / name, 1, DataType::UInt8, pixelFrame(5, 5), "", "", ""));
        ASSERT_TRUE(file.write(noiseMatrix<unsigned char>(5, 5), 1, box(0, 0, 5, 5)));
    }
    file.discard();
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
}

TEST(DiscardOfOneFile, AHandleThatIsReadAfterwardsKeepsItsFile)
{
    const TempFolder folder;
    GDALStreamer::gdal_t file;
    ASSERT_TRUE(file.openWrite(folder / "a.tif", 1, DataType::UInt8, pixelFrame(5, 5), "", "", ""));
    ASSERT_TRUE(file.write(noiseMatrix<unsigned char>(5, 5), 1, box(0, 0, 5, 5)));
    file.close();
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    file.discard();
    EXPECT_EQ(file.mode, GDALStreamer::gdal_t::Closed);
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
}

TEST(DiscardOfOneFile, ForgetsWhatItHasCompletedBefore)
{
    const TempFolder folder;
    GDALStreamer::gdal_t file;
    const auto completeOne = [&] {
        ASSERT_TRUE(file.openWrite(folder / "a.tif", 1, DataType::UInt8, pixelFrame(5, 5), "", "", ""));
        ASSERT_TRUE(file.write(noiseMatrix<unsigned char>(5, 5), 1, box(0, 0, 5, 5)));
        file.close();
    };
    completeOne();
    file.discard();
    makeFile(folder / "a.tif", "of somebody else");
    file.discard();
    EXPECT_EQ(fileText(folder / "a.tif"), "of somebody else");

    completeOne();
    ASSERT_TRUE(file.openWrite(folder / "b.tif", 1, DataType::UInt8, pixelFrame(5, 5), "", "", ""));
    makeFile(folder / "b.tif", "of somebody else");
    file.discard();
    EXPECT_EQ(folder.listing(), "a.tfw a.tif b.tif");
}
