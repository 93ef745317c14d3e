#include "utilities/verify.h"

#include "streaming/streamingsupport.h"
#include "support/TempFolder.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"
#include "verifyfixtures.h"

#include <cpl_error.h>
#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace verifytest;
using namespace streamingtest;

namespace {

/// Whether GDAL reads every pixel of every band of a file without a word.
bool gdalReads(const QString& path)
{
    const QuietGdal quiet;
    const rasters::Dataset file = rasters::open(path);
    if (!file)
        return false;
    std::vector<double> row(static_cast<std::size_t>(file->GetRasterXSize()));
    CPLErrorReset();
    bool whole = true;
    for (int band = 1; band <= file->GetRasterCount(); ++band)
        for (int y = 0; y < file->GetRasterYSize(); ++y)
            whole = file->GetRasterBand(band)->RasterIO(GF_Read, 0, y, file->GetRasterXSize(), 1, row.data(),
                                                        file->GetRasterXSize(), 1, GDT_Float64, 0, 0,
                                                        nullptr) == CE_None &&
                    CPLGetLastErrorType() < CE_Failure && whole;
    return whole;
}

} // namespace

TEST(VerifyDecode, FindsCutImages)
{
    const TempFolder folder;
    for (const char* driver : {"PNG", "JPEG"}) {
        rasters::Description d{200, 150, 3};
        d.driver = driver;
        rasters::make(folder / "whole", d, storedNoise<unsigned char>());
        const std::size_t size = fileText(folder / "whole").size();
        for (std::size_t part = 2; part < 10; ++part) {
            cut(folder / "whole", folder / "cut", size * part / 10);
            const VerifyReport report = check(folder / "cut", /*decode=*/true);
            EXPECT_FALSE(report.isWhole()) << driver << " " << part;
            for (const VerifyFinding& finding : report.findings)
                if (finding.code == VerifyCode::BlockDamaged) {
                    EXPECT_GE(finding.blockRow, 0);
                    EXPECT_EQ(finding.blockColumn, -1);
                    EXPECT_EQ(finding.file, folder / "cut");
                }
        }
    }
}

TEST(VerifyDecode, FindsFlippedBytesWhereGdalDoes)
{
    const TempFolder folder;
    rasters::Description d{64, 64, 2};
    d.options = {"COMPRESS=LZW", "BLOCKYSIZE=8", "INTERLEAVE=BAND"};
    rasters::make(folder / "a.tif", d, storedNoise<unsigned char>());
    const std::string bytes = fileText(folder / "a.tif");
    std::uint64_t start = 0;
    {
        const rasters::Dataset file = rasters::open(folder / "a.tif");
        start = item(*file->GetRasterBand(1), "BLOCK_OFFSET", 0, 0);
    }
    int found = 0;
    for (std::size_t i = 0; i < 60; ++i) {
        std::string damaged = bytes;
        char& byte = damaged[start + (bytes.size() - start - 1) * i / 59];
        byte = static_cast<char>(~byte);
        makeFile(folder / "b.tif", damaged);
        const bool readable = gdalReads(folder / "b.tif");
        EXPECT_TRUE(check(folder / "b.tif").isWhole());
        EXPECT_EQ(check(folder / "b.tif", /*decode=*/true).isWhole(), readable) << i;
        found += readable ? 0 : 1;
    }
    EXPECT_GT(found, 0);
}

TEST(VerifyDecode, NamesTheRowOfBlocks)
{
    const TempFolder folder;
    for (const char* interleave : {"BAND", "PIXEL"}) {
        rasters::Description d{64, 64, 2};
        d.options = {"COMPRESS=DEFLATE", "BLOCKYSIZE=8", std::string("INTERLEAVE=") + interleave};
        rasters::make(folder / "a.tif", d, storedNoise<unsigned char>());
        std::string bytes = fileText(folder / "a.tif");
        const bool shared = interleave == std::string("PIXEL");
        {
            const rasters::Dataset file = rasters::open(folder / "a.tif");
            GDALRasterBand& band = *file->GetRasterBand(2);
            const std::uint64_t offset = item(band, "BLOCK_OFFSET", 0, 5);
            bytes.replace(offset, 40, 40, '\xFF');
        }
        makeFile(folder / "a.tif", bytes);
        const VerifyReport report = check(folder / "a.tif", /*decode=*/true);
        const VerifyFinding finding = expectOnly(report, VerifyCode::BlockDamaged, folder / "a.tif");
        EXPECT_EQ(finding.band, shared ? -1 : 2);
        EXPECT_EQ(finding.blockColumn, -1);
        EXPECT_EQ(finding.blockRow, 5);
        EXPECT_EQ(report.noBlocks, shared ? 8u : 16u);
    }
}

TEST(VerifyDecode, ReadsOverviewsAndMasks)
{
    const TempFolder folder;
    for (const int extras : {int{overviews}, int{mask}}) {
        makeLayout(folder / "a.tif", {"", {"COMPRESS=DEFLATE"}, 1, GDT_Byte, extras, 0});
        std::string bytes = fileText(folder / "a.tif");
        {
            const rasters::Dataset file = rasters::open(folder / "a.tif");
            GDALRasterBand& band = *file->GetRasterBand(1);
            GDALRasterBand& extra = extras == mask ? *band.GetMaskBand() : *band.GetOverview(1);
            const std::uint64_t offset = item(extra, "BLOCK_OFFSET", 0, 0);
            const std::uint64_t size = item(extra, "BLOCK_SIZE", 0, 0);
            bytes.replace(offset, size, size, '\xFF');
        }
        makeFile(folder / "a.tif", bytes);
        EXPECT_TRUE(check(folder / "a.tif").isWhole());
        const VerifyReport report = check(folder / "a.tif", /*decode=*/true);
        const VerifyFinding finding = expectOnly(report, VerifyCode::BlockDamaged, folder / "a.tif");
        EXPECT_TRUE(finding.text.startsWith(extras == mask ? "mask: " : "overview 2: "))
            << finding.text.toStdString();
    }
}

struct LargeCase
{
    const char* name;
    int width;
    int height;
    int bands;
    GDALDataType type;
    std::vector<std::string> options;
    int lastColumn; ///< the last block
    int lastRow;
};

class VerifyLarge : public testing::TestWithParam<LargeCase>
{};

TEST_P(VerifyLarge, ReachesTheLastBlockInPieces)
{
    const LargeCase& c = GetParam();
    const TempFolder folder;
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    {
        rasters::open(folder / "none.tif"); // registers the drivers
        CPLStringList options;
        for (const std::string& option : c.options)
            options.AddString(option.c_str());
        const rasters::Dataset file(GetGDALDriverManager()->GetDriverByName("GTiff")->Create(
            (folder / "a.tif").toUtf8().constData(), c.width, c.height, c.bands, c.type, options.List()));
        for (int band = 1; band <= c.bands; ++band)
            ASSERT_EQ(file->GetRasterBand(band)->Fill(3), CE_None);
    }
    EXPECT_TRUE(check(folder / "a.tif", /*decode=*/true).isWhole());
    {
        const rasters::Dataset file = rasters::open(folder / "a.tif");
        offset = item(*file->GetRasterBand(c.bands), "BLOCK_OFFSET", c.lastColumn, c.lastRow);
        size = item(*file->GetRasterBand(c.bands), "BLOCK_SIZE", c.lastColumn, c.lastRow);
    }
    ASSERT_GT(size, 20u);
    std::string bytes = fileText(folder / "a.tif");
    bytes.replace(offset, size, size, '\xFF');
    makeFile(folder / "a.tif", bytes);
    const VerifyReport report = check(folder / "a.tif", /*decode=*/true);
    const VerifyFinding finding = expectOnly(report, VerifyCode::BlockDamaged, folder / "a.tif");
    EXPECT_EQ(finding.blockRow, c.lastRow);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, VerifyLarge,
    testing::Values(
        LargeCase{"RowOfBlocks", 9001, 300, 1, GDT_Float64, {"TILED=YES", "COMPRESS=DEFLATE"}, 35, 1},
        LargeCase{
            "Bands", 2000, 256, 40, GDT_Byte, {"TILED=YES", "COMPRESS=DEFLATE", "INTERLEAVE=PIXEL"}, 7, 0},
        LargeCase{"OneBlock", 1501, 1500, 1, GDT_Float64, {"BLOCKYSIZE=1500", "COMPRESS=DEFLATE"}, 0, 0}),
    [](const auto& row) { return std::string(row.param.name); });
