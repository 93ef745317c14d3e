#include "streaming/GDALStreamer.h"

#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/extents.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"
#include "zoo.h"

#include <cpl_error.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <typeinfo>
#include <vector>

// What GDAL itself says of each raster is what the library has to make of it.

namespace zoo {

// Found by the arguments' namespace: the rows' names are all that there is to show.
void PrintTo(const Specimen& specimen, std::ostream* stream)
{
    *stream << specimen.name;
}

} // namespace zoo

namespace {

using vexel::DataType;
using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;
using vexel::PixelPoint;
using vexel::Workspace;

std::int64_t rounded(double value)
{
    return static_cast<std::int64_t>(value < 0.0 ? value - 0.5 : value + 0.5);
}

/// Where a raster has to lie, by what GDAL says of it.
struct Extent : MapExtent
{
    explicit Extent(GDALDataset& raster)
    {
        const int columns = raster.GetRasterXSize();
        const int rows = raster.GetRasterYSize();
        std::array<double, 6> gt{};
        if (raster.GetGeoTransform(gt.data()) != CE_None) {
            maxx = columns;
            maxy = rows;
            return;
        }
        const double left = gt[1] < 0.0 ? gt[0] + columns * gt[1] : gt[0];
        const double bottom = gt[5] < 0.0 ? gt[3] + rows * gt[5] : gt[3];
        const double top = bottom + rows * std::abs(gt[5]);
        const std::int64_t resX = rounded(std::abs(gt[1]) * 100000.0);
        const std::int64_t resY = rounded(std::abs(gt[5]) * 100000.0);
        minx = rounded(left * 100000.0);
        miny = rounded(top * -100000.0);
        maxx = minx + columns * resX;
        maxy = miny + rows * resY;
        res = std::max<std::int64_t>(resX, 1);
    }

    int width() const { return static_cast<int>((maxx - minx) / res); }
    int height() const { return static_cast<int>((maxy - miny) / res); }
    bool hasPixels() const { return width() > 0 && height() > 0; }
};

/// What is read at a scale.
struct Request
{
    const char* name;
    PixelBox box;    ///< as it is asked for
    PixelBox pixels; ///< what that stands for
    double scale;

    int width() const { return pixels.max_corner().x() - pixels.min_corner().x(); }
    int height() const { return pixels.max_corner().y() - pixels.min_corner().y(); }
    int columns() const { return static_cast<int>(rounded(width() * scale)); }
    int rows() const { return static_cast<int>(rounded(height() * scale)); }
};

std::vector<Request> requestsFor(const Extent& extent)
{
    const PixelBox none(PixelPoint(0, 0), PixelPoint(0, 0));
    const PixelBox whole(PixelPoint(0, 0), PixelPoint(extent.width(), extent.height()));
    const PixelPoint corner(extent.width() / 4, extent.height() / 4);
    const PixelBox middle(corner, PixelPoint(corner.x() + std::max(extent.width() / 2, 1),
                                             corner.y() + std::max(extent.height() / 2, 1)));
    return {{"whole", none, whole, 1.0},
            {"whole at half scale", whole, whole, 0.5},
            {"middle", middle, middle, 1.0},
            {"middle at half scale", middle, middle, 0.5}};
}

/// GDAL's answer to a request for bands: their pixels one below the other; none if it fails.
template <class T>
bool gdalReads(GDALDataset& raster, std::vector<int> bands, GDALDataType type, const Request& request,
               std::vector<T>& pixels)
{
    pixels.resize(bands.size() * static_cast<std::size_t>(request.rows()) *
                  static_cast<std::size_t>(request.columns()));
    const PixelPoint& corner = request.pixels.min_corner();
    return raster.RasterIO(GF_Read, corner.x(), corner.y(), request.width(), request.height(), pixels.data(),
                           request.columns(), request.rows(), type, static_cast<int>(bands.size()),
                           bands.data(), 0, 0, 0, nullptr) == CE_None;
}

template <class T>
bool gdalReads(GDALRasterBand& band, GDALDataType type, const Request& request, std::vector<T>& pixels)
{
    pixels.resize(static_cast<std::size_t>(request.rows()) * static_cast<std::size_t>(request.columns()));
    const PixelPoint& corner = request.pixels.min_corner();
    return band.RasterIO(GF_Read, corner.x(), corner.y(), request.width(), request.height(), pixels.data(),
                         request.columns(), request.rows(), type, 0, 0, nullptr) == CE_None;
}

template <class T>
bool sameBits(const PixelMatrix<T>& pixels, const std::vector<T>& expected)
{
    return pixels.size() == static_cast<Eigen::Index>(expected.size()) &&
           std::memcmp(pixels.data(), expected.data(), expected.size() * sizeof(T)) == 0;
}

/// Compares what the library reads with what GDAL does, both with the same arguments.
template <class T>
void expectSamePixels(const GDALStreamer& set, GDALDataset& raster, GDALDataType type, const Request& request)
{
    PixelMatrix<T> pixels;
    std::vector<T> expected;
    std::vector<int> bands;
    for (int band = raster.GetRasterCount(); band >= 1; --band) {
        SCOPED_TRACE(std::string(request.name) + ", band " + std::to_string(band) + " as " +
                     GDALGetDataTypeName(type) + " of " + typeid(T).name());
        const bool readable = gdalReads(*raster.GetRasterBand(band), type, request, expected);
        ASSERT_EQ(set.read(pixels, static_cast<std::size_t>(band), request.box, request.scale, true, T(7)),
                  readable);
        ASSERT_EQ(pixels.rows(), request.rows());
        ASSERT_EQ(pixels.cols(), request.columns());
        ASSERT_TRUE(!readable || sameBits(pixels, expected));
        bands.push_back(band);
    }
    SCOPED_TRACE(std::string(request.name) + ", all bands as " + GDALGetDataTypeName(type));
    const bool readable = gdalReads(raster, bands, type, request, expected);
    ASSERT_EQ(set.readBands(pixels, bands, request.box, request.scale, true, T(7)), readable);
    EXPECT_TRUE(!readable || sameBits(pixels, expected));
}

void expectSamePixelsOfEveryType(const GDALStreamer& set, GDALDataset& raster, const Request& request)
{
    expectSamePixels<signed char>(set, raster, GDT_Byte, request);
    expectSamePixels<unsigned char>(set, raster, GDT_Byte, request);
    expectSamePixels<short>(set, raster, GDT_Int16, request);
    expectSamePixels<unsigned short>(set, raster, GDT_UInt16, request);
    expectSamePixels<int>(set, raster, GDT_Int32, request);
    expectSamePixels<unsigned int>(set, raster, GDT_UInt32, request);
    expectSamePixels<float>(set, raster, GDT_Float32, request);
    expectSamePixels<double>(set, raster, GDT_Float64, request);
}

class FormatZoo : public testing::TestWithParam<zoo::Specimen>
{};

} // namespace

TEST_P(FormatZoo, IsReadAsGdalReadsIt)
{
    const zoo::Specimen& specimen = GetParam();
    const std::string lacking = zoo::missing(specimen);
    if (!lacking.empty())
        GTEST_SKIP() << "GDAL was built without " << lacking;

    const TempFolder folder;
    const QString path = folder / QString::fromStdString(specimen.file);
    const QuietGdal quiet;
    const LogCapture log;
    specimen.make(path);
    const int openBefore = rasters::openDatasets();
    {
        const rasters::Dataset raster = rasters::open(path);
        ASSERT_TRUE(raster || specimen.bands == 0) << CPLGetLastErrorMsg();
        ASSERT_EQ(raster ? raster->GetRasterCount() : 0, specimen.bands);

        GDALStreamer set;
        const bool opened = set.openRead(path, vexel::GdalFileType::SingleFile);
        ASSERT_EQ(opened, specimen.dtype != DataType::Unknown && Extent(*raster).hasPixels());
        EXPECT_EQ(set.opened(), opened);
        if (opened) {
            const Extent extent(*raster);
            expectExtent(set.workspace(), extent);
            EXPECT_EQ(set.noBands(), static_cast<std::uint64_t>(specimen.bands));
            EXPECT_EQ(set.noPages(), static_cast<std::uint64_t>(specimen.pages));
            EXPECT_EQ(set.dtype(), specimen.dtype);
            for (const Request& request : requestsFor(extent))
                expectSamePixelsOfEveryType(set, *raster, request);
        }
    }
    EXPECT_EQ(rasters::openDatasets(), openBefore);
}

INSTANTIATE_TEST_SUITE_P(Files, FormatZoo, testing::ValuesIn(zoo::specimens()),
                         [](const auto& row) { return row.param.name; });
