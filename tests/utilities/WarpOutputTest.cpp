#include "utilities/WarpOutput.h"

#include "support/TempFolder.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

using vexel::gdal::WarpOutput;

namespace {

/// Writes a file anew, a second later by its time.
void touch(const QString& path)
{
    namespace fs = std::filesystem;
    const fs::path file = path.toStdString();
    const fs::file_time_type later = fs::last_write_time(file) + std::chrono::seconds(1);
    makeFile(path, "new");
    fs::last_write_time(file, later);
}

} // namespace

TEST(WarpOutput, ThatWasNotTouchedStays)
{
    const TempFolder folder;
    for (const char* name : {"out.tif", "out.tif.aux.xml"})
        makeFile(folder / name);
    const WarpOutput output(folder / "out.tif");
    output.discard();
    EXPECT_FALSE(output.finish(nullptr));
    EXPECT_EQ(folder.listing(), "out.tif out.tif.aux.xml");
}

TEST(WarpOutput, ThatWasReplacedGoesWithWhatBelongsToIt)
{
    const TempFolder folder;
    for (const char* name : {"out.tif", "out.tif.aux.xml", "out.tif.ovr", "out.tif.msk", "out.png"})
        makeFile(folder / name);
    const WarpOutput output(folder / "out.tif");
    touch(folder / "out.tif");
    output.discard();
    EXPECT_EQ(folder.listing(), "out.png");
}

TEST(WarpOutput, ThatIsNewGoes)
{
    const TempFolder folder;
    const WarpOutput output(folder / "out.tif");
    makeFile(folder / "out.tif");
    output.discard();
    EXPECT_EQ(folder.listing(), "");
}
