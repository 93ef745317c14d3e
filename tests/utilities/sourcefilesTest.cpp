#include "utilities/sourcefiles.h"

#include "support/OpenCounter.h"
#include "support/TempFolder.h"
#include "support/gdalhandlers.h"
#include "support/oldstylejpeg.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using vexel::gdal::givesSamePixelsAgain;

namespace {

class PixelsReadAgain : public testing::Test
{
protected:
    PixelsReadAgain()
    {
        makeOldStyleJpeg(folder / "old.tif", folder.path(), 32, 16);
        rasters::make(folder / "new.tif", {32, 16, 3, GDT_Byte, {}, "GTiff", {"COMPRESS=JPEG"}},
                      [](int x, int y, int) { return x + y; });
        for (const char* name : {"old", "new"})
            rasters::run({"gdal_translate", "-q", "-of", "VRT", "-a_ullr", "0", "16", "32", "0",
                          (folder / name).toStdString() + ".tif", (folder / name).toStdString() + ".vrt"});
    }

    /// A virtual raster of other ones.
    void combine(const char* name, const std::vector<const char*>& parts)
    {
        std::vector<std::string> command{"gdalbuildvrt", "-q", (folder / name).toStdString()};
        for (const char* part : parts)
            command.push_back((folder / part).toStdString());
        rasters::run(command);
    }

    bool areSame(const char* name)
    {
        const rasters::Dataset dataset = rasters::open(folder / name);
        if (!dataset)
            throw std::runtime_error("GDAL cannot open the raster");
        return givesSamePixelsAgain(*dataset);
    }

    QuietGdal quiet;
    TempFolder folder;
};

} // namespace

TEST_F(PixelsReadAgain, AreOthersOfOldStyleJpegAlone)
{
    EXPECT_FALSE(areSame("old.tif"));
    EXPECT_TRUE(areSame("new.tif"));
}

TEST_F(PixelsReadAgain, AreOthersOfVirtualRastersOfIt)
{
    EXPECT_FALSE(areSame("old.vrt"));
    EXPECT_TRUE(areSame("new.vrt"));
    combine("both.vrt", {"new.vrt", "old.vrt"});
    combine("nested.vrt", {"both.vrt"});
    combine("harmless.vrt", {"new.vrt", "new.tif"});
    EXPECT_FALSE(areSame("both.vrt"));
    EXPECT_FALSE(areSame("nested.vrt"));
    EXPECT_TRUE(areSame("harmless.vrt"));
}

TEST_F(PixelsReadAgain, AreKnownOfAnOrdinaryRasterWithoutAnotherLook)
{
    const rasters::Dataset dataset = rasters::open(folder / "new.tif");
    OpenCounter opens;
    EXPECT_TRUE(givesSamePixelsAgain(*dataset));
    EXPECT_EQ(opens.total(), 0);
}
