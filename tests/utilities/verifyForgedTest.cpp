#include "utilities/verify.h"

#include "streaming/streamingsupport.h"
#include "support/TempFolder.h"
#include "verifyfixtures.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

using namespace verifytest;
using namespace streamingtest;

namespace {

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

} // namespace

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
