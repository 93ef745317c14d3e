#include "streaming/GDALStreamer.h"

#include "rastersetfixtures.h"
#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <QDir>

#include <array>
#include <cstdint>
#include <utility>

using namespace streamingtest;
using vexel::PixelMatrix;

TEST(RasterSet, StartsEmpty)
{
    const GDALStreamer set;
    expectEmpty(set, QString(), GdalFileType::SingleFile);
    EXPECT_EQ(set.width(), 0);
    EXPECT_EQ(set.height(), 0);
}

TEST(RasterSet, OpensASingleFileAsOneTile)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_TRUE(set.opened());
    EXPECT_EQ(set.path(), folder / "a.tif");
    EXPECT_EQ(set.ftype(), GdalFileType::SingleFile);
    EXPECT_EQ(set.noBands(), 2u);
    EXPECT_EQ(set.noPages(), 1u);
    EXPECT_EQ(set.dtype(), DataType::Int16);
    EXPECT_EQ(set.width(), width);
    EXPECT_EQ(set.height(), height);
    EXPECT_EQ(set.res(), 50000);
    EXPECT_EQ(set.resx(), 50000);
    EXPECT_EQ(set.resy(), 50000);
    EXPECT_EQ(set.workspace().minx(), 10000000);
    EXPECT_EQ(set.workspace().miny(), -20000000);
    EXPECT_EQ(set.workspace().maxx(), 10000000 + width * 50000);
    EXPECT_EQ(set.workspace().maxy(), -20000000 + height * 50000);
}

TEST(RasterSet, TileOfASingleFileIsTheWholeRaster)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    ASSERT_EQ(set.noTiles(), 1u);
    EXPECT_EQ(set.itile(0).min_corner().x(), 0);
    EXPECT_EQ(set.itile(0).min_corner().y(), 0);
    EXPECT_EQ(set.itile(0).max_corner().x(), width);
    EXPECT_EQ(set.itile(0).max_corner().y(), height);
    EXPECT_EQ(set.mtile(0).min_corner().x(), 10000000);
    EXPECT_EQ(set.mtile(0).min_corner().y(), -20000000);
    EXPECT_EQ(set.mtile(0).max_corner().x(), 10000000 + width * 50000);
    EXPECT_EQ(set.mtile(0).max_corner().y(), -20000000 + height * 50000);
    EXPECT_EQ(set.gtile(0).x(), 0);
    EXPECT_EQ(set.gtile(0).y(), 0);
}

TEST(RasterSet, ReportsTheFilesOfARead)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_EQ(set.path(0), folder / "a.tif");
    EXPECT_EQ(set.tfwpath(0), folder / "a.tfw");
    EXPECT_EQ(set.prjpath(0), folder / "a.prj");
    EXPECT_EQ(set.projWKT(0), QString());
    EXPECT_EQ(set.projTime(0), QString());
}

TEST(RasterSet, ReportsTheFilesOfAWrite)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 2, DataType::Int16, pixelFrame(5, 4), "wkt", "time", "me",
                              GdalFileType::TileSet, 3, 3));
    ASSERT_EQ(set.noTiles(), 4u);
    EXPECT_EQ(set.path(), folder / "a.tif");
    EXPECT_EQ(set.path(1), folder / "a_1_2.tif");
    EXPECT_EQ(set.tfwpath(1), folder / "a_1_2.tfw");
    EXPECT_EQ(set.prjpath(1), folder / "a_1_2.prj");
    EXPECT_EQ(set.projWKT(1), "wkt");
    EXPECT_EQ(set.projTime(1), "time");
    EXPECT_EQ(set.noBands(), 2u);
    EXPECT_EQ(set.noPages(), 0u);
    EXPECT_EQ(set.dtype(), DataType::Int16);
    EXPECT_EQ(set.ftype(), GdalFileType::TileSet);
}

TEST(RasterSet, AnswersForFilesItDoesNotHave)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    GDALStreamer set;
    for (const bool open : {false, true}) {
        if (open) {
            ASSERT_TRUE(set.openRead(folder / "a.tif"));
        }
        for (const std::uint64_t i :
             {std::uint64_t{open ? 1u : 0u}, std::uint64_t{1} << 32, ~std::uint64_t{0}}) {
            EXPECT_FALSE(set.opened(i));
            EXPECT_EQ(set.data(i), nullptr);
            EXPECT_TRUE(set.path(i).isEmpty());
            EXPECT_TRUE(set.tfwpath(i).isEmpty());
            EXPECT_TRUE(set.prjpath(i).isEmpty());
            EXPECT_TRUE(set.projWKT(i).isEmpty());
            EXPECT_TRUE(set.projTime(i).isEmpty());
            EXPECT_FALSE(set.open(i));
            EXPECT_FALSE(set.close(i));
            EXPECT_EQ(set.itile(i).max_corner().x(), 0);
            EXPECT_EQ(set.mtile(i).max_corner().y(), 0);
            EXPECT_EQ(set.gtile(i).x(), 0);
        }
    }
}

TEST(RasterSet, OpensAndClosesSingleFiles)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_FALSE(set.opened(0));
    EXPECT_EQ(set.data(0), nullptr);
    ASSERT_TRUE(set.open(0));
    EXPECT_TRUE(set.opened(0));
    ASSERT_NE(set.data(0), nullptr);
    EXPECT_EQ(set.data(0)->GetRasterCount(), 2);
    EXPECT_EQ(rasters::openDatasets(), 1);
    ASSERT_TRUE(set.close(0));
    EXPECT_FALSE(set.opened(0));
    EXPECT_EQ(set.data(0), nullptr);
    EXPECT_EQ(rasters::openDatasets(), 0);
    // The file stays in the set, but a closed file does not open again.
    EXPECT_TRUE(set.opened());
    EXPECT_EQ(set.path(0), folder / "a.tif");
    EXPECT_FALSE(set.open(0));
    PixelMatrix<short> out;
    EXPECT_FALSE(set.read(out, 1, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
}

TEST(RasterSet, HoldsNoDatasetBetweenTransfers)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openUpdate(folder / "a.tif"));
    PixelMatrix<short> out;
    ASSERT_TRUE(set.read(out, 1, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
    EXPECT_FALSE(set.opened(0));
    ASSERT_TRUE(set.write(out, 1, box(0, 0, 0, 0)));
    EXPECT_FALSE(set.opened(0));
    EXPECT_FALSE(set.read(out, 9, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
    EXPECT_TRUE(set.close());
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterSet, KeepsTheMemoryOfAnImageBetweenTransfers)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.png", 1, DataType::UInt8, 5, 4));
    EXPECT_FALSE(set.opened(0));
    ASSERT_TRUE(writeAll(set));
    EXPECT_TRUE(set.opened(0));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterSet, ClosingKeepsTheDescription)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    ASSERT_TRUE(set.open(0));
    EXPECT_TRUE(set.close());
    EXPECT_FALSE(set.opened());
    EXPECT_FALSE(set.opened(0));
    EXPECT_EQ(set.path(), folder / "a.tif");
    EXPECT_EQ(set.noBands(), 2u);
    EXPECT_EQ(set.noPages(), 1u);
    EXPECT_EQ(set.dtype(), DataType::Int16);
    EXPECT_EQ(set.width(), width);
    EXPECT_EQ(set.noTiles(), 1u);
    EXPECT_TRUE(set.close());
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterSet, ThatIsClosedTransfersNothing)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    GDALStreamer set;
    for (const bool opened : {false, true}) {
        if (opened) {
            ASSERT_TRUE(set.openUpdate(folder / "a.tif") && set.close());
        }
        PixelMatrix<short> out;
        PixelMatrix<unsigned int> colours(3, 2);
        EXPECT_FALSE(set.read(out, 1, box(0, 0, 2, 3), 1.0, /*fill=*/true, 7));
        EXPECT_FALSE(set.write(noiseMatrix<short>(2, 3), 1, box(0, 0, 2, 3)));
        EXPECT_FALSE(set.readRGB(colours, box(0, 0, 2, 3), 1.0, /*fill=*/true, 7));
        EXPECT_FALSE(set.readRGBA(colours, box(0, 0, 2, 3), 1.0, /*fill=*/true, 7));
        EXPECT_FALSE(set.writeRGB(colours, box(0, 0, 2, 3)));
        EXPECT_FALSE(set.writeRGBA(colours, box(0, 0, 2, 3)));
    }
}

TEST(RasterSet, OpenThatFailsLeavesPathAndFileTypeOnly)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    const OwnMessages log;
    const QString missing = folder / "missing.tif";
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_FALSE(set.openRead(missing));
    expectEmpty(set, missing, GdalFileType::TileSet);
    EXPECT_FALSE(set.openRead(missing, GdalFileType::SingleFile));
    expectEmpty(set, missing, GdalFileType::SingleFile);
    EXPECT_FALSE(set.openRead(missing, GdalFileType::TileSet));
    expectEmpty(set, missing, GdalFileType::TileSet);
    EXPECT_FALSE(set.openUpdate(missing));
    expectEmpty(set, missing, GdalFileType::TileSet);
    EXPECT_FALSE(set.openUpdate(missing, GdalFileType::SingleFile));
    expectEmpty(set, missing, GdalFileType::SingleFile);
    EXPECT_FALSE(set.openRead(QString()));
    expectEmpty(set, QString(), GdalFileType::TileSet);
    EXPECT_FALSE(set.openRead(folder / "no/such/folder.tif"));
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(folder.listing(), "a.tif");
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterSet, OpenNamesTheKindOfFile)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    makeShorts(folder / "b_1_1.tif");
    const QuietGdal quiet;
    GDALStreamer set;
    EXPECT_TRUE(set.openRead(folder / "a.tif", GdalFileType::SingleFile));
    EXPECT_FALSE(set.openRead(folder / "a.tif", GdalFileType::TileSet));
    EXPECT_TRUE(set.openRead(folder / "b.tif", GdalFileType::TileSet));
    EXPECT_FALSE(set.openRead(folder / "b.tif", GdalFileType::SingleFile));
    // Only the value 0 stands for a tile set.
    EXPECT_TRUE(set.openRead(folder / "a.tif", static_cast<GdalFileType>(5)));
    EXPECT_EQ(static_cast<int>(set.ftype()), 5);
    EXPECT_TRUE(set.openUpdate(folder / "a.tif", static_cast<GdalFileType>(-1)));
}

TEST(RasterSet, ReadOnlyFilesAreNotWrittenAndUpdatedOnesAre)
{
    const TempFolder folder;
    const QuietGdal quiet;
    makeShorts(folder / "a.tif");
    const PixelMatrix<short> zeros = PixelMatrix<short>::Zero(height, width);
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_FALSE(set.write(zeros, 1, box(0, 0, width, height)));
    ASSERT_TRUE(set.openRead(folder / "a.tif", GdalFileType::SingleFile));
    EXPECT_FALSE(set.write(zeros, 1, box(0, 0, width, height)));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(gdalPixels<short>(folder / "a.tif"), noiseMatrix<short>(width, height));
    ASSERT_TRUE(set.openUpdate(folder / "a.tif"));
    EXPECT_TRUE(set.write(zeros, 1, box(0, 0, width, height)));
    ASSERT_TRUE(set.openUpdate(folder / "a.tif", GdalFileType::SingleFile));
    EXPECT_TRUE(set.write(zeros, 2, box(0, 0, width, height)));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(gdalPixels<short>(folder / "a.tif", 1), zeros);
    EXPECT_EQ(gdalPixels<short>(folder / "a.tif", 2), zeros);
    EXPECT_EQ(folder.listing(), "a.tif");
}

TEST(RasterSet, WhosePixelsRoundToNothingDoesNotOpen)
{
    const TempFolder folder;
    for (const char* name : {"a.tif", "b_1_1.tif"}) {
        rasters::Description d{width, height};
        d.geotransform = std::array<double, 6>{8, 1e-6, 0, 50, 0, -1e-6};
        rasters::make(folder / name, d, [](int, int, int) { return 1; });
    }
    for (const auto& [name, type] :
         {std::pair{"a.tif", GdalFileType::SingleFile}, std::pair{"b.tif", GdalFileType::TileSet}}) {
        const OwnMessages log;
        GDALStreamer set;
        EXPECT_FALSE(set.openRead(folder / name, type));
        expectEmpty(set, folder / name, type);
        // The one message is the file's.
        ASSERT_EQ(log.messages().size(), 1u) << log.text();
        EXPECT_EQ(log.messages().front().level, 6);
        EXPECT_EQ(rasters::openDatasets(), 0);
    }
}

TEST(RasterSet, WhoseCoordinatesOverflowDoesNotOpen)
{
    const TempFolder folder;
    rasters::makeVirtual(folder / "a.vrt", width, height, {GDT_Byte},
                         std::array<double, 6>{1e300, 1, 0, -1e300, 0, -1});
    const OwnMessages log;
    GDALStreamer set;
    EXPECT_FALSE(set.openRead(folder / "a.vrt"));
    EXPECT_FALSE(set.opened());
}

TEST(RasterSetClose, OfOneFileCompletesIt)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::Int16, pixelFrame(6, 4), "", "", "",
                              GdalFileType::TileSet, 3, 4));
    ASSERT_TRUE(writeAll(set));
    ASSERT_TRUE(set.close(1));
    EXPECT_EQ(folder.listing(), "a_1_1.tif_tmp.tif a_2_1.tfw a_2_1.tif");
    EXPECT_FALSE(set.open(1));
    EXPECT_FALSE(writeAll(set));
    EXPECT_TRUE(set.write(noiseMatrix<short>(3, 4), 1, box(0, 0, 3, 4)));
    ASSERT_TRUE(set.close());
    EXPECT_EQ(folder.listing(), "a_1_1.tfw a_1_1.tif a_2_1.tfw a_2_1.tif");
}

TEST(RasterSetOpen, OfOneFileCreatesItsWorkingFile)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::Int16, 6, 4));
    ASSERT_TRUE(set.open(0));
    EXPECT_TRUE(set.opened(0));
    EXPECT_EQ(folder.listing(), "a.tif_tmp.tif");
    ASSERT_TRUE(set.close());
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
    EXPECT_EQ(rasters::pixels(folder / "a.tif"), std::vector<double>(24, -10000));
}

TEST(RasterSetClose, HappensOnDestruction)
{
    const TempFolder folder;
    {
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::Int16, 6, 4));
        ASSERT_TRUE(writeAll(set));
    }
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
    EXPECT_EQ(gdalPixels<short>(folder / "a.tif"), noiseMatrix<short>(6, 4));
    EXPECT_EQ(rasters::openDatasets(), 0);
}

TEST(RasterSetOpen, OfAnotherRasterStillCompletesAWrittenOne)
{
    const TempFolder folder;
    const QuietGdal quiet;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::Int16, 6, 4));
    ASSERT_TRUE(writeAll(set));
    EXPECT_FALSE(set.openRead(folder / "missing.tif"));
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
    ASSERT_TRUE(set.openWrite(folder / "b.tif", 1, DataType::Int16, 6, 4));
    ASSERT_TRUE(writeAll(set));
    EXPECT_FALSE(set.openWrite(folder / "c.tif", 1, DataType::Int16, 0, 4));
    EXPECT_EQ(folder.listing(), "a.tfw a.tif b.tfw b.tif");
    EXPECT_EQ(gdalPixels<short>(folder / "b.tif"), noiseMatrix<short>(6, 4));
}

TEST(RasterSetMove, TakesTheFilesAndLeavesTheDescription)
{
    const TempFolder folder;
    makeShorts(folder / "a.tif");
    GDALStreamer from;
    ASSERT_TRUE(from.openRead(folder / "a.tif", static_cast<GdalFileType>(3)));
    GDALStreamer to(std::move(from));
    for (const GDALStreamer* set : {&from, &to}) { // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(set->path(), folder / "a.tif");
        EXPECT_EQ(set->noBands(), 2u);
        EXPECT_EQ(set->noPages(), 1u);
        EXPECT_EQ(set->dtype(), DataType::Int16);
        EXPECT_EQ(static_cast<int>(set->ftype()), 3);
        EXPECT_EQ(set->width(), width);
    }
    EXPECT_EQ(to.noTiles(), 1u);
    EXPECT_EQ(from.noTiles(), 0u);
    EXPECT_FALSE(from.opened());
    ASSERT_TRUE(to.opened());
    PixelMatrix<short> out;
    EXPECT_FALSE(from.read(out, 1, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
    ASSERT_TRUE(to.read(out, 1, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
    EXPECT_EQ(out, noiseMatrix<short>(width, height));
}

TEST(RasterSetMove, LeavesAWrittenRasterToBeCompletedByTheNewOwner)
{
    const TempFolder folder;
    {
        GDALStreamer outer;
        ASSERT_TRUE(outer.openWrite(folder / "a.tif", 1, DataType::Int16, 6, 4));
        {
            GDALStreamer inner(std::move(outer));
            ASSERT_TRUE(writeAll(inner));
            EXPECT_EQ(folder.listing(), "a.tif_tmp.tif");
        }
        EXPECT_EQ(folder.listing(), "a.tfw a.tif");
    }
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
}

TEST(RasterSet, TakesOddPaths)
{
    const TempFolder folder;
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(folder.path()));
    for (const QString& path : {QString("a.tif"), QString("./b.tif"), QString("c"), QString("d.e/f"),
                                QString("g h/\u00E4 \u732B.tif"), folder / "l"}) {
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(path, 1, DataType::Int16, 6, 4)) << path.toStdString();
        ASSERT_TRUE(writeAll(set)) << path.toStdString();
        ASSERT_TRUE(set.close());
        ASSERT_TRUE(set.openRead(path)) << path.toStdString();
        PixelMatrix<short> out;
        ASSERT_TRUE(set.read(out, 1, box(0, 0, 0, 0), 1.0, /*fill=*/false, 0));
        EXPECT_EQ(out, noiseMatrix<short>(6, 4)) << path.toStdString();
        EXPECT_EQ(set.path(), path);
    }
    QDir::setCurrent(before);
}
