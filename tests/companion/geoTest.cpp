#include "companion/geo.h"

#include <cpl_error.h>
#include <gdal_version.h>
#include <gtest/gtest.h>

#include <string>

namespace {

#define GEOGRAPHIC                                                                                           \
    "GEOGCS[\"WGS 84\",DATUM[\"WGS_1984\",SPHEROID[\"WGS 84\",6378137,298.257223563]],"                      \
    "PRIMEM[\"Greenwich\",0],UNIT[\"degree\",0.0174532925199433]]"
#define PROJECTED                                                                                               \
    "PROJCS[\"WGS 84 / UTM zone 32N\"," GEOGRAPHIC ",PROJECTION[\"Transverse_Mercator\"],"                      \
    "PARAMETER[\"latitude_of_origin\",0],PARAMETER[\"central_meridian\",9],PARAMETER[\"scale_factor\",0.9996]," \
    "PARAMETER[\"false_easting\",500000],PARAMETER[\"false_northing\",0],UNIT[\"metre\",1]]"
#define VERTICAL "VERT_CS[\"height\",VERT_DATUM[\"sea level\",2005],UNIT[\"metre\",1],AXIS[\"Up\",UP]]"
#define LOCAL                                                                                                \
    "LOCAL_CS[\"site\",LOCAL_DATUM[\"site\",0],UNIT[\"metre\",1],AXIS[\"Easting\",EAST],AXIS[\"Northing\",NORTH]]"

struct WktCase
{
    const char* name;
    const char* wkt;
    bool standard;
};

const WktCase wktCases[] = {
    {"Geographic", GEOGRAPHIC, true},
    {"Projected", PROJECTED, true},
    {"Geocentric",
     "GEOCCS[\"WGS 84\",DATUM[\"WGS_1984\",SPHEROID[\"WGS 84\",6378137,298.257223563]],"
     "PRIMEM[\"Greenwich\",0],UNIT[\"metre\",1],AXIS[\"Geocentric X\",OTHER],AXIS[\"Geocentric Y\",OTHER],"
     "AXIS[\"Geocentric Z\",NORTH]]",
     true},
    {"ProjectedWithHeight", "COMPD_CS[\"both\"," PROJECTED "," VERTICAL "]", true},
    {"GeographicWithHeight", "COMPD_CS[\"both\"," GEOGRAPHIC "," VERTICAL "]", true},
    {"NonAsciiName",
     "GEOGCS[\"Z\xC3\xBCrich\",DATUM[\"WGS_1984\",SPHEROID[\"WGS 84\",6378137,298.257223563]],"
     "PRIMEM[\"Greenwich\",0],UNIT[\"degree\",0.0174532925199433]]",
     true},
#if GDAL_VERSION_NUM >= GDAL_COMPUTE_VERSION(3, 0, 0)
    {"LaterWkt",
     "GEOGCRS[\"WGS 84\",DATUM[\"World Geodetic System 1984\",ELLIPSOID[\"WGS 84\",6378137,298.257223563]],"
     "CS[ellipsoidal,2],AXIS[\"latitude\",north],AXIS[\"longitude\",east],ANGLEUNIT[\"degree\",0.0174532925199433]]",
     true},
    {"LaterLocal",
     "ENGCRS[\"site\",EDATUM[\"site\"],CS[Cartesian,2],AXIS[\"x\",east],AXIS[\"y\",north],LENGTHUNIT[\"metre\",1]]",
     false},
#endif
    {"Empty", "", false},
    {"Blank", " \n", false},
    {"Local", LOCAL, false},
    {"LocalWithHeight", "COMPD_CS[\"both\"," LOCAL "," VERTICAL "]", false},
    {"HeightOnly", VERTICAL, false},
    {"Truncated", "GEOGCS[\"WGS 84\",DATUM[\"WGS_1984\"", false},
    {"Code", "EPSG:4326", false},
    {"ProjDefinition", "+proj=longlat +datum=WGS84 +no_defs", false},
    {"Prose", "no coordinate system", false},
    {"Brackets", "[[[\"", false},
};

class StandardWkt : public testing::TestWithParam<WktCase>
{};

int messages = 0;

void count(CPLErr, int, const char*)
{
    ++messages;
}

} // namespace

TEST_P(StandardWkt, IsAWholeSystemOnTheEarth)
{
    EXPECT_EQ(vexel::geo::isStandardWkt(QString::fromUtf8(GetParam().wkt)), GetParam().standard);
}

TEST_P(StandardWkt, IsToldWithoutMessagesOfGdal)
{
    const CPLErrorHandler before = CPLSetErrorHandler(count);
    messages = 0;
    vexel::geo::isStandardWkt(QString::fromUtf8(GetParam().wkt));
    EXPECT_EQ(messages, 0);
    CPLError(CE_Warning, CPLE_AppDefined, "%s", "the application's handler is back");
    EXPECT_EQ(messages, 1);
    CPLSetErrorHandler(before);
}

INSTANTIATE_TEST_SUITE_P(All, StandardWkt, testing::ValuesIn(wktCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(IsStandardWkt, IsFalseForANullText)
{
    EXPECT_FALSE(vexel::geo::isStandardWkt(QString()));
}
