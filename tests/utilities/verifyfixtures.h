#ifndef VEXEL_TESTS_UTILITIES_VERIFYFIXTURES_H
#define VEXEL_TESTS_UTILITIES_VERIFYFIXTURES_H

#include "streaming/streamingsupport.h"
#include "support/GdalOption.h"
#include "support/files.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"
#include "utilities/verify.h"

#include <cpl_error.h>
#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace vexel::gdal {

inline void PrintTo(VerifyCode code, std::ostream* stream)
{
    *stream << static_cast<int>(code);
}

} // namespace vexel::gdal

/// What the tests of verification share.
namespace verifytest {

using vexel::gdal::verify;
using vexel::gdal::VerifyCode;
using vexel::gdal::VerifyFinding;
using vexel::gdal::VerifyReport;

/// A report under the conditions that hold for each.
inline VerifyReport check(const QString& path, bool decode = false)
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

inline std::string described(const VerifyReport& report)
{
    std::string lines;
    for (const VerifyFinding& f : report.findings)
        lines += f.file.toStdString() + " band " + std::to_string(f.band) + " block " +
                 std::to_string(f.blockColumn) + "," + std::to_string(f.blockRow) + " code " +
                 std::to_string(static_cast<int>(f.code)) + ": " + f.text.toStdString() + "\n";
    return lines;
}

inline std::vector<VerifyCode> codes(const VerifyReport& report)
{
    std::vector<VerifyCode> all;
    for (const VerifyFinding& finding : report.findings)
        all.push_back(finding.code);
    return all;
}

/// The only finding of a report; an empty one if there is not just one.
inline VerifyFinding expectOnly(const VerifyReport& report, VerifyCode code, const QString& file)
{
    EXPECT_EQ(codes(report), std::vector<VerifyCode>{code}) << described(report);
    if (report.findings.size() != 1)
        return VerifyFinding();
    EXPECT_EQ(report.findings[0].file, file);
    return report.findings[0];
}

/// Copies the first bytes of a file.
inline void cut(const QString& from, const QString& to, std::uint64_t bytes)
{
    makeFile(to, fileText(from).substr(0, bytes));
}

inline std::uint64_t item(GDALRasterBand& band, const char* what, int x, int y)
{
    const std::string name = std::string(what) + "_" + std::to_string(x) + "_" + std::to_string(y);
    const char* text = band.GetMetadataItem(name.c_str(), "TIFF");
    return text ? std::stoull(text) : 0;
}

/// Where the last block of a dataset ends.
inline std::uint64_t endOfBlocks(GDALDataset& dataset)
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
inline std::uint64_t endOfAllBlocks(const QString& path)
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
inline void addOverviews(const QString& path)
{
    const rasters::Dataset file = rasters::open(path, /*update=*/true);
    std::array<int, 2> factors{2, 4};
    ASSERT_EQ(file->BuildOverviews("NEAREST", 2, factors.data(), 0, nullptr, nullptr, nullptr), CE_None);
}

inline void addMask(const QString& path)
{
    const GdalOption maskInFile("GDAL_TIFF_INTERNAL_MASK", "YES");
    const rasters::Dataset file = rasters::open(path, /*update=*/true);
    EXPECT_EQ(file->CreateMaskBand(GMF_PER_DATASET), CE_None);
    EXPECT_EQ(file->GetRasterBand(1)->GetMaskBand()->Fill(255), CE_None);
}

inline void makeLayout(const QString& path, const LayoutCase& layout)
{
    rasters::Description d{100, 90, layout.bands, layout.type};
    d.options = layout.options;
    rasters::make(path, d, streamingtest::storedNoise<unsigned char>());
    if (layout.extras & mask)
        addMask(path);
    if (layout.extras & overviews)
        addOverviews(path);
}

inline const std::vector<LayoutCase>& layouts()
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

} // namespace verifytest

#endif
