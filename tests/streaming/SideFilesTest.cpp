#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <cpl_conv.h>

#include <ostream>
#include <string>

// Files beside a raster: GDAL's own, and world files.

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelMatrix;
using vexel::Workspace;

namespace {

/// A configuration option of GDAL that the application sets, for the whole process or for its thread.
class ApplicationsOption
{
public:
    using Set = void CPL_STDCALL (*)(const char*, const char*);

    ApplicationsOption(Set set, const char* value) : m_set(set) { m_set(name, value); }
    ~ApplicationsOption() { m_set(name, nullptr); }
    ApplicationsOption(const ApplicationsOption&) = delete;
    ApplicationsOption& operator=(const ApplicationsOption&) = delete;

    static constexpr const char* name = "GDAL_DISABLE_READDIR_ON_OPEN";

private:
    Set m_set;
};

/// Two tiles that only their world files tell apart.
void makeTilesWithWorldFiles(const TempFolder& folder)
{
    for (const int column : {0, 1}) {
        rasters::make(folder / QString("a_%1_1.tif").arg(column + 1), {16, 8},
                      [](int, int, int) { return 7; });
        makeFile(folder / QString("a_%1_1.tfw").arg(column + 1),
                 "1\n0\n0\n-1\n" + std::to_string(column * 16) + ".5\n7.5\n");
    }
}

bool opensAsTiles(const TempFolder& folder)
{
    GDALStreamer set;
    return set.openRead(folder / "a.tif", GdalFileType::TileSet);
}

} // namespace

TEST(SideFilesOfTiles, AreLookedForAsTheApplicationWants)
{
    const TempFolder folder;
    const QuietGdal quiet;
    makeTilesWithWorldFiles(folder);
    EXPECT_TRUE(opensAsTiles(folder));
    for (const ApplicationsOption::Set set : {&CPLSetConfigOption, &CPLSetThreadLocalConfigOption}) {
        {
            // The application wants GDAL to take folders for empty.
            const ApplicationsOption option(set, "EMPTY_DIR");
            EXPECT_FALSE(opensAsTiles(folder));
            EXPECT_STREQ(CPLGetConfigOption(ApplicationsOption::name, ""), "EMPTY_DIR");
        }
        EXPECT_TRUE(opensAsTiles(folder));
        EXPECT_EQ(CPLGetConfigOption(ApplicationsOption::name, nullptr), nullptr);
    }
}

TEST(SideFilesOfImages, TakeTheirPlaceWithTheImage)
{
    for (const char* name : {"a.png", "a.jpg"}) {
        const TempFolder folder;
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / name, 1, DataType::UInt8, 8, 6));
        ASSERT_TRUE(set.write(PixelMatrix<unsigned char>(PixelMatrix<unsigned char>::Constant(6, 8, 7)), 1,
                              box(0, 0, 8, 6)));
        ASSERT_TRUE(set.open(0));
        ASSERT_EQ(set.data(0)->GetRasterBand(1)->SetMetadataItem("SENSOR", "left"), CE_None);
        set.close();
        EXPECT_FALSE(set.lastError());
        EXPECT_EQ(folder.listing(), std::string(name) + " " + name + ".aux.xml");
        const rasters::Dataset image = rasters::open(folder / name);
        ASSERT_TRUE(image) << name;
        EXPECT_STREQ(image->GetRasterBand(1)->GetMetadataItem("SENSOR"), "left") << name;
    }
}

TEST(SideFilesOfImages, AreNotThereWithoutTheImage)
{
    for (const char* name : {"a.png", "a.jpg"}) {
        const TempFolder folder;
        const OwnMessages messages;
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / name, 1, DataType::UInt8, 8, 6));
        ASSERT_TRUE(set.open(0));
        ASSERT_EQ(set.data(0)->GetRasterBand(1)->SetMetadataItem("SENSOR", "left"), CE_None);
        std::filesystem::create_directories((folder / name + "/full").toStdString());
        set.close();
        EXPECT_TRUE(set.lastError());
        EXPECT_EQ(folder.listing(), name);
    }
}

namespace {

struct WorldFileCase
{
    const char* extension;
    const char* worldExtension;
};

void PrintTo(const WorldFileCase& c, std::ostream* stream)
{
    *stream << c.extension;
}

class WorldFilesOfEarlierTiles : public testing::TestWithParam<WorldFileCase>
{};

} // namespace

TEST_P(WorldFilesOfEarlierTiles, AreRemovedWithThem)
{
    const TempFolder folder;
    const QString extension = GetParam().extension;
    const QString world = GetParam().worldExtension;
    // Of complete tiles, and of one that was cut off while it was written.
    for (const QString& name : {"a_1_1" + extension, "a_2_1" + extension, "a_3_1" + extension + "_tmp.tif"})
        makeFile(folder / name);
    for (const char* name : {"a_1_1", "a_2_1", "a_3_1"})
        for (const QString& ending : {world, QString(".prj")})
            makeFile(folder / name + ending);
    for (const char* other : {"b_1_1", "a", "a_01_1"})
        makeFile(folder / other + world);

    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a" + extension, 1, DataType::UInt8, Workspace(0, 0, 32, 8, 1),
                              QString(), QString(), QString(), GdalFileType::TileSet, 16, 8));
    const std::string ending = world.toStdString();
    EXPECT_EQ(folder.listing(), "a" + ending + " a_01_1" + ending + " b_1_1" + ending);
}

INSTANTIATE_TEST_SUITE_P(Formats, WorldFilesOfEarlierTiles,
                         testing::Values(WorldFileCase{".tif", ".tfw"}, WorldFileCase{".png", ".pgw"},
                                         WorldFileCase{".jpg", ".jgw"}, WorldFileCase{".jpeg", ".jgw"}),
                         [](const auto& row) { return std::string(row.param.extension).substr(1); });
