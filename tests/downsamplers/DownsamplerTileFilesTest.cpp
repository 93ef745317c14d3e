#include "costfixtures.h"
#include "downsamplers/DownsamplerGauss.h"
#include "support/CustomDownsampler.h"
#include "support/OpenCounter.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>

// What a step over a tile set costs, counted: files opened.

namespace {

using downsampling::cellValue;
using downsampling::countPieces;
using downsampling::doStep;
using downsampling::makeCells;
using vexel::GdalFileType;
using vexel::ImageAlphaType;

/// Steps of a set of 3 by 3 files, by column and row counted from 1.
class DownsamplerTileFiles : public testing::Test
{
protected:
    void makeSet(int tileSize, int tiles = 3)
    {
        m_set = m_folder / "in.tif";
        downsampling::makeTiles(m_set, downsampling::mapped(tiles * tileSize, tiles * tileSize, GDT_Byte, 3),
                                tileSize, tileSize,
                                [](int x, int y, int band) { return cellValue(x, y, band); });
    }

    std::string openedBy(CustomDownsampler& job, int column, int row)
    {
        return openedBy(job, job.input, column, row);
    }

    /// Names of the input's files that a step opens, "<column>_<row>" in order, with the count where it is
    /// not 1.
    std::string openedBy(vexel::Worker& job, const vexel::GDALStreamer& input, int column, int row)
    {
        std::size_t step = 0;
        while (input.path(step) != downsampling::tilePath(m_set, column, row))
            ++step;
        m_opens.reset();
        EXPECT_TRUE(doStep(job, step));
        const std::string start = m_set.left(m_set.lastIndexOf('.')).toStdString() + "_";
        std::string names;
        for (const auto& [path, count] : m_opens.opens())
            if (path.compare(0, start.size(), start) == 0)
                names += (names.empty() ? "" : " ") +
                         path.substr(start.size(), path.rfind('.') - start.size()) +
                         (count == 1 ? "" : " x" + std::to_string(count));
        return names;
    }

    std::unique_ptr<CustomDownsampler> job(double factor, int border)
    {
        DownsamplerSetup setup;
        setup.type = GdalFileType::TileSet;
        auto made = std::make_unique<CustomDownsampler>(
            m_set, m_folder / "out.tif", factor,
            [](const CustomDownsampler::Block& block) { return block(0, 0); }, setup);
        made->border = border;
        return made;
    }

    TempFolder m_folder;
    QString m_set;
    OpenCounter m_opens;
};

TEST_F(DownsamplerTileFiles, AreOpenedAloneWhereBlocksDivideThem)
{
    makeSet(30);
    const auto made = job(3.0, 0);
    for (int column = 1; column <= 3; ++column)
        for (int row = 1; row <= 3; ++row) {
            const std::string name = std::to_string(column) + "_" + std::to_string(row);
            EXPECT_EQ(openedBy(*made, column, row), name);
        }
}

// Tiles of 30 pixels start and end at 0, 4, 8 and 12 blocks of 7 pixels: 28 pixels each. They start and end
// at 0, 3, 7 and 11 blocks of 8 pixels: the second one has 32.
TEST_F(DownsamplerTileFiles, ToTheEastAndSouthAreOpenedWhereABlockReachesIntoThem)
{
    makeSet(30);
    const auto sevens = job(7.0, 0);
    EXPECT_EQ(openedBy(*sevens, 2, 2), "2_2");
    sevens->discard();
    const auto eights = job(8.0, 0);
    EXPECT_EQ(openedBy(*eights, 1, 1), "1_1");
    EXPECT_EQ(openedBy(*eights, 2, 1), "2_1 3_1");
    EXPECT_EQ(openedBy(*eights, 1, 2), "1_2 1_3");
    EXPECT_EQ(openedBy(*eights, 2, 2), "2_2 2_3 3_2 3_3");
    EXPECT_EQ(openedBy(*eights, 3, 3), "3_3");
}

TEST_F(DownsamplerTileFiles, AllAroundAreOpenedOnceForABorder)
{
    makeSet(30);
    const auto made = job(3.0, 1);
    EXPECT_EQ(openedBy(*made, 2, 2), "1_1 1_2 1_3 2_1 2_2 2_3 3_1 3_2 3_3");
    EXPECT_EQ(openedBy(*made, 1, 1), "1_1 1_2 2_1 2_2");
}

/// A Gaussian with its input within reach.
class GaussJob : public vexel::DownsamplerGauss
{
public:
    using DownsamplerBase::input;
    using DownsamplerGauss::DownsamplerGauss;
};

// Five standard deviations are 13 pixels at factor 4 and 21 at factor 10, from the pixels on that are sampled.
TEST_F(DownsamplerTileFiles, WithinTheGaussiansMarginAreOpenedOnce)
{
    makeSet(40);
    GaussJob made(m_set, m_folder / "out.tif", QString(), 4.0, ImageAlphaType::NoAlpha,
                  GdalFileType::TileSet);
    EXPECT_EQ(openedBy(made, made.input, 2, 2), "1_1 1_2 1_3 2_1 2_2 2_3 3_1 3_2 3_3");
    EXPECT_EQ(openedBy(made, made.input, 3, 1), "2_1 2_2 3_1 3_2");
}

TEST_F(DownsamplerTileFiles, AreOpenedOnceHoweverManyTheyAre)
{
    makeSet(10, 7);
    GaussJob made(m_set, m_folder / "out.tif", QString(), 10.0, ImageAlphaType::NoAlpha,
                  GdalFileType::TileSet);
    std::string all;
    for (int column = 2; column <= 6; ++column)
        for (int row = 2; row <= 6; ++row)
            all += (all.empty() ? "" : " ") + std::to_string(column) + "_" + std::to_string(row);
    EXPECT_EQ(openedBy(made, made.input, 4, 4), all);
}

// A strip holds 2.5 million pixels of three bands of floats.
TEST_F(DownsamplerTileFiles, AreOpenedOnceForSeveralStrips)
{
    m_set = m_folder / "in.tif";
    for (int column = 1; column <= 2; ++column) {
        const QString path = downsampling::tilePath(m_set, column, 1);
        makeCells(path, 2000, 4000, 3, {"COMPRESS=LZW"});
        const rasters::Dataset tile = rasters::open(path, /*update=*/true);
        std::array<double, 6> place = *downsampling::mapped(1, 1, GDT_Byte).geotransform;
        place[0] += (column - 1) * 2000.0;
        ASSERT_EQ(tile->SetGeoTransform(place.data()), CE_None);
    }
    const auto made = job(8.0, 1);
    const auto strips = countPieces(*made);
    EXPECT_EQ(openedBy(*made, 1, 1), "1_1 2_1");
    EXPECT_GT(*strips, downsampling::mostPiecesOfAStrip);
}

} // namespace
