#include "companion/CommandOptions.h"

#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gdal_utils.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using vexel::gdal::CommandOptions;

namespace {

std::vector<std::string> textsOf(const CommandOptions& options)
{
    std::vector<std::string> texts;
    for (char** text = options.options(); *text; ++text)
        texts.emplace_back(*text);
    return texts;
}

using Texts = std::vector<std::string>;

} // namespace

TEST(CommandOptions, EmptyListIsANullTerminatedArray)
{
    const CommandOptions options;
    ASSERT_NE(options.options(), nullptr);
    EXPECT_EQ(options.options()[0], nullptr);
}

TEST(CommandOptions, KeepsTheOrderAppended)
{
    CommandOptions options;
    CommandOptions& same = options << "-q"
                                   << "-co"
                                   << "COMPRESS=LZW"
                                   << "-co"
                                   << "";
    EXPECT_EQ(&same, &options);
    EXPECT_EQ(textsOf(options), (Texts{"-q", "-co", "COMPRESS=LZW", "-co", ""}));
}

TEST(CommandOptions, ArgumentsAreUtf8)
{
    CommandOptions options;
    options << QString::fromUtf8("d\xC3\xA9j\xC3\xA0 vu/\xF0\x9F\x98\x80.prj");
    EXPECT_EQ(textsOf(options), Texts{"d\xC3\xA9j\xC3\xA0 vu/\xF0\x9F\x98\x80.prj"});
}

TEST(CommandOptions, AllTextsAreReachedHoweverLongTheListGrows)
{
    CommandOptions options;
    Texts expected;
    for (int i = 0; i < 300; ++i) {
        expected.push_back(i % 3 == 0 ? std::to_string(i)
                                      : "a text too long for a short string " + std::to_string(i));
        options << QString::fromStdString(expected.back());
        ASSERT_EQ(textsOf(options), expected);
    }
}

TEST(CommandOptions, ValueForOptionIsNameAndValue)
{
    CommandOptions options;
    options.setValueForOption("95", "QUALITY");
    EXPECT_EQ(textsOf(options), Texts{"QUALITY=95"});
}

TEST(CommandOptions, ValueForOptionIsAppendedBehindTheRest)
{
    CommandOptions options;
    options << "-q";
    options.setValueForOption("95", "QUALITY");
    options << "-x";
    EXPECT_EQ(textsOf(options), (Texts{"-q", "QUALITY=95", "-x"}));
}

TEST(CommandOptions, ValueForOptionReplacesTheFormerOneInItsPlace)
{
    CommandOptions options;
    options << "quality=10"
            << "PROGRESSIVE=ON";
    options.setValueForOption("95", "QUALITY");
    EXPECT_EQ(textsOf(options), (Texts{"QUALITY=95", "PROGRESSIVE=ON"}));
    options.setValueForOption("", "Progressive");
    EXPECT_EQ(textsOf(options), (Texts{"QUALITY=95", "Progressive="}));
}

TEST(CommandOptions, ValueForOptionMayBeLongerThanTheFormerOne)
{
    CommandOptions options;
    options << "NAME=x";
    options.setValueForOption(QString(1000, 'y'), "NAME");
    EXPECT_EQ(textsOf(options), Texts{"NAME=" + std::string(1000, 'y')});
}

TEST(CommandOptions, ValueForOptionLeavesOptionsOfOtherNames)
{
    CommandOptions options;
    options << "QUALITY"
            << "QUALITY2=1"
            << "JPEG_QUALITY=2";
    options.setValueForOption("95", "QUALITY");
    EXPECT_EQ(textsOf(options), (Texts{"QUALITY", "QUALITY2=1", "JPEG_QUALITY=2", "QUALITY=95"}));
}

TEST(CommandOptions, DriversTakeThemAsCreationOptions)
{
    const TempFolder folder;
    rasters::Description description;
    description.width = description.height = 64;
    rasters::make(folder / "noise.tif", description,
                  [](int x, int y, int band) { return 255.0 * rasters::noise(x, y, band); });
    const rasters::Dataset source = rasters::open(folder / "noise.tif");
    const auto sizeAtQuality = [&](const char* quality, const char* name) {
        CommandOptions options;
        options.setValueForOption(quality, "QUALITY");
        const rasters::Dataset copy(GetGDALDriverManager()->GetDriverByName("JPEG")->CreateCopy(
            (folder / name).toUtf8().constData(), source.get(), FALSE, options.options(), nullptr, nullptr));
        return copy ? std::filesystem::file_size((folder / name).toStdString()) : 0;
    };
    const auto coarse = sizeAtQuality("10", "coarse.jpg");
    EXPECT_GT(coarse, 0u);
    EXPECT_GT(sizeAtQuality("95", "fine.jpg"), 2 * coarse);
}

TEST(CommandOptions, UtilitiesTakeThemAsArguments)
{
    const TempFolder folder;
    rasters::Description description;
    description.width = description.height = 8;
    rasters::make(folder / "in.tif", description, [](int x, int, int) { return x; });
    {
        CommandOptions options;
        options << "-q"
                << "-srcwin"
                << "2"
                << "0"
                << "3"
                << "1";
        const rasters::Dataset source = rasters::open(folder / "in.tif");
        GDALTranslateOptions* const parsed = GDALTranslateOptionsNew(options.options(), nullptr);
        ASSERT_NE(parsed, nullptr);
        const rasters::Dataset result(
            GDALDataset::FromHandle(GDALTranslate((folder / "out.tif").toUtf8().constData(),
                                                  GDALDataset::ToHandle(source.get()), parsed, nullptr)));
        GDALTranslateOptionsFree(parsed);
        ASSERT_TRUE(result);
    }
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), (std::vector<double>{2, 3, 4}));
}
