#include "downsamplers/DownsamplerBase.h"

#include "basefixtures.h"
#include "support/CustomDownsampler.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

using namespace downsamplerbasetest;

namespace {

using Values = std::vector<double>;

/// What the constructor throws; empty if it does not.
std::string refusal(const QString& in, const QString& out, double resolution,
                    const DownsamplerSetup& setup = {})
{
    try {
        const CustomDownsampler job(in, out, resolution, first, setup);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

std::string cannotOpen(const char* what, const QString& path)
{
    return "Unable to open " + std::string(what) + " file '" + path.toStdString() + "'";
}

// ---- Inputs that cannot be opened

TEST(DownsamplerBaseFailure, MissingInputIsNamed)
{
    const TempFolder folder;
    makeFile(folder / "out.tif", "earlier");
    const LogCapture quiet;
    EXPECT_EQ(refusal(folder / "none.tif", folder / "out.tif", 2.0),
              cannotOpen("input", folder / "none.tif"));
    EXPECT_EQ(refusal(folder / "none.tif", folder / "out.tif", 2.0, asTiles()),
              cannotOpen("input", folder / "none.tif"));
    EXPECT_EQ(refusal(QString(), folder / "out.tif", 2.0), cannotOpen("input", QString()));
    EXPECT_EQ(refusal(folder.path(), folder / "out.tif", 2.0), cannotOpen("input", folder.path()));
    EXPECT_EQ(fileText(folder / "out.tif"), "earlier");
}

TEST(DownsamplerBaseFailure, InputIsOpenedAsTheFileTypeSays)
{
    const TempFolder folder;
    rasters::make(folder / "single.tif", downsampling::mapped(4, 4, GDT_Byte), place);
    downsampling::makeTiles(folder / "set.tif", downsampling::mapped(4, 4, GDT_Byte), 2, 2, place);
    const LogCapture quiet;
    EXPECT_EQ(refusal(folder / "single.tif", folder / "out.tif", 2.0, asTiles()),
              cannotOpen("input", folder / "single.tif"));
    EXPECT_EQ(refusal(folder / "set.tif", folder / "out.tif", 2.0), cannotOpen("input", folder / "set.tif"));
}

TEST(DownsamplerBaseFailure, IncompleteTileSetCannotBeOpened)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "set.tif", downsampling::mapped(6, 6, GDT_Byte), 2, 2, place);
    std::filesystem::remove((folder / "set_2_2.tif").toStdString());
    const LogCapture quiet;
    EXPECT_EQ(refusal(folder / "set.tif", folder / "out.tif", 2.0, asTiles()),
              cannotOpen("input", folder / "set.tif"));
}

// ---- Outputs that are refused

struct ResolutionCase
{
    const char* name;
    double resolution;
};

class DownsamplerBaseResolution : public testing::TestWithParam<ResolutionCase>
{};

TEST_P(DownsamplerBaseResolution, IsRefusedBeforeAnythingIsDeleted)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(10, 8, GDT_Byte), place);
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(10, 8, GDT_Byte), 10, 8, place);
    for (const char* name :
         {"out.tif", "out.tif_tmp.tif", "out.tfw", "out.prj", "out_1_1.tif", "out_5_5.tif", "out_1_1.tfw"})
        makeFile(folder / name, "earlier");
    const std::string listing = folder.listing();
    const std::string input = fileText(folder / "in.tif");
    const LogCapture quiet;
    for (const GdalFileType type : {GdalFileType::SingleFile, GdalFileType::TileSet})
        for (const int alignment : {0, 1}) {
            DownsamplerSetup setup;
            setup.type = type;
            setup.alignment = alignment;
            EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", GetParam().resolution, setup),
                      cannotOpen("output", folder / "out.tif"));
        }
    EXPECT_EQ(folder.listing(), listing);
    EXPECT_EQ(fileText(folder / "out.tif"), "earlier");
    EXPECT_EQ(fileText(folder / "in.tif"), input);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DownsamplerBaseResolution,
    testing::Values(ResolutionCase{"Nan", std::numeric_limits<double>::quiet_NaN()},
                    ResolutionCase{"Infinite", std::numeric_limits<double>::infinity()},
                    ResolutionCase{"NegativeInfinite", -std::numeric_limits<double>::infinity()},
                    ResolutionCase{"Zero", 0.0}, ResolutionCase{"NegativeZero", -0.0},
                    ResolutionCase{"Negative", -2.0}, ResolutionCase{"LessThanHalfThePixel", 0.4},
                    ResolutionCase{"Tiny", 1e-300},
                    ResolutionCase{"Denormal", std::numeric_limits<double>::denorm_min()},
                    ResolutionCase{"LongerThanTheRaster", 11.0}, ResolutionCase{"Huge", 1e300},
                    ResolutionCase{"Largest", std::numeric_limits<double>::max()}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerBaseFailure, FactorJustBelowOneHalfIsRefused)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(10, 8, GDT_Byte), place);
    EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", std::nextafter(0.5, 0.0)),
              cannotOpen("output", folder / "out.tif"));
    EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", 0.5), "");
}

TEST(DownsamplerBaseFailure, OutputWithoutRowsIsRefused)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(10, 8, GDT_Byte), place);
    EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", 8.5), cannotOpen("output", folder / "out.tif"));
    EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", 8.0), "");
}

TEST(DownsamplerBaseFailure, FirstTileNarrowerThanHalfAnOutputPixelCannotBeAlignedTo)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(30, 30, GDT_Byte), 10, 10, place);
    makeFile(folder / "out_1_1.tif", "earlier");
    DownsamplerSetup aligned = asTiles();
    aligned.alignment = 1;
    EXPECT_EQ(refusal(folder / "in.tif", folder / "out.tif", 20.1, aligned),
              cannotOpen("output", folder / "out.tif"));
    EXPECT_EQ(fileText(folder / "out_1_1.tif"), "earlier");
    EXPECT_EQ(refusal(folder / "in.tif", folder / "other.tif", 20.1, asTiles()), "") << "unaligned";
    EXPECT_EQ(refusal(folder / "in.tif", folder / "another.tif", 20.0, aligned), "") << "just half";
}

TEST(DownsamplerBaseFailure, EmptyOutputPathIsRefused)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(10, 8, GDT_Byte), place);
    EXPECT_EQ(refusal(folder / "in.tif", QString(), 2.0), cannotOpen("output", QString()));
}

/// A raster "in.tif" in a folder "data", to which other paths lead, and the tiles of a set of the same name.
class DownsamplerBaseOverwriting : public testing::Test
{
protected:
    DownsamplerBaseOverwriting()
    {
        std::filesystem::create_directories((m_folder / "data/sub").toStdString());
        std::filesystem::create_directory_symlink((m_folder / "data").toStdString(),
                                                  (m_folder / "link").toStdString());
        rasters::make(input(), downsampling::mapped(10, 8, GDT_Byte), place);
        downsampling::makeTiles(input(), downsampling::mapped(10, 8, GDT_Byte), 5, 8, place);
        m_single = fileText(input());
        m_tile = fileText(m_folder / "data/in_2_1.tif");
    }

    QString input() const { return m_folder / "data/in.tif"; }

    /// Other spellings of `name` in the folder "data".
    std::vector<QString> spellings(const QString& name) const
    {
        const QString relative =
            QString::fromStdString(std::filesystem::relative((m_folder / "data").toStdString()).string());
        return {m_folder / ("data/" + name),        m_folder / ("data/./" + name),
                m_folder / ("data/sub/../" + name), m_folder / ("data//" + name),
                m_folder / ("link/" + name),        relative + "/" + name,
                m_folder / ("link/sub/../" + name)};
    }

    void expectRefused(const QString& in, const QString& out, const DownsamplerSetup& setup = {}) const
    {
        EXPECT_EQ(refusal(in, out, 2.0, setup), cannotOpen("output", out));
        EXPECT_EQ(fileText(input()), m_single) << out.toStdString();
        EXPECT_EQ(fileText(m_folder / "data/in_2_1.tif"), m_tile) << out.toStdString();
    }

    TempFolder m_folder;
    std::string m_single;
    std::string m_tile;
};

TEST_F(DownsamplerBaseOverwriting, TheInputFileIsRefused)
{
    for (const QString& spelling : spellings("in.tif")) {
        expectRefused(input(), spelling);
        expectRefused(spelling, input());
    }
}

TEST_F(DownsamplerBaseOverwriting, TheInputFileThroughALinkIsRefused)
{
    std::filesystem::create_symlink(input().toStdString(), (m_folder / "alias.tif").toStdString());
    expectRefused(input(), m_folder / "alias.tif");
    expectRefused(m_folder / "alias.tif", input());
    expectRefused(m_folder / "alias.tif", m_folder / "alias.tif");
    EXPECT_TRUE(std::filesystem::is_symlink((m_folder / "alias.tif").toStdString()));
}

TEST_F(DownsamplerBaseOverwriting, TheInputByTheWorkingFileIsRefused)
{
    rasters::make(m_folder / "data/ortho.tif_tmp.tif", downsampling::mapped(10, 8, GDT_Byte), place);
    const std::string before = fileText(m_folder / "data/ortho.tif_tmp.tif");
    for (const QString& spelling : spellings("ortho.tif"))
        expectRefused(m_folder / "data/ortho.tif_tmp.tif", spelling);
    EXPECT_EQ(fileText(m_folder / "data/ortho.tif_tmp.tif"), before);
}

TEST_F(DownsamplerBaseOverwriting, TheTilesOfTheInputIsRefused)
{
    for (const QString& spelling : spellings("in.tif")) {
        expectRefused(input(), spelling, asTiles());
        expectRefused(spelling, input(), asTiles());
    }
}

TEST_F(DownsamplerBaseOverwriting, TilesThatTheInputLinksToIsRefused)
{
    for (const char* tile : {"_1_1.tif", "_2_1.tif"})
        std::filesystem::create_symlink((m_folder / (QString("data/in") + tile)).toStdString(),
                                        (m_folder / (QString("alias") + tile)).toStdString());
    expectRefused(m_folder / "alias.tif", input(), asTiles());
    expectRefused(input(), m_folder / "alias.tif", asTiles());
}

TEST_F(DownsamplerBaseOverwriting, AnotherRasterBesideTheInputIsFine)
{
    EXPECT_EQ(refusal(input(), m_folder / "data/in2.tif", 2.0), "");
    EXPECT_EQ(refusal(input(), m_folder / "data/in2.tif", 2.0, asTiles()), "");
    EXPECT_EQ(refusal(input(), m_folder / "data/sub/in.tif", 2.0), "");
    EXPECT_EQ(refusal(input(), m_folder / "data/sub/in.tif", 2.0, asTiles()), "");
    EXPECT_EQ(fileText(input()), m_single);
    EXPECT_EQ(fileText(m_folder / "data/in_2_1.tif"), m_tile);
}

} // namespace
