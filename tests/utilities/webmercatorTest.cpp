#include "utilities/webmercator.h"

#include "streaming/GDALMutex.h"
#include "streaming/streamingsupport.h"
#include "support/GdalOption.h"
#include "support/InFolder.h"
#include "support/TempFolder.h"
#include "support/exampledata.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"

#include <QDir>

#include <cpl_conv.h>
#include <cpl_error.h>
#include <gtest/gtest.h>
#include <ogr_spatialref.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <future>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

using namespace streamingtest;
using vexel::gdal::warpToGoogle;

namespace {

const std::string webMercator =
    "+proj=merc +a=6378137 +b=6378137 +lat_ts=0.0 +lon_0=0.0 +x_0=0.0 +y_0=0 +k=1.0 "
    "+units=m +nadgrids=@null +no_defs";
constexpr double radius = 6378137.0;
constexpr double pi = 3.14159265358979323846;

const std::string utm16 = "+proj=utm +zone=16 +datum=WGS84 +units=m +no_defs";

/// A piece of the northern Alps in degrees, longitude first: 60 by 40 pixels of a hundredth degree.
void makeGeographic(const QString& path)
{
    rasters::Description d{60, 40, 2, GDT_UInt16};
    d.geotransform = std::array<double, 6>{10.0, 0.01, 0, 47.5, 0, -0.01};
    rasters::make(path, d, storedNoise<unsigned short>());
}

using Coefficients = std::array<double, 6>;

Coefficients geotransformOf(GDALDataset& dataset)
{
    Coefficients coefficients{};
    if (dataset.GetGeoTransform(coefficients.data()) != CE_None)
        throw std::runtime_error("no geotransform");
    return coefficients;
}

void expectSameRaster(const QString& expectedPath, const QString& actualPath)
{
    const rasters::Dataset expected = rasters::open(expectedPath);
    const rasters::Dataset actual = rasters::open(actualPath);
    ASSERT_TRUE(expected && actual);
    EXPECT_EQ(actual->GetDriver(), expected->GetDriver());
    ASSERT_EQ(actual->GetRasterXSize(), expected->GetRasterXSize());
    ASSERT_EQ(actual->GetRasterYSize(), expected->GetRasterYSize());
    ASSERT_EQ(actual->GetRasterCount(), expected->GetRasterCount());
    EXPECT_EQ(geotransformOf(*actual), geotransformOf(*expected));
    EXPECT_STREQ(actual->GetProjectionRef(), expected->GetProjectionRef());
    for (int band = 1; band <= expected->GetRasterCount(); ++band) {
        EXPECT_EQ(actual->GetRasterBand(band)->GetRasterDataType(),
                  expected->GetRasterBand(band)->GetRasterDataType());
        int hasNoData[2] = {};
        const double noData = expected->GetRasterBand(band)->GetNoDataValue(&hasNoData[0]);
        EXPECT_EQ(actual->GetRasterBand(band)->GetNoDataValue(&hasNoData[1]), noData);
        EXPECT_EQ(hasNoData[1], hasNoData[0]);
        EXPECT_TRUE(rasters::pixels(actualPath, band) == rasters::pixels(expectedPath, band))
            << "band " << band;
    }
}

/// West, south, east and north edge.
struct Extent
{
    double west = std::numeric_limits<double>::max();
    double south = std::numeric_limits<double>::max();
    double east = std::numeric_limits<double>::lowest();
    double north = std::numeric_limits<double>::lowest();

    void add(double x, double y)
    {
        west = std::min(west, x);
        south = std::min(south, y);
        east = std::max(east, x);
        north = std::max(north, y);
    }
};

/// Positions along the edge of a raster, as lines of text.
std::string edgeOf(const QString& path)
{
    const rasters::Dataset dataset = rasters::open(path);
    const Coefficients g = geotransformOf(*dataset);
    const int columns = dataset->GetRasterXSize();
    const int rows = dataset->GetRasterYSize();
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::setprecision(17);
    constexpr int steps = 20;
    for (int i = 0; i <= steps; ++i) {
        const double x = g[0] + g[1] * columns * i / steps;
        const double y = g[3] + g[5] * rows * i / steps;
        text << x << ' ' << g[3] << '\n' << x << ' ' << g[3] + g[5] * rows << '\n';
        text << g[0] << ' ' << y << '\n' << g[0] + g[1] * columns << ' ' << y << '\n';
    }
    return text.str();
}

/// Where GDAL's own utility takes these positions.
Extent transformed(const std::string& positions, const std::string& sourceSrs)
{
    std::istringstream result(
        rasters::run({"sh", "-c", "printf '%s' \"$1\" | gdaltransform -s_srs \"$2\" -t_srs \"$3\"", "sh",
                      positions, sourceSrs, webMercator}));
    result.imbue(std::locale::classic());
    Extent extent;
    double x = 0;
    double y = 0;
    double z = 0;
    while (result >> x >> y >> z)
        extent.add(x, y);
    return extent;
}

void expectExtentToAPixel(const QString& path, const Extent& expected)
{
    const rasters::Dataset dataset = rasters::open(path);
    ASSERT_TRUE(dataset);
    const Coefficients g = geotransformOf(*dataset);
    const double pixel = g[1];
    EXPECT_GT(pixel, 0);
    EXPECT_EQ(g[5], -pixel);
    EXPECT_NEAR(g[0], expected.west, pixel);
    EXPECT_NEAR(g[3], expected.north, pixel);
    EXPECT_NEAR(g[0] + pixel * dataset->GetRasterXSize(), expected.east, pixel);
    EXPECT_NEAR(g[3] - pixel * dataset->GetRasterYSize(), expected.south, pixel);
}

/// Calls a function with each of GDAL's messages of this thread, those meant for developers included.
struct MessageHook
{
    explicit MessageHook(GdalHandler::Function function) : m_handler(std::move(function)) {}

private:
    GdalOption m_debug{"CPL_DEBUG", "ON"};
    GdalHandler m_handler;
};

/// Does something when GDAL closes a dataset of that name, which for an output is after it has been written.
GdalHandler::Function whenClosed(const char* name, std::function<void()> action)
{
    return [=](CPLErr level, const std::string& text) {
        if (level == CE_Debug && text.find("GDALClose") != std::string::npos &&
            text.find(name) != std::string::npos)
            action();
    };
}

/// Throws nothing, which GDAL's destructors could not bear.
std::string textOf(const QString& path)
{
    return exists(path) ? fileText(path) : "no file";
}

void removeFile(const QString& path)
{
    EXPECT_TRUE(std::filesystem::remove(path.toStdString())) << path.toStdString();
}

struct SourceCase
{
    const char* name;
    const char* file; ///< of the example data; null for the raster in degrees
    int epsg;         ///< whose WKT is used; 0 for `proj`
    const char* proj;
};

} // namespace

class WebMercatorSource : public testing::TestWithParam<SourceCase>
{
protected:
    void SetUp() override
    {
        const SourceCase& row = GetParam();
        m_srs = row.epsg ? rasters::wkt(row.epsg) : row.proj;
        if (row.file) {
            m_input = exampleData(row.file);
        } else {
            m_input = m_folder / "degrees.tif";
            makeGeographic(m_input);
        }
    }

    const TempFolder m_folder;
    QString m_input;
    std::string m_srs;
};

TEST_P(WebMercatorSource, GivesWhatGdalsUtilityGives)
{
    const QString output = m_folder / "web.tif";
    ASSERT_TRUE(warpToGoogle(m_input, output, QString::fromStdString(m_srs)));

    makeFile(m_folder / "source.prj", m_srs);
    makeFile(m_folder / "target.prj", webMercator);
    const QString expected = m_folder / "expected.tif";
    rasters::run({"gdalwarp", "-q", "-multi", "-overwrite", "-s_srs", (m_folder / "source.prj").toStdString(),
                  "-t_srs", (m_folder / "target.prj").toStdString(), m_input.toStdString(),
                  expected.toStdString()});
    expectSameRaster(expected, output);
}

TEST_P(WebMercatorSource, LiesWhereGdaltransformPutsItsEdges)
{
    const QString output = m_folder / "web.tif";
    ASSERT_TRUE(warpToGoogle(m_input, output, QString::fromStdString(m_srs)));
    expectExtentToAPixel(output, transformed(edgeOf(m_input), m_srs));
}

INSTANTIATE_TEST_SUITE_P(
    Sources, WebMercatorSource,
    testing::Values(SourceCase{"ElevationByWkt", "jacksboro_dem_utm_f32.tif", 32616, nullptr},
                    SourceCase{"ElevationByProj4", "jacksboro_dem_utm_f32.tif", 0, utm16.c_str()},
                    SourceCase{"ColourWithAlpha", "naip_washington_rgba.tif", 26918, nullptr},
                    SourceCase{"DegreesOfAReferenceWithLatitudeFirst", nullptr, 4326, nullptr},
                    SourceCase{"DegreesByProj4", nullptr, 0, "+proj=longlat +datum=WGS84 +no_defs"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(WarpToGoogle, PutsEastingsBeforeNorthings)
{
    const TempFolder folder;
    makeGeographic(folder / "degrees.tif");
    ASSERT_TRUE(
        warpToGoogle(folder / "degrees.tif", folder / "web.tif", QString::fromStdString(rasters::wkt(4326))));
    // The formulas of the projection on a sphere, at the corners.
    const auto easting = [](double degrees) { return radius * degrees * pi / 180; };
    const auto northing = [](double degrees) {
        return radius * std::log(std::tan(pi / 4 + degrees * pi / 360));
    };
    Extent expected;
    expected.add(easting(10.0), northing(47.5));
    expected.add(easting(10.6), northing(47.1));
    expectExtentToAPixel(folder / "web.tif", expected);
}

TEST(WarpToGoogle, UsesTheGivenReferenceRatherThanTheFiles)
{
    const TempFolder folder;
    rasters::Description d{20, 10};
    d.geotransform = std::array<double, 6>{500000, 10, 0, 5000000, 0, -10};
    d.wkt = rasters::wkt(32616);
    rasters::make(folder / "a.tif", d, storedNoise<unsigned char>());
    const std::string zone33 = "+proj=utm +zone=33 +datum=WGS84 +units=m +no_defs";
    ASSERT_TRUE(warpToGoogle(folder / "a.tif", folder / "web.tif", QString::fromStdString(zone33)));
    expectExtentToAPixel(folder / "web.tif", transformed(edgeOf(folder / "a.tif"), zone33));
}

TEST(WarpToGoogle, StatesTheSphericalReference)
{
    const TempFolder folder;
    makeGeographic(folder / "degrees.tif");
    ASSERT_TRUE(
        warpToGoogle(folder / "degrees.tif", folder / "web.tif", QString::fromStdString(rasters::wkt(4326))));
    const rasters::Dataset dataset = rasters::open(folder / "web.tif");
    ASSERT_TRUE(dataset);
    const OGRSpatialReference written(dataset->GetProjectionRef());
    EXPECT_TRUE(written.IsProjected());
    EXPECT_EQ(written.GetSemiMajor(), radius);
    EXPECT_EQ(written.GetLinearUnits(), 1.0);
}

TEST(WarpToGoogle, RemovesItsTwoFiles)
{
    const TempFolder folder;
    ASSERT_TRUE(warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.tif", utm16.c_str()));
    EXPECT_EQ(folder.listing(), "web.tif");
}

TEST(WarpToGoogle, ReplacesAnExistingOutput)
{
    const TempFolder folder;
    rasters::make(folder / "web.tif", {1000, 1000, 5, GDT_Float64}, [](int, int, int) { return 1.0; });
    ASSERT_TRUE(warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.tif", utm16.c_str()));
    ASSERT_TRUE(warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "new.tif", utm16.c_str()));
    expectSameRaster(folder / "new.tif", folder / "web.tif");
}

TEST(WarpToGoogle, TakesAnOutputWithoutExtension)
{
    const TempFolder folder;
    QDir().mkdir(folder / "dot.ted");
    ASSERT_TRUE(
        warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "dot.ted/web", utm16.c_str()));
    EXPECT_EQ(folder.listing(), "dot.ted");
    EXPECT_TRUE(std::filesystem::remove((folder / "dot.ted/web").toStdString()));
    EXPECT_TRUE(std::filesystem::is_empty((folder / "dot.ted").toStdString()));
}

TEST(WarpToGoogle, TakesAnOutputWhoseNameLooksLikeAReference)
{
    const TempFolder folder;
    const QString input = exampleData("jacksboro_dem_utm_f32.tif");
    ASSERT_TRUE(warpToGoogle(input, folder / "plain.tif", utm16.c_str()));
    const InFolder inside(folder.path());
    for (const char* output : {"web.tif", "crs:web.tif", "DICT:a,b.tif", "PROJCS.tif", "c++projects.tif",
                               "x+init=epsg:4326.tif"}) {
        SCOPED_TRACE(output);
        EXPECT_TRUE(warpToGoogle(input, output, utm16.c_str()));
        expectSameRaster(folder / "plain.tif", folder / output);
        std::filesystem::remove(output);
    }
    EXPECT_EQ(folder.listing(), "plain.tif");
}

TEST(WarpToGoogle, RefusesAReferenceThatGdalRefuses)
{
    const TempFolder folder;
    makeFile(folder / "web.tif", "earlier");
    for (const char* srs : {"", "no reference", "+proj=nothing", "PROJCS[\"broken"}) {
        const QuietGdal quiet;
        EXPECT_FALSE(warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.tif", srs)) << srs;
        EXPECT_EQ(folder.listing(), "web.tif") << srs;
        EXPECT_EQ(fileText(folder / "web.tif"), "earlier") << srs;
    }
}

TEST(WarpToGoogle, RefusesAFolderThatIsNotThere)
{
    const TempFolder folder;
    const QuietGdal quiet;
    EXPECT_FALSE(
        warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "none/web.tif", utm16.c_str()));
    EXPECT_EQ(folder.listing(), "");
}

TEST(WarpToGoogle, DoesNotTellOfAMissingInput)
{
    const TempFolder folder;
    const QuietGdal quiet;
    EXPECT_TRUE(warpToGoogle(folder / "none.tif", folder / "web.tif", utm16.c_str()));
    EXPECT_EQ(folder.listing(), "");
}

TEST(WarpToGoogle, DoesNotTellOfAWarpThatFails)
{
    const TempFolder folder;
    QDir().mkdir(folder / "web.tif");
    makeFile(folder / "web.tif/occupant");
    const QuietGdal quiet;
    EXPECT_TRUE(warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.tif", utm16.c_str()));
    EXPECT_EQ(folder.listing(), "web.tif");
    EXPECT_EQ(fileText(folder / "web.tif/occupant"), "stale");
}

TEST(WarpToGoogle, ClosesWhatItOpened)
{
    const TempFolder folder;
    const int before = rasters::openDatasets();
    const QuietGdal quiet;
    EXPECT_TRUE(warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.tif", utm16.c_str()));
    EXPECT_EQ(rasters::openDatasets(), before);
    EXPECT_FALSE(warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.tif", "nothing"));
    EXPECT_EQ(rasters::openDatasets(), before);
}

TEST(WarpToGoogle, LogsNothingItself)
{
    const TempFolder folder;
    const OwnMessages messages;
    EXPECT_TRUE(warpToGoogle(folder / "none.tif", folder / "web.tif", utm16.c_str()));
    EXPECT_FALSE(warpToGoogle(folder / "none.tif", folder / "web.tif", "nothing"));
    EXPECT_EQ(messages.text(), "");
}

TEST(WarpToGoogle, HandsTheReferencesOverInTwoFiles)
{
    const TempFolder folder;
    const std::string srs = utm16 + "\n +title=\xC3\x9C\x62ung\n";
    int closed = 0;
    {
        const MessageHook hook(whenClosed("jacksboro", [&] {
            ++closed;
            EXPECT_EQ(folder.listing(), "web.v2.tif web.v2_dst.prj web.v2_src.prj");
            EXPECT_EQ(textOf(folder / "web.v2_src.prj"), srs);
            EXPECT_EQ(textOf(folder / "web.v2_dst.prj"), webMercator);
        }));
        EXPECT_TRUE(warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.v2.tif",
                                 QString::fromStdString(srs)));
    }
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(folder.listing(), "web.v2.tif");
}

TEST(WarpToGoogle, IsFalseIfTheSourceReferenceCannotBeRemoved)
{
    const TempFolder folder;
    {
        const MessageHook hook(whenClosed("web.tif", [&] { removeFile(folder / "web_src.prj"); }));
        EXPECT_FALSE(
            warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.tif", utm16.c_str()));
    }
    // The other file is then left alone, and the warp is whole.
    EXPECT_EQ(folder.listing(), "web.tif web_dst.prj");
    ASSERT_TRUE(warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "new.tif", utm16.c_str()));
    expectSameRaster(folder / "new.tif", folder / "web.tif");
}

TEST(WarpToGoogle, IsFalseIfTheTargetReferenceCannotBeRemoved)
{
    const TempFolder folder;
    {
        const MessageHook hook(whenClosed("web.tif", [&] { removeFile(folder / "web_dst.prj"); }));
        EXPECT_FALSE(
            warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.tif", utm16.c_str()));
    }
    EXPECT_EQ(folder.listing(), "web.tif");
}

/// Calls it with an error handler that throws `failure` for the input that is missing.
template <class Exception>
void expectLeavesItsFilesAfter(const Exception& failure)
{
    const TempFolder folder;
    {
        const MessageHook hook([&](CPLErr level, const std::string&) {
            if (level == CE_Failure)
                throw failure;
        });
        EXPECT_FALSE(warpToGoogle(folder / "none.tif", folder / "web.tif", utm16.c_str()));
    }
    EXPECT_EQ(folder.listing(), "web_dst.prj web_src.prj");
    EXPECT_EQ(fileText(folder / "web_src.prj"), utm16);
    EXPECT_EQ(fileText(folder / "web_dst.prj"), webMercator);
    EXPECT_EQ(webMercator.size(), 112u);
}

TEST(WarpToGoogle, LeavesItsFilesAfterAStandardException)
{
    expectLeavesItsFilesAfter(std::runtime_error("raised by the error handler"));
}

TEST(WarpToGoogle, LeavesItsFilesAfterAnyOtherException)
{
    expectLeavesItsFilesAfter(42);
}

TEST(WarpToGoogle, WorksAgainAfterAnException)
{
    expectLeavesItsFilesAfter(42);
    const TempFolder folder;
    EXPECT_TRUE(warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.tif", utm16.c_str()));
    EXPECT_EQ(folder.listing(), "web.tif");
}

TEST(WarpToGoogle, HoldsTheGdalLockUntilItsFilesAreGone)
{
    const TempFolder folder;
    std::string seen;
    std::atomic<bool> entered = false;
    std::future<void> other;
    const auto startOther = [&] {
        std::promise<void> atTheLock;
        other = std::async(std::launch::async, [&] {
            atTheLock.set_value();
            const vexel::GDALMutex lock;
            entered = true;
            seen = folder.listing();
        });
        atTheLock.get_future().wait();
        // Every chance to get past a lock that does not hold it.
        for (int i = 0; i < 2000 && !entered; ++i)
            std::this_thread::yield();
        EXPECT_FALSE(entered);
    };
    {
        const MessageHook hook(whenClosed("web.tif", startOther));
        EXPECT_TRUE(
            warpToGoogle(exampleData("jacksboro_dem_utm_f32.tif"), folder / "web.tif", utm16.c_str()));
    }
    ASSERT_TRUE(other.valid());
    other.get();
    EXPECT_EQ(seen, "web.tif");
}
