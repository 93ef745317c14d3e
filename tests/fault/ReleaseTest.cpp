#include "fault/ChildProcess.h"
#include "fault/resources.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/boxes.h"
#include "support/rasters.h"

#include "streaming/GDALStreamer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

// The application writes through GDAL's own dataset of a file, and the disk is full when the file is released. The limit
// of the file size, by which that is made, holds for a whole process.

namespace {

using namespace faults;
using vexel::DataType;
using vexel::GDALMutex;
using vexel::GDALStreamer;
using Code = vexel::StreamError::Code;

constexpr int width = 2000;
constexpr int height = 500;

/// Writes all pixels of the first file into GDAL's cache, where they stay until the file is released. What is handed over
/// in larger pieces newer versions write at once.
void writeByGdal(GDALStreamer& set)
{
    const GDALMutex lock;
    require(set.open(0), "cannot open the file");
    GDALRasterBand* band = set.data(0)->GetRasterBand(1);
    int columns = 0;
    int rows = 0;
    band->GetBlockSize(&columns, &rows);
    require(columns == width, "blocks are no strips");
    for (int y = 0; y * rows < height; ++y) {
        GDALRasterBlock* block = band->GetLockedBlockRef(0, y, /*bJustInitialize=*/TRUE);
        require(block, "GDAL has no block");
        std::memset(block->GetDataRef(), 7,
                    static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
        block->MarkDirty();
        block->DropLock();
    }
}

/// What closing tells when there is no room for what GDAL has cached.
template <class Close>
vexel::StreamError errorOf(GDALStreamer& set, const Close& close)
{
    limitFileSize(100000);
    require(close(), "closing is not true");
    unlimitFileSize();
    return set.lastError();
}

void requireError(const vexel::StreamError& error, Code code, const QString& path)
{
    require(error.code == code, "another code: " + std::to_string(static_cast<int>(error.code)));
    require(error.path == path, "another path: " + error.path.toStdString());
    require(!error.text.isEmpty(), "no reason");
}

void releaseWritten(const Arguments&)
{
    const TempFolder folder;
    const QString path = folder / "out.tif";
    const LogCapture log;
    CPLSetErrorHandler(CPLQuietErrorHandler);
    GDALStreamer set;
    require(set.openWrite(path, 1, DataType::UInt8, width, height), "cannot open the set");
    // The working file has its full size from the first transfer on, so that only GDAL's word tells what it lacks.
    require(set.write(vexel::PixelMatrix<unsigned char>::Ones(1, width).eval(), 1, box(0, 0, width, 1)),
            "cannot write");
    writeByGdal(set);
    requireError(errorOf(set, [&set] { return set.close(); }), Code::CannotComplete, path);
    require(log.messages().size() == 1 && log.messages()[0].level == 7 &&
                log.messages()[0].text == "Failed to write to <" + path.toStdString() + ">",
            "logged: " + log.text());
    require(folder.listing() == "", "left behind: " + folder.listing());
}

/// @param arguments "set", or "file" to close its only file alone.
void releaseUpdated(const Arguments& arguments)
{
    const bool isAlone = arguments.at(0) == "file";
    const TempFolder folder;
    const QString path = folder / "a.tif";
    rasters::make(path, {width, height, 1, GDT_Byte}, [](int, int, int) { return 1.0; });
    CPLSetErrorHandler(CPLQuietErrorHandler);
    GDALStreamer set;
    require(set.openUpdate(path), "cannot open the set");
    writeByGdal(set);
    requireError(errorOf(set, [&] { return isAlone ? set.close(0) : set.close(); }), Code::CannotWrite, path);
}

const ChildMain written("releaseWritten", &releaseWritten);
const ChildMain updated("releaseUpdated", &releaseUpdated);

} // namespace

TEST(ReleaseOntoFullDisk, CompletesNoRasterThatLacksPixels)
{
    EXPECT_EQ(failureOfChild("releaseWritten"), "");
}

TEST(ReleaseOntoFullDisk, OfAnUpdatedFileIsTold)
{
    EXPECT_EQ(failureOfChild("releaseUpdated", {"set"}), "");
}

TEST(ReleaseOntoFullDisk, OfOneUpdatedFileOfASetIsTold)
{
    EXPECT_EQ(failureOfChild("releaseUpdated", {"file"}), "");
}
