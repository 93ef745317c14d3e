#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <utility>

using namespace streamingtest;
using vexel::DataType;
using vexel::PixelBox;
using vexel::PixelMatrix;
using vexel::Workspace;
using File = vexel::GDALStreamer::gdal_t;

namespace {

void makeByteFile(const QString& path, int width = 4, int height = 3)
{
    rasters::make(path, {width, height}, [](int x, int y, int) { return 10 * y + x; });
}

bool prepare(File& file, const QString& path, DataType type = DataType::UInt8)
{
    return file.openWrite(path, 1, type, pixelFrame(4, 3), "", "", "");
}

bool writeSomething(File& file)
{
    return file.write(PixelMatrix<unsigned char>(PixelMatrix<unsigned char>::Constant(3, 4, 7)), 1,
                      box(0, 0, 4, 3));
}

} // namespace

TEST(RasterFile, StartsClosedAndEmpty)
{
    const File file;
    EXPECT_TRUE(file.path.isEmpty());
    EXPECT_EQ(file.tmppath, "_tmp.tif");
    EXPECT_EQ(file.dataset, nullptr);
    EXPECT_EQ(file.workspace.mbounds().max_corner().x(), 0);
    EXPECT_EQ(file.workspace.mbounds().max_corner().y(), 0);
    EXPECT_EQ(file.workspace.res(), 1);
    EXPECT_TRUE(file.projWKT.isEmpty());
    EXPECT_TRUE(file.projTime.isEmpty());
    EXPECT_TRUE(file.software.isEmpty());
    EXPECT_EQ(file.noBands, 0u);
    EXPECT_EQ(file.noPages, 0u);
    EXPECT_EQ(file.dtype, DataType::Unknown);
    EXPECT_EQ(file.mode, File::Closed);
    EXPECT_EQ(file.jpegQuality, 95);
    EXPECT_FALSE(file.opened());
}

TEST(RasterFile, ModesHaveTheirNumbers)
{
    EXPECT_EQ(static_cast<int>(File::ReadOnly), 0);
    EXPECT_EQ(static_cast<int>(File::Update), 1);
    EXPECT_EQ(static_cast<int>(File::WritePending), 2);
    EXPECT_EQ(static_cast<int>(File::Written), 3);
    EXPECT_EQ(static_cast<int>(File::Closed), 4);
}

namespace {

struct PathCase
{
    const char* name;
    const char* path;
    const char* tfw;
    const char* prj;
};

void PrintTo(const PathCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterFilePaths : public testing::TestWithParam<PathCase>
{};

} // namespace

TEST_P(RasterFilePaths, FollowFromThePathWhenConstructed)
{
    const PathCase& c = GetParam();
    const File file{QString(c.path)};
    EXPECT_EQ(file.path, c.path);
    EXPECT_EQ(file.tfwpath, c.tfw);
    EXPECT_EQ(file.prjpath, c.prj);
    EXPECT_EQ(file.tmppath, QString(c.path) + "_tmp.tif");
}

TEST_P(RasterFilePaths, FollowFromThePathWhenOpenedForWriting)
{
    const TempFolder folder;
    const PathCase& c = GetParam();
    File file{folder / "other.png"};
    ASSERT_TRUE(prepare(file, folder / c.path));
    EXPECT_EQ(file.path, folder / c.path);
    EXPECT_EQ(file.tfwpath, folder / c.tfw);
    EXPECT_EQ(file.prjpath, folder / c.prj);
    EXPECT_EQ(file.tmppath, (folder / c.path) + "_tmp.tif");
}

TEST_P(RasterFilePaths, OfAReadFileNameTheFileItselfAsWorkingFile)
{
    const TempFolder folder;
    const PathCase& c = GetParam();
    std::filesystem::create_directories((folder / "a.b").toStdString());
    makeByteFile(folder / c.path);
    File file{folder / "other.png"};
    ASSERT_TRUE(file.openRead(folder / c.path, /*readOnly=*/true));
    EXPECT_EQ(file.path, folder / c.path);
    EXPECT_EQ(file.tfwpath, folder / c.tfw);
    EXPECT_EQ(file.prjpath, folder / c.prj);
    EXPECT_EQ(file.tmppath, folder / c.path);
}

INSTANTIATE_TEST_SUITE_P(
    Names, RasterFilePaths,
    testing::Values(PathCase{"Tif", "ortho.tif", "ortho.tfw", "ortho.prj"},
                    PathCase{"Tiff", "ortho.tiff", "ortho.tfw", "ortho.prj"},
                    PathCase{"Odd", "ortho.dat", "ortho.dtw", "ortho.prj"},
                    PathCase{"FolderWithDot", "a.b/ortho.tif", "a.b/ortho.tfw", "a.b/ortho.prj"},
                    PathCase{"NoExtension", "a.b/ortho", "a.b/orthow", "a.b/ortho.prj"},
                    PathCase{"NonAscii", "\xC3\xB6 rtho.tif", "\xC3\xB6 rtho.tfw", "\xC3\xB6 rtho.prj"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(RasterFile, OfAnImageNamesTheImagesWorldFile)
{
    EXPECT_EQ(File("a/b.png").tfwpath, "a/b.pgw");
    EXPECT_EQ(File("a/b.jpg").tfwpath, "a/b.jgw");
    EXPECT_EQ(File("a/b.jpeg").tfwpath, "a/b.jgw");
}

TEST(RasterFileState, OpenedForReadingIsReadOnlyWithoutADataset)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    EXPECT_EQ(file.mode, File::ReadOnly);
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(file.dataset, nullptr);
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterFileState, OpenedNotReadOnlyIsUpdateWithoutADataset)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/false));
    EXPECT_EQ(file.mode, File::Update);
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterFileState, FailedOpenIsClosedWhateverItWas)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    const QuietGdal quiet;
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    ASSERT_TRUE(file.reopen());
    EXPECT_FALSE(file.openRead(folder / "missing.tif", /*readOnly=*/true));
    EXPECT_EQ(file.mode, File::Closed);
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterFileState, OpenForWritingIsPendingWithoutAnythingOnDisk)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    EXPECT_EQ(file.mode, File::WritePending);
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(folder.listing(), "");
}

TEST(RasterFileState, OpenForWritingWithoutAPathIsClosed)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    ASSERT_TRUE(file.reopen());
    EXPECT_FALSE(prepare(file, QString()));
    EXPECT_EQ(file.mode, File::Closed);
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(file.path, folder / "a.tif");
}

TEST(RasterFileState, OpenForReadingWithoutAPathIsClosed)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    ASSERT_TRUE(file.reopen());
    EXPECT_FALSE(file.openRead(QString(), /*readOnly=*/true));
    EXPECT_EQ(file.mode, File::Closed);
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(file.path, folder / "a.tif");
}

TEST(RasterFileState, ReopenOfAPendingFileCreatesTheWorkingFile)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    ASSERT_TRUE(file.reopen());
    EXPECT_EQ(file.mode, File::Written);
    EXPECT_TRUE(file.opened());
    EXPECT_EQ(folder.listing(), "a.tif_tmp.tif");
}

TEST(RasterFileState, ReopenOfAPendingImageCreatesNoFile)
{
    const TempFolder folder;
    for (const char* name : {"a.png", "a.jpg", "a.JPEG", "a.jp2"}) {
        File file;
        ASSERT_TRUE(prepare(file, folder / name));
        ASSERT_TRUE(file.reopen());
        EXPECT_EQ(file.mode, File::Written);
        EXPECT_STREQ(file.dataset->GetDriver()->GetDescription(), "MEM") << name;
        EXPECT_EQ(folder.listing(), "");
        file.mode = File::ReadOnly; // So that nothing is finalised.
    }
}

TEST(RasterFileState, ReopenKeepsReadOnly)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    ASSERT_TRUE(file.reopen());
    EXPECT_EQ(file.mode, File::ReadOnly);
    ASSERT_TRUE(file.opened());
    EXPECT_EQ(file.dataset->GetAccess(), GA_ReadOnly);
}

TEST(RasterFileState, ReopenKeepsUpdate)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/false));
    ASSERT_TRUE(file.reopen());
    EXPECT_EQ(file.mode, File::Update);
    ASSERT_TRUE(file.opened());
    EXPECT_EQ(file.dataset->GetAccess(), GA_Update);
}

TEST(RasterFileState, ReopenOfAWrittenFileOpensTheWorkingFileForUpdate)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    ASSERT_TRUE(file.reopen());
    ASSERT_TRUE(file.detach());
    ASSERT_FALSE(file.opened());
    ASSERT_TRUE(file.reopen());
    EXPECT_EQ(file.mode, File::Written);
    EXPECT_EQ(file.dataset->GetAccess(), GA_Update);
    EXPECT_EQ(file.dataset->GetDescription(), file.tmppath.toStdString());
}

TEST(RasterFileState, ReopenOfAnOpenFileKeepsItsDataset)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    ASSERT_TRUE(file.reopen());
    GDALDataset* const dataset = file.dataset;
    EXPECT_TRUE(file.reopen());
    EXPECT_EQ(file.dataset, dataset);
    EXPECT_EQ(rasters::openDatasets(), 1);
}

TEST(RasterFileState, ReopenOfAVanishedFileFailsAndKeepsTheMode)
{
    const TempFolder folder;
    const QuietGdal quiet;
    for (const bool readOnly : {true, false}) {
        makeByteFile(folder / "a.tif");
        File file;
        ASSERT_TRUE(file.openRead(folder / "a.tif", readOnly));
        std::filesystem::remove((folder / "a.tif").toStdString());
        EXPECT_FALSE(file.reopen());
        EXPECT_FALSE(file.opened());
        EXPECT_EQ(file.mode, readOnly ? File::ReadOnly : File::Update);
    }
}

TEST(RasterFileState, ReopenOfAVanishedWorkingFileFailsAndKeepsTheMode)
{
    const TempFolder folder;
    OwnMessages log;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    ASSERT_TRUE(file.reopen());
    ASSERT_TRUE(file.detach());
    std::filesystem::remove(file.tmppath.toStdString());
    EXPECT_FALSE(file.reopen());
    EXPECT_EQ(file.mode, File::Written);
    EXPECT_EQ(log.text(), "");
}

TEST(RasterFileState, ReopenOfAClosedFileFails)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File never{folder / "a.tif"};
    EXPECT_FALSE(never.reopen());
    EXPECT_FALSE(never.opened());

    File closed;
    ASSERT_TRUE(closed.openRead(folder / "a.tif", /*readOnly=*/true));
    ASSERT_TRUE(closed.close());
    EXPECT_FALSE(closed.reopen());
    EXPECT_EQ(closed.mode, File::Closed);
}

TEST(RasterFileState, ReopenInAnUnknownModeFails)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    for (const int mode : {-1, 5}) {
        File file{folder / "a.tif"};
        file.mode = mode;
        EXPECT_FALSE(file.reopen());
        EXPECT_FALSE(file.opened());
    }
}

TEST(RasterFileState, DetachReleasesAReadFile)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    for (const bool readOnly : {true, false}) {
        File file;
        ASSERT_TRUE(file.openRead(folder / "a.tif", readOnly));
        ASSERT_TRUE(file.reopen());
        EXPECT_TRUE(file.detach());
        EXPECT_FALSE(file.opened());
        EXPECT_EQ(file.mode, readOnly ? File::ReadOnly : File::Update);
        EXPECT_EQ(rasters::openDatasets(), 0);
    }
}

TEST(RasterFileState, DetachReleasesAWorkingGeoTiff)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    EXPECT_TRUE(file.detach());
    EXPECT_EQ(file.mode, File::WritePending);
    ASSERT_TRUE(file.reopen());
    EXPECT_TRUE(file.detach());
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(file.mode, File::Written);
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterFileState, DetachKeepsAMemoryDataset)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.png"));
    ASSERT_TRUE(file.reopen());
    GDALDataset* const dataset = file.dataset;
    EXPECT_TRUE(file.detach());
    EXPECT_EQ(file.dataset, dataset);
    EXPECT_EQ(file.mode, File::Written);
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterFileState, DetachLeavesClosedAndNegativeModesAlone)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    ASSERT_TRUE(file.reopen());
    for (const int mode : {static_cast<int>(File::Closed), -1}) {
        file.mode = mode;
        EXPECT_TRUE(file.detach());
        EXPECT_TRUE(file.opened());
        EXPECT_EQ(file.mode, mode);
    }
    file.mode = File::ReadOnly;
    File closed;
    EXPECT_TRUE(closed.detach());
    EXPECT_EQ(closed.mode, File::Closed);
}

TEST(RasterFileState, CloseOfAReadFileReleasesItAndLeavesTheFile)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    const std::string before = fileText(folder / "a.tif");
    for (const bool readOnly : {true, false}) {
        File file;
        ASSERT_TRUE(file.openRead(folder / "a.tif", readOnly));
        ASSERT_TRUE(file.reopen());
        EXPECT_TRUE(file.close());
        EXPECT_EQ(file.mode, File::Closed);
        EXPECT_EQ(file.dataset, nullptr);
        EXPECT_EQ(rasters::openDatasets(), 0);
    }
    EXPECT_EQ(fileText(folder / "a.tif"), before);
    EXPECT_EQ(folder.listing(), "a.tif");
}

TEST(RasterFileState, CloseOfAPendingFileWritesNothing)
{
    const TempFolder folder;
    for (const char* name : {"a.tif", "a.png", "a.jpg", "a.jp2"}) {
        File file;
        ASSERT_TRUE(file.openWrite(folder / name, 1, DataType::UInt8, pixelFrame(4, 3),
                                   QString::fromStdString(rasters::wkt(32633)), "2021:03:04 05:06:07", "me"));
        EXPECT_TRUE(file.close());
        EXPECT_EQ(file.mode, File::Closed);
        EXPECT_EQ(folder.listing(), "");
    }
}

TEST(RasterFileState, CloseOfAWrittenFileFinalisesIt)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    ASSERT_TRUE(writeSomething(file));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(file.mode, File::Closed);
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterFileState, CloseTwiceIsTheSameAsOnce)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    ASSERT_TRUE(writeSomething(file));
    EXPECT_TRUE(file.close());
    const std::string first = fileText(folder / "a.tif");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(fileText(folder / "a.tif"), first);
}

TEST(RasterFileState, DestructionFinalises)
{
    const TempFolder folder;
    {
        File file;
        ASSERT_TRUE(prepare(file, folder / "a.tif"));
        ASSERT_TRUE(writeSomething(file));
    }
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterFileState, OpeningAnotherFileFinalisesTheFirst)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    ASSERT_TRUE(writeSomething(file));
    ASSERT_TRUE(prepare(file, folder / "b.tif"));
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
    ASSERT_TRUE(writeSomething(file));
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    EXPECT_EQ(folder.listing(), "a.tfw a.tif b.tfw b.tif");
    EXPECT_EQ(file.mode, File::ReadOnly);
}

TEST(RasterFileState, OpenWithoutAPathFinalisesTheFirst)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    ASSERT_TRUE(writeSomething(file));
    EXPECT_FALSE(file.openRead(QString(), /*readOnly=*/true));
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
}

TEST(RasterFileState, AClosedFileOpensAgain)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    ASSERT_TRUE(file.close());
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/false));
    EXPECT_EQ(file.mode, File::Update);
    EXPECT_TRUE(file.reopen());
}

TEST(RasterFileCopy, SharesTheDataset)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    ASSERT_TRUE(file.reopen());
    File copy(file);
    EXPECT_EQ(copy.dataset, file.dataset);
    EXPECT_EQ(copy.mode, File::ReadOnly);
    EXPECT_EQ(copy.path, file.path);
    File assigned;
    assigned = file;
    EXPECT_EQ(assigned.dataset, file.dataset);
    // Each copy would close the dataset.
    copy.dataset = nullptr;
    assigned.dataset = nullptr;
}

TEST(RasterFileCopy, TakesEveryMember)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(file.openWrite(folder / "a.tif", 2, DataType::Int32, Workspace(10, 20, 50, 80, 10), "wkt",
                               "time", "me"));
    file.noPages = 7;
    file.jpegQuality = 33;
    const File copy(file);
    EXPECT_EQ(copy.path, file.path);
    EXPECT_EQ(copy.tfwpath, file.tfwpath);
    EXPECT_EQ(copy.prjpath, file.prjpath);
    EXPECT_EQ(copy.tmppath, file.tmppath);
    EXPECT_EQ(copy.workspace.maxy(), 80);
    EXPECT_EQ(copy.projWKT, "wkt");
    EXPECT_EQ(copy.projTime, "time");
    EXPECT_EQ(copy.software, "me");
    EXPECT_EQ(copy.noBands, 2u);
    EXPECT_EQ(copy.noPages, 7u);
    EXPECT_EQ(copy.dtype, DataType::Int32);
    EXPECT_EQ(copy.mode, File::WritePending);
    EXPECT_EQ(copy.jpegQuality, 33);
}

TEST(RasterFile, SizeIsThatOfTheWorkspaceInWholePixels)
{
    File file;
    EXPECT_EQ(file.width(), 0);
    EXPECT_EQ(file.height(), 0);
    file.workspace = Workspace(100, -50, 100 + 79, -50 + 30, 10);
    EXPECT_EQ(file.width(), 7);
    EXPECT_EQ(file.height(), 3);
}

namespace {

struct ValidCase
{
    const char* name;
    PixelBox box;
    bool valid;
};

void PrintTo(const ValidCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterFileValid : public testing::TestWithParam<ValidCase>
{};

} // namespace

TEST_P(RasterFileValid, MeansInsideTheFile)
{
    File file;
    file.workspace = Workspace(1000, 2000, 1000 + 70, 2000 + 50, 10);
    EXPECT_EQ(file.valid(GetParam().box), GetParam().valid);
}

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int largest = std::numeric_limits<int>::max();
INSTANTIATE_TEST_SUITE_P(Boxes, RasterFileValid,
                         testing::Values(ValidCase{"All", box(0, 0, 7, 5), true},
                                         ValidCase{"Part", box(1, 2, 3, 4), true},
                                         ValidCase{"Empty", box(7, 5, 7, 5), true},
                                         ValidCase{"OneWest", box(-1, 0, 7, 5), false},
                                         ValidCase{"OneNorth", box(0, -1, 7, 5), false},
                                         ValidCase{"OneEast", box(0, 0, 8, 5), false},
                                         ValidCase{"OneSouth", box(0, 0, 7, 6), false},
                                         // Only min against 0 and max against the size are looked at.
                                         ValidCase{"TurnedOver", box(9, 9, 1, 1), true},
                                         ValidCase{"NegativeMax", box(0, 0, -4, -4), true},
                                         ValidCase{"Lowest", box(lowest, lowest, 1, 1), false},
                                         ValidCase{"Largest", box(0, 0, largest, largest), false}),
                         [](const auto& row) { return std::string(row.param.name); });
