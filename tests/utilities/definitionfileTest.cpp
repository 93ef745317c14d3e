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

TEST(DefinitionForGdal, IsTheAbsolutePath)
{
    const TempFolder folder;
    const InFolder inside(folder.path());
    for (const char* path : {"a.prj", "proj/a.prj", "c++/a.prj", "./EPSG:4326.prj", "../a.prj", "init.prj"})
        EXPECT_EQ(definitionForGdal(path, "WKT"), folder / path);
    for (const char* path : {"/a.prj", "/x/y z/a.prj", "/x/../EPSG:4326.prj", "/link//./a.prj"})
        EXPECT_EQ(definitionForGdal(path, "WKT"), path);
}

TEST(DefinitionForGdal, IsTheContentWhereGdalTakesAnyPathForAReference)
{
    const TempFolder folder;
    std::filesystem::create_directory((folder / "c++projects").toStdString());
    for (const char* path : {"c++projects/a.prj", "/x+init/a.prj", "+proj.prj"})
        EXPECT_EQ(definitionForGdal(path, "WKT"), "WKT") << path;
    const InFolder inside(folder / "c++projects");
    EXPECT_EQ(definitionForGdal("a.prj", "WKT"), "WKT");
}

TEST(DefinitionForGdal, IsTheContentWhereNoTextNamesTheFile)
{
    const TempFolder folder;
    const std::string notUtf8 = folder.path().toStdString() + "/\xFF";
    std::filesystem::create_directory(notUtf8);
    {
        const InFolder inside(folder.path());
        std::filesystem::current_path(notUtf8);
        EXPECT_EQ(definitionForGdal("a.prj", "WKT"), "WKT");
    }
    const QString gone = folder / "gone";
    std::filesystem::create_directory(gone.toStdString());
    const InFolder inside(folder.path());
    std::filesystem::current_path(gone.toStdString());
    std::filesystem::remove(gone.toStdString());
    EXPECT_EQ(definitionForGdal("a.prj", "WKT"), "WKT");
}

TEST(DefinitionForGdal, LetsGdalFindTheReferenceWhereverTheFileLies)
{
    const TempFolder folder;
    const std::string wkt = rasters::wkt(32633);
    OGRSpatialReference reference;
    ASSERT_EQ(reference.importFromEPSG(32633), OGRERR_NONE);
    const InFolder inside(folder.path());
    for (const char* name : {"a.prj",
                             "c++projects.prj",
                             "x+init=epsg:4326.prj",
                             "EPSG:4326.prj",
                             "epsg:4326.prj",
                             "EPSG:4326",
                             "PROJCS.prj",
                             "GEOGCRS.prj",
                             "COMPD_CS.prj",
                             "BOUNDCRS.prj",
                             "{a}.prj",
                             "WGS84",
                             "WGS84.prj",
                             "NAD27",
                             "IGNF:x.prj",
                             "urn:x.prj",
                             "AUTO:x.prj",
                             "OGC:x.prj",
                             "CRS:84",
                             "crs:web.prj",
                             "crs:web_src.prj",
                             "DICT:a,b.prj",
                             "ESRI::x.prj",
                             "ESRI:102113",
                             "IAU_2015:49900.prj",
                             "NKG:x.prj",
                             "PROJ:x.prj",
                             "osgb:BNG",
                             "http:a.prj",
                             " a.prj"}) {
        makeFile(name, wkt);
        EXPECT_TRUE(gdalFinds(definitionForGdal(name, QString::fromStdString(wkt)), reference)) << name;
    }
}

TEST(DefinitionForGdal, NamesTheFileThatTheSystemFinds)
{
    // "link/.." is the folder above the one that the link leads to.
    const TempFolder folder;
    const InFolder inside(folder.path());
    std::filesystem::create_directories("far/below");
    std::filesystem::create_directory_symlink("far/below", "link");
    const std::string wkt = rasters::wkt(32633);
    makeFile("far/a.prj", wkt);
    makeFile("a.prj", rasters::wkt(4326));
    OGRSpatialReference reference;
    ASSERT_EQ(reference.importFromEPSG(32633), OGRERR_NONE);
    EXPECT_TRUE(gdalFinds(definitionForGdal("link/../a.prj", QString::fromStdString(wkt)), reference));
}
