#include "utilities/verify.h"

#include "streaming/GDALMutex.h"
#include "streaming/GDALStreamer.h"
#include "streaming/streamingsupport.h"
#include "support/TempFolder.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"
#include "verifyfixtures.h"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <future>
#include <ostream>
#include <string>
#include <vector>

using namespace verifytest;
using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;

namespace {

/// How many blocks GDAL reports. A format's blocks differ between its versions.
std::uint64_t blocksByGdal(const QString& path)
{
    const rasters::Dataset file = rasters::open(path);
    int width = 0;
    int height = 0;
    file->GetRasterBand(1)->GetBlockSize(&width, &height);
    const auto times = [](int size, int block) {
        return static_cast<std::uint64_t>((size + block - 1) / block);
    };
    const char* const interleave = file->GetMetadataItem("INTERLEAVE", "IMAGE_STRUCTURE");
    const bool bandsShareBlocks = interleave && std::string(interleave) == "PIXEL";
    return times(file->GetRasterXSize(), width) * times(file->GetRasterYSize(), height) *
           (bandsShareBlocks ? 1u : static_cast<std::uint64_t>(file->GetRasterCount()));
}

} // namespace

TEST(VerifyFile, ChangesNothing)
{
    const TempFolder folder;
    makeLayout(folder / "a.tif", layouts().back());
    const std::string bytes = fileText(folder / "a.tif");
    const auto time = std::filesystem::last_write_time((folder / "a.tif").toStdString());
    check(folder / "a.tif");
    check(folder / "a.tif", /*decode=*/true);
    EXPECT_EQ(folder.listing(), "a.tif");
    EXPECT_EQ(fileText(folder / "a.tif"), bytes);
    EXPECT_EQ(std::filesystem::last_write_time((folder / "a.tif").toStdString()), time);
}

TEST(VerifyFile, LogsNothing)
{
    const TempFolder folder;
    makeLayout(folder / "a.tif", layouts().front());
    cut(folder / "a.tif", folder / "cut.tif", 5000);
    const LogCapture log;
    check(folder / "a.tif");
    check(folder / "cut.tif", /*decode=*/true);
    check(folder / "none.tif");
    EXPECT_EQ(log.text(), "");
}

TEST(VerifyFile, LeavesGdalsOptionsOfTheThreadAsTheyWere)
{
    const TempFolder folder;
    makeLayout(folder / "a.tif", layouts().front());
    CPLSetThreadLocalConfigOption("GDAL_ENABLE_TIFF_SPLIT", "YES");
    check(folder / "a.tif", /*decode=*/true);
    EXPECT_STREQ(CPLGetThreadLocalConfigOption("GDAL_ENABLE_TIFF_SPLIT", ""), "YES");
    CPLSetThreadLocalConfigOption("GDAL_ENABLE_TIFF_SPLIT", nullptr);
    check(folder / "a.tif", /*decode=*/true);
    EXPECT_EQ(CPLGetThreadLocalConfigOption("GDAL_ENABLE_TIFF_SPLIT", nullptr), nullptr);
    EXPECT_EQ(CPLGetThreadLocalConfigOption("GDAL_ERROR_ON_LIBJPEG_WARNING", nullptr), nullptr);
}

TEST(VerifyFile, ReleasesTheGdalLock)
{
    const TempFolder folder;
    makeLayout(folder / "a.tif", layouts().front());
    check(folder / "a.tif", /*decode=*/true);
    check(folder / "none.tif");
    // Would wait for ever.
    std::async(std::launch::async, [] { const vexel::GDALMutex lock; }).get();
}

TEST(VerifyFile, CountsSparseBlocksApart)
{
    const TempFolder folder;
    {
        rasters::open(folder / "none.tif"); // registers the drivers
        GDALDriver* const driver = GetGDALDriverManager()->GetDriverByName("GTiff");
        const char* const options[] = {"TILED=YES",    "BLOCKXSIZE=32",   "BLOCKYSIZE=32", "SPARSE_OK=TRUE",
                                       "COMPRESS=LZW", "INTERLEAVE=BAND", nullptr};
        const rasters::Dataset file(driver->Create((folder / "a.tif").toUtf8().constData(), 100, 90, 2,
                                                   GDT_Byte, const_cast<char**>(options)));
        unsigned char pixel = 7;
        // One block of the second band.
        ASSERT_EQ(
            file->GetRasterBand(2)->RasterIO(GF_Write, 40, 70, 1, 1, &pixel, 1, 1, GDT_Byte, 0, 0, nullptr),
            CE_None);
    }
    for (const bool decode : {false, true}) {
        const VerifyReport report = check(folder / "a.tif", decode);
        EXPECT_TRUE(report.isWhole()) << described(report);
        EXPECT_EQ(report.noBlocks, 1u);
        EXPECT_EQ(report.noSparseBlocks, 23u);
    }
}

TEST(VerifyFile, NamesBandAndBlock)
{
    const TempFolder folder;
    rasters::Description d{8, 6, 3};
    d.options = {"INTERLEAVE=BAND", "BLOCKYSIZE=2"};
    rasters::make(folder / "a.tif", d, storedNoise<unsigned char>());
    // The last byte of the file is that of the last strip of the last band.
    const std::string bytes = fileText(folder / "a.tif");
    ASSERT_EQ(endOfAllBlocks(folder / "a.tif"), bytes.size());
    cut(folder / "a.tif", folder / "cut.tif", bytes.size() - 1);
    const VerifyReport report = check(folder / "cut.tif");
    const VerifyFinding finding = expectOnly(report, VerifyCode::BlockOutside, folder / "cut.tif");
    EXPECT_EQ(finding.band, 3);
    EXPECT_EQ(finding.blockColumn, 0);
    EXPECT_EQ(finding.blockRow, 2);
    EXPECT_EQ(finding.text, QString("16 bytes from byte %1 on in a file of %2 bytes")
                                .arg(bytes.size() - 16)
                                .arg(bytes.size() - 1));
    EXPECT_EQ(report.noBlocks, 9u);
}

TEST(VerifyFile, NamesNoBandWhereBandsShareBlocks)
{
    const TempFolder folder;
    rasters::Description d{40, 20, 3};
    d.options = {"INTERLEAVE=PIXEL", "TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=16"};
    rasters::make(folder / "a.tif", d, storedNoise<unsigned char>());
    cut(folder / "a.tif", folder / "cut.tif", endOfAllBlocks(folder / "a.tif") - 1);
    const VerifyReport report = check(folder / "cut.tif");
    const VerifyFinding finding = expectOnly(report, VerifyCode::BlockOutside, folder / "cut.tif");
    EXPECT_EQ(finding.band, -1);
    EXPECT_EQ(finding.blockColumn, 2);
    EXPECT_EQ(finding.blockRow, 1);
}

TEST(VerifyFile, ListsTheFirstHundredFindingsAndCountsAll)
{
    EXPECT_EQ(VerifyReport::maxFindings, 100u);
    const TempFolder folder;
    rasters::Description d{8, 4, 250};
    d.options = {"INTERLEAVE=BAND", "COMPRESS=LZW"};
    rasters::make(folder / "a.tif", d, storedNoise<unsigned char>());
    std::uint64_t firstBlock = 0;
    {
        const rasters::Dataset file = rasters::open(folder / "a.tif");
        firstBlock = item(*file->GetRasterBand(1), "BLOCK_OFFSET", 0, 0);
    }
    cut(folder / "a.tif", folder / "cut.tif", firstBlock);
    const VerifyReport report = check(folder / "cut.tif");
    EXPECT_EQ(report.noFindings, 250u) << described(report);
    EXPECT_EQ(report.findings.size(), 100u);
    EXPECT_EQ(report.findings.back().band, 100);
}

TEST(VerifyFile, KnowsASingleLargeStripAsOneBlock)
{
    const TempFolder folder;
    for (const char* interleave : {"PIXEL", "BAND"}) {
        rasters::Description d{10, 3000, 2};
        d.options = {"BLOCKYSIZE=3000", "COMPRESS=LZW", std::string("INTERLEAVE=") + interleave};
        rasters::make(folder / "a.tif", d, storedNoise<unsigned char>());
        for (const bool decode : {false, true}) {
            const VerifyReport report = check(folder / "a.tif", decode);
            EXPECT_TRUE(report.isWhole()) << described(report);
            EXPECT_EQ(report.noBlocks, interleave == std::string("PIXEL") ? 1u : 2u);
            EXPECT_EQ(report.noSparseBlocks, 0u);
        }
        cut(folder / "a.tif", folder / "cut.tif", fileText(folder / "a.tif").size() - 1);
        EXPECT_EQ(codes(check(folder / "cut.tif")), std::vector<VerifyCode>{VerifyCode::BlockOutside});
    }
}

TEST(VerifyFile, LeavesOverviewsInAFileOfTheirOwnToThatFile)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {300, 200}, storedNoise<unsigned char>());
    const std::uint64_t blocks = check(folder / "a.tif").noBlocks;
    {
        const rasters::Dataset file = rasters::open(folder / "a.tif");
        std::array<int, 2> factors{2, 4};
        ASSERT_EQ(file->BuildOverviews("NEAREST", 2, factors.data(), 0, nullptr, nullptr, nullptr), CE_None);
    }
    ASSERT_EQ(folder.listing(), "a.tif a.tif.ovr");
    EXPECT_TRUE(check(folder / "a.tif.ovr").isWhole());
    EXPECT_EQ(check(folder / "a.tif").noBlocks, blocks);
    // Somewhere in the blocks, which end the file.
    makeFile(folder / "a.tif.ovr", fileText(folder / "a.tif.ovr").substr(0, 10000));
    EXPECT_FALSE(check(folder / "a.tif.ovr").isWhole());
    EXPECT_TRUE(check(folder / "a.tif").isWhole());
    EXPECT_EQ(check(folder / "a.tif").noBlocks, blocks);
}

TEST(VerifyFile, FindsTablesThatCannotBeRead)
{
    const TempFolder folder;
    rasters::Description d{8, 20000};
    d.options = {"BLOCKYSIZE=1", "COMPRESS=LZW"};
    rasters::make(folder / "a.tif", d, [](int, int, int) { return 1; });
    // The tables come before the blocks and are far longer. GDAL may need them to open the file at all.
    cut(folder / "a.tif", folder / "cut.tif", 30000);
    const VerifyReport report = check(folder / "cut.tif");
    ASSERT_EQ(report.findings.size(), 1u) << described(report);
    EXPECT_EQ(report.findings[0].code,
              rasters::open(folder / "cut.tif") ? VerifyCode::BlockTable : VerifyCode::NoRaster);
    EXPECT_EQ(report.noSparseBlocks, 0u);
}

TEST(VerifyFile, ReportsWhatIsNoRasterInOneFinding)
{
    const TempFolder folder;
    makeFile(folder / "empty.tif", "");
    makeFile(folder / "text.tif", "no raster");
    makeFile(folder / "header.tif", std::string("II*\0\xFF\xFF\xFF\xFF", 8));
    std::filesystem::create_directory((folder / "sub").toStdString());
    for (const QString& path :
         {QString(), QString(""), folder / "none.tif", folder / "empty.tif", folder / "text.tif",
          folder / "header.tif", folder / "sub", folder / "no/such/a.tif"})
        for (const bool decode : {false, true}) {
            const VerifyReport report = check(path, decode);
            expectOnly(report, VerifyCode::NoRaster, path);
            EXPECT_EQ(report.noFiles, 0u);
            EXPECT_EQ(report.noBlocks, 0u);
        }
}

TEST(VerifyFile, TellsWhyGdalDoesNotOpenAFile)
{
    const TempFolder folder;
    makeLayout(folder / "a.tif", layouts().front());
    cut(folder / "a.tif", folder / "cut.tif", 20);
    const VerifyReport report = check(folder / "cut.tif");
    ASSERT_EQ(report.findings.size(), 1u);
    const QuietGdal quiet;
    CPLErrorReset();
    EXPECT_EQ(GDALOpen((folder / "cut.tif").toUtf8().constData(), GA_ReadOnly), nullptr);
    EXPECT_NE(std::string(CPLGetLastErrorMsg()), "");
    EXPECT_TRUE(report.findings[0].text.contains("TIFF")) << report.findings[0].text.toStdString();
}

TEST(VerifyFile, ReportsWhatTheLibraryDoesNotRead)
{
    const TempFolder folder;
    rasters::make(folder / "complex.tif", {10, 10, 1, GDT_CFloat32}, [](int, int, int) { return 1; });
    rasters::makeVirtual(folder / "mixed.vrt", 10, 10, {GDT_Byte, GDT_Int16});
    rasters::makeVirtual(folder / "tiny.vrt", 10, 10, {GDT_Byte},
                         std::array<double, 6>{0, 1e-9, 0, 0, 0, -1e-9});
    for (const char* name : {"complex.tif", "mixed.vrt"})
        expectOnly(check(folder / name), VerifyCode::NotSupported, folder / name);
    const OwnMessages messages;
    EXPECT_EQ(check(folder / "tiny.vrt").isWhole(), GDALStreamer().openRead(folder / "tiny.vrt"));
}

TEST(VerifyFile, SaysSoWhereBlocksHaveNoKnownPlaces)
{
    const TempFolder folder;
    for (const char* driver : {"PNG", "JPEG"}) {
        rasters::Description d{40, 30, 3};
        d.driver = driver;
        rasters::make(folder / driver, d, [](int x, int y, int) { return x + y; });
    }
    rasters::makeVirtual(folder / "VRT", 40, 30, {GDT_Byte});
    for (const char* name : {"PNG", "JPEG", "VRT"}) {
        const VerifyReport opened = check(folder / name);
        EXPECT_TRUE(opened.isWhole()) << described(opened);
        EXPECT_EQ(opened.noFilesNotChecked, 1u) << name;
        EXPECT_EQ(opened.noBlocks, 0u) << name;
        const VerifyReport decoded = check(folder / name, /*decode=*/true);
        EXPECT_TRUE(decoded.isWhole()) << described(decoded);
        EXPECT_EQ(decoded.noFilesNotChecked, 0u) << name;
        EXPECT_EQ(decoded.noBlocks, blocksByGdal(folder / name)) << name;
        EXPECT_GT(decoded.noBlocks, 0u) << name;
    }
}

TEST(VerifyFile, CannotCheckBlocksOfAPage)
{
    const TempFolder folder;
    for (int page = 0; page < 2; ++page) {
        rasters::Description d{20, 10};
        if (page > 0)
            d.options = {"APPEND_SUBDATASET=YES"};
        rasters::make(folder / "a.tif", d, storedNoise<unsigned char>());
    }
    EXPECT_EQ(check(folder / "a.tif").noFilesNotChecked, 0u);
    const VerifyReport report = check("GTIFF_DIR:2:" + (folder / "a.tif"));
    EXPECT_TRUE(report.isWhole()) << described(report);
    EXPECT_EQ(report.noFilesNotChecked, 1u);
    EXPECT_EQ(report.noBlocks, 0u);
}

TEST(VerifyWritten, FindsTheLibrarysOwnFilesWholeAndWithoutSparseBlocks)
{
    const TempFolder folder;
    for (const GdalFileType type : {GdalFileType::SingleFile, GdalFileType::TileSet}) {
        const QString path = folder / (type == GdalFileType::TileSet ? "set.tif" : "single.tif");
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(path, 3, DataType::Float32, vexel::Workspace(0, 0, 130, 70, 1), QString(),
                                  QString(), QString(), type, 50, 40));
        for (std::size_t band = 1; band <= 3; ++band)
            ASSERT_TRUE(
                set.write(noiseMatrix<float>(130, 70, static_cast<int>(band)), band, box(0, 0, 130, 70)));
        set.close();
        for (const bool decode : {false, true}) {
            const VerifyReport report = check(path, decode);
            EXPECT_TRUE(report.isWhole()) << described(report);
            EXPECT_EQ(report.noFiles, type == GdalFileType::TileSet ? 6u : 1u);
            EXPECT_GT(report.noBlocks, 0u);
            EXPECT_EQ(report.noSparseBlocks, 0u);
            EXPECT_EQ(report.noFilesNotChecked, 0u);
        }
    }
}

TEST(VerifyFile, FindsRealRastersWhole)
{
    const QString data = VEXEL_EXAMPLE_DATA;
    for (const char* name : {"/jacksboro_dem_utm_f32.tif", "/naip_washington_rgba.tif"}) {
        const VerifyReport report = check(data + name, /*decode=*/true);
        EXPECT_TRUE(report.isWhole()) << described(report);
        EXPECT_GT(report.noBlocks, 0u);
    }
}
