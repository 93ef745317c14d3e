#include "companion/datasetinfo.h"

#include "support/GdalOption.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <cpl_conv.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using vexel::DataType;

namespace {

rasters::Dataset inMemory(int bands, GDALDataType type)
{
    if (GetGDALDriverManager()->GetDriverCount() == 0)
        GDALAllRegister();
    return rasters::Dataset(
        GetGDALDriverManager()->GetDriverByName("MEM")->Create("", 2, 2, bands, type, nullptr));
}

struct TypeCase
{
    const char* name;
    GDALDataType stored;
    DataType expected;
};

class DatasetType : public testing::TestWithParam<TypeCase>
{};

const TypeCase typeCases[] = {
    {"Byte", GDT_Byte, DataType::UInt8},
    {"Int16", GDT_Int16, DataType::Int16},
    {"UInt16", GDT_UInt16, DataType::UInt16},
    {"Int32", GDT_Int32, DataType::Int32},
    {"UInt32", GDT_UInt32, DataType::UInt32},
    {"Float32", GDT_Float32, DataType::Float32},
    {"Float64", GDT_Float64, DataType::Float64},
    {"ComplexInt16", GDT_CInt16, DataType::Unknown},
    {"ComplexInt32", GDT_CInt32, DataType::Unknown},
    {"ComplexFloat32", GDT_CFloat32, DataType::Unknown},
    {"ComplexFloat64", GDT_CFloat64, DataType::Unknown},
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 5, 0)
    {"Int64", GDT_Int64, DataType::Unknown},
    {"UInt64", GDT_UInt64, DataType::Unknown},
#endif
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 7, 0)
    {"Int8", GDT_Int8, DataType::Unknown},
#endif
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 11, 0)
    {"Float16", GDT_Float16, DataType::Float32},
    {"ComplexFloat16", GDT_CFloat16, DataType::Unknown},
#endif
};

enum class Extra
{
    None,
    Mask,
    Overviews,
    MaskAndOverviews
};

// Appends a page to the file, or starts it.
void addPage(const QString& path, bool append, int width)
{
    rasters::Description description;
    description.width = width;
    description.height = 64;
    if (append)
        description.options = {"APPEND_SUBDATASET=YES"};
    rasters::make(path, description, [](int x, int y, int) { return x + y; });
}

// Adds what is stored as further images of the file, to its first page.
void addExtra(const QString& path, Extra extra)
{
    const GdalOption maskInFile("GDAL_TIFF_INTERNAL_MASK", "YES");
    const rasters::Dataset dataset = rasters::open(path, true);
    ASSERT_TRUE(dataset);
    if (extra == Extra::Mask || extra == Extra::MaskAndOverviews) {
        ASSERT_EQ(dataset->CreateMaskBand(GMF_PER_DATASET), CE_None);
        ASSERT_EQ(dataset->GetRasterBand(1)->GetMaskBand()->Fill(255), CE_None);
    }
    if (extra == Extra::Overviews || extra == Extra::MaskAndOverviews) {
        int factors[] = {2, 4};
        ASSERT_EQ(dataset->BuildOverviews("NEAREST", 2, factors, 0, nullptr, nullptr, nullptr), CE_None);
    }
}

struct PageCase
{
    const char* name;
    std::size_t pages;
    Extra extra;
};

class DatasetPages : public testing::TestWithParam<PageCase>
{};

} // namespace

TEST_P(DatasetType, IsThatOfTheBands)
{
    for (const int bands : {1, 2, 3, 4, 5}) {
        const rasters::Dataset dataset = inMemory(bands, GetParam().stored);
        ASSERT_TRUE(dataset);
        EXPECT_EQ(vexel::gdal::getDataType(*dataset), GetParam().expected) << bands << " bands";
    }
}

INSTANTIATE_TEST_SUITE_P(All, DatasetType, testing::ValuesIn(typeCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(GetDataType, IsUnknownWithoutBands)
{
    const rasters::Dataset dataset = inMemory(0, GDT_Byte);
    ASSERT_TRUE(dataset);
    EXPECT_EQ(vexel::gdal::getDataType(*dataset), DataType::Unknown);
}

TEST(GetDataType, IsUnknownWhenOneBandDiffers)
{
    for (const GDALDataType odd : {GDT_Int16, GDT_CFloat32}) {
        const rasters::Dataset dataset = inMemory(3, GDT_Byte);
        ASSERT_EQ(dataset->AddBand(odd, nullptr), CE_None);
        EXPECT_EQ(vexel::gdal::getDataType(*dataset), DataType::Unknown) << GDALGetDataTypeName(odd);
    }
}

#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 11, 0)
TEST(GetDataType, OfHalfFloatsAndFloatsIsThatOfFloats)
{
    const rasters::Dataset dataset = inMemory(1, GDT_Float16);
    ASSERT_EQ(dataset->AddBand(GDT_Float32, nullptr), CE_None);
    EXPECT_EQ(vexel::gdal::getDataType(*dataset), DataType::Float32);
}
#endif

TEST(GetDataType, OfAFileIsTheTypeItWasWrittenWith)
{
    const TempFolder folder;
    rasters::Description description;
    description.bands = 3;
    description.type = GDT_UInt16;
    rasters::make(folder / "a.tif", description, [](int, int, int band) { return band; });
    const rasters::Dataset dataset = rasters::open(folder / "a.tif");
    ASSERT_TRUE(dataset);
    EXPECT_EQ(vexel::gdal::getDataType(*dataset), DataType::UInt16);
}

TEST_P(DatasetPages, AreTheMainImagesOfTheFile)
{
    const TempFolder folder;
    const QString path = folder / "pages.tif";
    for (std::size_t page = 0; page < GetParam().pages; ++page)
        addPage(path, page > 0, 64 + static_cast<int>(page));
    if (GetParam().extra != Extra::None) {
        ASSERT_NO_FATAL_FAILURE(addExtra(path, GetParam().extra));
    }

    const rasters::Dataset dataset = rasters::open(path);
    ASSERT_TRUE(dataset);
    const bool hasOverviews =
        GetParam().extra == Extra::Overviews || GetParam().extra == Extra::MaskAndOverviews;
    ASSERT_EQ(dataset->GetRasterBand(1)->GetOverviewCount(), hasOverviews ? 2 : 0);
    const bool hasMask = GetParam().extra == Extra::Mask || GetParam().extra == Extra::MaskAndOverviews;
    ASSERT_EQ(dataset->GetRasterBand(1)->GetMaskFlags(), hasMask ? GMF_PER_DATASET : GMF_ALL_VALID);
    ASSERT_EQ(folder.listing(), "pages.tif");
    EXPECT_EQ(vexel::gdal::countPages(*dataset), GetParam().pages);
}

INSTANTIATE_TEST_SUITE_P(Tiff, DatasetPages,
                         testing::Values(PageCase{"One", 1, Extra::None},
                                         PageCase{"OneWithMask", 1, Extra::Mask},
                                         PageCase{"OneWithOverviews", 1, Extra::Overviews},
                                         PageCase{"OneWithBoth", 1, Extra::MaskAndOverviews},
                                         PageCase{"Two", 2, Extra::None},
                                         PageCase{"TwoWithMask", 2, Extra::Mask},
                                         PageCase{"ThreeWithOverviews", 3, Extra::Overviews},
                                         PageCase{"ThreeWithBoth", 3, Extra::MaskAndOverviews},
                                         PageCase{"Twelve", 12, Extra::None}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(CountPages, IsOneForFormatsWithoutPages)
{
    const TempFolder folder;
    rasters::Description description;
    description.driver = "PNG";
    rasters::make(folder / "a.png", description, [](int, int, int) { return 1; });
    const rasters::Dataset png = rasters::open(folder / "a.png");
    ASSERT_TRUE(png);
    EXPECT_EQ(vexel::gdal::countPages(*png), 1u);
    EXPECT_EQ(vexel::gdal::countPages(*inMemory(1, GDT_Byte)), 1u);
    EXPECT_EQ(vexel::gdal::countPages(*inMemory(0, GDT_Byte)), 1u);
}

TEST(CountPages, CountsNamesOnly)
{
    const rasters::Dataset dataset = inMemory(1, GDT_Byte);
    std::string items[] = {"SUBDATASET_1_NAME=A:1_NAME=x", "SUBDATASET_1_DESC=_NAME=x",
                           "SUBDATASET_7_NAME=", "NAME=z"};
    std::vector<char*> list;
    for (std::string& item : items)
        list.push_back(item.data());
    list.push_back(nullptr);
    ASSERT_EQ(dataset->SetMetadata(list.data(), "SUBDATASETS"), CE_None);
    EXPECT_EQ(vexel::gdal::countPages(*dataset), 2u);
}
