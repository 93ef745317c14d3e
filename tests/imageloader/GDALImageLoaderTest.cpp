#include "imageloader/GDALImageLoader.h"

#include "images.h"
#include "readfixtures.h"
#include "support/TempFolder.h"
#include "utilities/tilenames.h"

#include <gtest/gtest.h>

#include <future>
#include <limits>
#include <string>
#include <vector>

using namespace images;
using namespace streamingtest;
using vexel::GDALImageLoader;

namespace {

/// Width and height after a reduction by 1 to 4: 20.5 is rounded up, 13.7 too, 10.25 and 7.5 down and up.
struct Size
{
    int width;
    int height;
};
constexpr Size sizeAtLevel[] = {{0, 0}, {41, 30}, {21, 15}, {14, 10}, {10, 8}};

void expectNothingReads(const GDALImageLoader& loader, const QString& path, int level)
{
    Untouched out;
    EXPECT_FALSE(loader.readRGB(path, out.colour, level));
    EXPECT_FALSE(loader.readGray(path, out.gray, level));
    EXPECT_FALSE(loader.readFloat(path, out.floats, level));
    out.expect();
}

} // namespace

struct ReadCase
{
    const char* name;
    const char* file;
    int bands;
    int level;
};

class GDALImageLoaderRead : public testing::TestWithParam<ReadCase>
{
protected:
    void SetUp() override
    {
        m_path = m_folder / GetParam().file;
        make(m_path, width, height, GetParam().bands);
    }

    const TempFolder m_folder;
    QString m_path;
    const int m_level = GetParam().level;
    const Size m_size = sizeAtLevel[GetParam().level];
};

TEST_P(GDALImageLoaderRead, GivesColourAsGdalReducesIt)
{
    const Colour expected = reducedColour(m_path, GetParam().bands, m_size.width, m_size.height);
    const LogCapture log;
    Colour own;
    EXPECT_TRUE(GDALImageLoader(m_path, {}).readRGB(own, m_level));
    EXPECT_EQ(own, expected);
    Colour other;
    EXPECT_TRUE(GDALImageLoader("none.tif", weights).readRGB(m_path, other, m_level));
    EXPECT_EQ(other, expected);
    EXPECT_EQ(log.text(), "");
}

TEST_P(GDALImageLoaderRead, GivesGrayAsGdalReducesIt)
{
    const int bands = GetParam().bands;
    Untouched out;
    if (bands == 4) {
        EXPECT_FALSE(GDALImageLoader(m_path, weights).readGray(out.gray, m_level));
        out.expect();
        return;
    }
    const Gray expected = bands == 1 ? reduced<unsigned char>(m_path, m_size.width, m_size.height)
                                     : grayOf(reducedColour(m_path, bands, m_size.width, m_size.height));
    EXPECT_TRUE(GDALImageLoader(m_path, weights).readGray(out.gray, m_level));
    EXPECT_EQ(out.gray, expected);
    Gray other;
    EXPECT_TRUE(GDALImageLoader("none.tif", weights).readGray(m_path, other, m_level));
    EXPECT_EQ(other, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Images, GDALImageLoaderRead,
    testing::Values(ReadCase{"TiffGray1", "a.tif", 1, 1}, ReadCase{"TiffGray2", "a.tif", 1, 2},
                    ReadCase{"TiffGray3", "a.tif", 1, 3}, ReadCase{"TiffGray4", "a.tif", 1, 4},
                    ReadCase{"TiffColour1", "a.tif", 3, 1}, ReadCase{"TiffColour2", "a.tif", 3, 2},
                    ReadCase{"TiffColour3", "a.tif", 3, 3}, ReadCase{"TiffColour4", "a.tif", 3, 4},
                    ReadCase{"TiffAlpha1", "a.tif", 4, 1}, ReadCase{"TiffAlpha2", "a.tif", 4, 2},
                    ReadCase{"TiffAlpha3", "a.tif", 4, 3}, ReadCase{"TiffAlpha4", "a.tif", 4, 4},
                    ReadCase{"PngGray1", "a.png", 1, 1}, ReadCase{"PngGray2", "a.png", 1, 2},
                    ReadCase{"PngGray3", "a.png", 1, 3}, ReadCase{"PngGray4", "a.png", 1, 4},
                    ReadCase{"PngColour1", "a.png", 3, 1}, ReadCase{"PngColour2", "a.png", 3, 2},
                    ReadCase{"PngColour3", "a.png", 3, 3}, ReadCase{"PngColour4", "a.png", 3, 4},
                    ReadCase{"PngAlpha1", "a.png", 4, 1}, ReadCase{"PngAlpha2", "a.png", 4, 2},
                    ReadCase{"PngAlpha3", "a.png", 4, 3}, ReadCase{"PngAlpha4", "a.png", 4, 4},
                    ReadCase{"JpegGray1", "a.jpg", 1, 1}, ReadCase{"JpegGray2", "a.jpg", 1, 2},
                    ReadCase{"JpegGray3", "a.jpg", 1, 3}, ReadCase{"JpegGray4", "a.jpg", 1, 4},
                    ReadCase{"JpegColour1", "a.jpg", 3, 1}, ReadCase{"JpegColour2", "a.jpg", 3, 2},
                    ReadCase{"JpegColour3", "a.jpg", 3, 3}, ReadCase{"JpegColour4", "a.jpg", 3, 4}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(GDALImageLoaderReadFloat, GivesElevationsAsGdalReducesThem)
{
    const QString path = exampleData("jacksboro_dem_utm_f32.tif");
    const GDALImageLoader loader(path, {});
    // 414 x 436 pixels; 103.5 is rounded up.
    const Size sizes[] = {{0, 0}, {414, 436}, {207, 218}, {138, 145}, {104, 109}};
    for (int level = 1; level <= 4; ++level) {
        const Floats expected = reduced<float>(path, sizes[level].width, sizes[level].height);
        Floats own;
        EXPECT_TRUE(loader.readFloat(own, level));
        EXPECT_TRUE(own == expected) << level;
        Floats other;
        EXPECT_TRUE(GDALImageLoader("none.tif", weights).readFloat(path, other, level));
        EXPECT_TRUE(other == expected) << level;
    }
}

TEST(GDALImageLoaderRealImages, AreReadAsColour)
{
    const QString path = exampleData("naip_washington_rgba.tif");
    const GDALImageLoader loader(path, weights);
    const int size[] = {0, 640, 320, 213, 160};
    for (int level = 1; level <= 4; ++level) {
        Colour colour;
        EXPECT_TRUE(loader.readRGB(colour, level));
        EXPECT_TRUE(colour == reducedColour(path, 4, size[level], size[level])) << level;
    }
}

TEST(GDALImageLoaderRealImages, AreReadFromEveryFormat)
{
    const TempFolder folder;
    const QString source = exampleData("naip_washington_rgba.tif");
    for (const char* name : {"a.jpg", "a.png", "a.tif"}) {
        const QString path = folder / name;
        const bool jpeg = path.endsWith(".jpg");
        rasters::run({"gdal_translate", "-q", "-b", "1", "-b", "2", "-b", "3", "-of",
                      jpeg                    ? "JPEG"
                      : path.endsWith(".png") ? "PNG"
                                              : "GTiff",
                      source.toStdString(), path.toStdString()});
        const GDALImageLoader loader(path, weights);
        const int size[] = {0, 640, 320, 213, 160};
        for (int level = 1; level <= 4; ++level) {
            const Colour expected = reducedColour(path, 3, size[level], size[level]);
            Colour colour;
            EXPECT_TRUE(loader.readRGB(colour, level));
            EXPECT_TRUE(colour == expected) << name << " " << level;
            Gray gray;
            EXPECT_TRUE(loader.readGray(gray, level));
            EXPECT_TRUE(gray == grayOf(expected)) << name << " " << level;
        }
    }
}

TEST(GDALImageLoaderLevel, BeyondTheImageGivesAnEmptyMatrix)
{
    const TempFolder folder;
    make(folder / "a.tif", width, height, 3);
    Untouched out;
    for (const int level : {100, std::numeric_limits<int>::max()}) {
        EXPECT_TRUE(GDALImageLoader(folder / "a.tif", weights).readRGB(out.colour, level));
        EXPECT_EQ(out.colour.size(), 0);
        EXPECT_TRUE(GDALImageLoader(folder / "a.tif", weights).readGray(out.gray, level));
        EXPECT_EQ(out.gray.size(), 0);
    }
}

TEST(GDALImageLoaderLevel, BelowOneIsRefused)
{
    const TempFolder folder;
    make(folder / "a.tif", width, height, 1);
    rasters::make(folder / "f.tif", {width, height, 1, GDT_Float32}, storedNoise<float>());
    for (const int level : {0, -1, -2, std::numeric_limits<int>::min()}) {
        Untouched out;
        const GDALImageLoader bytes(folder / "a.tif", weights);
        EXPECT_FALSE(bytes.readRGB(out.colour, level));
        EXPECT_FALSE(bytes.readRGB(folder / "a.tif", out.colour, level));
        EXPECT_FALSE(bytes.readGray(out.gray, level));
        EXPECT_FALSE(bytes.readGray(folder / "a.tif", out.gray, level));
        const GDALImageLoader floats(folder / "f.tif", weights);
        EXPECT_FALSE(floats.readFloat(out.floats, level));
        EXPECT_FALSE(floats.readFloat(folder / "f.tif", out.floats, level));
        out.expect();
    }
}

TEST(GDALImageLoaderLevel, BelowOneIsRefusedBeforeTheFileIsOpened)
{
    const TempFolder folder;
    makeFile(folder / "text.tif", "no image");
    const GdalErrors errors;
    expectNothingReads(GDALImageLoader("", weights), folder / "text.tif", 0);
    EXPECT_EQ(errors.number(), 0);
    expectNothingReads(GDALImageLoader("", weights), folder / "text.tif", 1);
    EXPECT_GT(errors.number(), 0);
}

TEST(GDALImageLoaderRefusal, OfPathsWithoutAnImage)
{
    const TempFolder folder;
    makeFile(folder / "text.tif", "no image");
    const OwnMessages messages;
    for (const QString& path : {QString(), folder / "none.tif", folder / "text.tif", folder.path()}) {
        expectNothingReads(GDALImageLoader("", weights), path, 1);
        Untouched out;
        EXPECT_FALSE(GDALImageLoader(path, weights).readRGB(out.colour, 1));
        EXPECT_FALSE(GDALImageLoader(path, weights).readGray(out.gray, 1));
        EXPECT_FALSE(GDALImageLoader(path, weights).readFloat(out.floats, 1));
        out.expect();
    }
    EXPECT_EQ(messages.text(), "");
}

TEST(GDALImageLoaderRefusal, OfAMissingFileAsksGdalNothing)
{
    const TempFolder folder;
    const GdalErrors errors;
    expectNothingReads(GDALImageLoader("", weights), folder / "none.tif", 1);
    EXPECT_EQ(errors.number(), 0);
}

TEST(GDALImageLoaderRefusal, OfTileSets)
{
    const TempFolder folder;
    make(vexel::gdal::tile2path(folder / "a.tif", 1, 1), width, height, 3);
    expectNothingReads(GDALImageLoader("", weights), folder / "a.tif", 1);
    // Nor is the set taken for a file of its name that is no image.
    makeFile(folder / "a.tif", "no image");
    const QuietGdal quiet;
    expectNothingReads(GDALImageLoader("", weights), folder / "a.tif", 1);
}

struct RefusalCase
{
    const char* name;
    const char* type;
    int bands;
    bool colour; ///< whether each read takes such files
    bool gray;
    bool floats;
};

class GDALImageLoaderTypes : public testing::TestWithParam<RefusalCase>
{};

// Pixels of these files cannot be read: an attempt shows as an error of GDAL.
TEST_P(GDALImageLoaderTypes, OthersAreRefusedBeforePixelsAreRead)
{
    const TempFolder folder;
    const RefusalCase& row = GetParam();
    makeUnreadable(folder / "a.vrt", row.bands, row.type);
    const GDALImageLoader loader(folder / "a.vrt", weights);
    Untouched out;
    const auto triesToRead = [](const auto& read) {
        const GdalErrors errors;
        EXPECT_FALSE(read());
        return errors.number() > 0;
    };
    EXPECT_EQ(triesToRead([&] { return loader.readRGB(out.colour, 1); }), row.colour);
    EXPECT_EQ(triesToRead([&] { return loader.readGray(out.gray, 1); }), row.gray);
    EXPECT_EQ(triesToRead([&] { return loader.readFloat(out.floats, 1); }), row.floats);
    if (!row.colour && !row.gray && !row.floats)
        out.expect();
}

INSTANTIATE_TEST_SUITE_P(Files, GDALImageLoaderTypes,
                         testing::Values(RefusalCase{"ByteGray", "Byte", 1, true, true, false},
                                         RefusalCase{"ByteGrayWithAlpha", "Byte", 2, false, false, false},
                                         RefusalCase{"ByteColour", "Byte", 3, true, true, false},
                                         RefusalCase{"ByteColourWithAlpha", "Byte", 4, true, false, false},
                                         RefusalCase{"ByteFiveBands", "Byte", 5, false, false, false},
                                         RefusalCase{"UInt16Gray", "UInt16", 1, false, false, false},
                                         RefusalCase{"UInt16Colour", "UInt16", 3, false, false, false},
                                         RefusalCase{"UInt16ColourWithAlpha", "UInt16", 4, false, false,
                                                     false},
                                         RefusalCase{"Int16Gray", "Int16", 1, false, false, false},
                                         RefusalCase{"Float", "Float32", 1, false, false, true},
                                         RefusalCase{"FloatTwoBands", "Float32", 2, false, false, false},
                                         RefusalCase{"FloatColour", "Float32", 3, false, false, false},
                                         RefusalCase{"Double", "Float64", 1, false, false, false}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(GDALImageLoaderLargeImages, AreConvertedAsSmallOnesAre)
{
    // Beyond 2^22 pixels the rows are spread over threads.
    const TempFolder folder;
    constexpr int side = 2051;
    make(folder / "gray.tif", side, side, 1);
    make(folder / "colour.tif", side, side, 3);
    const GDALImageLoader loader("", weights);
    Colour colour;
    EXPECT_TRUE(loader.readRGB(folder / "gray.tif", colour, 1));
    EXPECT_TRUE(colour == reducedColour(folder / "gray.tif", 1, side, side));
    Gray gray;
    EXPECT_TRUE(loader.readGray(folder / "colour.tif", gray, 1));
    EXPECT_TRUE(gray == grayOf(reducedColour(folder / "colour.tif", 3, side, side)));
}

TEST(GDALImageLoaderReads, CloseTheFile)
{
    const TempFolder folder;
    make(folder / "a.tif", width, height, 3);
    const int before = rasters::openDatasets();
    Colour colour;
    EXPECT_TRUE(GDALImageLoader(folder / "a.tif", weights).readRGB(colour, 1));
    EXPECT_EQ(rasters::openDatasets(), before);
}

TEST(GDALImageLoaderReads, MayRunOnSeveralThreads)
{
    const TempFolder folder;
    make(folder / "a.tif", width, height, 3);
    const GDALImageLoader loader(folder / "a.tif", weights);
    const Colour expectedColour = reducedColour(folder / "a.tif", 3, width, height);
    std::vector<std::future<void>> threads;
    for (int i = 0; i < 4; ++i)
        threads.push_back(std::async(std::launch::async, [&] {
            for (int round = 0; round < 5; ++round) {
                Colour colour;
                EXPECT_TRUE(loader.readRGB(colour, 1));
                EXPECT_EQ(colour, expectedColour);
                Gray gray;
                EXPECT_TRUE(loader.readGray(gray, 1));
                EXPECT_EQ(gray, grayOf(expectedColour));
            }
        }));
    for (std::future<void>& thread : threads)
        thread.get();
}
