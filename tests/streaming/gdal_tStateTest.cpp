#include "streaming/GDALStreamer.h"

#include "rasterfilefixtures.h"
#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <string>

using namespace streamingtest;
using vexel::PixelMatrix;

namespace {

bool writeSomething(File& file)
{
    return file.write(PixelMatrix<unsigned char>(PixelMatrix<unsigned char>::Constant(3, 4, 7)), 1,
                      box(0, 0, 4, 3));
}

} // namespace

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
