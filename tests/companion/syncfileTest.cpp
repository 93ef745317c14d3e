#include "companion/syncfile.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

void make(const QString& path, const std::string& text)
{
    std::ofstream(path.toStdString()) << text;
}

std::string textOf(const QString& path)
{
    std::ifstream file(path.toStdString());
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

TEST(SyncFile, SucceedsForAFile)
{
    const TempFolder folder;
    make(folder / "a", "text");
    QString reason;
    EXPECT_TRUE(vexel::file::syncFile(folder / "a", reason));
    EXPECT_EQ(reason, "");
    vexel::file::syncFolder(folder.path());
}

TEST(SyncFile, TellsWhyItFails)
{
    const TempFolder folder;
    QString reason;
    EXPECT_FALSE(vexel::file::syncFile(folder / "none", reason));
    EXPECT_EQ(reason, "No such file or directory");
    vexel::file::syncFolder(folder / "none");
}

TEST(ReplaceFile, TakesThePlaceOfTheOther)
{
    const TempFolder folder;
    make(folder / "new", "new");
    make(folder / "old", "old");
    QString reason;
    EXPECT_TRUE(vexel::file::replace(folder / "new", folder / "old", reason));
    EXPECT_EQ(folder.listing(), "old");
    EXPECT_EQ(textOf(folder / "old"), "new");
    EXPECT_TRUE(vexel::file::replace(folder / "old", folder / "fresh", reason));
    EXPECT_EQ(folder.listing(), "fresh");
    EXPECT_EQ(reason, "");
}

TEST(ReplaceFile, TellsWhyItFailsAndLeavesBoth)
{
    const TempFolder folder;
    make(folder / "new", "new");
    std::filesystem::create_directory((folder / "old").toStdString());
    make(folder / "old/inside", "old");
    QString reason;
    EXPECT_FALSE(vexel::file::replace(folder / "new", folder / "old", reason));
    EXPECT_NE(reason, "");
    EXPECT_FALSE(vexel::file::replace(folder / "none", folder / "other", reason));
    EXPECT_EQ(textOf(folder / "new"), "new");
    EXPECT_EQ(textOf(folder / "old/inside"), "old");
}
