#include "utilities/verify.h"

#include "streaming/GDALMutex.h"
#include "streaming/GDALStreamer.h"
#include "streaming/streamingsupport.h"
#include "support/GdalOption.h"
#include "support/TempFolder.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"
#include "utilities/tilenames.h"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::gdal::tile2path;
using vexel::gdal::verify;
using vexel::gdal::VerifyCode;
using vexel::gdal::VerifyFinding;
using vexel::gdal::VerifyReport;

namespace vexel::gdal {

void PrintTo(VerifyCode code, std::ostream* stream)
{
    *stream << static_cast<int>(code);
}

} // namespace vexel::gdal

namespace {

/// A report under the conditions that hold for each.
VerifyReport check(const QString& path, bool decode = false)
{
    const int before = rasters::openDatasets();
    const GdalHandler silence([](CPLErr, const std::string& text) { ADD_FAILURE() << text; });
    const VerifyReport report = verify(path, decode);
    EXPECT_EQ(rasters::openDatasets(), before);
    EXPECT_EQ(report.isWhole(), report.noFindings == 0);
    EXPECT_EQ(report.findings.size(), std::min<std::uint64_t>(report.noFindings, VerifyReport::maxFindings));
    for (const VerifyFinding& finding : report.findings)
        EXPECT_FALSE(finding.text.isEmpty());
    return report;
}

std::string described(const VerifyReport& report)
{
    std::string lines;
    for (const VerifyFinding& f : report.findings)
        lines += f.file.toStdString() + " band " + std::to_string(f.band) + " block " +
                 std::to_string(f.blockColumn) + "," + std::to_string(f.blockRow) + " code " +
                 std::to_string(static_cast<int>(f.code)) + ": " + f.text.toStdString() + "\n";
    return lines;
}

std::vector<VerifyCode> codes(const VerifyReport& report)
{
    std::vector<VerifyCode> all;
    for (const VerifyFinding& finding : report.findings)
        all.push_back(finding.code);
    return all;
}

/// The only finding of a report; an empty one if there is not just one.
VerifyFinding expectOnly(const VerifyReport& report, VerifyCode code, const QString& file)
{
    EXPECT_EQ(codes(report), std::vector<VerifyCode>{code}) << described(report);
    if (report.findings.size() != 1)
        return VerifyFinding();
    EXPECT_EQ(report.findings[0].file, file);
    return report.findings[0];
}

/// Copies the first bytes of a file.
void cut(const QString& from, const QString& to, std::uint64_t bytes)
{
    makeFile(to, fileText(from).substr(0, bytes));
}

std::uint64_t item(GDALRasterBand& band, const char* what, int x, int y)
{
    const std::string name = std::string(what) + "_" + std::to_string(x) + "_" + std::to_string(y);
    const char* text = band.GetMetadataItem(name.c_str(), "TIFF");
    return text ? std::stoull(text) : 0;
}

/// Where the last block of a dataset ends.
std::uint64_t endOfBlocks(GDALDataset& dataset)
{
    std::uint64_t end = 0;
    for (int b = 1; b <= dataset.GetRasterCount(); ++b) {
        GDALRasterBand& band = *dataset.GetRasterBand(b);
        int w = 0;
        int h = 0;
        band.GetBlockSize(&w, &h);
        for (int y = 0; y * h < dataset.GetRasterYSize(); ++y)
            for (int x = 0; x * w < dataset.GetRasterXSize(); ++x)
                end = std::max(end, item(band, "BLOCK_OFFSET", x, y) + item(band, "BLOCK_SIZE", x, y));
    }
    return end;
}

/// The same for overviews and masks too.
std::uint64_t endOfAllBlocks(const QString& path)
{
    const rasters::Dataset file = rasters::open(path);
    GDALRasterBand& band = *file->GetRasterBand(1);
    std::uint64_t end = endOfBlocks(*file);
    if (band.GetMaskFlags() == GMF_PER_DATASET)
        end = std::max(end, endOfBlocks(*band.GetMaskBand()->GetDataset()));
    for (int i = 0; i < band.GetOverviewCount(); ++i) {
        GDALRasterBand& overview = *band.GetOverview(i);
        end = std::max(end, endOfBlocks(*overview.GetDataset()));
        if (overview.GetMaskFlags() == GMF_PER_DATASET)
            end = std::max(end, endOfBlocks(*overview.GetMaskBand()->GetDataset()));
    }
    return end;
}

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

enum Extras
{
    none = 0,
    overviews = 1,
    mask = 2
};

/// A GeoTIFF file of 100 x 90 pixels, and the blocks that it has.
struct LayoutCase
{
    const char* name;
    std::vector<std::string> options;
    int bands;
    GDALDataType type;
    int extras;
    std::uint64_t blocks;
};

/// Reduces to 50 x 45 and 25 x 23 pixels.
void addOverviews(const QString& path)
{
    const rasters::Dataset file = rasters::open(path, /*update=*/true);
    std::array<int, 2> factors{2, 4};
    ASSERT_EQ(file->BuildOverviews("NEAREST", 2, factors.data(), 0, nullptr, nullptr, nullptr), CE_None);
}

void addMask(const QString& path)
{
    const GdalOption maskInFile("GDAL_TIFF_INTERNAL_MASK", "YES");
    const rasters::Dataset file = rasters::open(path, /*update=*/true);
    EXPECT_EQ(file->CreateMaskBand(GMF_PER_DATASET), CE_None);
    EXPECT_EQ(file->GetRasterBand(1)->GetMaskBand()->Fill(255), CE_None);
}

void makeLayout(const QString& path, const LayoutCase& layout)
{
    rasters::Description d{100, 90, layout.bands, layout.type};
    d.options = layout.options;
    rasters::make(path, d, storedNoise<unsigned char>());
    if (layout.extras & mask)
        addMask(path);
    if (layout.extras & overviews)
        addOverviews(path);
}

const std::vector<LayoutCase>& layouts()
{
    // Blocks of 32 x 32 pixels: 4 x 3; the overviews have one block of 128 x 128 each, those of masks too.
    static const std::string size1 = "BLOCKXSIZE=32";
    static const std::string size2 = "BLOCKYSIZE=32";
    static const std::vector<LayoutCase> all = {
        {"Tiled", {"TILED=YES", size1, size2}, 1, GDT_Byte, none, 12},
        {"TiledPixel",
         {"TILED=YES", size1, size2, "INTERLEAVE=PIXEL", "COMPRESS=LZW"},
         3,
         GDT_Byte,
         none,
         12},
        {"TiledBand", {"TILED=YES", size1, size2, "INTERLEAVE=BAND", "COMPRESS=LZW"}, 3, GDT_Byte, none, 36},
        {"TiledDeflate", {"TILED=YES", size1, size2, "COMPRESS=DEFLATE"}, 2, GDT_Float32, none, 12},
        {"Striped", {"BLOCKYSIZE=7"}, 1, GDT_UInt16, none, 13},
        {"StripedPixel", {"BLOCKYSIZE=7", "INTERLEAVE=PIXEL", "COMPRESS=DEFLATE"}, 3, GDT_Byte, none, 13},
        {"StripedBand", {"BLOCKYSIZE=7", "INTERLEAVE=BAND"}, 3, GDT_Int16, none, 39},
        {"OneStrip", {"BLOCKYSIZE=90"}, 1, GDT_Float64, none, 0}, // GDAL divides it as it likes
        {"OneStripLzw", {"BLOCKYSIZE=90", "COMPRESS=LZW"}, 3, GDT_Byte, none, 1},
        {"BigTiff", {"BIGTIFF=YES", "TILED=YES", size1, size2, "COMPRESS=LZW"}, 1, GDT_Float64, none, 12},
        {"BigEndian", {"ENDIANNESS=BIG", "BLOCKYSIZE=9", "COMPRESS=LZW"}, 1, GDT_Int32, none, 10},
        {"Jpeg", {"TILED=YES", size1, size2, "COMPRESS=JPEG"}, 3, GDT_Byte, none, 12},
        {"Overviews",
         {"TILED=YES", size1, size2, "INTERLEAVE=PIXEL", "COMPRESS=LZW"},
         3,
         GDT_Byte,
         overviews,
         12 + 2},
        {"Mask", {"TILED=YES", size1, size2, "COMPRESS=LZW"}, 1, GDT_Byte, mask, 12 + 12},
        {"OverviewsAndMask", {"TILED=YES", size1, size2}, 2, GDT_Byte, overviews | mask, 12 + 12 + 2 + 2}};
    return all;
}

class VerifyLayout : public testing::TestWithParam<LayoutCase>
{
protected:
    const TempFolder m_folder;
    const QString m_path = m_folder / "whole.tif";

    void SetUp() override { makeLayout(m_path, GetParam()); }
};

/// A TIFF file of one uncompressed or LZW-compressed strip of 8 x 4 bytes, its place as the header tells it.
struct ForgedStrip
{
    std::uint64_t offset;
    std::uint64_t size;
    int compression = 5; // LZW
    std::uint64_t width = 8;
    std::uint64_t height = 4;
};

void appendNumber(std::string& text, std::uint64_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>(value >> (8 * i) & 0xFF);
}

/// A BigTIFF entry with one number of 64 bits.
void appendEntry(std::string& text, unsigned tag, std::uint64_t value)
{
    appendNumber(text, tag, 2);
    appendNumber(text, 16, 2);
    appendNumber(text, 1, 8);
    appendNumber(text, value, 8);
}

/// Ends with 100 bytes of data, wherever the strip is said to lie. Its size is 324 bytes.
std::string forged(const ForgedStrip& strip)
{
    std::string text = "II";
    appendNumber(text, 43, 2);
    appendNumber(text, 8, 2);
    appendNumber(text, 0, 2);
    appendNumber(text, 16, 8);
    appendNumber(text, 9, 8);
    appendEntry(text, 256, strip.width);
    appendEntry(text, 257, strip.height);
    appendEntry(text, 258, 8);
    appendEntry(text, 259, static_cast<std::uint64_t>(strip.compression));
    appendEntry(text, 262, 1);
    appendEntry(text, 273, strip.offset);
    appendEntry(text, 277, 1);
    appendEntry(text, 278, strip.height);
    appendEntry(text, 279, strip.size);
    appendNumber(text, 0, 8);
    return text + std::string(112, '\0');
}

constexpr std::uint64_t forgedSize = 324;

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

TEST_P(VerifyLayout, FindsAWholeFileWhole)
{
    for (const bool decode : {false, true}) {
        const VerifyReport report = check(m_path, decode);
        EXPECT_TRUE(report.isWhole()) << described(report);
        EXPECT_EQ(report.noFiles, 1u);
        if (GetParam().blocks > 0) {
            EXPECT_EQ(report.noBlocks, GetParam().blocks);
        }
        EXPECT_GT(report.noBlocks, 0u);
        EXPECT_EQ(report.noSparseBlocks, 0u);
        EXPECT_EQ(report.noFilesNotChecked, 0u);
    }
}

TEST_P(VerifyLayout, FindsEveryCutIntoBlocks)
{
    const std::uint64_t end = endOfAllBlocks(m_path);
    ASSERT_GT(end, 0u);
    const std::string bytes = fileText(m_path);
    const QString path = m_folder / "cut.tif";
    for (std::uint64_t i = 0; i < 50; ++i) {
        // From nothing to all but one byte of the last block.
        const std::uint64_t length = (end - 1) * i / 49;
        makeFile(path, bytes.substr(0, length));
        const VerifyReport quick = check(path);
        EXPECT_FALSE(quick.isWhole()) << length << " of " << end;
        if (i % 7 == 0 || i == 49) {
            EXPECT_FALSE(check(path, /*decode=*/true).isWhole()) << length << " of " << end;
        }
    }
}

TEST_P(VerifyLayout, DoesNotMindBytesAfterTheLastBlock)
{
    makeFile(m_folder / "longer.tif", fileText(m_path) + "nothing of use");
    EXPECT_TRUE(check(m_folder / "longer.tif").isWhole());
    EXPECT_TRUE(check(m_folder / "longer.tif", /*decode=*/true).isWhole());
}

INSTANTIATE_TEST_SUITE_P(Layouts, VerifyLayout, testing::ValuesIn(layouts()),
                         [](const auto& row) { return std::string(row.param.name); });

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
    rasters::Description d{8, 250};
    d.options = {"BLOCKYSIZE=1", "COMPRESS=LZW"};
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
    EXPECT_EQ(report.findings.back().blockRow, 99);
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

struct ForgedCase
{
    const char* name;
    ForgedStrip strip;
    std::vector<VerifyCode> codes;
};

class VerifyForged : public testing::TestWithParam<ForgedCase>
{};

TEST_P(VerifyForged, ComparesInSixtyFourBits)
{
    const TempFolder folder;
    makeFile(folder / "a.tif", forged(GetParam().strip));
    ASSERT_EQ(fileText(folder / "a.tif").size(), forgedSize);
    const VerifyReport report = check(folder / "a.tif");
    EXPECT_EQ(codes(report), GetParam().codes) << described(report);
    check(folder / "a.tif", /*decode=*/true);
}

INSTANTIATE_TEST_SUITE_P(
    Places, VerifyForged,
    testing::Values(ForgedCase{"Inside", {224, 50}, {}}, ForgedCase{"ToTheLastByte", {224, 100}, {}},
                    ForgedCase{"OneByteBeyond", {224, 101}, {VerifyCode::BlockOutside}},
                    ForgedCase{"OneByteLater", {225, 100}, {VerifyCode::BlockOutside}},
                    ForgedCase{"AtTheEnd", {324, 1}, {VerifyCode::BlockOutside}},
                    ForgedCase{"FarBeyond", {std::uint64_t{1} << 40, 10}, {VerifyCode::BlockOutside}},
                    ForgedCase{"FourGiB", {224, std::uint64_t{1} << 32}, {VerifyCode::BlockOutside}},
                    ForgedCase{"SumWrapsAround",
                               {std::numeric_limits<std::uint64_t>::max() - 9, 20},
                               {VerifyCode::BlockOutside}},
                    ForgedCase{"NegativeOffset", {std::uint64_t{0} - 100, 100}, {VerifyCode::BlockOutside}},
                    ForgedCase{"InTheHeader", {7, 50}, {VerifyCode::BlockOutside}},
                    ForgedCase{"RightBehindTheHeader", {8, 50}, {}},
                    ForgedCase{"AtNoPlace", {0, 50}, {VerifyCode::BlockOutside}},
                    ForgedCase{"Sparse", {0, 0}, {}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(VerifyFile, TakesNoTableOnTrustThatDoesNotGoIntoTheFile)
{
    // Strips of one row by the header, of which the file has room for none. GDAL takes up to a million of them
    // for sparse, and fails for each of more.
    const TempFolder folder;
    for (const std::uint64_t strips : {100000u, 1100000u}) {
        std::string text = forged({224, 100, 5, 1, strips});
        const std::size_t rowsPerStrip = 24 + 7 * 20 + 12;
        text[rowsPerStrip] = 1;
        text[rowsPerStrip + 1] = text[rowsPerStrip + 2] = 0;
        makeFile(folder / "a.tif", text);
        for (const bool decode : {false, true}) {
            const VerifyReport report = check(folder / "a.tif", decode);
            EXPECT_FALSE(report.isWhole()) << strips << " strips";
            EXPECT_LT(report.noFindings, 10u) << strips << " strips";
        }
    }
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

namespace {

/// A set of 3 x 2 tiles over 13 x 6 pixels: 5 x 4 and what remains.
class VerifySet : public testing::Test
{
protected:
    void SetUp() override
    {
        makeBothRoads(GDT_Int16);
        std::filesystem::remove((m_folder / "single.tif").toStdString());
    }

    void makeBothRoads(GDALDataType type)
    {
        for (int column = 0; column < 3; ++column)
            for (int row = 0; row < 2; ++row)
                makeTile(column, row, column == 2 ? 3 : 5, row == 1 ? 2 : 4, 2, type);
    }

    /// In place of the one that there is.
    void makeTile(int column, int row, int width, int height, int bands, GDALDataType type,
                  double pixel = 1.0, double east = 0.0)
    {
        rasters::Description d{width, height, bands, type};
        d.geotransform = std::array<double, 6>{50.0 + column * 5 + east, pixel, 0, 90.0 - row * 4, 0, -pixel};
        rasters::make(tile(column, row), d, storedNoise<short>());
    }

    QString tile(int column, int row) const { return tile2path(m_path, column + 1, row + 1); }
    void removeTile(int column, int row) { std::filesystem::remove(tile(column, row).toStdString()); }
    static void expectReadable(const QString& path)
    {
        const QuietGdal quiet;
        EXPECT_TRUE(GDALStreamer().openRead(path));
    }
    void expectUnreadable() const
    {
        const QuietGdal quiet;
        EXPECT_FALSE(GDALStreamer().openRead(m_path));
    }

    const TempFolder m_folder;
    const QString m_path = m_folder / "set.tif";
};

} // namespace

TEST_F(VerifySet, FindsAWholeSetWhole)
{
    expectReadable(m_path);
    for (const bool decode : {false, true}) {
        const VerifyReport report = check(m_path, decode);
        EXPECT_TRUE(report.isWhole()) << described(report);
        EXPECT_EQ(report.noFiles, 6u);
        EXPECT_EQ(report.noBlocks, 6u);
    }
}

TEST_F(VerifySet, PrefersTheSingleFile)
{
    removeTile(1, 1);
    rasters::make(m_path, {13, 6}, storedNoise<short>());
    const VerifyReport report = check(m_path);
    EXPECT_TRUE(report.isWhole()) << described(report);
    EXPECT_EQ(report.noFiles, 1u);
}

TEST_F(VerifySet, ChangesNothing)
{
    const std::string before = m_folder.listing();
    check(m_path, /*decode=*/true);
    EXPECT_EQ(m_folder.listing(), before);
}

TEST_F(VerifySet, NamesTheMissingTile)
{
    removeTile(1, 0);
    expectUnreadable();
    const VerifyReport report = check(m_path);
    const VerifyFinding finding = expectOnly(report, VerifyCode::TileMissing, tile(1, 0));
    EXPECT_EQ(finding.text, "no tile in column 2, row 1");
    EXPECT_EQ(report.noFiles, 5u);
}

TEST_F(VerifySet, CountsTheTilesMissingBeforeAFarIndex)
{
    rasters::make(m_folder / "set_2000000000_2.tif", {5, 4, 2, GDT_Int16}, storedNoise<short>());
    const VerifyReport report = check(m_path);
    EXPECT_GE(report.noFindings, 2u * 2000000000u - 7u);
    EXPECT_EQ(report.findings[0].code, VerifyCode::TileMissing);
    EXPECT_EQ(report.findings[0].file, m_folder / "set_4_1.tif");
}

TEST_F(VerifySet, NamesTheTileOfAnotherSize)
{
    makeTile(0, 0, 5, 3, 2, GDT_Int16);
    expectUnreadable();
    expectOnly(check(m_path), VerifyCode::TileSize, tile(0, 0));
    makeTile(0, 0, 5, 4, 2, GDT_Int16);
    makeTile(2, 1, 6, 2, 2, GDT_Int16);
    expectUnreadable();
    const VerifyReport report = check(m_path);
    EXPECT_FALSE(report.isWhole());
    EXPECT_EQ(report.findings[0].code, VerifyCode::TileSize);
}

TEST_F(VerifySet, NamesTheTileOfAnotherType)
{
    makeTile(1, 1, 5, 2, 2, GDT_UInt16);
    expectUnreadable();
    expectOnly(check(m_path), VerifyCode::TileType, tile(1, 1));
}

TEST_F(VerifySet, NamesTheTileOfOtherBands)
{
    makeTile(1, 1, 5, 2, 3, GDT_Int16);
    expectUnreadable();
    const VerifyReport report = check(m_path);
    const VerifyFinding finding = expectOnly(report, VerifyCode::TileBands, tile(1, 1));
    EXPECT_EQ(finding.text, "3 bands instead of 2");
}

TEST_F(VerifySet, NamesTheTileOfAnotherPixelSize)
{
    makeTile(0, 1, 5, 2, 2, GDT_Int16, 0.5);
    expectOnly(check(m_path), VerifyCode::TilePixelSize, tile(0, 1));
}

TEST_F(VerifySet, NamesTheTileThatLiesElsewhere)
{
    makeTile(1, 0, 5, 4, 2, GDT_Int16, 1.0, 3.0);
    expectOnly(check(m_path), VerifyCode::TilePlace, tile(1, 0));
    // Edges are told less exactly than by a pixel.
    makeTile(1, 0, 5, 4, 2, GDT_Int16, 1.0, 0.001);
    EXPECT_TRUE(check(m_path).isWhole());
}

TEST_F(VerifySet, TakesPixelsThatAreNotSquare)
{
    // Pixels half as high as they are wide; a row of tiles is 8 of them high, the last one 5.
    for (int column = 0; column < 2; ++column)
        for (int row = 0; row < 3; ++row) {
            rasters::Description d{5, row == 2 ? 5 : 8};
            d.geotransform = std::array<double, 6>{50.0 + column * 5, 1, 0, 90.0 - row * 4, 0, -0.5};
            rasters::make(tile2path(m_folder / "flat.tif", column + 1, row + 1), d, storedNoise<short>());
        }
    const VerifyReport report = check(m_folder / "flat.tif");
    EXPECT_TRUE(report.isWhole()) << described(report);
    const OwnMessages messages;
    EXPECT_TRUE(GDALStreamer().openRead(m_folder / "flat.tif"));
}

TEST_F(VerifySet, NamesTheCutTile)
{
    cut(tile(2, 0), tile(2, 0), fileText(tile(2, 0)).size() - 1);
    expectReadable(m_path);
    const VerifyReport report = check(m_path);
    expectOnly(report, VerifyCode::BlockOutside, tile(2, 0));
    EXPECT_EQ(report.noFiles, 6u);
}

TEST_F(VerifySet, NamesTheTileThatDoesNotOpen)
{
    for (const std::string& text : {std::string(), std::string("II*"), std::string("no raster")}) {
        makeFile(tile(2, 0), text);
        expectUnreadable();
        const VerifyReport report = check(m_path);
        expectOnly(report, VerifyCode::NotOpened, tile(2, 0));
        EXPECT_EQ(report.noFiles, 5u);
    }
}

TEST_F(VerifySet, IsNotWholeWhereNoTileOpens)
{
    for (int column = 0; column < 3; ++column)
        for (int row = 0; row < 2; ++row)
            makeFile(tile(column, row), "");
    const VerifyReport report = check(m_path);
    EXPECT_EQ(codes(report), std::vector<VerifyCode>(6, VerifyCode::NotOpened));
}

TEST_F(VerifySet, TakesWorkingFilesForNoTiles)
{
    makeFile(m_folder / "set_1_1.tif_tmp.tif", "cut off");
    makeFile(m_folder / "set_4_1.tif_tmp.tif", "cut off");
    const OwnMessages messages; // names without indices may be logged
    const VerifyReport report = check(m_path);
    EXPECT_TRUE(report.isWhole()) << described(report);
    EXPECT_EQ(report.noFiles, 6u);
}

TEST_F(VerifySet, KnowsTilesOfImagesByTheirNames)
{
    for (int column = 0; column < 2; ++column)
        for (int row = 0; row < 2; ++row) {
            rasters::Description d{column == 1 ? 20 : 32, row == 1 ? 9 : 24, 3};
            d.driver = "JPEG";
            rasters::make(tile2path(m_folder / "set.jpg", column + 1, row + 1), d,
                          storedNoise<unsigned char>());
        }
    expectReadable(m_folder / "set.jpg");
    const VerifyReport opened = check(m_folder / "set.jpg");
    EXPECT_TRUE(opened.isWhole()) << described(opened);
    EXPECT_EQ(opened.noFilesNotChecked, 4u);
    EXPECT_TRUE(check(m_folder / "set.jpg", /*decode=*/true).isWhole());
    std::filesystem::remove((m_folder / "set_1_2.jpg").toStdString());
    expectOnly(check(m_folder / "set.jpg"), VerifyCode::TileMissing, m_folder / "set_1_2.jpg");
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
