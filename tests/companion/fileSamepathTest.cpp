#include "companion/file.h"

#include "companion/nativepath.h"

#include "filefixtures.h"
#include "support/InFolder.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#ifndef _WIN32
#include <sys/stat.h>
#endif

using namespace filetest;
namespace fs = std::filesystem;

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
