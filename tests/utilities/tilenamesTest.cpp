#include "utilities/tilenames.h"
#include "companion/text.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <exception>
#include <limits>
#include <string>

using vexel::gdal::path2tile;
using vexel::gdal::tile2path;

namespace {

constexpr int largestInt = std::numeric_limits<int>::max();
constexpr int lowestInt = std::numeric_limits<int>::min();

struct Parsed
{
    bool isTile;
    std::string base;
    int x;
    int y;
};

Parsed parse(const QString& path)
{
    QString base = "left over";
    int x = -77;
    int y = -78;
    const bool isTile = path2tile(path, base, x, y);
    return {isTile, base.toStdString(), x, y};
}

void expectParsed(const char* path, const Parsed& expected)
{
    const Parsed parsed = parse(QString::fromUtf8(path));
    EXPECT_EQ(parsed.isTile, expected.isTile);
    EXPECT_EQ(parsed.base, expected.base);
    EXPECT_EQ(parsed.x, expected.x);
    EXPECT_EQ(parsed.y, expected.y);
}

/// What the text parser says about a piece that is no number.
std::string complaintAbout(const char* piece)
{
    try {
        static_cast<void>(vexel::text::fromString<int>(piece));
    } catch (const std::exception& e) {
        return e.what();
    }
    ADD_FAILURE() << piece << " is a number";
    return "";
}

struct TileName
{
    const char* name;
    const char* raster;
    int x;
    int y;
    const char* tile;
};

struct Rejected
{
    const char* name;
    const char* path;
    const char* base;
    int x;
    int y;
};

struct NoNumber
{
    const char* name;
    const char* path;
    int x;
    const char* piece;
};

template <class Case>
std::string nameOf(const testing::TestParamInfo<Case>& row)
{
    return row.param.name;
}

} // namespace

class TileNames : public testing::TestWithParam<TileName>
{};

TEST_P(TileNames, AreMadeOfOneBasedNumbers)
{
    const TileName& row = GetParam();
    EXPECT_EQ(tile2path(QString::fromUtf8(row.raster), row.x, row.y).toStdString(), row.tile);
}

TEST_P(TileNames, AreTakenApartIntoZeroBasedNumbers)
{
    const TileName& row = GetParam();
    const LogCapture log;
    expectParsed(row.tile, {true, row.raster, row.x - 1, row.y - 1});
    EXPECT_EQ(log.text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Paths, TileNames,
    testing::Values(TileName{"First", "dir/ortho.tif", 1, 1, "dir/ortho_1_1.tif"},
                    TileName{"ColumnThenRow", "dir/ortho.tif", 3, 7, "dir/ortho_3_7.tif"},
                    TileName{"TwoDigits", "dir/ortho.tif", 12, 5, "dir/ortho_12_5.tif"},
                    TileName{"UnderscoreInTheName", "dir/my_ortho.tif", 12, 5, "dir/my_ortho_12_5.tif"},
                    TileName{"NumbersInTheName", "dir/ortho_3_7.tif", 3, 7, "dir/ortho_3_7_3_7.tif"},
                    TileName{"EmptyPieceInTheName", "dir/ortho_.tif", 3, 7, "dir/ortho__3_7.tif"},
                    TileName{"LargestNumbers", "dir/ortho.tif", largestInt, largestInt,
                             "dir/ortho_2147483647_2147483647.tif"},
                    TileName{"FileNameOnly", "ortho.tif", 3, 7, "ortho_3_7.tif"},
                    TileName{"Absolute", "/no such folder/ortho.tif", 3, 7, "/no such folder/ortho_3_7.tif"},
                    TileName{"UpperCaseExtension", "dir/ORTHO.TIF", 3, 7, "dir/ORTHO_3_7.TIF"},
                    TileName{"DotInTheFolder", "dir.v2/ortho.tif", 3, 7, "dir.v2/ortho_3_7.tif"},
                    TileName{"NoExtension", "dir/ortho", 3, 7, "dir/ortho_3_7"},
                    TileName{"NoExtensionDotInTheFolder", "dir.v2/ortho", 3, 7, "dir.v2/ortho_3_7"},
                    TileName{"NoExtensionOverlappingDigits", "dir/ortho_1", 1, 1, "dir/ortho_1_1_1"},
                    TileName{"SeveralDots", "dir/ortho.v2.tif", 3, 7, "dir/ortho.v2_3_7.tif"},
                    TileName{"SuffixWithoutExtensionInTheFolder", "dir_3_7/ortho.tif", 3, 7,
                             "dir_3_7/ortho_3_7.tif"},
                    TileName{"Placeholder", "dir/%1_%2.tif", 3, 7, "dir/%1_%2_3_7.tif"},
                    TileName{"NonAscii", "d\xC3\xADr/\xC3\xB6rtho \xE5\x9C\xB0.tif", 3, 7,
                             "d\xC3\xADr/\xC3\xB6rtho \xE5\x9C\xB0_3_7.tif"}),
    nameOf<TileName>);

TEST(Tile2path, WritesAnyNumberAsItIs)
{
    EXPECT_EQ(tile2path("dir/ortho.tif", 0, 0), "dir/ortho_0_0.tif");
    EXPECT_EQ(tile2path("dir/ortho.tif", -3, 7), "dir/ortho_-3_7.tif");
    EXPECT_EQ(tile2path("dir/ortho.tif", 1234567, lowestInt), "dir/ortho_1234567_-2147483648.tif");
}

class Path2tileRejects : public testing::TestWithParam<Rejected>
{};

TEST_P(Path2tileRejects, Silently)
{
    const Rejected& row = GetParam();
    const LogCapture log;
    expectParsed(row.path, {false, row.base, row.x, row.y});
    EXPECT_EQ(log.text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    TooFewPieces, Path2tileRejects,
    testing::Values(Rejected{"Raster", "dir/ortho.tif", "dir/ortho.tif", 0, 0},
                    Rejected{"NothingBeforeTheNumbers", "dir/3_4.tif", "dir/3_4.tif", 0, 0},
                    Rejected{"OneNumber", "dir/ortho_3.tif", "dir/ortho_3.tif", 0, 0},
                    Rejected{"NumbersInTheFolder", "dir_3_7/ortho.tif", "dir_3_7/ortho.tif", 0, 0},
                    Rejected{"NumbersInTheExtension", "dir/ortho.t_3_7", "dir/ortho.t_3_7", 0, 0},
                    Rejected{"Empty", "", "", 0, 0}),
    nameOf<Rejected>);

INSTANTIATE_TEST_SUITE_P(
    IndexBelowOne, Path2tileRejects,
    testing::Values(Rejected{"ZeroColumn", "dir/ortho_0_4.tif", "dir/ortho.tif", 0, 4},
                    Rejected{"ZeroRow", "dir/ortho_4_0.tif", "dir/ortho.tif", 4, 0},
                    Rejected{"NegativeColumn", "dir/ortho_-1_2.tif", "dir/ortho.tif", -1, 2},
                    Rejected{"NegativeRow", "dir/ortho_2_-1.tif", "dir/ortho.tif", 2, -1},
                    Rejected{"LowestNumbers", "dir/ortho_-2147483648_-2147483648.tif", "dir/ortho.tif",
                             lowestInt, lowestInt}),
    nameOf<Rejected>);

INSTANTIATE_TEST_SUITE_P(
    NotCanonical, Path2tileRejects,
    testing::Values(
        Rejected{"PaddedColumn", "dir/ortho_03_7.tif", "dir/ortho_03_7.tif", 3, 7},
        Rejected{"PaddedRow", "dir/ortho_3_07.tif", "dir/ortho_3_07.tif", 3, 7},
        // The suffix goes wherever it stands, so the rebuilt name is that of another folder or raster.
        Rejected{"SuffixInTheFolderToo", "dir_3_7.tif/ortho_3_7.tif", "dir.tif/ortho.tif", 3, 7},
        Rejected{"SuffixTwiceWithoutExtension", "dir/ortho_3_7_3_7", "dir/ortho", 3, 7},
        Rejected{"SuffixInTheFolderWithoutExtension", "dir_3_7/ortho_3_7", "dir/ortho", 3, 7}),
    nameOf<Rejected>);

TEST(Path2tile, RejectsSignedAndSpacedNumbers)
{
    const LogCapture log; // whether the parser takes such numbers is its own affair
    EXPECT_FALSE(parse("dir/ortho_+3_7.tif").isTile);
    EXPECT_FALSE(parse("dir/ortho_3_+7.tif").isTile);
    EXPECT_FALSE(parse("dir/ortho_ 3_7.tif").isTile);
    EXPECT_FALSE(parse("dir/ortho_3_7 .tif").isTile);
}

class Path2tileLogs : public testing::TestWithParam<NoNumber>
{};

TEST_P(Path2tileLogs, APieceThatIsNoNumber)
{
    const NoNumber& row = GetParam();
    const LogCapture log;
    expectParsed(row.path, {false, row.path, row.x, 0});
    ASSERT_EQ(log.messages().size(), 1u);
    const LogCapture::Message& message = log.messages().front();
    EXPECT_EQ(message.level, 2);
    EXPECT_EQ(message.category, "");
    EXPECT_EQ(message.file, "tilenames");
    EXPECT_GT(message.line, 0u);
    EXPECT_EQ(message.text, "gdal::path2tile:: caught known exception " + complaintAbout(row.piece));
}

INSTANTIATE_TEST_SUITE_P(
    Pieces, Path2tileLogs,
    testing::Values(NoNumber{"Row", "dir/ortho_3_x.tif", 3, "x"},
                    NoNumber{"Column", "dir/ortho_x_3.tif", 0, "x"},
                    NoNumber{"Both", "dir/ortho_a_b.tif", 0, "a"},
                    NoNumber{"EmptyColumn", "dir/ortho__7.tif", 0, ""},
                    NoNumber{"EmptyRow", "dir/ortho_3_.tif", 3, ""},
                    NoNumber{"NumberAndMore", "dir/ortho_3_7b.tif", 3, "7b"},
                    NoNumber{"Fraction", "dir/ortho_3_7.5.tif", 3, "7.5"},
                    NoNumber{"RowBeyond32Bits", "dir/ortho_1_2147483648.tif", 1, "2147483648"},
                    NoNumber{"ColumnBelow32Bits", "dir/ortho_-2147483649_1.tif", 0, "-2147483649"}),
    nameOf<NoNumber>);

TEST(Path2tile, TakesOneObjectForPathAndBase)
{
    QString path = "dir/ortho_3_7.tif";
    int x = 0;
    int y = 0;
    EXPECT_TRUE(path2tile(path, path, x, y));
    EXPECT_EQ(path, "dir/ortho.tif");
    EXPECT_EQ(x, 2);
    EXPECT_EQ(y, 6);

    path = "dir/ortho_03_7.tif";
    EXPECT_FALSE(path2tile(path, path, x, y));
    EXPECT_EQ(path, "dir/ortho_03_7.tif");
}

TEST(Path2tile, NeedsNoFile)
{
    const TempFolder folder;
    const Parsed parsed = parse(folder / "ortho_3_7.tif");
    EXPECT_TRUE(parsed.isTile);
    EXPECT_EQ(parsed.base, (folder / "ortho.tif").toStdString());
    EXPECT_EQ(folder.listing(), "");
}
