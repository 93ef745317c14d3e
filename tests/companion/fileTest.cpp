#include "companion/file.h"

#include "companion/nativepath.h"

#include "filefixtures.h"
#include "support/InFolder.h"
#include "support/InLocale.h"
#include "support/TempFolder.h"
#include "support/files.h"

#include <cpl_vsi.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

using namespace filetest;
namespace fs = std::filesystem;

namespace {

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
