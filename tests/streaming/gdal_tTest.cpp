#include "streaming/GDALStreamer.h"

#include "rasterfilefixtures.h"
#include "streamingsupport.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <limits>
#include <ostream>
#include <string>

using namespace streamingtest;
using vexel::PixelBox;
using vexel::Workspace;

TEST(RasterFile, StartsClosedAndEmpty)
{
    const File file;
    EXPECT_TRUE(file.path.isEmpty());
    EXPECT_EQ(file.tmppath, "_tmp.tif");
    EXPECT_EQ(file.dataset, nullptr);
    EXPECT_EQ(file.workspace.mbounds().max_corner().x(), 0);
    EXPECT_EQ(file.workspace.mbounds().max_corner().y(), 0);
    EXPECT_EQ(file.workspace.res(), 1);
    EXPECT_TRUE(file.projWKT.isEmpty());
    EXPECT_TRUE(file.projTime.isEmpty());
    EXPECT_TRUE(file.software.isEmpty());
    EXPECT_EQ(file.noBands, 0u);
    EXPECT_EQ(file.noPages, 0u);
    EXPECT_EQ(file.dtype, DataType::Unknown);
    EXPECT_EQ(file.mode, File::Closed);
    EXPECT_EQ(file.jpegQuality, 95);
    EXPECT_FALSE(file.opened());
}

TEST(RasterFile, ModesHaveTheirNumbers)
{
    EXPECT_EQ(static_cast<int>(File::ReadOnly), 0);
    EXPECT_EQ(static_cast<int>(File::Update), 1);
    EXPECT_EQ(static_cast<int>(File::WritePending), 2);
    EXPECT_EQ(static_cast<int>(File::Written), 3);
    EXPECT_EQ(static_cast<int>(File::Closed), 4);
}

namespace {

struct PathCase
{
    const char* name;
    const char* path;
    const char* tfw;
    const char* prj;
};

void PrintTo(const PathCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterFilePaths : public testing::TestWithParam<PathCase>
{};

} // namespace

TEST_P(RasterFilePaths, FollowFromThePathWhenConstructed)
{
    const PathCase& c = GetParam();
    const File file{QString(c.path)};
    EXPECT_EQ(file.path, c.path);
    EXPECT_EQ(file.tfwpath, c.tfw);
    EXPECT_EQ(file.prjpath, c.prj);
    EXPECT_EQ(file.tmppath, QString(c.path) + "_tmp.tif");
}

TEST_P(RasterFilePaths, FollowFromThePathWhenOpenedForWriting)
{
    const TempFolder folder;
    const PathCase& c = GetParam();
    File file{folder / "other.png"};
    ASSERT_TRUE(prepare(file, folder / c.path));
    EXPECT_EQ(file.path, folder / c.path);
    EXPECT_EQ(file.tfwpath, folder / c.tfw);
    EXPECT_EQ(file.prjpath, folder / c.prj);
    EXPECT_EQ(file.tmppath, (folder / c.path) + "_tmp.tif");
}

TEST_P(RasterFilePaths, OfAReadFileNameTheFileItselfAsWorkingFile)
{
    const TempFolder folder;
    const PathCase& c = GetParam();
    std::filesystem::create_directories((folder / "a.b").toStdString());
    makeByteFile(folder / c.path);
    File file{folder / "other.png"};
    ASSERT_TRUE(file.openRead(folder / c.path, /*readOnly=*/true));
    EXPECT_EQ(file.path, folder / c.path);
    EXPECT_EQ(file.tfwpath, folder / c.tfw);
    EXPECT_EQ(file.prjpath, folder / c.prj);
    EXPECT_EQ(file.tmppath, folder / c.path);
}

INSTANTIATE_TEST_SUITE_P(
    Names, RasterFilePaths,
    testing::Values(PathCase{"Tif", "ortho.tif", "ortho.tfw", "ortho.prj"},
                    PathCase{"Tiff", "ortho.tiff", "ortho.tfw", "ortho.prj"},
                    PathCase{"Odd", "ortho.dat", "ortho.dtw", "ortho.prj"},
                    PathCase{"FolderWithDot", "a.b/ortho.tif", "a.b/ortho.tfw", "a.b/ortho.prj"},
                    PathCase{"NoExtension", "a.b/ortho", "a.b/orthow", "a.b/ortho.prj"},
                    PathCase{"NonAscii", "\xC3\xB6 rtho.tif", "\xC3\xB6 rtho.tfw", "\xC3\xB6 rtho.prj"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(RasterFile, OfAnImageNamesTheImagesWorldFile)
{
    EXPECT_EQ(File("a/b.png").tfwpath, "a/b.pgw");
    EXPECT_EQ(File("a/b.jpg").tfwpath, "a/b.jgw");
    EXPECT_EQ(File("a/b.jpeg").tfwpath, "a/b.jgw");
}

TEST(RasterFileCopy, SharesTheDataset)
{
    const TempFolder folder;
    makeByteFile(folder / "a.tif");
    File file;
    ASSERT_TRUE(file.openRead(folder / "a.tif", /*readOnly=*/true));
    ASSERT_TRUE(file.reopen());
    File copy(file);
    EXPECT_EQ(copy.dataset, file.dataset);
    EXPECT_EQ(copy.mode, File::ReadOnly);
    EXPECT_EQ(copy.path, file.path);
    File assigned;
    assigned = file;
    EXPECT_EQ(assigned.dataset, file.dataset);
    // Each copy would close the dataset.
    copy.dataset = nullptr;
    assigned.dataset = nullptr;
}

TEST(RasterFileCopy, TakesEveryMember)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(file.openWrite(folder / "a.tif", 2, DataType::Int32, Workspace(10, 20, 50, 80, 10), "wkt",
                               "time", "me"));
    file.noPages = 7;
    file.jpegQuality = 33;
    const File copy(file);
    EXPECT_EQ(copy.path, file.path);
    EXPECT_EQ(copy.tfwpath, file.tfwpath);
    EXPECT_EQ(copy.prjpath, file.prjpath);
    EXPECT_EQ(copy.tmppath, file.tmppath);
    EXPECT_EQ(copy.workspace.maxy(), 80);
    EXPECT_EQ(copy.projWKT, "wkt");
    EXPECT_EQ(copy.projTime, "time");
    EXPECT_EQ(copy.software, "me");
    EXPECT_EQ(copy.noBands, 2u);
    EXPECT_EQ(copy.noPages, 7u);
    EXPECT_EQ(copy.dtype, DataType::Int32);
    EXPECT_EQ(copy.mode, File::WritePending);
    EXPECT_EQ(copy.jpegQuality, 33);
}

TEST(RasterFile, SizeIsThatOfTheWorkspaceInWholePixels)
{
    File file;
    EXPECT_EQ(file.width(), 0);
    EXPECT_EQ(file.height(), 0);
    file.workspace = Workspace(100, -50, 100 + 79, -50 + 30, 10);
    EXPECT_EQ(file.width(), 7);
    EXPECT_EQ(file.height(), 3);
}

namespace {

struct ValidCase
{
    const char* name;
    PixelBox box;
    bool valid;
};

void PrintTo(const ValidCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterFileValid : public testing::TestWithParam<ValidCase>
{};

} // namespace

TEST_P(RasterFileValid, MeansInsideTheFile)
{
    File file;
    file.workspace = Workspace(1000, 2000, 1000 + 70, 2000 + 50, 10);
    EXPECT_EQ(file.valid(GetParam().box), GetParam().valid);
}

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int largest = std::numeric_limits<int>::max();
INSTANTIATE_TEST_SUITE_P(Boxes, RasterFileValid,
                         testing::Values(ValidCase{"All", box(0, 0, 7, 5), true},
                                         ValidCase{"Part", box(1, 2, 3, 4), true},
                                         ValidCase{"Empty", box(7, 5, 7, 5), true},
                                         ValidCase{"OneWest", box(-1, 0, 7, 5), false},
                                         ValidCase{"OneNorth", box(0, -1, 7, 5), false},
                                         ValidCase{"OneEast", box(0, 0, 8, 5), false},
                                         ValidCase{"OneSouth", box(0, 0, 7, 6), false},
                                         // Only min against 0 and max against the size are looked at.
                                         ValidCase{"TurnedOver", box(9, 9, 1, 1), true},
                                         ValidCase{"NegativeMax", box(0, 0, -4, -4), true},
                                         ValidCase{"Lowest", box(lowest, lowest, 1, 1), false},
                                         ValidCase{"Largest", box(0, 0, largest, largest), false}),
                         [](const auto& row) { return std::string(row.param.name); });
