#include "imageloader/GDALImageLoader.h"

#include "images.h"
#include "readfixtures.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

using namespace images;
using namespace streamingtest;
using vexel::GDALImageLoader;

namespace {

/// The gray value that a loader of such weights reads for one colour.
int grayRead(const std::vector<double>& givenWeights, unsigned int red, unsigned int green, unsigned int blue)
{
    const TempFolder folder;
    make(folder / "a.tif", 1, 1, 3, bandsOf(Colour::Constant(1, 1, packed(red, green, blue))));
    Gray gray;
    EXPECT_TRUE(GDALImageLoader(folder / "a.tif", givenWeights).readGray(gray, 1));
    return gray.size() == 1 ? gray(0, 0) : -1;
}

} // namespace

TEST(GDALImageLoaderWeights, MustBeThreeForColour)
{
    const TempFolder folder;
    makeUnreadable(folder / "colour.vrt", 3, "Byte");
    make(folder / "gray.tif", width, height, 1);
    const std::vector<std::vector<double>> unusable = {{},  {0, 0, 0}, {1, -1, 0},  {0.5, -0.25, -0.25},
                                                       {1}, {1, 1},    {1, 1, 1, 1}};
    for (const std::vector<double>& w : unusable) {
        Untouched out;
        const GDALImageLoader loader(folder / "colour.vrt", w);
        const GdalErrors errors;
        EXPECT_FALSE(loader.readGray(out.gray, 1));
        EXPECT_EQ(errors.number(), 0) << "refused before pixels are read";
        out.expect();
        EXPECT_TRUE(loader.readGray(folder / "gray.tif", out.gray, 1)) << "gray needs no weights";
        EXPECT_EQ(out.gray, noiseMatrix<unsigned char>(width, height));
    }
}

struct GrayCase
{
    const char* name;
    std::vector<double> weights;
    unsigned int red, green, blue;
    int gray;
};

class GDALImageLoaderGray : public testing::TestWithParam<GrayCase>
{};

TEST_P(GDALImageLoaderGray, IsTheWeightedSum)
{
    const GrayCase& row = GetParam();
    EXPECT_EQ(grayRead(row.weights, row.red, row.green, row.blue), row.gray);
}

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Weights, GDALImageLoaderGray,
    testing::Values(GrayCase{"RedIsFirst", {1, 0, 0}, 10, 20, 30, 10},
                    GrayCase{"GreenIsSecond", {0, 1, 0}, 10, 20, 30, 20},
                    GrayCase{"BlueIsThird", {0, 0, 1}, 10, 20, 30, 30},
                    GrayCase{"Luma", {0.299, 0.587, 0.114}, 200, 100, 50, 124}, // 124.2
                    GrayCase{"WhiteStaysWhite", {0.299, 0.587, 0.114}, 255, 255, 255, 255},
                    GrayCase{"ThirdsRoundDown", {1, 1, 1}, 10, 20, 40, 23},          // 23.3
                    GrayCase{"ThirdsRoundUp", {1, 1, 1}, 10, 20, 41, 24},            // 23.7
                    GrayCase{"OnlyProportionsCount", {20, 10, 10}, 100, 50, 20, 68}, // 67.5
                    GrayCase{"HalfRoundsUp", {0.5, 0.5, 0}, 1, 0, 0, 1},             // 0.5
                    GrayCase{"JustBelowHalf", {0.25, 0.5, 0.25}, 1, 0, 0, 0},        // 0.25
                    GrayCase{"NegativeSum", {-2, -1, -1}, 100, 50, 20, 68},          // divided by -4
                    // Rows that come out otherwise if the sum is taken in another order.
                    GrayCase{"GreenAndRedFirst", {0.1, 0.7, 0.2}, 1, 92, 80, 80},
                    GrayCase{"BlueNotBeforeRed", {0.1, 0.7, 0.2}, 1, 112, 250, 129},
                    GrayCase{"HalfNotWithBlue", {5, 7, 2}, 159, 74, 110, 109},
                    GrayCase{"HalfLast", {9, 3, 6}, 35, 86, 23, 40},
                    // Beyond a byte: truncated toward zero, low 8 bits.
                    GrayCase{"Above", {-1, 3, -1}, 0, 255, 0, 253},              // 765.5
                    GrayCase{"Below", {-1, 3, -1}, 200, 0, 0, 57},               // -199.5
                    GrayCase{"BetweenMinusOneAndZero", {-1, 3, -1}, 1, 0, 0, 0}, // -0.5
                    GrayCase{"BeyondMinusOne", {-1, 3, -1}, 2, 0, 0, 255},       // -1.5
                    // 3e10 + 5, of which 255 bits 0 to 7 are left.
                    GrayCase{"BeyondThirtyTwoBits", {1e10, 1, -1e10}, 3, 5, 0, (30000000005 & 0xFF)},
                    GrayCase{"BeyondSixtyFourBits", {0x1p80, -0x1p80, 0x1p10}, 255, 0, 0, 255},
                    GrayCase{"BelowSixtyFourBits", {0x1p80, -0x1p80, 0x1p10}, 0, 255, 0, 0},
                    GrayCase{"Infinite", {infinite, 1, 1}, 1, 2, 3, 0},
                    GrayCase{"NotANumber", {notANumber, 1, 1}, 1, 2, 3, 0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(GDALImageLoaderWeights, AreCopied)
{
    const TempFolder folder;
    make(folder / "a.tif", 1, 1, 3, bandsOf(Colour::Constant(1, 1, packed(10, 20, 30))));
    std::vector<double> own{1, 0, 0};
    const GDALImageLoader loader(folder / "a.tif", own);
    own = {0, 1, 0};
    Gray gray;
    EXPECT_TRUE(loader.readGray(gray, 1));
    EXPECT_EQ(gray(0, 0), 10);
}

TEST(GDALImageLoaderCopy, HasPathAndWeights)
{
    const TempFolder folder;
    make(folder / "a.tif", width, height, 3);
    const Gray expected = grayOf(reducedColour(folder / "a.tif", 3, width, height));
    GDALImageLoader assigned("none.tif", {});
    {
        const GDALImageLoader original(folder / "a.tif", weights);
        const GDALImageLoader copy(original);
        Gray gray;
        EXPECT_TRUE(copy.readGray(gray, 1));
        EXPECT_EQ(gray, expected);
        assigned = original;
    }
    Gray gray;
    EXPECT_TRUE(assigned.readGray(gray, 1));
    EXPECT_EQ(gray, expected);
}
