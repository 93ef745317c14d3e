#include "companion/sidepaths.h"

#include "companion/file.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

struct PathCase
{
    const char* name;
    const char* path;
    const char* worldFile;
    const char* projectionFile;
};

class SidePaths : public testing::TestWithParam<PathCase>
{};

struct FormatCase
{
    const char* driver;
    const char* file;
};

class WorldFileOf : public testing::TestWithParam<FormatCase>
{};

} // namespace

TEST_P(SidePaths, WorldFileTakesFirstAndLastLetterOfTheExtension)
{
    EXPECT_EQ(vexel::gdal::path2tfw(QString::fromUtf8(GetParam().path)).toStdString(), GetParam().worldFile);
}

TEST_P(SidePaths, ProjectionFileTakesItsOwnExtension)
{
    EXPECT_EQ(vexel::gdal::path2prj(QString::fromUtf8(GetParam().path)).toStdString(),
              GetParam().projectionFile);
}

INSTANTIATE_TEST_SUITE_P(
    All, SidePaths,
    testing::Values(
        PathCase{"Tif", "dir/a.tif", "dir/a.tfw", "dir/a.prj"}, PathCase{"Tiff", "a.tiff", "a.tfw", "a.prj"},
        PathCase{"Jpeg", "a.jpeg", "a.jgw", "a.prj"}, PathCase{"Jpg", "a.jpg", "a.jgw", "a.prj"},
        PathCase{"Png", "/a.png", "/a.pgw", "/a.prj"}, PathCase{"Jp2", "a.jp2", "a.j2w", "a.prj"},
        PathCase{"Upper", "A.TIF", "A.TFW", "A.prj"}, PathCase{"UpperFirst", "a.Tif", "a.Tfw", "a.prj"},
        PathCase{"UpperLast", "a.tiF", "a.tFW", "a.prj"}, PathCase{"TwoLetters", "a.gz", "a.gzw", "a.prj"},
        PathCase{"TwoUpper", "a.GZ", "a.GZW", "a.prj"}, PathCase{"OneLetter", "a.x", "a.xw", "a.prj"},
        PathCase{"OneUpper", "a.X", "a.XW", "a.prj"}, PathCase{"DotOnly", "a.", "a.w", "a.prj"},
        PathCase{"NoExtension", "d.ir/A", "d.ir/Aw", "d.ir/A.prj"},
        PathCase{"HiddenFile", ".tif", ".tifw", ".tif.prj"}, PathCase{"Empty", "", "w", ".prj"},
        PathCase{"DotsInName", "a.b.tif", "a.b.tfw", "a.b.prj"},
        PathCase{"NonAscii", "d\xC3\xA9j\xC3\xA0 vu.tif", "d\xC3\xA9j\xC3\xA0 vu.tfw",
                 "d\xC3\xA9j\xC3\xA0 vu.prj"},
        PathCase{"TwoUnitLetters", "a.\xF0\x9F\x98\x80x\xF0\x9F\x98\x81",
                 "a.\xF0\x9F\x98\x80\xF0\x9F\x98\x81w", "a.prj"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_P(WorldFileOf, IsFoundByGdal)
{
    const TempFolder folder;
    const QString path = folder / GetParam().file;
    rasters::Description description;
    description.driver = GetParam().driver;
    rasters::make(path, description, [](int, int, int) { return 1; });
    ASSERT_TRUE(vexel::file::writeText(vexel::gdal::path2tfw(path), "2\n0\n0\n-2\n101\n199\n"));

    const rasters::Dataset dataset = rasters::open(path);
    ASSERT_TRUE(dataset);
    std::array<double, 6> coefficients{};
    ASSERT_EQ(dataset->GetGeoTransform(coefficients.data()), CE_None);
    // A world file names the centre of the first pixel, half a pixel inside the corner.
    EXPECT_EQ(coefficients, (std::array<double, 6>{100, 2, 0, 200, 0, -2}));
}

INSTANTIATE_TEST_SUITE_P(All, WorldFileOf,
                         testing::Values(FormatCase{"GTiff", "a.tif"}, FormatCase{"GTiff", "a.TIF"},
                                         FormatCase{"PNG", "a.png"}, FormatCase{"JPEG", "a.jpeg"}),
                         [](const auto& row) { return row.param.driver + std::to_string(row.index); });
