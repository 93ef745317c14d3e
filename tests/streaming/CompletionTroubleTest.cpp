#include "streaming/GDALStreamer.h"

#include "rastersetfixtures.h"
#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/files.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <ogr_spatialref.h>

#include <filesystem>
#include <stdexcept>
#include <string>

// What may go wrong round the completion of a file without costing the file.

using namespace streamingtest;
using vexel::PixelMatrix;
using vexel::StreamError;

namespace {

void writeOnes(GDALStreamer& set)
{
    const PixelMatrix<float> ones = PixelMatrix<float>::Ones(set.height(), set.width());
    ASSERT_TRUE(set.write(ones, 1, vexel::PixelBox()));
}

/// The code of the EPSG register that GDAL finds for a raster's reference, or what it has instead.
std::string codeOf(const QString& path)
{
    const rasters::Dataset dataset = rasters::open(path);
    if (!dataset)
        return "no raster";
    OGRSpatialReference reference(dataset->GetProjectionRef());
    const char* code = reference.GetAuthorityCode(nullptr);
    return code ? code : "none";
}

} // namespace

TEST(ProjectionFileThatCannotBeWritten, LeavesTheRasterItsReferenceAndIsTold)
{
    const TempFolder folder;
    std::filesystem::create_directories((folder / "out.prj/full").toStdString());
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "out.tif", 1, DataType::UInt8, pixelFrame(4, 3),
                              QString::fromStdString(rasters::wkt(32633)), "", "", GdalFileType::SingleFile,
                              0, 0));
    writeOnes(set);
    set.close();
    EXPECT_EQ(set.lastError().code, StreamError::Code::CannotComplete);
    EXPECT_EQ(set.lastError().path, folder / "out.tif");
    EXPECT_EQ(set.lastError().text, "The projection file '" + folder / "out.prj" + "' cannot be written");
    EXPECT_EQ(codeOf(folder / "out.tif"), "32633");
    EXPECT_EQ(folder.listing(), "out.prj out.tfw out.tif");
}

TEST(ProjectionFileOfAnother, StaysWhereTheRasterHasNoReference)
{
    const TempFolder folder;
    makeFile(folder / "out.prj", rasters::wkt(32632));
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "out.tif", 1, DataType::UInt8, 4, 3));
    writeOnes(set);
    set.close();
    EXPECT_FALSE(set.lastError());
    EXPECT_EQ(fileText(folder / "out.prj"), rasters::wkt(32632));
    EXPECT_EQ(codeOf(folder / "out.tif"), "none");
}

TEST(HandlerThatThrows, CostsNoRasterThatIsInItsPlace)
{
    const TempFolder folder;
    GDALStreamer set;
    // GDAL warns that a PNG file takes no floats.
    ASSERT_TRUE(set.openWrite(folder / "out.png", 1, DataType::Float32, 4, 3));
    writeOnes(set);
    int calls = 0;
    {
        const GdalHandler handler([&calls](CPLErr, const std::string&) {
            ++calls;
            throw std::runtime_error("of the application");
        });
        EXPECT_NO_THROW(set.close());
    }
    EXPECT_GT(calls, 0) << "GDAL has said nothing";
    EXPECT_FALSE(set.lastError()) << set.lastError().text.toStdString();
    EXPECT_EQ(folder.listing(), "out.png");
    EXPECT_EQ(rasters::pixels(folder / "out.png"), std::vector<double>(12, 1.0));
}
