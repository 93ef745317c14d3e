#include "fault/calls.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/rasters.h"

#include "streaming/GDALStreamer.h"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

// A transfer that touches several files keeps the GDAL lock from the first to the last.

namespace {

using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;
using vexel::PixelPoint;

constexpr int width = 30;
constexpr int height = 20;
constexpr int tileSize = 10;
constexpr int noBands = 4;

const PixelBox all(PixelPoint(0, 0), PixelPoint(width, height));
const std::vector<int> allBands = {1, 2, 3, 4};

struct Transfer
{
    const char* name;
    std::function<bool(GDALStreamer&)> run;
};

void PrintTo(const Transfer& transfer, std::ostream* stream)
{
    *stream << transfer.name;
}

template <class T>
PixelMatrix<T> sevens(int bands = 1)
{
    return PixelMatrix<T>::Constant(bands * height, width, 7);
}

bool readMatrix(GDALStreamer& set)
{
    PixelMatrix<float> pixels;
    return set.read(pixels, 1, all, 1.0, /*fill=*/false, 0);
}

bool readPacked(GDALStreamer& set)
{
    PixelMatrix<unsigned int> pixels;
    return set.readRGBA(pixels, all, 1.0, /*fill=*/false, 0);
}

bool readStack(GDALStreamer& set)
{
    PixelMatrix<float> pixels;
    return set.readBands(pixels, allBands, all, 1.0, /*fill=*/false, 0);
}

bool writeMatrix(GDALStreamer& set)
{
    return set.write(sevens<float>(), 1, all);
}

bool writePacked(GDALStreamer& set)
{
    return set.writeRGBA(sevens<unsigned int>(), all);
}

bool writeStack(GDALStreamer& set)
{
    return set.writeBands(sevens<float>(noBands), allBands, all);
}

class TransferLock : public testing::TestWithParam<Transfer>
{
protected:
    void SetUp() override
    {
        downsampling::makeTiles(m_folder / "a.tif", downsampling::mapped(width, height, GDT_Byte, noBands),
                                tileSize, tileSize, [](int x, int, int) { return x; });
    }

    TempFolder m_folder;
};

TEST_P(TransferLock, IsKeptBetweenThePieces)
{
    GDALStreamer set;
    ASSERT_TRUE(set.openUpdate(m_folder / "a.tif", GdalFileType::TileSet));
    ASSERT_EQ(set.noTiles(), 6u);
    const faults::LockWatch watch;
    EXPECT_TRUE(GetParam().run(set));
    EXPECT_EQ(watch.releases(), 1);
}

INSTANTIATE_TEST_SUITE_P(Transfers, TransferLock,
                         testing::Values(Transfer{"Read", readMatrix}, Transfer{"ReadPacked", readPacked},
                                         Transfer{"ReadBands", readStack}, Transfer{"Write", writeMatrix},
                                         Transfer{"WritePacked", writePacked},
                                         Transfer{"WriteBands", writeStack}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ClosingLock, IsKeptBetweenTheFiles)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, vexel::Workspace(0, 0, width, height, 1),
                              QString(), QString(), QString(), GdalFileType::TileSet, tileSize, tileSize));
    ASSERT_TRUE(writeMatrix(set));
    const faults::LockWatch watch;
    set.close();
    EXPECT_EQ(watch.releases(), 1);
}

} // namespace
