#include "downsamplers/DownsamplerBase.h"

#include "basefixtures.h"
#include "support/CustomDownsampler.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

using namespace downsamplerbasetest;

namespace {

using downsampling::doStep;
using downsampling::isErrnoText;
using vexel::ImageAlphaType;
using Values = std::vector<double>;

/// The messages about tiles that could not be written.
std::vector<LogCapture::Message> writeFailures(const LogCapture& log)
{
    std::vector<LogCapture::Message> found;
    for (const LogCapture::Message& message : log.messages())
        if (message.text.find("Unable to write tile") == 0)
            found.push_back(message);
    return found;
}

TEST(DownsamplerBaseFailure, ClosedOutputIsLogged)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte), 4, 4, place);
    CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, first, asTiles());
    job.input.close();
    job.output.close();
    const LogCapture log;
    errno = EACCES;
    EXPECT_FALSE(doStep(job, 1));

    ASSERT_EQ(log.messages().size(), 1u);
    const LogCapture::Message& message = log.messages().front();
    EXPECT_EQ(message.level, 7);
    EXPECT_EQ(message.category, "");
    EXPECT_EQ(message.file, "DownsamplerBase");
    EXPECT_EQ(message.line, 199u);
    EXPECT_EQ(message.text, "Unable to write tile to '" + (folder / "out.tif").toStdString() +
                                "': " + std::strerror(EACCES));
}

TEST(DownsamplerBaseFailure, ClosedOutputIsLoggedForATileWithoutResultsToo)
{
    const TempFolder folder;
    // The third tile is one pixel wide, a quarter of a block.
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(65, 32, GDT_Byte), 32, 32, place);
    CustomDownsampler job(folder / "in.tif", folder / "out.tif", 4.0, first, asTiles());
    const LogCapture log;
    EXPECT_TRUE(doStep(job, 2));
    EXPECT_EQ(log.text(), "");
    job.output.close();
    EXPECT_FALSE(doStep(job, 2));
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.messages().front().text.find("Unable to write tile to '" +
                                               (folder / "out.tif").toStdString() + "': "),
              0u)
        << log.text();
}

TEST(DownsamplerBaseFailure, LostOutputFolderIsLogged)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(8, 8, GDT_Byte, 2), place);
    const QString output = folder / "made/out.tif";
    const LogCapture log;
    {
        CustomDownsampler job(folder / "in.tif", output, 2.0, first);
        std::filesystem::remove_all((folder / "made").toStdString());
        makeFile(folder / "made", "in the way");
        EXPECT_FALSE(doStep(job));
    }
    const std::vector<LogCapture::Message> failures = writeFailures(log);
    ASSERT_EQ(failures.size(), 1u) << "the step ends with the first band: " << log.text();
    EXPECT_EQ(failures[0].level, 7);
    EXPECT_EQ(failures[0].category, "");
    EXPECT_EQ(failures[0].file, "DownsamplerBase");
    EXPECT_EQ(failures[0].line, 199u);
    const std::string start = "Unable to write tile to '" + output.toStdString() + "': ";
    EXPECT_EQ(failures[0].text.substr(0, start.size()), start);
    EXPECT_TRUE(isErrnoText(failures[0].text.substr(start.size()))) << failures[0].text;
}

TEST(DownsamplerBaseFailure, TilesWrittenBeforeStay)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(4, 8, GDT_Float32, 3), 4, 4,
                            [](int, int, int band) { return band; });
    const std::string working = (folder / "out_1_1.tif_tmp.tif").toStdString();
    const std::string aside = (folder / "aside").toStdString();
    const LogCapture log;
    {
        std::once_flag once;
        bool isSecond = false;
        DownsamplerSetup setup;
        setup.type = GdalFileType::TileSet;
        CustomDownsampler job(
            folder / "in.tif", folder / "out.tif", 2.0,
            [&](const Block& block) {
                if (isSecond)
                    std::call_once(once, [&] { std::filesystem::rename(working, aside); });
                return block(0, 0);
            },
            setup);
        EXPECT_TRUE(doStep(job));
        isSecond = true;
        EXPECT_FALSE(doStep(job, 1));
        std::filesystem::rename(aside, working);
    }
    EXPECT_EQ(writeFailures(log).size(), 1u) << log.text();
    for (const int band : {1, 2, 3}) {
        const double b = band;
        const double hole = -10000.0;
        EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif", band),
                  (Values{b, b, b, b, hole, hole, hole, hole}));
    }
}

TEST(DownsamplerBaseFailure, LostInputCountsAsZeros)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Float32, 2),
                  [](int, int, int) { return 7.0; });
    const LogCapture log;
    for (const ImageAlphaType alpha : {ImageAlphaType::NoAlpha, ImageAlphaType::LastBand}) {
        std::filesystem::rename((folder / "in.tif").toStdString(), (folder / "kept.tif").toStdString());
        std::filesystem::copy_file((folder / "kept.tif").toStdString(), (folder / "in.tif").toStdString());
        DownsamplerSetup setup;
        setup.alpha = alpha;
        {
            CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, last, setup);
            std::filesystem::remove((folder / "in.tif").toStdString());
            EXPECT_TRUE(doStep(job));
        }
        std::filesystem::rename((folder / "kept.tif").toStdString(), (folder / "in.tif").toStdString());
        // Where alpha cannot be read it is 0, so all is transparent.
        EXPECT_EQ(rasters::pixels(folder / "out.tif", 1),
                  Values(4, alpha == ImageAlphaType::LastBand ? -10000.0 : 0.0));
        EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), Values(4, 0.0));
    }
    EXPECT_EQ(writeFailures(log).size(), 0u);
}

TEST(DownsamplerBaseFailure, LostInputTileCountsAsZeros)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(12, 3, GDT_Float32), 6, 3,
                            [](int x, int, int) { return 1 + x; });
    const LogCapture log;
    {
        CustomDownsampler job(folder / "in.tif", folder / "out.tif", 3.0, first, asTiles());
        std::filesystem::remove((folder / "in_2_1.tif").toStdString());
        EXPECT_TRUE(downsampling::run(job));
    }
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif"), (Values{1, 4, 0, 0}));
}

TEST(DownsamplerBaseFailure, ClosedInputLeavesNoData)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Float32), place);
    {
        CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, first);
        job.input.close();
        EXPECT_TRUE(doStep(job));
    }
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), Values(4, -10000.0));
}

TEST(DownsamplerBaseFailure, ClosedInputLeavesNoDataInAllOfALargeTile)
{
    constexpr int edge = 1500; // written in several strips
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(edge, edge, GDT_Float32, 2), place);
    {
        DownsamplerSetup setup;
        setup.alpha = vexel::ImageAlphaType::LastBand;
        CustomDownsampler job(folder / "in.tif", folder / "out.tif", 1.0, first, setup);
        job.input.close();
        EXPECT_TRUE(doStep(job));
    }
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 1), Values(edge * edge, -10000.0));
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), Values(edge * edge, 0.0));
}

TEST(DownsamplerBaseFailure, ExceptionOfTheReductionReachesTheCaller)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(600, 500, GDT_Float32), place);
    bool isBad = true;
    CustomDownsampler job(folder / "in.tif", folder / "out.tif", 2.0, [&](const Block& block) {
        if (isBad && block(0, 0) > 200000.0f)
            throw std::domain_error("bad block");
        return block(0, 0);
    });
    const auto step = [&] { return doStep(job); };
    try {
        step();
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::domain_error& error) {
        EXPECT_STREQ(error.what(), "bad block");
    }
    isBad = false;
    EXPECT_TRUE(step()) << "the job is still usable";
}

} // namespace
