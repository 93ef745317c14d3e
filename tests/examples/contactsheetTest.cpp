#include "examples/programs.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

using programs::Outcome;
using programs::quoted;
using programs::value;

namespace {

Outcome contactSheet(const QString& arguments)
{
    return programs::run(VEXEL_CONTACTSHEET, arguments);
}

void makePicture(const QString& path, int width, int height, int bands, const rasters::PixelValue& value)
{
    rasters::Description description;
    description.width = width;
    description.height = height;
    description.bands = bands;
    description.driver = "PNG";
    rasters::make(path, description, value);
}

/// One band of a picture by row and column.
class Band
{
public:
    explicit Band(const QString& path, int band = 1)
        : m_width(static_cast<std::size_t>(rasters::open(path)->GetRasterXSize())),
          m_pixels(rasters::pixels(path, band))
    {}

    double at(std::size_t x, std::size_t y) const { return m_pixels.at(y * m_width + x); }

private:
    std::size_t m_width;
    std::vector<double> m_pixels;
};

constexpr double paper = 255;
constexpr double ink = 32;

std::string bytesOf(const QString& path)
{
    std::ifstream file(path.toStdString(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

} // namespace

TEST(ContactSheetProgram, IsAsLargeAsItsCellsWithTheirCaptions)
{
    const TempFolder folder;
    makePicture(folder / "p.png", 20, 10, 3, [](int, int, int) { return 0; });
    const QString entry = quoted("one=" + folder / "p.png");
    const Outcome outcome =
        contactSheet(quoted(folder / "sheet.png") + entry + entry + entry + "--columns 2 --cell 100");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    // Five times 20 x 10, and a line of 20 for the caption; 8 round each of 2 x 2 cells.
    EXPECT_EQ(value(outcome, "size"), "224 x 164");
    EXPECT_EQ(value(outcome, "pictures"), "3");
    const rasters::Dataset sheet = rasters::open(folder / "sheet.png");
    ASSERT_TRUE(sheet);
    EXPECT_STREQ(sheet->GetDriver()->GetDescription(), "PNG");
    EXPECT_EQ(sheet->GetRasterXSize(), 224);
    EXPECT_EQ(sheet->GetRasterYSize(), 164);
    EXPECT_EQ(sheet->GetRasterCount(), 3);

    const Band pixels(folder / "sheet.png");
    EXPECT_EQ(pixels.at(8, 8), 0);
    EXPECT_EQ(pixels.at(107, 57), 0);
    EXPECT_EQ(pixels.at(7, 8), paper);
    EXPECT_EQ(pixels.at(108, 8), paper);
    EXPECT_EQ(pixels.at(116, 8), 0);
    EXPECT_EQ(pixels.at(8, 86), 0);
    // There is no fourth picture.
    EXPECT_EQ(pixels.at(116, 86), paper);
}

TEST(ContactSheetProgram, FewerPicturesThanColumnsLeaveNoEmptyCells)
{
    const TempFolder folder;
    makePicture(folder / "p.png", 40, 40, 3, [](int, int, int) { return 0; });
    const Outcome outcome = contactSheet(quoted(folder / "sheet.png") + quoted("a=" + folder / "p.png") +
                                         "--columns 9 --cell 40");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "size"), "56 x 76");
}

TEST(ContactSheetProgram, LetterIsDrawnDotByDot)
{
    const TempFolder folder;
    makePicture(folder / "p.png", 2, 1, 3, [](int, int, int) { return 0; });
    const Outcome outcome =
        contactSheet(quoted(folder / "sheet.png") + quoted("I=" + folder / "p.png") + "--cell 8");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    // The letter is wider than the picture, which is 8 x 4 and centred above it.
    ASSERT_EQ(value(outcome, "size"), "28 x 40");
    const char* const serif = " ### ";
    const char* const stem = "  #  ";
    const char* const rows[] = {serif, stem, stem, stem, stem, stem, serif, "     "};
    const Band pixels(folder / "sheet.png");
    for (std::size_t y = 0; y < 16; ++y)
        for (std::size_t x = 0; x < 10; ++x)
            EXPECT_EQ(pixels.at(8 + x, 14 + y), rows[y / 2][x / 2] == '#' ? ink : paper) << x << ", " << y;
}

TEST(ContactSheetProgram, EveryLetterLooksDifferent)
{
    const TempFolder folder;
    const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                ".,:;!?'\"()[]<>/|+-_*#%&";
    makePicture(folder / "p.png", 8, 8, 3, [](int, int, int) { return 0; });
    const Outcome outcome =
        contactSheet(quoted(folder / "sheet.png") +
                     quoted(QString::fromStdString(letters) + "=" + folder / "p.png") + "--cell 8");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    const Band pixels(folder / "sheet.png");
    // One with no drawing of its own is a frame, as a letter outside of this list is.
    std::set<std::string> shapes = {"######   ##   ##   ##   ######     ", std::string(40, ' ')};
    for (std::size_t k = 0; k < letters.size(); ++k) {
        std::string shape;
        for (std::size_t y = 0; y < 8; ++y)
            for (std::size_t x = 0; x < 5; ++x)
                shape += pixels.at(8 + 12 * k + 2 * x, 18 + 2 * y) == ink ? '#' : ' ';
        EXPECT_TRUE(shapes.insert(shape).second) << letters[k];
    }
}

TEST(ContactSheetProgram, LettersWithoutADrawingAreFrames)
{
    const TempFolder folder;
    makePicture(folder / "p.png", 8, 8, 3, [](int, int, int) { return 0; });
    const Outcome outcome =
        contactSheet(quoted(folder / "sheet.png") + quoted("\u00e9=" + folder / "p.png") + "--cell 8");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    ASSERT_EQ(value(outcome, "size"), "28 x 44");
    const Band pixels(folder / "sheet.png");
    EXPECT_EQ(pixels.at(8, 18), ink);
    EXPECT_EQ(pixels.at(16, 30), ink);
    EXPECT_EQ(pixels.at(12, 24), paper);
}

TEST(ContactSheetProgram, LongCaptionsAreBrokenAtSpaces)
{
    const TempFolder folder;
    makePicture(folder / "p.png", 60, 60, 3, [](int, int, int) { return 0; });
    // Five letters of 12 fit into a cell of 60.
    const Outcome outcome =
        contactSheet(quoted(folder / "sheet.png") + quoted("ab cd ef=" + folder / "p.png") + "--cell 60");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "size"), "76 x 116");
}

TEST(ContactSheetProgram, LargerPicturesAreReducedToTheCell)
{
    const TempFolder folder;
    makePicture(folder / "p.png", 100, 50, 3, [](int, int, int) { return 0; });
    const Outcome outcome =
        contactSheet(quoted(folder / "sheet.png") + quoted("a=" + folder / "p.png") + "--cell 50");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(value(outcome, "size"), "66 x 61");
}

TEST(ContactSheetProgram, CropShowsTheMiddle)
{
    const TempFolder folder;
    const auto inMiddle = [](int n) { return n >= 20 && n < 30; };
    makePicture(folder / "p.png", 50, 50, 3,
                [&](int x, int y, int) { return inMiddle(x) && inMiddle(y) ? 0 : 255; });
    const Outcome outcome =
        contactSheet(quoted(folder / "sheet.png") + quoted("a=" + folder / "p.png") + "--cell 20 --crop 10");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    ASSERT_EQ(value(outcome, "size"), "36 x 56");
    const Band pixels(folder / "sheet.png");
    for (std::size_t y = 8; y < 28; ++y)
        for (std::size_t x = 8; x < 28; ++x)
            EXPECT_EQ(pixels.at(x, y), 0) << x << ", " << y;
}

TEST(ContactSheetProgram, ColoursAreRoundedTo32ShadesAndHolesShowThrough)
{
    const TempFolder folder;
    const double colours[] = {0, 100, 255};
    makePicture(folder / "p.png", 3, 1, 4,
                [&](int x, int, int band) { return band == 4 ? (x == 2 ? 0.0 : 255.0) : colours[x]; });
    const Outcome outcome =
        contactSheet(quoted(folder / "sheet.png") + quoted("=" + folder / "p.png") + "--cell 12");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    ASSERT_EQ(value(outcome, "size"), "28 x 20");
    // 100 is nearest to shade 12 of 31; the pale blue of holes is (191, 212, 242), shades 23, 26 and 29.
    const double hole[] = {189, 213, 238};
    for (int band = 1; band <= 3; ++band) {
        const Band pixels(folder / "sheet.png", band);
        EXPECT_EQ(pixels.at(8, 8), 0) << band;
        EXPECT_EQ(pixels.at(12, 8), 98) << band;
        EXPECT_EQ(pixels.at(16, 8), hole[band - 1]) << band;
    }
}

TEST(ContactSheetProgram, SheetMayReplaceAPictureOnIt)
{
    const TempFolder folder;
    makePicture(folder / "p.png", 8, 8, 3, [](int, int, int) { return 0; });
    const Outcome outcome =
        contactSheet(quoted(folder / "p.png") + quoted("a=" + folder / "p.png") + "--cell 8");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
    EXPECT_EQ(rasters::open(folder / "p.png")->GetRasterXSize(), 28);
}

TEST(ContactSheetProgram, PictureThatCannotBeReadIsAFailure)
{
    const TempFolder folder;
    rasters::Description heights;
    heights.type = GDT_Float32;
    rasters::make(folder / "heights.tif", heights, [](int, int, int) { return 1.5; });
    const Outcome missing = contactSheet(quoted(folder / "sheet.png") + quoted("a=" + folder / "none.png"));
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.messages.find("Unable to open picture"), std::string::npos) << missing.messages;
    const Outcome floats = contactSheet(quoted(folder / "sheet.png") + quoted("a=" + folder / "heights.tif"));
    EXPECT_EQ(floats.exitCode, 1);
    EXPECT_NE(floats.messages.find("is no picture of bytes"), std::string::npos) << floats.messages;
    EXPECT_EQ(folder.listing(), "heights.tif");
}

TEST(ContactSheetProgram, PictureThatWouldVanishIsAFailure)
{
    const TempFolder folder;
    makePicture(folder / "thin.png", 1, 100, 3, [](int, int, int) { return 0; });
    const Outcome outcome =
        contactSheet(quoted(folder / "sheet.png") + quoted("a=" + folder / "thin.png") + "--cell 10");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.messages.find("is too narrow"), std::string::npos) << outcome.messages;
    EXPECT_EQ(folder.listing(), "thin.png");
}

struct SheetUsageCase
{
    const char* name;
    const char* output;
    const char* arguments;
};

class ContactSheetUsage : public testing::TestWithParam<SheetUsageCase>
{};

TEST_P(ContactSheetUsage, IsRefusedBeforeAnythingIsTouched)
{
    const TempFolder folder;
    makePicture(folder / "p.png", 8, 8, 3, [](int, int, int) { return 0; });
    const std::string before = bytesOf(folder / "p.png");
    const Outcome outcome = contactSheet(quoted(folder / GetParam().output) + GetParam().arguments);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_NE(outcome.messages, "");
    EXPECT_EQ(folder.listing(), "p.png");
    EXPECT_EQ(bytesOf(folder / "p.png"), before);
}

INSTANTIATE_TEST_SUITE_P(Arguments, ContactSheetUsage,
                         testing::Values(SheetUsageCase{"NoPicture", "sheet.png", ""},
                                         SheetUsageCase{"NoLabel", "sheet.png", "p.png"},
                                         SheetUsageCase{"NotPng", "sheet.tif", "a=p.png"},
                                         SheetUsageCase{"NoColumns", "sheet.png", "a=p.png --columns 0"},
                                         SheetUsageCase{"CellTooSmall", "sheet.png", "a=p.png --cell 7"},
                                         SheetUsageCase{"CropTooSmall", "sheet.png", "a=p.png --crop 0"}),
                         [](const auto& row) { return std::string(row.param.name); });
