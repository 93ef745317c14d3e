#include "utilities/definitionfile.h"

#include "support/InFolder.h"
#include "support/TempFolder.h"
#include "support/files.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <ogr_spatialref.h>

#include <filesystem>
#include <fstream>
#include <string>

using vexel::gdal::definitionForGdal;

namespace {

/// True if GDAL makes the given reference of what it is handed.
bool gdalFinds(const QString& handedOver, const OGRSpatialReference& reference)
{
    OGRSpatialReference found;
    return found.SetFromUserInput(handedOver.toUtf8().constData()) == OGRERR_NONE &&
           found.IsSame(&reference) != 0;
}

} // namespace

TEST(DefinitionForGdal, IsThePathWhereGdalTakesItForOne)
{
    for (const char* path :
         {"a.prj", "/x/y z/a.prj", "proj/a.prj", "c++/a.prj", "./EPSG:4326.prj", "init.prj"})
        EXPECT_EQ(definitionForGdal(path, "WKT"), path);
}

TEST(DefinitionForGdal, IsTheContentWhereGdalTakesThePathForAReference)
{
    for (const char* path : {"c++projects/a.prj", "/x+init/a.prj", "EPSG:4326.prj", "epsg:4326.prj",
                             "PROJCS.prj", "geogcs_a.prj", "{a}.prj", "http://a.prj", "urn:a.prj"})
        EXPECT_EQ(definitionForGdal(path, "WKT"), "WKT") << path;
}

TEST(DefinitionForGdal, LetsGdalFindTheReferenceWhereverTheFileLies)
{
    const TempFolder folder;
    const std::string wkt = rasters::wkt(32633);
    OGRSpatialReference reference;
    ASSERT_EQ(reference.importFromEPSG(32633), OGRERR_NONE);
    const InFolder inside(folder.path());
    for (const char* name : {"a.prj", "c++projects.prj", "x+init=epsg:4326.prj", "EPSG:4326.prj",
                             "epsg:4326.prj", "PROJCS.prj", "GEOGCRS.prj", "COMPD_CS.prj", "BOUNDCRS.prj",
                             "{a}.prj", "WGS84.prj", "IGNF:x.prj", "urn:x.prj", "AUTO:x.prj", "OGC:x.prj"}) {
        makeFile(name, wkt);
        EXPECT_TRUE(gdalFinds(definitionForGdal(name, QString::fromStdString(wkt)), reference)) << name;
    }
}
