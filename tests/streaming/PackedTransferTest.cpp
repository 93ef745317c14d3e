#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/CountingFiles.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// Packed colours go through a file once, not once for each band. It shows where GDAL's cache holds less than the file.

using namespace streamingtest;
using vexel::GDALStreamer;
using vexel::PixelMatrix;

namespace {

constexpr int size = 512;

const std::vector<std::string> kLayout = {"TILED=YES", "BLOCKXSIZE=64", "BLOCKYSIZE=64", "INTERLEAVE=PIXEL",
                                          "COMPRESS=LZW"};

/// GDAL's cache holds a few blocks while it lives.
class SmallCache
{
public:
    SmallCache() : m_former(GDALGetCacheMax64()) { GDALSetCacheMax64(8 * 64 * 64); }
    ~SmallCache() { GDALSetCacheMax64(m_former); }
    SmallCache(const SmallCache&) = delete;
    SmallCache& operator=(const SmallCache&) = delete;

private:
    GIntBig m_former;
};

class PackedTransfer : public testing::TestWithParam<int>
{
protected:
    int bands() const { return GetParam(); }

    bool read(const GDALStreamer& set, PixelMatrix<unsigned int>& pixels) const
    {
        return bands() == 4 ? set.readRGBA(pixels, box(0, 0, size, size), 1.0, /*fill=*/false, 0)
                            : set.readRGB(pixels, box(0, 0, size, size), 1.0, /*fill=*/false, 0);
    }

    bool write(const GDALStreamer& set, const PixelMatrix<unsigned int>& pixels) const
    {
        return bands() == 4 ? set.writeRGBA(pixels, box(0, 0, size, size))
                            : set.writeRGB(pixels, box(0, 0, size, size));
    }

    rasters::Description description() const
    {
        rasters::Description d{size, size, bands()};
        d.options = kLayout;
        return d;
    }

    TempFolder folder;
};

} // namespace

#ifdef VEXEL_TESTS_HAVE_COUNTING_FILES

TEST_P(PackedTransfer, DecodesEachBlockOnce)
{
    rasters::make(folder / "a.tif", description(), storedNoise<unsigned char>());
    CountingFiles files;
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(CountingFiles::pathOf(folder / "a.tif")));
    const SmallCache cache;
    files.reset();
    PixelMatrix<unsigned int> pixels;
    ASSERT_TRUE(read(set, pixels));
    const BlockFetches fetches = files.fetches(folder / "a.tif");
    EXPECT_EQ(fetches.blocks, 64u);
    EXPECT_EQ(fetches.fewest, 1);
    EXPECT_EQ(fetches.most, 1);
}

#endif // VEXEL_TESTS_HAVE_COUNTING_FILES

TEST_P(PackedTransfer, EncodesEachBlockOnce)
{
    // Noise does not compress: a block that is encoded again with one more band no longer fits where it was.
    rasters::make(folder / "whole.tif", description(), storedNoise<unsigned char>());
    rasters::Description empty = description();
    empty.options.push_back("SPARSE_OK=TRUE");
    rasters::make(folder / "a.tif", empty, [](int, int, int) { return 0; });

    GDALStreamer source;
    GDALStreamer set;
    PixelMatrix<unsigned int> pixels;
    ASSERT_TRUE(source.openRead(folder / "whole.tif"));
    ASSERT_TRUE(read(source, pixels));
    ASSERT_TRUE(set.openUpdate(folder / "a.tif"));
    {
        const SmallCache cache;
        ASSERT_TRUE(write(set, pixels));
        set.close();
    }
    for (int band = 1; band <= bands(); ++band)
        EXPECT_EQ(rasters::pixels(folder / "a.tif", band), rasters::pixels(folder / "whole.tif", band));
    const auto bytesOf = [&](const char* name) {
        return std::filesystem::file_size((folder / name).toStdString());
    };
    EXPECT_LT(bytesOf("a.tif"), bytesOf("whole.tif") + bytesOf("whole.tif") / 10);
}

INSTANTIATE_TEST_SUITE_P(Bands, PackedTransfer, testing::Values(3, 4),
                         [](const auto& row) { return std::to_string(row.param); });
