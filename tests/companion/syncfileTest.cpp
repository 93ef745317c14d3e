#include "companion/syncfile.h"

#include "support/TempFolder.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

TEST(SyncFile, SucceedsForAFile)
{
    const TempFolder folder;
    makeFile(folder / "a", "text");
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
    makeFile(folder / "new", "new");
    makeFile(folder / "old", "old");
    QString reason;
    EXPECT_TRUE(vexel::file::replace(folder / "new", folder / "old", reason));
    EXPECT_EQ(folder.listing(), "old");
    EXPECT_EQ(fileText(folder / "old"), "new");
    EXPECT_TRUE(vexel::file::replace(folder / "old", folder / "fresh", reason));
    EXPECT_EQ(folder.listing(), "fresh");
    EXPECT_EQ(reason, "");
}

TEST(ReplaceFile, TellsWhyItFailsAndLeavesBoth)
{
    const TempFolder folder;
    makeFile(folder / "new", "new");
    std::filesystem::create_directory((folder / "old").toStdString());
    makeFile(folder / "old/inside", "old");
    QString reason;
    EXPECT_FALSE(vexel::file::replace(folder / "new", folder / "old", reason));
    EXPECT_NE(reason, "");
    EXPECT_FALSE(vexel::file::replace(folder / "none", folder / "other", reason));
    EXPECT_EQ(fileText(folder / "new"), "new");
    EXPECT_EQ(fileText(folder / "old/inside"), "old");
}
