#include "utilities/verify.h"

#include "streaming/streamingsupport.h"
#include "support/CacheSize.h"
#include "support/CountingFiles.h"
#include "support/PeakMemory.h"
#include "support/TempFolder.h"
#include "support/rasters.h"
#include "verifyfixtures.h"

#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#ifdef VEXEL_TESTS_HAVE_COUNTING_FILES

// Whatever a header claims: how much work a file makes is bounded by its bytes.

using namespace verifytest;
using namespace streamingtest;

namespace {

struct Place
{
    std::uint64_t offset;
    std::uint64_t size;
};

constexpr std::uint64_t uncompressed = 1;
constexpr std::uint64_t lzw = 5;

/// A BigTIFF file of one band of bytes, in strips of one row each.
struct ForgedStrips
{
    std::uint64_t width;
    std::vector<Place> places; ///< of the strips
    std::uint64_t dataSize;    ///< bytes that lie from `dataOffset` on
    int overviews = 0;         ///< that share the tables, each half as wide as the one before
    std::uint64_t compression = uncompressed;
};

constexpr std::uint64_t headerSize = 16;
constexpr std::uint64_t dataOffset = headerSize;

void appendNumber(std::string& text, std::uint64_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>(value >> (8 * i) & 0xFF);
}

void appendEntry(std::string& text, unsigned tag, std::uint64_t count, std::uint64_t value)
{
    appendNumber(text, tag, 2);
    appendNumber(text, 16, 2); // numbers of 64 bits
    appendNumber(text, count, 8);
    appendNumber(text, value, 8);
}

std::string forged(const ForgedStrips& file)
{
    const std::uint64_t strips = file.places.size();
    const std::uint64_t offsetTable = dataOffset + file.dataSize;
    const std::uint64_t sizeTable = offsetTable + 8 * strips;
    constexpr std::uint64_t directorySize = 8 + 10 * 20 + 8;
    std::uint64_t directory = sizeTable + 8 * strips;
    std::string text = "II";
    appendNumber(text, 43, 2);
    appendNumber(text, 8, 2);
    appendNumber(text, 0, 2);
    appendNumber(text, directory, 8);
    text.append(file.dataSize, '\x55');
    for (const Place& place : file.places)
        appendNumber(text, place.offset, 8);
    for (const Place& place : file.places)
        appendNumber(text, place.size, 8);
    for (int image = 0; image <= file.overviews; ++image) {
        appendNumber(text, 10, 8);
        appendEntry(text, 254, 1, image == 0 ? 0 : 1); // the image itself, or one that is reduced
        appendEntry(text, 256, 1, file.width >> image);
        appendEntry(text, 257, 1, strips);
        appendEntry(text, 258, 1, 8);
        appendEntry(text, 259, 1, file.compression);
        appendEntry(text, 262, 1, 1);
        appendEntry(text, 273, strips, offsetTable);
        appendEntry(text, 277, 1, 1);
        appendEntry(text, 278, 1, 1);
        appendEntry(text, 279, strips, sizeTable);
        directory += directorySize;
        appendNumber(text, image == file.overviews ? 0 : directory, 8);
    }
    return text;
}

/// A file in a folder, and what GDAL reads of it.
class VerifyBound : public testing::Test
{
protected:
    VerifyReport checkForged(const ForgedStrips& strips, bool decode)
    {
        makeFile(m_path, forged(strips));
        return checkCounted(decode);
    }

    VerifyReport checkCounted(bool decode)
    {
        m_files.reset();
        return check(CountingFiles::pathOf(m_path), decode);
    }

    std::uint64_t bytesRead() const { return m_files.bytes(m_path); }
    std::uint64_t fileSize() const { return fileText(m_path).size(); }

    const TempFolder m_folder;
    const QString m_path = m_folder / "a.tif";
    CountingFiles m_files;
};

} // namespace

TEST_F(VerifyBound, BlocksWithTheSameBytesAreDecodedOnce)
{
    constexpr std::uint64_t width = 50000;
    const VerifyReport report =
        checkForged({width, std::vector<Place>(500, {dataOffset, width}), width}, /*decode=*/true);
    EXPECT_TRUE(report.isWhole()) << described(report);
    EXPECT_EQ(report.noBlocks, 500u);
    // The headers twice, and what the file has of pixels.
    EXPECT_GE(bytesRead(), width);
    EXPECT_LT(bytesRead(), 4 * fileSize());
}

TEST_F(VerifyBound, OneOfTheBlocksWithTheSameBytesIsDecoded)
{
    // No codes that make sense. The last strip lies elsewhere.
    std::vector<Place> places(500, {dataOffset, 100});
    places.back() = {dataOffset + 100, 100};
    const VerifyReport report = checkForged({100, places, 200, 0, lzw}, /*decode=*/true);
    ASSERT_EQ(codes(report), std::vector<VerifyCode>(2, VerifyCode::BlockDamaged)) << described(report);
    EXPECT_EQ(report.findings[0].blockRow, 0);
    EXPECT_EQ(report.findings[1].blockRow, 499);
}

TEST_F(VerifyBound, BlocksThatOverlapManyTimesAreNotDecoded)
{
    constexpr std::uint64_t width = 100000;
    ForgedStrips strips{width, {}, width + 1000};
    for (std::uint64_t i = 0; i < 1000; ++i)
        strips.places.push_back({dataOffset + i, width});
    for (const bool decode : {false, true}) {
        const VerifyReport report = checkForged(strips, decode);
        const VerifyFinding finding =
            expectOnly(report, VerifyCode::BlockTable, CountingFiles::pathOf(m_path));
        EXPECT_EQ(
            finding.text,
            QString("blocks of 100000000 bytes in all do not go into a file of %1 bytes").arg(fileSize()));
        EXPECT_LT(bytesRead(), 4 * fileSize());
    }
}

TEST_F(VerifyBound, BlocksMayOverlapAFewTimes)
{
    // A table that gives each strip more bytes than it has, as some writers do.
    ForgedStrips strips{1000, {}, 10000};
    for (std::uint64_t i = 0; i < 10; ++i)
        strips.places.push_back({dataOffset + 1000 * i, 1000 * (10 - i)});
    for (const bool decode : {false, true}) {
        const VerifyReport report = checkForged(strips, decode);
        EXPECT_TRUE(report.isWhole()) << described(report);
        EXPECT_EQ(report.noBlocks, 10u);
    }
}

TEST_F(VerifyBound, TablesCountForEachImage)
{
    // 17 tables of so many blocks have more than the 16 bytes that a block takes in the file's own.
    const ForgedStrips strips{1u << 20, std::vector<Place>(2000, {0, 0}), 0, 18};
    for (const bool decode : {false, true}) {
        const VerifyReport report = checkForged(strips, decode);
        ASSERT_FALSE(report.isWhole());
        EXPECT_EQ(report.findings[0].code, VerifyCode::BlockTable);
        EXPECT_LE(report.noSparseBlocks, fileSize());
        EXPECT_GT(report.noSparseBlocks, fileSize() / 2);
    }
}

TEST_F(VerifyBound, SparseBlocksAreNotDecoded)
{
    {
        rasters::open(m_path); // registers the drivers
        const char* const options[] = {"TILED=YES", "SPARSE_OK=TRUE", nullptr};
        const rasters::Dataset file(GetGDALDriverManager()->GetDriverByName("GTiff")->Create(
            m_path.toUtf8().constData(), 20000, 20000, 1, GDT_Byte, const_cast<char**>(options)));
        ASSERT_TRUE(file);
    }
    const CacheSize cache(std::int64_t{100} << 20);
    const PeakMemory memory;
    if (!memory.isKnown())
        GTEST_SKIP() << "The system does not tell how much memory was taken";
    const VerifyReport report = checkCounted(/*decode=*/true);
    EXPECT_TRUE(report.isWhole()) << described(report);
    EXPECT_EQ(report.noSparseBlocks, 79u * 79u);
    // The cache would be full of zeros.
    EXPECT_LT(memory.rise(), std::int64_t{20} << 20);
}

TEST_F(VerifyBound, BlocksThatAreLostInARowAreOneFinding)
{
    rasters::Description d{8, 20000};
    d.options = {"BLOCKYSIZE=1", "COMPRESS=LZW"};
    rasters::make(m_path, d, storedNoise<unsigned char>());
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    {
        const rasters::Dataset file = rasters::open(m_path);
        offset = item(*file->GetRasterBand(1), "BLOCK_OFFSET", 0, 1000);
        size = item(*file->GetRasterBand(1), "BLOCK_SIZE", 0, 1000);
    }
    const auto expected = [&](std::uint64_t bytes, const char* following) {
        return QString("%1 bytes from byte %2 on in a file of %3 bytes%4")
            .arg(size)
            .arg(offset)
            .arg(bytes)
            .arg(following);
    };
    cut(m_path, m_path, offset + 1);
    for (const bool decode : {false, true}) {
        const VerifyReport report = checkCounted(decode);
        const VerifyFinding finding =
            expectOnly(report, VerifyCode::BlockOutside, CountingFiles::pathOf(m_path));
        EXPECT_EQ(finding.blockRow, 1000);
        EXPECT_EQ(finding.blockColumn, 0);
        EXPECT_EQ(finding.text, expected(offset + 1, ", and the next 18999 blocks"));
        EXPECT_EQ(report.noBlocks, 20000u);
        EXPECT_LT(bytesRead(), 4 * fileSize());
    }
}

TEST_F(VerifyBound, WholeOrSparseBlocksAreBetweenFindings)
{
    constexpr std::uint64_t far = 1000000;
    const Place whole{dataOffset, 10};
    const Place lost{far, 10};
    const Place sparse{0, 0};
    const VerifyReport report =
        checkForged({10, {lost, lost, whole, lost, sparse, lost, lost, lost}, 10}, /*decode=*/false);
    ASSERT_EQ(codes(report), std::vector<VerifyCode>(3, VerifyCode::BlockOutside)) << described(report);
    const QString text = QString("10 bytes from byte 1000000 on in a file of %1 bytes").arg(fileSize());
    EXPECT_EQ(report.findings[0].blockRow, 0);
    EXPECT_EQ(report.findings[0].text, text + ", and the next block");
    EXPECT_EQ(report.findings[1].blockRow, 3);
    EXPECT_EQ(report.findings[1].text, text);
    EXPECT_EQ(report.findings[2].blockRow, 5);
    EXPECT_EQ(report.findings[2].text, text + ", and the next 2 blocks");
}

TEST_F(VerifyBound, NoMoreRowsAreTriedInVainThanTheFileHasBytes)
{
    rasters::Description d{8, 5};
    d.driver = "BMP";
    rasters::make(m_path, d, storedNoise<unsigned char>());
    std::string bytes = fileText(m_path);
    constexpr std::size_t placeOfHeight = 22; // a number of 32 bits
    bytes[placeOfHeight + 2] = 1;
    makeFile(m_path, bytes);
    const VerifyReport report = check(m_path, /*decode=*/true);
    const VerifyFinding finding = expectOnly(report, VerifyCode::BlockDamaged, m_path);
    EXPECT_EQ(report.noBlocks, 65536u + 5u);
    EXPECT_TRUE(finding.text.endsWith(QString(", and the next %1 rows of blocks").arg(fileSize() - 1)))
        << finding.text.toStdString();
}

TEST_F(VerifyBound, RowsThatAreDamagedInARowAreOneFinding)
{
    rasters::Description d{200, 150, 3};
    d.driver = "PNG";
    rasters::make(m_path, d, storedNoise<unsigned char>());
    cut(m_path, m_path, fileSize() / 2);
    const VerifyReport report = check(m_path, /*decode=*/true);
    const VerifyFinding finding = expectOnly(report, VerifyCode::BlockDamaged, m_path);
    // Newer versions decode the whole image for its first row, and tell of that one alone.
    if (finding.blockRow == 0) {
        EXPECT_FALSE(finding.text.contains("rows of blocks")) << finding.text.toStdString();
        return;
    }
    EXPECT_LT(finding.blockRow, 100);
    EXPECT_TRUE(
        finding.text.endsWith(QString(", and the next %1 rows of blocks").arg(149 - finding.blockRow)))
        << finding.text.toStdString();
}

#endif // VEXEL_TESTS_HAVE_COUNTING_FILES
