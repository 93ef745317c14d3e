#include "streaming/writetargets.h"

#include "companion/file.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace vexel;

namespace {

std::string namesOf(const std::vector<TileFile>& tiles)
{
    std::string names;
    for (const TileFile& tile : tiles)
        names +=
            (file::basename(tile.path) + QString("@%1,%2 ").arg(tile.column).arg(tile.row)).toStdString();
    return names;
}

constexpr int tileSize = 100;

bool deletes(const QString& file, const QString& path, GdalFileType ftype)
{
    return anyIsReadFor(pathsOfTarget(path, ftype, Workspace(0, 0, 250, 150, 1), tileSize, tileSize), {file});
}

} // namespace

TEST(TileFiles, AreThoseOfTheSetInNaturalOrder)
{
    const TempFolder folder;
    for (const char* name :
         {"o_10_1.tif", "o_2_1.tif", "o_1_1.tif", "o_1_10.tif", "o_1_9.tif", "o.tif", "o_0_1.tif",
          "o_01_1.tif", "other_1_1.tif", "o_1_1.png", "o_1_1.tif_tmp.tif", "my_o_1_1.tif"})
        ASSERT_TRUE(file::writeText(folder / name, "x"));
    EXPECT_EQ(namesOf(tileFilesOf(folder / "o.tif")), "o_1_1@0,0 o_1_9@0,8 o_1_10@0,9 o_2_1@1,0 o_10_1@9,0 ");
}

TEST(TileFiles, OfAMissingFolderAreNone)
{
    const TempFolder folder;
    EXPECT_TRUE(tileFilesOf(folder / "missing/o.tif").empty());
}

TEST(WritingPaths, FollowTheRasterAndTheGrid)
{
    EXPECT_EQ(workingPath("dir/o.tif").toStdString(), "dir/o.tif_tmp.tif");
    Workspace grid(0, 0, 250, 150, 1);
    grid.createTiles(100, 100);
    EXPECT_EQ(tilePath("dir/o.tif", grid, 0).toStdString(), "dir/o_1_1.tif");
    EXPECT_EQ(tilePath("dir/o.tif", grid, 5).toStdString(), "dir/o_3_2.tif");
}

TEST(WritingWouldDelete, TheSameFileHoweverItIsSpelt)
{
    const TempFolder folder;
    ASSERT_TRUE(file::writeText(folder / "o.tif", "x"));
    EXPECT_TRUE(deletes(folder / "o.tif", folder / "o.tif", GdalFileType::SingleFile));
    EXPECT_TRUE(deletes(folder / "o.tif", folder / "./o.tif", GdalFileType::SingleFile));
    EXPECT_TRUE(deletes(folder / "o.tif", folder / "sub/../o.tif", GdalFileType::SingleFile));
    std::filesystem::create_symlink((folder / "o.tif").toStdString(), (folder / "link.tif").toStdString());
    EXPECT_TRUE(deletes(folder / "link.tif", folder / "o.tif", GdalFileType::SingleFile));
    EXPECT_TRUE(deletes(folder / "o.tif", folder / "link.tif", GdalFileType::SingleFile));
    EXPECT_FALSE(deletes(folder / "o.tif", folder / "p.tif", GdalFileType::SingleFile));
}

TEST(WritingWouldDelete, TheWorkingFile)
{
    const TempFolder folder;
    ASSERT_TRUE(file::writeText(folder / "o.tif_tmp.tif", "x"));
    EXPECT_TRUE(deletes(folder / "o.tif_tmp.tif", folder / "o.tif", GdalFileType::SingleFile));
    EXPECT_FALSE(deletes(folder / "o.tif_tmp.tif", folder / "p.tif", GdalFileType::SingleFile));
}

TEST(WritingWouldDelete, TilesOfAnEarlierSetAndThoseToCome)
{
    const TempFolder folder;
    for (const char* name :
         {"o_9_9.tif", "o_1_1.tif", "o_2_1.tif_tmp.tif", "o_9_9.tif_tmp.tif", "o.tif", "p_1_1.tif"})
        ASSERT_TRUE(file::writeText(folder / name, "x"));
    const QString set = folder / "o.tif";
    EXPECT_TRUE(deletes(folder / "o_9_9.tif", set, GdalFileType::TileSet))
        << "outside the new grid, but cleaned";
    EXPECT_TRUE(deletes(folder / "o_9_9.tif_tmp.tif", set, GdalFileType::TileSet)) << "cleaned with its tile";
    EXPECT_TRUE(deletes(folder / "o_1_1.tif", set, GdalFileType::TileSet));
    EXPECT_TRUE(deletes(folder / "o_2_1.tif_tmp.tif", set, GdalFileType::TileSet))
        << "working file of a new tile";
    EXPECT_FALSE(deletes(folder / "o.tif", set, GdalFileType::TileSet))
        << "a set does not touch the file of its name";
    EXPECT_FALSE(deletes(folder / "p_1_1.tif", set, GdalFileType::TileSet));
    EXPECT_FALSE(deletes(folder / "o_1_1.tif", set, GdalFileType::SingleFile));
}

TEST(CutOffTiles, AreThoseWhoseWorkingFilesAreThere)
{
    const TempFolder folder;
    for (const char* name : {"s_1_1.tif", "s_2_1.tif_tmp.tif", "s_3_1.tif_new_tmp.tif", "s_4_1.png_tmp.tif",
                             "t_1_1.tif_tmp.tif", "s.tif_tmp.tif", "s_5_1.tif_tmp.tif.aux.xml"})
        ASSERT_TRUE(file::writeText(folder / name, "x"));
    QStringList expected = {folder / "s_2_1.tif", folder / "s_3_1.tif"};
    EXPECT_EQ(cutOffTilesOf(folder / "s.tif"), expected);
    expected = QStringList{folder / "s_4_1.png"};
    EXPECT_EQ(cutOffTilesOf(folder / "s.png"), expected);
    EXPECT_TRUE(cutOffTilesOf("").isEmpty());
}

TEST(TileFiles, AreNoWorkingFiles)
{
    const TempFolder folder;
    for (const char* name : {"s_1_1.tif", "s_2_1.tif_tmp.tif", "s_3_1.tif_new_tmp.tif"})
        ASSERT_TRUE(file::writeText(folder / name, "x"));
    const std::vector<TileFile> tiles = tileFilesOf(folder / "s.tif");
    ASSERT_EQ(tiles.size(), 1u);
    EXPECT_EQ(tiles[0].path, folder / "s_1_1.tif");
}

TEST(RemovingARasterFile, TakesAlongWhatGdalKeepsBesideIt)
{
    const TempFolder folder;
    for (const char* name : {"a.tif", "a.tif.ovr", "a.tif.aux.xml", "a.tif.msk", "a.tfw", "a.tif_tmp.tif",
                             "a.tif_tmp.tif.aux.xml", "a.tif_new_tmp.tif"})
        ASSERT_TRUE(file::writeText(folder / name, "x"));
    removeRasterFile(folder / "a.tif");
    EXPECT_EQ(folder.listing(), "a.tfw a.tif_new_tmp.tif a.tif_tmp.tif a.tif_tmp.tif.aux.xml");
    removeWorkingFiles(folder / "a.tif");
    EXPECT_EQ(folder.listing(), "a.tfw");
}

TEST(RoomForAllPixels, IsInAWorkingFileFromItsCreationOn)
{
    const TempFolder folder;
    GDALStreamer::gdal_t raster;
    ASSERT_TRUE(raster.openWrite(folder / "a.tif", 2, DataType::Float32, Workspace(0, 0, 40, 30, 1),
                                 QString(), QString(), QString()));
    QString reason;
    EXPECT_FALSE(hasRoomForAllPixels(raster, reason)) << "there is no file yet";
    EXPECT_NE(reason, "");
    const PixelMatrix<float> pixel = PixelMatrix<float>::Constant(1, 1, 5.0f);
    ASSERT_TRUE(raster.write(pixel, 1, PixelBox(PixelPoint(39, 29), PixelPoint(40, 30))));
    EXPECT_TRUE(hasRoomForAllPixels(raster, reason));
    std::filesystem::resize_file(raster.tmppath.toStdString(), 40 * 30 * 2 * 4);
    EXPECT_FALSE(hasRoomForAllPixels(raster, reason)) << "the header takes room too";
    EXPECT_TRUE(reason.contains("9600 bytes")) << reason.toStdString();
    raster.discard();
}
