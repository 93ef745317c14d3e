#include "streaming/GDALStreamer.h"

#include "support/TempFolder.h"
#include "support/exampledata.h"
#include "support/gdalhandlers.h"
#include "support/oldstylejpeg.h"
#include "support/rasters.h"
#include "zoo.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

// A raster that is kept open and read again gives the pixels that it gave first.

namespace {

using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;

using Pixels = std::vector<PixelMatrix<double>>;

/// All bands of a set, each by a transfer of its own; empty if one fails.
Pixels allPixels(const GDALStreamer& set)
{
    Pixels pixels(set.noBands());
    for (std::size_t band = 1; band <= set.noBands(); ++band)
        if (!set.read(pixels[band - 1], band, PixelBox(), 1.0, false, 0.0))
            return {};
    return pixels;
}

bool areSame(const Pixels& a, const Pixels& b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i].rows() != b[i].rows() || a[i].cols() != b[i].cols() ||
            std::memcmp(a[i].data(), b[i].data(), static_cast<std::size_t>(a[i].size()) * sizeof(double)) !=
                0)
            return false;
    return true;
}

/// Reads twice while files are kept open, and once while they are not. What cannot be read is none of this test's.
void expectSame(const QString& path)
{
    const QuietGdal quiet;
    GDALStreamer set;
    if (!set.openRead(path))
        return;
    const Pixels each = allPixels(set);
    if (each.empty())
        return;
    const GDALStreamer::KeepFilesOpen keep(set);
    EXPECT_TRUE(areSame(allPixels(set), each)) << "first, " << path.toStdString();
    EXPECT_TRUE(areSame(allPixels(set), each)) << "again, " << path.toStdString();
}

} // namespace

TEST(Rereading, GivesTheSamePixelsForEachFormat)
{
    const QuietGdal quiet;
    for (const zoo::Specimen& specimen : zoo::specimens()) {
        if (!zoo::missing(specimen).empty())
            continue;
        const TempFolder folder;
        const QString path = folder / specimen.file.c_str();
        specimen.make(path);
        expectSame(path);
    }
}

TEST(Rereading, GivesTheSamePixelsForTheExamples)
{
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(exampleData("").toStdString())) {
        expectSame(QString::fromStdString(entry.path().string()));
        ++files;
    }
    EXPECT_GT(files, 2);
}

// GDAL does not set back the decoder of these.
TEST(Rereading, GivesTheSamePixelsForOldStyleJpeg)
{
    const TempFolder folder;
    makeOldStyleJpeg(folder / "old.tif", folder.path(), 80, 56);
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "old.tif")) << set.lastError().message().toStdString();
    ASSERT_FALSE(allPixels(set).empty()) << set.lastError().message().toStdString();
    expectSame(folder / "old.tif");
}
