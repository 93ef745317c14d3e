#include "downsamplers/DownsamplerFactory.h"

#include "support/InFolder.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cpl_vsi.h>

#include <filesystem>
#include <functional>
#include <map>
#include <ostream>
#include <stdexcept>
#include <string>

// An output whose writing would cost the input a file is refused before anything is touched.

namespace {

using vexel::DownsamplingStrategy;
using vexel::GdalFileType;

rasters::Description scene()
{
    return downsampling::mapped(30, 20, GDT_Byte);
}

void makeScene(const QString& path)
{
    rasters::make(path, scene(), [](int x, int y, int) { return x + 3 * y; });
}

/// A virtual raster of one file, which it names relative to its own folder.
void makeView(const QString& path, const std::string& source)
{
    makeFile(
        path,
        "<VRTDataset rasterXSize=\"30\" rasterYSize=\"20\"><GeoTransform>0,1,0,0,0,-1</GeoTransform>"
        "<VRTRasterBand dataType=\"Byte\" band=\"1\"><SimpleSource><SourceFilename relativeToVRT=\"1\">" +
            source +
            "</SourceFilename><SourceBand>1</SourceBand>"
            "<SrcRect xOff=\"0\" yOff=\"0\" xSize=\"30\" ySize=\"20\"/>"
            "<DstRect xOff=\"0\" yOff=\"0\" xSize=\"30\" ySize=\"20\"/>"
            "</SimpleSource></VRTRasterBand></VRTDataset>");
}

struct ProtectionCase
{
    const char* name;
    const char* input;
    const char* output;
    std::function<void(const TempFolder&)> make;
};

void PrintTo(const ProtectionCase& c, std::ostream* stream)
{
    *stream << c.name;
}

auto sceneNamed(const char* name)
{
    return [name](const TempFolder& folder) { makeScene(folder / name); };
}

/// All files of a folder, with what is in them.
std::map<std::string, std::string> contents(const TempFolder& folder)
{
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path().toStdString()))
        files[entry.path().filename().string()] = fileText(QString::fromStdString(entry.path().string()));
    return files;
}

/// What refuses a job: an exception, whose text this is, or its step.
std::string refusal(DownsamplingStrategy strategy, const QString& input, const QString& output,
                    GdalFileType type)
{
    try {
        const auto job = vexel::DownsamplerFactory::createDownsampler(strategy, input, output, QString(), 2.0,
                                                                      vexel::ImageAlphaType::NoAlpha, type);
        return downsampling::run(*job) ? "none" : "the step fails";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

class InputProtection : public testing::TestWithParam<ProtectionCase>
{
protected:
    void SetUp() override { GetParam().make(m_folder); }

    const TempFolder m_folder;
    const QString m_input = m_folder / GetParam().input;
    const QString m_output = m_folder / GetParam().output;
};

TEST_P(InputProtection, RefusesTheOutput)
{
    const auto before = contents(m_folder);
    ASSERT_TRUE(rasters::open(m_input)) << "no input";
    for (const auto strategy : {DownsamplingStrategy::Average, DownsamplingStrategy::Gauss})
        EXPECT_EQ(refusal(strategy, m_input, m_output, GdalFileType::SingleFile),
                  "Unable to open output file '" + m_output.toStdString() + "'");
    EXPECT_EQ(refusal(DownsamplingStrategy::Warp, m_input, m_output, GdalFileType::SingleFile),
              "the step fails");
    EXPECT_EQ(contents(m_folder), before);
}

INSTANTIATE_TEST_SUITE_P(
    Files, InputProtection,
    testing::Values(
        ProtectionCase{"Overviews", "scene.tif.ovr", "scene.tif", sceneNamed("scene.tif.ovr")},
        ProtectionCase{"Mask", "scene.tif.msk", "scene.tif", sceneNamed("scene.tif.msk")},
        ProtectionCase{"WorkingFile", "scene.tif_tmp.tif", "scene.tif", sceneNamed("scene.tif_tmp.tif")},
        ProtectionCase{"UnfinishedFile", "scene.tif_new_tmp.tif", "scene.tif",
                       sceneNamed("scene.tif_new_tmp.tif")},
        ProtectionCase{"OverviewsOfTheWorkingFile", "scene.tif_tmp.tif.ovr", "scene.tif",
                       sceneNamed("scene.tif_tmp.tif.ovr")},
        ProtectionCase{"WorldFile", "scene.tiff", "scene.tif",
                       [](const TempFolder& folder) {
                           rasters::Description plain = scene();
                           plain.geotransform.reset();
                           rasters::make(folder / "scene.tiff", plain, [](int x, int, int) { return x; });
                           makeFile(folder / "scene.tfw", "1\n0\n0\n-1\n0.5\n-0.5\n");
                       }},
        ProtectionCase{"Statistics", "scene.tif.aux.xml", "scene.tif", sceneNamed("scene.tif.aux.xml")},
        ProtectionCase{"Link", "link.tif", "scene.tif",
                       [](const TempFolder& folder) {
                           makeScene(folder / "scene.tif");
                           std::filesystem::create_symlink("scene.tif", (folder / "link.tif").toStdString());
                       }},
        ProtectionCase{"SourceOfAView", "view.vrt", "scene.tif",
                       [](const TempFolder& folder) {
                           makeScene(folder / "scene.tif");
                           makeView(folder / "view.vrt", "scene.tif");
                       }},
        ProtectionCase{"SourceOfAViewOfAView", "far.vrt", "scene.tif",
                       [](const TempFolder& folder) {
                           makeScene(folder / "scene.tif");
                           makeView(folder / "near.vrt", "scene.tif");
                           makeView(folder / "far.vrt", "near.vrt");
                       }},
        ProtectionCase{"BesideASource", "view.vrt", "scene.tif",
                       [](const TempFolder& folder) {
                           makeScene(folder / "scene.tif.ovr");
                           makeView(folder / "view.vrt", "scene.tif.ovr");
                       }}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(InputProtectionOfTiles, RefusesASetThatWouldReplaceThem)
{
    // A tile of the set is the input's source, outside the grid of the new set.
    const TempFolder folder;
    makeScene(folder / "set_7_9.tif");
    makeView(folder / "in_1_1.tif", "set_7_9.tif");
    const auto before = contents(folder);
    EXPECT_EQ(
        refusal(DownsamplingStrategy::Average, folder / "in.tif", folder / "set.tif", GdalFileType::TileSet),
        "Unable to open output file '" + (folder / "set.tif").toStdString() + "'");
    EXPECT_EQ(contents(folder), before);
}

TEST(InputProtectionElsewhere, LetsOutputsBeReplacedThatTheInputDoesNotNeed)
{
    const TempFolder folder;
    makeScene(folder / "scene.tif");
    makeScene(folder / "other.tif");
    for (const char* name : {"other.tif.ovr", "other.tif_tmp.tif", "other.tfw"})
        makeFile(folder / name);
    EXPECT_EQ(refusal(DownsamplingStrategy::Average, folder / "scene.tif", folder / "other.tif",
                      GdalFileType::SingleFile),
              "none");
    EXPECT_EQ(rasters::open(folder / "other.tif")->GetRasterXSize(), 15);
}

} // namespace

TEST(InputInAnArchive, IsProtectedWithTheArchive)
{
    const TempFolder folder;
    const QString archive = folder / "archive.zip";
    makeScene(folder / "scene.tif");
    {
        const std::string scene = fileText(folder / "scene.tif");
        VSILFILE* inside = VSIFOpenL(("/vsizip/" + archive + "/scene.tif").toUtf8().constData(), "wb");
        ASSERT_TRUE(inside);
        EXPECT_EQ(VSIFWriteL(scene.data(), 1, scene.size(), inside), scene.size());
        VSIFCloseL(inside);
    }
    std::filesystem::remove((folder / "scene.tif").toStdString());
    makeView(folder / "view.vrt", "/vsizip/" + archive.toStdString() + "/scene.tif");
    const auto before = contents(folder);

    const QString words = "Unable to open output file '" + archive + "'";
    for (const QString& input :
         {"/vsizip/" + archive + "/scene.tif", "/vsizip/{" + archive + "}/scene.tif",
          QString("/vsisubfile/0,/vsizip/" + archive + "/scene.tif"), folder / "view.vrt"}) {
        ASSERT_TRUE(rasters::open(input)) << input.toStdString();
        EXPECT_EQ(refusal(DownsamplingStrategy::Average, input, archive, GdalFileType::SingleFile),
                  words.toStdString())
            << input.toStdString();
    }
    EXPECT_EQ(contents(folder), before);
}

TEST(InputInMemory, IsNotTakenForAFileOfItsName)
{
    const TempFolder folder;
    const InFolder inside(folder.path());
    makeScene("/vsimem/memory.tif");
    makeFile(folder / "memory.tif");
    EXPECT_EQ(
        refusal(DownsamplingStrategy::Average, "/vsimem/memory.tif", "memory.tif", GdalFileType::SingleFile),
        "none");
    VSIUnlink("/vsimem/memory.tif");
}
