#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <QDir>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using namespace streamingtest;
using vexel::DataType;
using vexel::Workspace;
using File = vexel::GDALStreamer::gdal_t;

namespace {

bool prepare(File& file, const QString& path, DataType type = DataType::UInt8, std::size_t bands = 1)
{
    return file.openWrite(path, bands, type, pixelFrame(4, 3), "", "", "");
}

/// A raster that refuses to be placed anywhere.
class UnplaceableDataset : public GDALDataset
{
public:
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 12, 0)
    CPLErr SetGeoTransform(const GDALGeoTransform&) override
    {
        return CE_Failure;
    }
#else
    CPLErr SetGeoTransform(double*) override
    {
        return CE_Failure;
    }
#endif
};

void registerUnplaceable(const char* name)
{
    auto driver = std::make_unique<GDALDriver>();
    driver->SetDescription(name);
    driver->SetMetadataItem(GDAL_DCAP_RASTER, "YES");
    driver->SetMetadataItem(GDAL_DCAP_CREATE, "YES");
    driver->pfnCreate = [](const char*, int, int, int, GDALDataType, auto) -> GDALDataset* {
        return new UnplaceableDataset;
    };
    GetGDALDriverManager()->RegisterDriver(driver.release());
}

void takeOutDriver(const char* name)
{
    GDALAllRegister();
    GDALDriverManager& drivers = *GetGDALDriverManager();
    const std::unique_ptr<GDALDriver> driver(drivers.GetDriverByName(name));
    drivers.DeregisterDriver(driver.get());
}

// The next two change GDAL's drivers for good: to be run in a process that ends with them.

bool staysPendingWithout(const char* driver, const QString& path)
{
    takeOutDriver(driver);
    File file;
    return prepare(file, path) && !file.reopen() && file.mode == File::WritePending && !file.opened();
}

bool closesWhatCannotBePlaced(const QString& path)
{
    takeOutDriver("GTiff");
    registerUnplaceable("GTiff");
    File file;
    return prepare(file, path) && !file.reopen() && file.mode == File::Closed && !file.opened() &&
           rasters::openDatasets() == 0;
}

/// Creates a file before anybody has registered GDAL's drivers.
bool createsWithoutDrivers()
{
    const TempFolder folder;
    const bool registered = GDALGetDriverCount() != 0;
    File file;
    return !registered && prepare(file, folder / "a.tif") && file.reopen() && file.close() &&
           folder.listing() == "a.tfw a.tif";
}

} // namespace

TEST(RasterFileOpenWrite, TakesOverItsArguments)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(file.openWrite(folder / "a.tif", 5, DataType::Int16, Workspace(10, 20, 50, 80, 10),
                               "some wkt", "2021:03:04 05:06:07", "me"));
    EXPECT_EQ(file.noBands, 5u);
    EXPECT_EQ(file.dtype, DataType::Int16);
    EXPECT_EQ(file.workspace.minx(), 10);
    EXPECT_EQ(file.workspace.miny(), 20);
    EXPECT_EQ(file.workspace.maxx(), 50);
    EXPECT_EQ(file.workspace.maxy(), 80);
    EXPECT_EQ(file.workspace.res(), 10);
    EXPECT_EQ(file.projWKT, "some wkt");
    EXPECT_EQ(file.projTime, "2021:03:04 05:06:07");
    EXPECT_EQ(file.software, "me");
    EXPECT_EQ(file.width(), 4);
    EXPECT_EQ(file.height(), 6);
}

TEST(RasterFileOpenWrite, ReplacesAnEmptySoftwareName)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    EXPECT_EQ(file.software, "vexelstudio");
    EXPECT_TRUE(file.projWKT.isEmpty());
    EXPECT_TRUE(file.projTime.isEmpty());
}

TEST(RasterFileOpenWrite, ColourTypesForceTheBandCount)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif", DataType::RGB, 1));
    EXPECT_EQ(file.noBands, 3u);
    EXPECT_EQ(file.dtype, DataType::RGB);
    ASSERT_TRUE(prepare(file, folder / "a.tif", DataType::RGBA, 1));
    EXPECT_EQ(file.noBands, 4u);
    EXPECT_EQ(file.dtype, DataType::RGBA);
    ASSERT_TRUE(prepare(file, folder / "a.tif", DataType::UInt8, 2));
    EXPECT_EQ(file.noBands, 2u);
}

TEST(RasterFileOpenWrite, LeavesPageCountAndQualityAlone)
{
    const TempFolder folder;
    File file;
    file.noPages = 3;
    file.jpegQuality = 40;
    ASSERT_TRUE(prepare(file, folder / "a.tif"));
    EXPECT_EQ(file.noPages, 3u);
    EXPECT_EQ(file.jpegQuality, 40);
}

TEST(RasterFileOpenWrite, MakesTheFolder)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a/b/c.tif"));
    EXPECT_TRUE(std::filesystem::is_directory((folder / "a/b").toStdString()));
    EXPECT_TRUE(std::filesystem::is_empty((folder / "a/b").toStdString()));
}

TEST(RasterFileOpenWrite, DeletesTargetAndWorkingFileOfBeforeAtOnce)
{
    const TempFolder folder;
    for (const char* name : {"c.tif", "c.tif_tmp.tif", "c.tfw", "c.prj", "d.tif", "c_tmp.tif"})
        makeFile(folder / name);
    File file;
    ASSERT_TRUE(prepare(file, folder / "c.tif"));
    EXPECT_EQ(folder.listing(), "c.prj c.tfw c_tmp.tif d.tif");
}

TEST(RasterFileOpenWrite, TakesARelativePath)
{
    const TempFolder folder;
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(folder.path()));
    {
        File file;
        EXPECT_TRUE(prepare(file, "a.tif"));
        EXPECT_TRUE(file.reopen());
        EXPECT_EQ(folder.listing(), "a.tif_tmp.tif");
    }
    QDir::setCurrent(before);
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
}

namespace {

struct WorkingTypeCase
{
    const char* name;
    DataType type;
    int bands;
    GDALDataType gdal;
    bool noData;
};

void PrintTo(const WorkingTypeCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterFileWorkingDataset : public testing::TestWithParam<WorkingTypeCase>
{};

} // namespace

TEST_P(RasterFileWorkingDataset, HasTypeBandsAndNoData)
{
    const TempFolder folder;
    const WorkingTypeCase& c = GetParam();
    File file;
    ASSERT_TRUE(file.openWrite(folder / "a.tif", 2, c.type, pixelFrame(7, 5), "", "", ""));
    ASSERT_TRUE(file.reopen());
    GDALDataset& dataset = *file.dataset;
    EXPECT_STREQ(dataset.GetDriver()->GetDescription(), "GTiff");
    EXPECT_EQ(dataset.GetRasterXSize(), 7);
    EXPECT_EQ(dataset.GetRasterYSize(), 5);
    ASSERT_EQ(dataset.GetRasterCount(), c.bands);
    EXPECT_EQ(dataset.GetMetadataItem("COMPRESSION", "IMAGE_STRUCTURE"), nullptr);
    for (int band = 1; band <= c.bands; ++band) {
        EXPECT_EQ(dataset.GetRasterBand(band)->GetRasterDataType(), c.gdal);
        int hasNoData = 0;
        const double noData = dataset.GetRasterBand(band)->GetNoDataValue(&hasNoData);
        EXPECT_EQ(hasNoData != 0, c.noData) << "band " << band;
        if (c.noData) {
            EXPECT_EQ(noData, -10000.0);
        }
    }
}

TEST_P(RasterFileWorkingDataset, OfAnImageHasTypeAndBandsOnly)
{
    const TempFolder folder;
    const WorkingTypeCase& c = GetParam();
    File file;
    ASSERT_TRUE(file.openWrite(folder / "a.png", 2, c.type, Workspace(100, 200, 170, 250, 10), "", "", ""));
    ASSERT_TRUE(file.reopen());
    GDALDataset& dataset = *file.dataset;
    EXPECT_STREQ(dataset.GetDriver()->GetDescription(), "MEM");
    EXPECT_EQ(dataset.GetRasterXSize(), 7);
    EXPECT_EQ(dataset.GetRasterYSize(), 5);
    ASSERT_EQ(dataset.GetRasterCount(), c.bands);
    EXPECT_EQ(dataset.GetRasterBand(c.bands)->GetRasterDataType(), c.gdal);
    int hasNoData = 0;
    dataset.GetRasterBand(1)->GetNoDataValue(&hasNoData);
    EXPECT_EQ(hasNoData, 0);
    std::array<double, 6> coefficients{};
    EXPECT_NE(GDALGetGeoTransform(GDALDataset::ToHandle(&dataset), coefficients.data()), CE_None);
    file.mode = File::ReadOnly; // So that nothing is finalised.
}

INSTANTIATE_TEST_SUITE_P(Types, RasterFileWorkingDataset,
                         testing::Values(WorkingTypeCase{"RGB", DataType::RGB, 3, GDT_Byte, false},
                                         WorkingTypeCase{"RGBA", DataType::RGBA, 4, GDT_Byte, false},
                                         WorkingTypeCase{"UInt8", DataType::UInt8, 2, GDT_Byte, false},
                                         WorkingTypeCase{"Int16", DataType::Int16, 2, GDT_Int16, true},
                                         WorkingTypeCase{"Int32", DataType::Int32, 2, GDT_Int32, true},
                                         WorkingTypeCase{"Float32", DataType::Float32, 2, GDT_Float32, true},
                                         WorkingTypeCase{"Float64", DataType::Float64, 2, GDT_Float64, true},
                                         WorkingTypeCase{"UInt16", DataType::UInt16, 2, GDT_UInt16, false},
                                         WorkingTypeCase{"UInt32", DataType::UInt32, 2, GDT_UInt32, false},
                                         WorkingTypeCase{"UInt16Other", DataType::UInt16Other, 2, GDT_UInt16,
                                                         false}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(RasterFileWorkingDataset, IsPlacedByTheWorkspace)
{
    const TempFolder folder;
    File file;
    ASSERT_TRUE(file.openWrite(
        folder / "a.tif", 1, DataType::UInt8,
        Workspace(34567890500, -534567890500, 34567890500 + 4 * 2500, -534567890500 + 3 * 2500, 2500), "", "",
        ""));
    ASSERT_TRUE(file.reopen());
    std::array<double, 6> c{};
    ASSERT_EQ(GDALGetGeoTransform(GDALDataset::ToHandle(file.dataset), c.data()), CE_None);
    EXPECT_DOUBLE_EQ(c[0], 345678.905);
    EXPECT_DOUBLE_EQ(c[1], 0.025);
    EXPECT_EQ(c[2], 0.0);
    EXPECT_DOUBLE_EQ(c[3], 5345678.905);
    EXPECT_EQ(c[4], 0.0);
    EXPECT_DOUBLE_EQ(c[5], -0.025);
}

TEST(RasterFileOfColours, HasTheBandsOfItsTypeWhateverTheirNumberSaysByThen)
{
    const TempFolder folder;
    for (const auto& [type, bands] : {std::pair(DataType::RGB, 3), std::pair(DataType::RGBA, 4)}) {
        File file;
        ASSERT_TRUE(prepare(file, folder / "a.tif", DataType::UInt8, 1));
        file.dtype = type;
        file.noBands = 7;
        ASSERT_TRUE(file.reopen());
        EXPECT_EQ(file.dataset->GetRasterCount(), bands);
        file.discard();
    }
}

class RasterFileUnknownType : public testing::TestWithParam<int>
{};

TEST_P(RasterFileUnknownType, CreatesNothing)
{
    const TempFolder folder;
    const OwnMessages log;
    for (const char* name : {"a.tif", "a.png"}) {
        File file;
        ASSERT_TRUE(prepare(file, folder / name, static_cast<DataType>(GetParam())));
        EXPECT_FALSE(file.reopen());
        EXPECT_FALSE(file.opened());
        EXPECT_EQ(file.mode, File::WritePending);
        EXPECT_TRUE(file.close());
    }
    EXPECT_EQ(folder.listing(), "");
    EXPECT_EQ(log.text(), "");
}

INSTANTIATE_TEST_SUITE_P(Values, RasterFileUnknownType, testing::Values(0, 11, -1));

namespace {

struct BandCountCase
{
    const char* name;
    std::uint64_t bands;
};

void PrintTo(const BandCountCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterFileBandCount : public testing::TestWithParam<BandCountCase>
{};

} // namespace

TEST_P(RasterFileBandCount, ThatNoFileCanHaveCreatesNothing)
{
    const TempFolder folder;
    const OwnMessages log;
    File file;
    ASSERT_TRUE(prepare(file, folder / "a.tif", DataType::UInt8, GetParam().bands));
    EXPECT_FALSE(file.reopen());
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(file.mode, File::WritePending);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(folder.listing(), "");
    EXPECT_EQ(log.text(), "");
}

INSTANTIATE_TEST_SUITE_P(Counts, RasterFileBandCount,
                         testing::Values(BandCountCase{"None", 0}, BandCountCase{"MoreThanTiffCounts", 65536},
                                         BandCountCase{"OneAfter32Bits", (std::uint64_t{1} << 32) + 1},
                                         BandCountCase{"Most", ~std::uint64_t{0}}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(RasterFileReopen, FailsAndStaysPendingWithoutTheFolder)
{
    const TempFolder folder;
    const OwnMessages log;
    File file;
    ASSERT_TRUE(prepare(file, folder / "gone/a.tif"));
    std::filesystem::remove((folder / "gone").toStdString());
    EXPECT_FALSE(file.reopen());
    EXPECT_EQ(file.mode, File::WritePending);
    EXPECT_FALSE(file.opened());
    EXPECT_EQ(log.text(), "");
    std::filesystem::create_directory((folder / "gone").toStdString());
    EXPECT_TRUE(file.reopen());
    EXPECT_EQ(file.mode, File::Written);
}

TEST(RasterFileReopenDeathTest, FailsAndStaysPendingWithoutTheDriver)
{
    const TempFolder folder;
    for (const auto& [driver, name] : {std::pair{"GTiff", "a.tif"}, std::pair{"MEM", "a.png"}}) {
        EXPECT_EXIT(std::exit(staysPendingWithout(driver, folder / name) ? 0 : 1), testing::ExitedWithCode(0),
                    "")
            << driver;
        EXPECT_EQ(folder.listing(), "");
    }
}

TEST(RasterFileReopenDeathTest, ClosesAndReleasesWhatCannotBePlaced)
{
    const TempFolder folder;
    EXPECT_EXIT(std::exit(closesWhatCannotBePlaced(folder / "a.tif") ? 0 : 1), testing::ExitedWithCode(0),
                "");
}

// Started anew, since the other tests register the drivers.
TEST(RasterFileReopen, NeedsNoRegisteredDriversToCreate)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(std::exit(createsWithoutDrivers() ? 0 : 1), testing::ExitedWithCode(0), "");
}
