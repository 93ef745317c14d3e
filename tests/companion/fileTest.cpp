#include "companion/file.h"

#include "companion/nativepath.h"

#include "support/InFolder.h"
#include "support/InLocale.h"
#include "support/TempFolder.h"
#include "support/files.h"

#include <cpl_vsi.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace fs = std::filesystem;
namespace file = vexel::file;

namespace {

void touch(const QString& path)
{
    ASSERT_TRUE(std::ofstream(file::nativePath(path)).good()) << path.toStdString();
}

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

const QString tooLong = QString(5000, 'x');

struct SplitCase
{
    const char* name;
    const char* path;
    const char* dirname;
    const char* basename;
    const char* extension;
    const char* basepath;
};

class PathSplit : public testing::TestWithParam<SplitCase>
{};

struct PatternCase
{
    const char* name;
    const char* pattern;
    const char* file;
    bool matches;
};

class FilePattern : public testing::TestWithParam<PatternCase>
{};

class FilesInLocale : public testing::TestWithParam<const char*>
{};

} // namespace

TEST_P(PathSplit, GivesEachPart)
{
    const QString path = QString::fromUtf8(GetParam().path);
    EXPECT_EQ(file::dirname(path).toStdString(), GetParam().dirname);
    EXPECT_EQ(file::basename(path).toStdString(), GetParam().basename);
    EXPECT_EQ(file::extension(path).toStdString(), GetParam().extension);
    EXPECT_EQ(file::basepath(path).toStdString(), GetParam().basepath);
}

TEST_P(PathSplit, BasepathAndExtensionMakeThePath)
{
    const QString path = QString::fromUtf8(GetParam().path);
    EXPECT_EQ((file::basepath(path) + file::extension(path)).toStdString(), GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(
    All, PathSplit,
    testing::Values(
        SplitCase{"Bare", "a.tif", ".", "a", ".tif", "a"},
        SplitCase{"InFolder", "dir/a.tif", "dir", "a", ".tif", "dir/a"},
        SplitCase{"Absolute", "/x/y/a.tif", "/x/y", "a", ".tif", "/x/y/a"},
        SplitCase{"InRoot", "/a.tif", "/", "a", ".tif", "/a"}, SplitCase{"Root", "/", "/", "", "", "/"},
        SplitCase{"SlashesOnly", "//", "/", "", "", "//"},
        SplitCase{"DoubledSlash", "x//a.tif", "x", "a", ".tif", "x//a"},
        SplitCase{"DoubledRoot", "//a.tif", "/", "a", ".tif", "//a"}, SplitCase{"Empty", "", ".", "", "", ""},
        SplitCase{"NoExtension", "dir/a", "dir", "a", "", "dir/a"},
        SplitCase{"DotInFolder", "d.ir/a", "d.ir", "a", "", "d.ir/a"},
        SplitCase{"DotsInBoth", "d.ir/a.b.tif", "d.ir", "a.b", ".tif", "d.ir/a.b"},
        SplitCase{"Hidden", ".profile", ".", ".profile", "", ".profile"},
        SplitCase{"HiddenInFolder", "x/.profile", "x", ".profile", "", "x/.profile"},
        SplitCase{"HiddenWithExtension", ".a.tif", ".", ".a", ".tif", ".a"},
        SplitCase{"ClosingDot", "a.", ".", "a", ".", "a"},
        SplitCase{"TwoDotsInside", "a..tif", ".", "a.", ".tif", "a."},
        SplitCase{"ThisFolder", ".", ".", ".", "", "."}, SplitCase{"ParentFolder", "..", ".", "..", "", ".."},
        SplitCase{"ParentOfFolder", "x/..", "x", "..", "", "x/.."},
        SplitCase{"FromParent", "../a.tif", "..", "a", ".tif", "../a"},
        SplitCase{"TwoDotsFirst", "..a", ".", ".", ".a", "."},
        SplitCase{"Folder", "x/y/", "x/y", "", "", "x/y/"},
        SplitCase{"Odd", "d\xC3\xA9j\xC3\xA0 vu/\xF0\x9F\x98\x80 x.t\xC3\xACz", "d\xC3\xA9j\xC3\xA0 vu",
                  "\xF0\x9F\x98\x80 x", ".t\xC3\xACz", "d\xC3\xA9j\xC3\xA0 vu/\xF0\x9F\x98\x80 x"},
        SplitCase{"WorkingFile", "a.tif_tmp.tif", ".", "a.tif_tmp", ".tif", "a.tif_tmp"}),
    [](const auto& row) { return std::string(row.param.name); });

#ifndef _WIN32
TEST(PathSplit, BackslashIsALetterHere)
{
    EXPECT_EQ(file::dirname("x\\a.tif"), ".");
    EXPECT_EQ(file::basename("x.y\\a"), "x");
}
#endif

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

TEST(FileSamepath, TellsFilesThatExist)
{
    const TempFolder folder;
    ASSERT_TRUE(file::mkdir(folder / "x/y"));
    for (const char* name : {"a", "b", "x/a"})
        touch(folder / name);
    EXPECT_TRUE(file::samepath(folder / "a", folder / "a"));
    EXPECT_TRUE(file::samepath(folder / "a", folder / "./a"));
    EXPECT_TRUE(file::samepath(folder / "a", folder / "x/../a"));
    EXPECT_TRUE(file::samepath(folder / "x//a", folder / "x/y/../a"));
    EXPECT_TRUE(file::samepath(folder / "x", folder / "x/"));
    EXPECT_FALSE(file::samepath(folder / "a", folder / "b"));
    EXPECT_FALSE(file::samepath(folder / "a", folder / "x/a"));
    EXPECT_FALSE(file::samepath(folder / "a", folder / "x"));
}

TEST(FileSamepath, TellsFilesThatDoNotExistYet)
{
    const TempFolder folder;
    ASSERT_TRUE(file::mkdir(folder / "x"));
    touch(folder / "a");
    EXPECT_TRUE(file::samepath(folder / "new", folder / "./new"));
    EXPECT_TRUE(file::samepath(folder / "new", folder / "x/../new"));
    EXPECT_TRUE(file::samepath(folder / "none/new", folder / "none/./new"));
    EXPECT_FALSE(file::samepath(folder / "new", folder / "New"));
    EXPECT_FALSE(file::samepath(folder / "new", folder / "x/new"));
    EXPECT_FALSE(file::samepath(folder / "new", folder / "other"));
    EXPECT_FALSE(file::samepath(folder / "new", folder / "a"));
    EXPECT_FALSE(file::samepath(folder / "a", folder / "new"));
}

TEST(FileSamepath, RelativeAndAbsoluteMeet)
{
    const TempFolder folder;
    ASSERT_TRUE(file::mkdir(folder / "x"));
    touch(folder / "x/a");
    const InFolder inside(folder / "x");
    for (const char* name : {"a", "new"}) {
        EXPECT_TRUE(file::samepath(name, folder / "x" + "/" + name)) << name;
        EXPECT_TRUE(file::samepath(folder / "x" + "/" + name, QString("../x/") + name)) << name;
        EXPECT_FALSE(file::samepath(name, folder / name)) << name;
    }
}

TEST(FileSamepath, EmptyPathsAreTheSameOnlyAsText)
{
    EXPECT_TRUE(file::samepath("", ""));
    EXPECT_TRUE(file::samepath(QString(), ""));
    EXPECT_FALSE(file::samepath("", "a"));
    EXPECT_FALSE(file::samepath(".", ""));
}

TEST(FileSamepath, ComparesTheTextsWhereTheSystemCannotTell)
{
    EXPECT_TRUE(file::samepath("/" + tooLong, "/./" + tooLong));
    EXPECT_FALSE(file::samepath("/" + tooLong, "/x/" + tooLong));
}

#ifndef _WIN32
TEST(FileSamepath, SeesThroughLinks)
{
    const TempFolder folder;
    ASSERT_TRUE(file::mkdir(folder / "x/y"));
    touch(folder / "x/a");
    fs::create_symlink("x/a", file::nativePath(folder / "toFile"));
    fs::create_symlink("x/y", file::nativePath(folder / "toFolder"));
    EXPECT_TRUE(file::samepath(folder / "toFile", folder / "x/a"));
    EXPECT_TRUE(file::samepath(folder / "toFolder/new", folder / "x/y/new"));
    EXPECT_FALSE(file::samepath(folder / "toFolder/new", folder / "x/new"));
}

TEST(FileSamepath, TellsPipesToo)
{
    const TempFolder folder;
    for (const char* name : {"one", "other"})
        ASSERT_EQ(mkfifo((folder / name).toUtf8().constData(), 0600), 0);
    EXPECT_TRUE(file::samepath(folder / "one", folder / "./one"));
    EXPECT_FALSE(file::samepath(folder / "one", folder / "other"));
}

TEST(FileSamepath, ParentOfALinkedFolderIsThatOfItsTarget)
{
    const TempFolder folder;
    ASSERT_TRUE(file::mkdir(folder / "x/y"));
    fs::create_symlink("x/y", file::nativePath(folder / "link"));
    for (const char* name : {"a", "new"}) {
        if (name == std::string("a")) {
            touch(folder / "a");
            touch(folder / "x/a");
        }
        EXPECT_TRUE(file::samepath(folder / "link/.." + "/" + name, folder / "x" + "/" + name)) << name;
        EXPECT_FALSE(file::samepath(folder / "link/.." + "/" + name, folder / name)) << name;
    }
}
#endif

TEST(FileExists, TellsFilesAndFolders)
{
    const TempFolder folder;
    touch(folder / "a b");
    EXPECT_TRUE(file::exists(folder / "a b"));
    EXPECT_TRUE(file::exists(folder.path()));
    EXPECT_TRUE(file::exists("."));
    for (const QString& path :
         {folder / "missing", folder / "missing/a", folder / "a b/c", QString(), folder / tooLong})
        EXPECT_FALSE(file::exists(path)) << path.toStdString();
}

TEST(FileMkdir, MakesTheFoldersAboveToo)
{
    const TempFolder folder;
    EXPECT_TRUE(file::mkdir(folder / "d\xC3\xA9j\xC3\xA0 vu/x/y"));
    EXPECT_TRUE(fs::is_directory(file::nativePath(folder / "d\xC3\xA9j\xC3\xA0 vu/x/y")));
    EXPECT_TRUE(file::mkdir(folder / "x/y/"));
    EXPECT_TRUE(fs::is_directory(file::nativePath(folder / "x/y")));
    const InFolder inside(folder.path());
    EXPECT_TRUE(file::mkdir("z/../w"));
    EXPECT_EQ(folder.listing(), "d\xC3\xA9j\xC3\xA0 vu w x z");
}

TEST(FileMkdir, IsTrueForAFolderThatIsThere)
{
    const TempFolder folder;
    touch(folder / "a");
    EXPECT_TRUE(file::mkdir(folder.path()));
    EXPECT_TRUE(file::mkdir("."));
    EXPECT_EQ(folder.listing(), "a");
}

TEST(FileMkdir, IsFalseWhereNoFolderCanBe)
{
    const TempFolder folder;
    touch(folder / "a");
    for (const QString& path : {folder / "a", folder / "a/b", QString(), folder / tooLong})
        EXPECT_FALSE(file::mkdir(path)) << path.toStdString();
    EXPECT_EQ(folder.listing(), "a");
}

TEST(FileRemove, DeletesAFileOnce)
{
    const TempFolder folder;
    touch(folder / "d\xC3\xA9j\xC3\xA0 vu");
    touch(folder / "b");
    EXPECT_TRUE(file::remove(folder / "d\xC3\xA9j\xC3\xA0 vu"));
    EXPECT_EQ(folder.listing(), "b");
    EXPECT_FALSE(file::remove(folder / "d\xC3\xA9j\xC3\xA0 vu"));
}

TEST(FileRemove, LeavesFoldersAlone)
{
    const TempFolder folder;
    ASSERT_TRUE(file::mkdir(folder / "empty"));
    EXPECT_FALSE(file::remove(folder / "empty"));
    EXPECT_FALSE(file::remove(folder / "empty/"));
    EXPECT_EQ(folder.listing(), "empty");
}

TEST(FileRemove, IsFalseForWhatCannotBeThere)
{
    const TempFolder folder;
    touch(folder / "a");
    for (const QString& path : {folder / "missing/a", folder / "a/b", QString(), folder / tooLong})
        EXPECT_FALSE(file::remove(path)) << path.toStdString();
    EXPECT_EQ(folder.listing(), "a");
}

#ifndef _WIN32
TEST(FileRemove, DeletesTheLinkNotItsTarget)
{
    const TempFolder folder;
    touch(folder / "a");
    ASSERT_TRUE(file::mkdir(folder / "d"));
    fs::create_symlink("a", file::nativePath(folder / "toFile"));
    fs::create_symlink("d", file::nativePath(folder / "toFolder"));
    fs::create_symlink("missing", file::nativePath(folder / "toNothing"));
    EXPECT_FALSE(file::remove(folder / "toFolder/"));
    for (const char* link : {"toFile", "toFolder", "toNothing"})
        EXPECT_TRUE(file::remove(folder / link)) << link;
    EXPECT_EQ(folder.listing(), "a d");
}
#endif

TEST(FileRemove, IsFalseWhenTheSystemRefuses)
{
    const QString refused = "/proc/version";
    if (!file::exists(refused))
        GTEST_SKIP() << "no file here that nobody may delete";
    EXPECT_FALSE(file::remove(refused));
}

TEST(FileWriteText, WritesUtf8WithLineEndsAsTheyAre)
{
    const TempFolder folder;
    const QString path = folder / "d\xC3\xA9j\xC3\xA0 vu.txt";
    EXPECT_TRUE(file::writeText(path, QString::fromUtf8("\xC3\xA9\n\r\n\xF0\x9F\x98\x80\r")));
    EXPECT_EQ(fileText(path), "\xC3\xA9\n\r\n\xF0\x9F\x98\x80\r");
    EXPECT_EQ(folder.listing(), "d\xC3\xA9j\xC3\xA0 vu.txt");
}

TEST(FileWriteText, ReplacesTheFile)
{
    const TempFolder folder;
    EXPECT_TRUE(file::writeText(folder / "a", "a long first text"));
    EXPECT_TRUE(file::writeText(folder / "a", "short"));
    EXPECT_EQ(fileText(folder / "a"), "short");
}

TEST(FileWriteText, AnEmptyTextMakesAnEmptyFile)
{
    const TempFolder folder;
    for (const QString& text : {QString(), QString("")}) {
        EXPECT_TRUE(file::writeText(folder / "a", text));
        ASSERT_TRUE(file::exists(folder / "a"));
        EXPECT_EQ(fileText(folder / "a"), "");
    }
}

TEST(FileWriteText, WritesLargeTextsWhole)
{
    const TempFolder folder;
    const QString text = QString("0123456789").repeated(500000);
    EXPECT_TRUE(file::writeText(folder / "a", text));
    EXPECT_EQ(fileText(folder / "a"), text.toStdString());
}

TEST(FileWriteText, ErrnoTellsWhyItFailed)
{
    const TempFolder folder;
    touch(folder / "a");
    const auto reason = [](const QString& path) {
        errno = 0;
        EXPECT_FALSE(file::writeText(path, "x")) << path.toStdString();
        return errno;
    };
    EXPECT_EQ(reason(folder / "missing/a"), ENOENT);
    EXPECT_EQ(reason(QString()), ENOENT);
    EXPECT_EQ(reason(folder.path()), EISDIR);
    EXPECT_EQ(reason(folder / "a/b"), ENOTDIR);
    EXPECT_EQ(reason(folder / tooLong), ENAMETOOLONG);
    EXPECT_EQ(folder.listing(), "a");
}

TEST(FileWriteText, SeesAFullDiskForSmallAndLargeTexts)
{
    if (!file::exists("/dev/full"))
        GTEST_SKIP() << "no device here that is always full";
    for (const int length : {1, 5000000}) {
        errno = 0;
        EXPECT_FALSE(file::writeText("/dev/full", QString(length, 'x'))) << length;
        EXPECT_EQ(errno, ENOSPC) << length;
    }
}

// GDAL takes UTF-8 whatever the locale is: both have to mean the same file.
TEST_P(FilesInLocale, AreThoseOfGdal)
{
    const InLocale locale({GetParam()});
    if (!locale.known())
        GTEST_SKIP() << "no such locale here";
    const TempFolder folder;
    const QString name = QString::fromUtf8("d\xC3\xA9j\xC3\xA0 \xF0\x9F\x98\x80_1_2.tif");
    ASSERT_TRUE(file::mkdir(folder / name + ".dir"));
    const QString path = folder / name + ".dir/" + name;
    const QByteArray pathForGdal = path.toUtf8();
    ASSERT_TRUE(file::writeText(path, "x"));

    VSIStatBufL status;
    EXPECT_EQ(VSIStatL(pathForGdal.constData(), &status), 0);
    EXPECT_TRUE(file::exists(path));
    EXPECT_EQ(file::find(file::dirname(path), "*" + file::extension(path), true), QStringList(path));
    EXPECT_TRUE(file::samepath(path, folder / "./" + name + ".dir/" + name));
    EXPECT_TRUE(file::remove(path));
    EXPECT_NE(VSIStatL(pathForGdal.constData(), &status), 0);
}

INSTANTIATE_TEST_SUITE_P(All, FilesInLocale, testing::Values("C", "C.UTF-8"),
                         [](const auto& row) { return "Locale" + std::to_string(row.index); });
