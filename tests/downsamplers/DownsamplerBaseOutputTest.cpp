#include "downsamplers/DownsamplerBase.h"

#include "basefixtures.h"
#include "support/CustomDownsampler.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"

#include <gtest/gtest.h>
#include <ogr_spatialref.h>

#include <filesystem>
#include <string>
#include <vector>

using namespace downsamplerbasetest;

namespace {

using Values = std::vector<double>;

struct TypeCase
{
    GDALDataType type;
    bool hasNoData;
};

class DownsamplerBasePixelTypes : public testing::TestWithParam<TypeCase>
{};

TEST_P(DownsamplerBasePixelTypes, AreKept)
{
    const TempFolder folder;
    for (const int bands : {1, 2, 3, 4, 6}) {
        rasters::make(folder / "in.tif", downsampling::mapped(6, 4, GetParam().type, bands),
                      [](int x, int y, int band) { return 30 * band + 6 * y + x; });
        downsample(folder / "in.tif", folder / "out.tif", 2.0, last);
        const rasters::Dataset output = rasters::open(folder / "out.tif");
        ASSERT_TRUE(output);
        ASSERT_EQ(output->GetRasterCount(), bands);
        for (int band = 1; band <= bands; ++band) {
            EXPECT_EQ(output->GetRasterBand(band)->GetRasterDataType(), GetParam().type);
            int has = 0;
            const double noData = output->GetRasterBand(band)->GetNoDataValue(&has);
            EXPECT_EQ(has != 0, GetParam().hasNoData);
            EXPECT_EQ(noData == -10000.0, GetParam().hasNoData);
            const double b = 30.0 * band;
            EXPECT_EQ(rasters::pixels(folder / "out.tif", band),
                      (Values{b + 7, b + 9, b + 11, b + 19, b + 21, b + 23}));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Types, DownsamplerBasePixelTypes,
                         testing::Values(TypeCase{GDT_Byte, false}, TypeCase{GDT_UInt16, false},
                                         TypeCase{GDT_Int16, true}, TypeCase{GDT_UInt32, false},
                                         TypeCase{GDT_Int32, true}, TypeCase{GDT_Float32, true},
                                         TypeCase{GDT_Float64, true}),
                         [](const auto& row) { return std::string(GDALGetDataTypeName(row.param.type)); });

void expectGeoreference(const QString& path, int width, int height, double edge)
{
    const rasters::Dataset output = rasters::open(path);
    ASSERT_TRUE(output) << path.toStdString();
    EXPECT_EQ(output->GetRasterXSize(), width);
    EXPECT_EQ(output->GetRasterYSize(), height);
    std::array<double, 6> coefficients{};
    ASSERT_EQ(output->GetGeoTransform(coefficients.data()), CE_None);
    // Exact but for the last digits of products with 1e-5.
    EXPECT_NEAR(coefficients[0], 500000.0, 1e-9);
    EXPECT_NEAR(coefficients[1], edge, 1e-12);
    EXPECT_EQ(coefficients[2], 0.0);
    EXPECT_NEAR(coefficients[3], 4100000.0, 1e-8);
    EXPECT_EQ(coefficients[4], 0.0);
    EXPECT_NEAR(coefficients[5], -edge, 1e-12);
}

TEST(DownsamplerBaseOutput, SingleFileIsGeoreferenced)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(30, 20, GDT_Byte), place);
    downsample(folder / "in.tif", folder / "out.tif", 3.3, first);
    expectGeoreference(folder / "out.tif", 9, 6, 3.3);
    EXPECT_TRUE(std::filesystem::exists((folder / "out.tfw").toStdString()));
    EXPECT_FALSE(std::filesystem::exists((folder / "out.tif_tmp.tif").toStdString()));
}

TEST(DownsamplerBaseOutput, TileSetIsGeoreferenced)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(30, 20, GDT_Byte), 13, 11, place);
    downsample(folder / "in.tif", folder / "out.tif", 3.3, first, asTiles());
    expectGeoreference(folder / "out_1_1.tif", 9, 6, 3.3);
    EXPECT_FALSE(std::filesystem::exists((folder / "out.tif").toStdString()));
}

TEST(DownsamplerBaseOutput, TileSetIsCutInto5000By5000Pixels)
{
    const TempFolder folder;
    const auto value = [](int x, int y, int) { return (x / 2 + 3 * (y / 2)) % 251; };
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(10100, 4, GDT_Byte), 6000, 4, value);
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first, asTiles());
    const Values west = rasters::pixels(folder / "out_1_1.tif");
    const Values east = rasters::pixels(folder / "out_2_1.tif");
    ASSERT_EQ(west.size(), 2u * 5000u);
    ASSERT_EQ(east.size(), 2u * 50u);
    for (std::size_t i = 0; i < 2; ++i) {
        for (std::size_t j = 0; j < 5000; ++j)
            ASSERT_EQ(west[i * 5000 + j], static_cast<double>((j + 3 * i) % 251)) << j;
        for (std::size_t j = 0; j < 50; ++j)
            ASSERT_EQ(east[i * 50 + j], static_cast<double>((5000 + j + 3 * i) % 251)) << j;
    }
    std::array<double, 6> coefficients{};
    ASSERT_EQ(rasters::open(folder / "out_2_1.tif")->GetGeoTransform(coefficients.data()), CE_None);
    EXPECT_NEAR(coefficients[0], 510000.0, 1e-9);
}

TEST(DownsamplerBaseOutput, TileRowsAreCutAt5000Pixels)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(2, 5003, GDT_Byte), 2, 5003,
                            [](int, int y, int) { return y % 251; });
    downsample(folder / "in.tif", folder / "out.tif", 1.0, first, asTiles());
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif").size(), 10000u);
    EXPECT_EQ(rasters::pixels(folder / "out_1_2.tif"),
              (Values{5000 % 251, 5000 % 251, 5001 % 251, 5001 % 251, 5002 % 251, 5002 % 251}));
}

TEST(DownsamplerBaseOutput, SingleFileIsNotCut)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(5100, 1, GDT_Byte), place);
    downsample(folder / "in.tif", folder / "out.tif", 1.0, first);
    EXPECT_EQ(rasters::pixels(folder / "out.tif").size(), 5100u);
}

TEST(DownsamplerBaseOutput, OtherFileTypesAreSingleFiles)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Float32), place);
    DownsamplerSetup setup;
    setup.type = static_cast<GdalFileType>(7);
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first, setup);
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), (Values{0, 2, 2000, 2002}));
}

TEST(DownsamplerBaseOutput, HasTheProjectionGivenAndTheDefaultTags)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Byte), place);
    DownsamplerSetup setup;
    setup.wkt = QString::fromStdString(rasters::wkt(32632));
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first, setup);

    const rasters::Dataset output = rasters::open(folder / "out.tif");
    ASSERT_TRUE(output);
    const OGRSpatialReference system(output->GetProjectionRef());
    ASSERT_NE(system.GetAuthorityCode(nullptr), nullptr);
    EXPECT_STREQ(system.GetAuthorityCode(nullptr), "32632");
    EXPECT_STREQ(output->GetMetadataItem("TIFFTAG_SOFTWARE"), "vexelstudio");
    EXPECT_EQ(output->GetMetadataItem("TIFFTAG_DATETIME"), nullptr);
    EXPECT_EQ(fileText(folder / "out.prj"), rasters::wkt(32632));
}

TEST(DownsamplerBaseOutput, HasNoProjectionUnlessOneIsGiven)
{
    const TempFolder folder;
    rasters::Description description = downsampling::mapped(4, 4, GDT_Byte);
    description.wkt = rasters::wkt(32632);
    rasters::make(folder / "in.tif", description, place);
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first);
    EXPECT_STREQ(rasters::open(folder / "out.tif")->GetProjectionRef(), "");
    EXPECT_FALSE(std::filesystem::exists((folder / "out.prj").toStdString()));
}

TEST(DownsamplerBaseOutput, ReplacesEarlierTilesOfItsName)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), 4, 4, place);
    makeFile(folder / "out_7_9.tif", "earlier");
    makeFile(folder / "outer_7_9.tif", "of another raster");
    downsample(folder / "in.tif", folder / "out.tif", 2.0, first, asTiles());
    EXPECT_FALSE(std::filesystem::exists((folder / "out_7_9.tif").toStdString()));
    EXPECT_TRUE(std::filesystem::exists((folder / "outer_7_9.tif").toStdString()));
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif").size(), 16u);
}

TEST(DownsamplerBaseOutput, MakesItsFolder)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Byte), place);
    downsample(folder / "in.tif", folder / "new/deeper.d/out.tif", 2.0, first);
    EXPECT_EQ(rasters::pixels(folder / "new/deeper.d/out.tif").size(), 4u);
}

TEST(DownsamplerBaseOutput, MayBeAnImageFormat)
{
    const TempFolder folder;
    rasters::Description image;
    image.width = 6;
    image.height = 4;
    image.driver = "PNG";
    rasters::make(folder / "in.png", image, [](int x, int y, int) { return 10 * y + x; });
    downsample(folder / "in.png", folder / "out.png", 2e-5, last);
    EXPECT_EQ(rasters::pixels(folder / "out.png"), (Values{11, 13, 15, 31, 33, 35}));
}

TEST(DownsamplerBaseOutput, WithoutAnyStepThereIsNone)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Byte), place);
    {
        const CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, first);
    }
    EXPECT_EQ(folder.listing(), "in.tif");
}

} // namespace
