#include "companion/file.h"

#include "companion/nativepath.h"

#include "filefixtures.h"
#include "support/InFolder.h"
#include "support/TempFolder.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#ifndef _WIN32
#include <sys/stat.h>
#endif

using namespace filetest;
namespace fs = std::filesystem;

namespace {

// The names of what was found, each behind `dir` and one slash, joined by spaces.
std::string namesFound(const QString& dir, const QString& pattern, bool filesOnly = true)
{
    std::string names;
    for (const QString& path : file::find(dir, pattern, filesOnly)) {
        EXPECT_TRUE(path.startsWith(dir + "/")) << path.toStdString();
        names += (names.empty() ? "" : " ") + path.mid(dir.size() + 1).toStdString();
    }
    return names;
}

struct PatternCase
{
    const char* name;
    const char* pattern;
    const char* file;
    bool matches;
};

class FilePattern : public testing::TestWithParam<PatternCase>
{};

} // namespace

TEST_P(FilePattern, MatchesTheWholeName)
{
    const TempFolder folder;
    touch(folder / GetParam().file);
    EXPECT_EQ(namesFound(folder.path(), QString::fromUtf8(GetParam().pattern)),
              GetParam().matches ? GetParam().file : "");
}

INSTANTIATE_TEST_SUITE_P(
    All, FilePattern,
    testing::Values(
        PatternCase{"Extension", "*.tif", "a.tif", true}, PatternCase{"ExtensionOnly", "*.tif", ".tif", true},
        PatternCase{"OtherCase", "*.tif", "a.TIF", false},
        PatternCase{"LongerExtension", "*.tif", "a.tiff", false},
        PatternCase{"ShorterExtension", "*.tiff", "a.tif", false},
        PatternCase{"DotIsADot", "*.tif", "a_tif", false},
        PatternCase{"Repeated", "*.tif", "a.tif.tif", true}, PatternCase{"All", "*", "a", true},
        PatternCase{"AllHidden", "*", ".a", true}, PatternCase{"Nothing", "", "a", false},
        PatternCase{"Literal", "a.tif", "a.tif", true},
        PatternCase{"LiteralIsWhole", "a.tif", "ba.tif", false}, PatternCase{"OneAny", "a?b", "axb", true},
        PatternCase{"OneAnyNeedsOne", "a?b", "ab", false},
        PatternCase{"OneAnyTakesOne", "a?b", "axxb", false},
        PatternCase{"OneAnyNonAscii", "a?z", "a\xC3\xA9z", true},
        PatternCase{"OneAnyOfTwoUnits", "a?z", "a\xF0\x9F\x98\x80z", true},
        PatternCase{"BracketsAreLetters", "*.[tif]", "a.[tif]", true},
        PatternCase{"BracketsAreNoSet", "*.[tif]", "a.t", false},
        PatternCase{"BackslashIsALetter", "a\\b", "a\\b", true},
        PatternCase{"StarMatchesNothing", "a*b", "ab", true},
        PatternCase{"StarTriesAgain", "a*b*c", "abxbcxc", true},
        PatternCase{"StarsFail", "a*b*c", "abxb", false}, PatternCase{"StarAtEnds", "*b*", "abc", true},
        PatternCase{"DoubledStar", "**c", "abc", true}, PatternCase{"StarThenAny", "*?c", "c", false},
        PatternCase{"StarThenAnyFits", "*?c", "bc", true},
        PatternCase{
            "ManyStars", "*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*b",
            "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
            false}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(FileFind, NumbersInNamesCountAsNumbers)
{
    const TempFolder folder;
    for (const char* name :
         {"o_10_1.tif", "o_2_10.tif", "o_2_9.tif", "o_1_1.tif", "o_9_1.tif", "o.tif", "o_1_10.tif"})
        touch(folder / name);
    EXPECT_EQ(namesFound(folder.path(), "*.tif"),
              "o.tif o_1_1.tif o_1_10.tif o_2_9.tif o_2_10.tif o_9_1.tif o_10_1.tif");
}

TEST(FileFind, LeadingZerosOnlyBreakTies)
{
    const TempFolder folder;
    for (const char* name : {"a1", "a01", "a001", "a2", "a02", "a0", "a00", "a1b", "a01a", "a"})
        touch(folder / name);
    EXPECT_EQ(namesFound(folder.path(), "*"), "a a0 a00 a001 a01 a1 a01a a1b a02 a2");
}

TEST(FileFind, NumbersMayBeOfAnyLength)
{
    const TempFolder folder;
    for (const char* name :
         {"99999999999999999999999999999999999999", "100000000000000000000000000000000000000",
          "18446744073709551616", "18446744073709551615"})
        touch(folder / name);
    EXPECT_EQ(namesFound(folder.path(), "*"),
              "18446744073709551615 18446744073709551616 99999999999999999999999999999999999999 "
              "100000000000000000000000000000000000000");
}

TEST(FileFind, LettersFollowTheirCodes)
{
    const TempFolder folder;
    for (const char* name : {"b", "B", "a", "\xC3\xA9", "-", "_", "1"})
        touch(folder / name);
    EXPECT_EQ(namesFound(folder.path(), "*"), "- 1 B _ a b \xC3\xA9");
}

TEST(FileFind, PathsCanBeOpened)
{
    const TempFolder folder;
    ASSERT_TRUE(file::writeText(folder / "d\xC3\xA9j\xC3\xA0 vu.txt", "found"));
    const QStringList paths = file::find(folder.path(), "*", true);
    ASSERT_EQ(paths.size(), 1);
    EXPECT_EQ(fileText(paths[0]), "found");
}

TEST(FileFind, SlashBehindTheFolderIsNotDoubled)
{
    const TempFolder folder;
    touch(folder / "a");
    EXPECT_EQ(file::find(folder.path() + "/", "*", true), QStringList(folder / "a"));
}

TEST(FileFind, PathsStayRelativeToARelativeFolder)
{
    const TempFolder folder;
    ASSERT_TRUE(file::mkdir(folder / "x"));
    touch(folder / "x/a");
    const InFolder inside(folder.path());
    EXPECT_EQ(file::find("x", "*", true), QStringList("x/a"));
    EXPECT_EQ(file::find("./x/.", "*", true), QStringList("./x/./a"));
}

TEST(FileFind, FoldersCountOnlyWhenAskedFor)
{
    const TempFolder folder;
    touch(folder / "a");
    ASSERT_TRUE(file::mkdir(folder / "b/c"));
    EXPECT_EQ(namesFound(folder.path(), "*", /*filesOnly=*/true), "a");
    EXPECT_EQ(namesFound(folder.path(), "*", /*filesOnly=*/false), "a b");
}

TEST(FileFind, FindsNothingWhereNoFolderIs)
{
    const TempFolder folder;
    touch(folder / "a");
    for (const QString& dir : {folder / "missing", folder / "a", QString(), folder / tooLong})
        EXPECT_EQ(file::find(dir, "*", true), QStringList()) << dir.toStdString();
}

#ifndef _WIN32
TEST(FileFind, LinksToFilesAreFiles)
{
    const TempFolder folder;
    touch(folder / "a");
    ASSERT_TRUE(file::mkdir(folder / "d"));
    fs::create_symlink("a", file::nativePath(folder / "toFile"));
    fs::create_symlink("d", file::nativePath(folder / "toFolder"));
    fs::create_symlink("missing", file::nativePath(folder / "toNothing"));
    ASSERT_EQ(mkfifo((folder / "pipe").toUtf8().constData(), 0600), 0);
    EXPECT_EQ(namesFound(folder.path(), "*"), "a toFile");
    EXPECT_EQ(namesFound(folder.path(), "*", /*filesOnly=*/false), "a d pipe toFile toFolder toNothing");
}

TEST(FileFind, LeavesOutNamesThatAreNotUtf8)
{
    const TempFolder folder;
    const std::string base = folder.path().toStdString() + "/";
    for (const char* name : {"\xFF.tif", "a\xC3.tif", "\xED\xA0\x80.tif"})
        if (!std::ofstream(base + name).good())
            GTEST_SKIP() << "the file system takes no such names";
    touch(folder / "b.tif");
    EXPECT_EQ(namesFound(folder.path(), "*.tif"), "b.tif");
}

TEST(FileFind, AByteOrderMarkBelongsToTheName)
{
    const TempFolder folder;
    std::ofstream(folder.path().toStdString() + "/\xEF\xBB\xBF.tif").close();
    EXPECT_EQ(namesFound(folder.path(), "?.tif"), "\xEF\xBB\xBF.tif");
}
#endif
