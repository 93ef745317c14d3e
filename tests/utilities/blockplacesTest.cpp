#include "utilities/blockplaces.h"

#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

using vexel::gdal::hasAllBlocks;

namespace {

rasters::Description striped(const std::vector<std::string>& options = {"COMPRESS=LZW"})
{
    rasters::Description d{200, 100, 3};
    d.options = options;
    return d;
}

double noise(int x, int y, int band)
{
    return std::floor(255.0 * rasters::noise(x, y, band));
}

} // namespace

TEST(HasAllBlocks, IsTrueOfAWholeFile)
{
    const TempFolder folder;
    for (const char* interleave : {"INTERLEAVE=PIXEL", "INTERLEAVE=BAND"}) {
        rasters::make(folder / "a.tif", striped({"COMPRESS=LZW", interleave}), noise);
        QString reason;
        EXPECT_TRUE(hasAllBlocks(folder / "a.tif", reason)) << interleave << ": " << reason.toStdString();
        EXPECT_EQ(reason, "");
    }
}

TEST(HasAllBlocks, IsFalseOfAFileThatLacksItsLastByte)
{
    const TempFolder folder;
    const QString path = folder / "a.tif";
    // GDAL puts the header of a copy in front of its pixels.
    const QString source = folder / "source.tif";
    rasters::make(source, striped(), noise);
    rasters::run({"gdal_translate", "-q", "-co", "COMPRESS=LZW", source.toStdString(), path.toStdString()});
    std::filesystem::resize_file(path.toStdString(), std::filesystem::file_size(path.toStdString()) - 1);
    QString reason;
    EXPECT_FALSE(hasAllBlocks(path, reason));
    EXPECT_NE(reason, "");
}

TEST(HasAllBlocks, IsFalseOfASparseFile)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", striped({"SPARSE_OK=TRUE"}), [](int, int, int) { return 0; });
    QString reason;
    EXPECT_FALSE(hasAllBlocks(folder / "a.tif", reason));
    EXPECT_TRUE(reason.endsWith(" blocks are missing")) << reason.toStdString();
}

TEST(HasAllBlocks, IsFalseOfWhatIsNoGeoTiff)
{
    const TempFolder folder;
    rasters::Description d = striped({});
    d.driver = "PNG";
    rasters::make(folder / "a.png", d, noise);
    for (const char* name : {"a.png", "missing.tif"}) {
        QString reason;
        EXPECT_FALSE(hasAllBlocks(folder / name, reason)) << name;
        EXPECT_NE(reason, "") << name;
    }
}
