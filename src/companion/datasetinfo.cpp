#include "companion/datasetinfo.h"

#include <gdal_priv.h>

#include <algorithm>
#include <cstring>

namespace vexel::gdal {

namespace {

// The 64-bit and signed 8-bit integers of later GDAL versions fall under the default, and complex numbers of any size.
DataType dataTypeOf(GDALDataType type)
{
    switch (type) {
    case GDT_Byte:
        return DataType::UInt8;
    case GDT_Int16:
        return DataType::Int16;
    case GDT_UInt16:
        return DataType::UInt16;
    case GDT_Int32:
        return DataType::Int32;
    case GDT_UInt32:
        return DataType::UInt32;
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 11, 0)
    case GDT_Float16: // earlier versions call them floats, as which all versions transfer them
#endif
    case GDT_Float32:
        return DataType::Float32;
    case GDT_Float64:
        return DataType::Float64;
    default:
        return DataType::Unknown;
    }
}

// Each subdataset has a name, SUBDATASET_1_NAME=…, and a description, SUBDATASET_1_DESC=….
bool namesSubdataset(const char* item)
{
    const char* const value = std::strchr(item, '=');
    constexpr std::size_t suffixLength = 5;
    return value && value - item > static_cast<std::ptrdiff_t>(suffixLength) &&
           std::strncmp(value - suffixLength, "_NAME", suffixLength) == 0;
}

} // namespace

DataType getDataType(GDALDataset& dataset)
{
    const int bands = dataset.GetRasterCount();
    if (bands < 1)
        return DataType::Unknown;
    const DataType first = dataTypeOf(dataset.GetRasterBand(1)->GetRasterDataType());
    for (int band = 2; band <= bands; ++band)
        if (dataTypeOf(dataset.GetRasterBand(band)->GetRasterDataType()) != first)
            return DataType::Unknown;
    return first;
}

std::size_t countPages(GDALDataset& dataset)
{
    std::size_t pages = 0;
    const char* const* items = dataset.GetMetadata("SUBDATASETS");
    for (const char* const* item = items; item && *item; ++item)
        pages += namesSubdataset(*item) ? 1 : 0;
    return std::max<std::size_t>(pages, 1);
}

} // namespace vexel::gdal
