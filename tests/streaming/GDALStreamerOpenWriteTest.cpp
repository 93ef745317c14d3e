#include "streaming/GDALStreamer.h"

#include "rastersetfixtures.h"
#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cpl_vsi.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

using namespace streamingtest;
using vexel::PixelMatrix;
using vexel::Workspace;

namespace {

/// A file in GDAL's own memory while the object lives.
class MemoryFile
{
public:
    explicit MemoryFile(const char* path) : m_path(path)
    {
        VSILFILE* file = VSIFOpenL(path, "wb");
        if (!file || VSIFWriteL("x", 1, 1, file) != 1 || VSIFCloseL(file) != 0)
            throw std::runtime_error("GDAL has no files in memory");
    }
    ~MemoryFile() { VSIUnlink(m_path); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    bool isThere() const
    {
        VSIStatBufL status;
        return VSIStatL(m_path, &status) == 0;
    }

private:
    const char* m_path;
};

} // namespace

TEST(RasterSetOpenWrite, RefusesVirtualFiles)
{
    const char* names[] = {"/vsimem/vexel set.tif", "/vsimem/vexel set_1_1.tif",
                           "/vsimem/vexel set.tif_tmp.tif"};
    const MemoryFile single(names[0]);
    const MemoryFile tile(names[1]);
    const MemoryFile working(names[2]);
    for (const auto type : {GdalFileType::SingleFile, GdalFileType::TileSet}) {
        GDALStreamer set;
        EXPECT_FALSE(set.openWrite(names[0], 1, DataType::UInt8, pixelFrame(5, 4), "", "", "", type, 4, 4));
        EXPECT_EQ(set.lastError().code, vexel::StreamError::Code::BadArgument);
        EXPECT_EQ(set.lastError().path, names[0]);
        EXPECT_EQ(set.lastError().text, "Virtual files can be read, not written");
        expectEmpty(set, names[0], type);
    }
    GDALStreamer::gdal_t file;
    EXPECT_FALSE(file.openWrite(names[0], 1, DataType::UInt8, pixelFrame(5, 4), "", "", ""));
    EXPECT_EQ(file.error.text, "Virtual files can be read, not written");
    EXPECT_EQ(file.mode, GDALStreamer::gdal_t::Closed);
    EXPECT_TRUE(single.isThere() && tile.isThere() && working.isThere());
}

TEST(RasterSetOpenWrite, RefusesBeforeAnythingIsDeletedOrCreated)
{
    const TempFolder folder;
    for (const char* name : {"a.tif", "a_1_1.tif", "a.tif_tmp.tif"})
        makeFile(folder / name);
    const std::string before = folder.listing();
    const OwnMessages log;
    const QString path = folder / "a.tif";
    GDALStreamer set;
    for (const auto& type : {GdalFileType::SingleFile, GdalFileType::TileSet}) {
        for (const Workspace& extent : {Workspace(), Workspace(0, 0, 10, 0, 1), Workspace(0, 0, 0, 10, 1),
                                        Workspace(0, 0, 9, 100, 10), Workspace(0, 0, 100, 9, 10)}) {
            EXPECT_FALSE(set.openWrite(path, 1, DataType::UInt8, extent, "", "", "", type, 4, 4));
            expectEmpty(set, path, type);
        }
        EXPECT_FALSE(set.openWrite(QString(), 1, DataType::UInt8, pixelFrame(5, 4), "", "", "", type, 4, 4));
        expectEmpty(set, QString(), type);
    }
    for (const auto& [w, h] : {std::pair{0, 4}, std::pair{4, 0}, std::pair{-1, 4}, std::pair{4, -1},
                               std::pair{std::numeric_limits<int>::min(), 1}}) {
        EXPECT_FALSE(set.openWrite(path, 1, DataType::UInt8, pixelFrame(5, 4), "", "", "",
                                   GdalFileType::TileSet, w, h));
        expectEmpty(set, path, GdalFileType::TileSet);
    }
    for (const auto& [w, h] : {std::pair{0, 4}, std::pair{4, 0}})
        EXPECT_FALSE(set.openWrite(path, 1, DataType::UInt8, w, h));
    EXPECT_EQ(folder.listing(), before);
    EXPECT_EQ(log.text(), "");
}

TEST(RasterSetOpenWrite, ByNumbersMakesASingleFileInPixelUnits)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 2, DataType::Int16, 12, 7));
    EXPECT_EQ(set.ftype(), GdalFileType::SingleFile);
    EXPECT_EQ(set.width(), 12);
    EXPECT_EQ(set.height(), 7);
    EXPECT_EQ(set.res(), 1);
    EXPECT_EQ(set.workspace().minx(), 0);
    EXPECT_EQ(set.workspace().miny(), 0);
    EXPECT_EQ(set.noTiles(), 1u);
    EXPECT_EQ(set.path(0), folder / "a.tif");
    EXPECT_TRUE(set.projWKT(0).isEmpty());
    EXPECT_TRUE(set.projTime(0).isEmpty());
    ASSERT_TRUE(writeAll(set));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(gdalPixels<short>(folder / "a.tif"), noiseMatrix<short>(12, 7));
}

TEST(RasterSetOpenWrite, OfASingleFileIgnoresTileSizes)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, pixelFrame(12, 7), "", "", "",
                              GdalFileType::SingleFile, 3, -3));
    ASSERT_EQ(set.noTiles(), 1u);
    EXPECT_EQ(set.itile(0).max_corner().x(), 12);
}

TEST(RasterSetOpenWrite, ReplacesTheGridOfTheWorkspace)
{
    const TempFolder folder;
    Workspace extent = pixelFrame(12, 7);
    ASSERT_TRUE(extent.createTiles(2, 2));
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, extent, "", "", "",
                              GdalFileType::SingleFile, 0, 0));
    EXPECT_EQ(set.noTiles(), 1u);
    ASSERT_TRUE(
        set.openWrite(folder / "a.tif", 1, DataType::UInt8, extent, "", "", "", GdalFileType::TileSet, 6, 7));
    EXPECT_EQ(set.noTiles(), 2u);
}

TEST(RasterSetOpenWrite, MayTakeTheSetsOwnWorkspaceAndPath)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    ASSERT_TRUE(set.openWrite(set.path(), 1, DataType::UInt8, set.workspace(), "", "", "",
                              GdalFileType::SingleFile, 0, 0));
    EXPECT_EQ(set.path(), folder / "a.tif");
    EXPECT_EQ(set.width(), width);
    EXPECT_EQ(set.workspace().minx(), 10000000);
}

TEST(RasterSetOpenWrite, DropsExtentsThatAreNoWholePixel)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, Workspace(0, 0, 59, 39, 10), "", "", "",
                              GdalFileType::SingleFile, 0, 0));
    EXPECT_EQ(set.width(), 5);
    EXPECT_EQ(set.height(), 3);
    ASSERT_TRUE(writeAll(set));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(rasters::pixels(folder / "a.tif").size(), 15u);
}

TEST(RasterSetOpenWrite, OfAnUnknownTypeFailsWhenWritten)
{
    const TempFolder folder;
    const OwnMessages log;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::Unknown, 5, 4));
    EXPECT_FALSE(writeAll(set));
    PixelMatrix<short> out;
    EXPECT_FALSE(set.read(out, 1, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
    EXPECT_TRUE(set.close());
    EXPECT_EQ(folder.listing(), "");
    EXPECT_EQ(log.text(), "");
}
