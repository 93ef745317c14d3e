#include "downsamplers/DownsamplerFactory.h"

#include "support/CustomDownsampler.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using downsampling::difference;
using downsampling::mapped;
using vexel::DownsamplingStrategy;
using vexel::GdalFileType;
using vexel::ImageAlphaType;
using Values = std::vector<double>;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr int width = 64;
constexpr int height = 60;
constexpr int outWidth = width / 2;

/// A third of the pixels, alone and in whole blocks.
bool isHole(int x, int y, int band)
{
    const bool inHoleOfBlocks = x >= 20 && x < 40 && y >= 20 && y < 40;
    return inHoleOfBlocks || rasters::noise(x, y, band, 7) < 0.3;
}

/// Whole multiples of 12 from 12 to 240, so that means of up to four of them are whole numbers.
double ground(int x, int y, int band)
{
    return 12.0 * std::ceil(20.0 * rasters::noise(x, y, band, 8) + 1e-9);
}

rasters::PixelValue withHoles(double value)
{
    return [value](int x, int y, int band) { return isHole(x, y, band) ? value : ground(x, y, band); };
}

/// What a downsampling is asked for beside the files.
struct Request
{
    DownsamplingStrategy strategy = DownsamplingStrategy::Average;
    Values noData = {};
    ImageAlphaType alpha = ImageAlphaType::NoAlpha;
    GdalFileType type = GdalFileType::SingleFile;
};

void downsample(const QString& in, const QString& out, const Request& request)
{
    const auto job = vexel::DownsamplerFactory::createDownsampler(request.strategy, in, out, QString(), 2.0,
                                                                  request.alpha, request.type);
    for (const double value : request.noData)
        job->treatAsNoData(value);
    EXPECT_TRUE(downsampling::run(*job));
}

struct NoDataCase
{
    const char* name;
    GDALDataType type;
    double value;
    /// Whether pixels of that value count as data, or leave traces, without the call.
    bool changes = true;
    /// What treatAsNoData is called with, if it is not the pixels' very value.
    double asked = notANumber;
};

std::string nameOfCase(const testing::TestParamInfo<NoDataCase>& row)
{
    return row.param.name;
}

const DownsamplingStrategy blockAndGauss[] = {
    DownsamplingStrategy::Gauss, DownsamplingStrategy::Average,      DownsamplingStrategy::Median,
    DownsamplingStrategy::Min,   DownsamplingStrategy::Percentile75, DownsamplingStrategy::Max};

} // namespace

/// Pixels of one value are no-data exactly as pixels of -10000 are.
class TreatAsNoData : public testing::TestWithParam<NoDataCase>
{};

TEST_P(TreatAsNoData, EqualsARasterThatHoldsMinus10000ThereInEveryStrategy)
{
    const TempFolder folder;
    const NoDataCase& row = GetParam();
    rasters::make(folder / "in.tif", mapped(width, height, row.type), withHoles(row.value));
    rasters::make(folder / "reference.tif", mapped(width, height, row.type), withHoles(-10000.0));
    for (const DownsamplingStrategy strategy : blockAndGauss) {
        SCOPED_TRACE(static_cast<int>(strategy));
        const double asked = std::isnan(row.asked) ? row.value : row.asked;
        downsample(folder / "in.tif", folder / "mapped.tif", {strategy, {asked}});
        downsample(folder / "in.tif", folder / "plain.tif", {strategy});
        downsample(folder / "reference.tif", folder / "expected.tif", {strategy});
        const Values expected = rasters::pixels(folder / "expected.tif");
        EXPECT_EQ(difference(expected, rasters::pixels(folder / "mapped.tif"), outWidth), "");
        if (row.changes) {
            EXPECT_NE(difference(expected, rasters::pixels(folder / "plain.tif"), outWidth), "");
        }
        // The wholly empty blocks inside the hole.
        EXPECT_EQ(expected[15 * outWidth + 15], -10000.0);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Values, TreatAsNoData,
    testing::Values(
        NoDataCase{"Minus9999", GDT_Float32, -9999.0}, NoDataCase{"Minus9999InDoubles", GDT_Float64, -9999.0},
        NoDataCase{"LowestFloat", GDT_Float32, -3.4028234663852886e38, false},
        NoDataCase{"LowestFloatAsGdalPrintsIt", GDT_Float32, -3.4028234663852886e38, false,
                   -3.40282346638529e38},
        NoDataCase{"LowestFloatInDoubles", GDT_Float64, -3.4028234663852886e38, false},
        NoDataCase{"LargestFloat", GDT_Float32, 3.4028234663852886e38},
        NoDataCase{"NaN", GDT_Float32, notANumber}, NoDataCase{"NaNInDoubles", GDT_Float64, notANumber},
        NoDataCase{"Zero", GDT_Float32, 0.0}, NoDataCase{"MinusZeroForZero", GDT_Float32, 0.0, true, -0.0},
        NoDataCase{"OneTenthWhichNoFloatIs", GDT_Float32, 0.1}, NoDataCase{"Infinity", GDT_Float32, infinity},
        NoDataCase{"MinusInfinity", GDT_Float32, -infinity, false},
        NoDataCase{"LowestDouble", GDT_Float64, -1.7976931348623157e308, false},
        NoDataCase{"LargestDouble", GDT_Float64, 1.7976931348623157e308},
        NoDataCase{"LowestInt16", GDT_Int16, -32768.0, false},
        NoDataCase{"Minus9999InInt16", GDT_Int16, -9999.0}, NoDataCase{"ZeroInInt16", GDT_Int16, 0.0},
        NoDataCase{"LargestInt16", GDT_Int16, 32767.0}, NoDataCase{"Minus9999InInt32", GDT_Int32, -9999.0},
        NoDataCase{"LowestInt32", GDT_Int32, -2147483648.0, false}),
    nameOfCase);

namespace {

/// The four pixels of a block, row by row, -10000 for no-data.
Values blockOf(int column, int row, double noDataValue, const rasters::PixelValue& value)
{
    Values block;
    for (int y = 2 * row; y < 2 * row + 2; ++y)
        for (int x = 2 * column; x < 2 * column + 2; ++x) {
            const double pixel = value(x, y, 1);
            block.push_back(pixel == noDataValue ? -10000.0 : pixel);
        }
    return block;
}

Values validOf(Values block)
{
    block.erase(std::remove(block.begin(), block.end(), -10000.0), block.end());
    return block;
}

double meanOf(const Values& block)
{
    const Values valid = validOf(block);
    double sum = 0.0;
    for (const double value : valid)
        sum += value;
    return valid.empty() ? -10000.0 : sum / static_cast<double>(valid.size());
}

double medianOf(const Values& block)
{
    Values valid = validOf(block);
    std::sort(valid.begin(), valid.end());
    // One valid pixel is too few for a percentile; half up where the middle lies between two.
    return valid.size() < 2 ? -10000.0 : valid[(valid.size() + 1) / 2];
}

/// Begins with the first pixel, whatever it is.
double smallestOf(const Values& block)
{
    double smallest = block.front();
    for (const double value : validOf(block))
        smallest = std::min(smallest, value);
    return smallest;
}

double largestOf(const Values& block)
{
    return *std::max_element(block.begin(), block.end());
}

} // namespace

/// Rasters whose pixel type cannot hold -10000, against a plain loop; an empty block becomes the lowest
/// value.
class TreatAsNoDataUnsigned : public testing::TestWithParam<NoDataCase>
{};

TEST_P(TreatAsNoDataUnsigned, LeavesThePixelsOut)
{
    const TempFolder folder;
    const NoDataCase& row = GetParam();
    const rasters::PixelValue value = withHoles(row.value);
    rasters::make(folder / "in.tif", mapped(width, height, row.type), value);
    const std::pair<DownsamplingStrategy, double (*)(const Values&)> reductions[] = {
        {DownsamplingStrategy::Average, meanOf},
        {DownsamplingStrategy::Median, medianOf},
        {DownsamplingStrategy::Min, smallestOf},
        {DownsamplingStrategy::Max, largestOf}};
    for (const auto& [strategy, reduce] : reductions) {
        SCOPED_TRACE(static_cast<int>(strategy));
        Values expected;
        for (int y = 0; y < height / 2; ++y)
            for (int x = 0; x < outWidth; ++x)
                expected.push_back(std::max(0.0, reduce(blockOf(x, y, row.value, value))));
        downsample(folder / "in.tif", folder / "out.tif", {strategy, {row.value}});
        EXPECT_EQ(difference(expected, rasters::pixels(folder / "out.tif"), outWidth), "");
    }
}

INSTANTIATE_TEST_SUITE_P(Values, TreatAsNoDataUnsigned,
                         testing::Values(NoDataCase{"ZeroInBytes", GDT_Byte, 0.0},
                                         NoDataCase{"LargestByte", GDT_Byte, 255.0},
                                         NoDataCase{"ByteAmongTheData", GDT_Byte, 120.0},
                                         NoDataCase{"LargestUInt16", GDT_UInt16, 65535.0},
                                         NoDataCase{"ZeroInUInt16", GDT_UInt16, 0.0},
                                         NoDataCase{"LargestUInt32", GDT_UInt32, 4294967295.0}),
                         nameOfCase);

TEST(TreatAsNoDataValues, AllThatWereNamedCount)
{
    const TempFolder folder;
    const auto threeKinds = [](int x, int y, int band) {
        if (!isHole(x, y, band))
            return ground(x, y, band);
        const double kind = rasters::noise(x, y, band, 9);
        return kind < 0.25 ? -9999.0 : kind < 0.5 ? notANumber : kind < 0.75 ? 0.0 : -10000.0;
    };
    rasters::make(folder / "in.tif", mapped(width, height, GDT_Float32), threeKinds);
    rasters::make(folder / "reference.tif", mapped(width, height, GDT_Float32), withHoles(-10000.0));
    for (const DownsamplingStrategy strategy : blockAndGauss) {
        SCOPED_TRACE(static_cast<int>(strategy));
        downsample(folder / "reference.tif", folder / "expected.tif", {strategy});
        const Values expected = rasters::pixels(folder / "expected.tif");
        downsample(folder / "in.tif", folder / "all.tif", {strategy, {-9999.0, notANumber, 0.0}});
        EXPECT_EQ(difference(expected, rasters::pixels(folder / "all.tif"), outWidth), "");
        downsample(folder / "in.tif", folder / "two.tif", {strategy, {-9999.0, notANumber}});
        EXPECT_NE(difference(expected, rasters::pixels(folder / "two.tif"), outWidth), "");
    }
}

TEST(TreatAsNoDataValues, TilesAndTheirMarginsToo)
{
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", mapped(width, height, GDT_Float32), 26, 40,
                            withHoles(-9999.0));
    downsampling::makeTiles(folder / "reference.tif", mapped(width, height, GDT_Float32), 26, 40,
                            withHoles(-10000.0));
    for (const DownsamplingStrategy strategy : {DownsamplingStrategy::Gauss, DownsamplingStrategy::Average}) {
        SCOPED_TRACE(static_cast<int>(strategy));
        Request request;
        request.strategy = strategy;
        request.type = GdalFileType::TileSet;
        downsample(folder / "reference.tif", folder / "expected.tif", request);
        request.noData = {-9999.0};
        downsample(folder / "in.tif", folder / "out.tif", request);
        EXPECT_EQ(difference(rasters::pixels(folder / "expected_1_1.tif"),
                             rasters::pixels(folder / "out_1_1.tif"), outWidth),
                  "");
    }
}

TEST(TreatAsNoDataValues, RastersThatAreSpreadOverThreadsToo)
{
    // Looking through a strip takes half a nanosecond a pixel, and a team pays from 4 ms on.
    const TempFolder folder;
    const rasters::Description large = mapped(3000, 2900, GDT_Float32);
    rasters::make(folder / "in.tif", large, withHoles(notANumber));
    rasters::make(folder / "reference.tif", large, withHoles(-10000.0));
    for (const DownsamplingStrategy strategy : {DownsamplingStrategy::Gauss, DownsamplingStrategy::Average}) {
        SCOPED_TRACE(static_cast<int>(strategy));
        downsample(folder / "in.tif", folder / "out.tif", {strategy, {notANumber}});
        downsample(folder / "reference.tif", folder / "expected.tif", {strategy});
        EXPECT_EQ(difference(rasters::pixels(folder / "expected.tif"), rasters::pixels(folder / "out.tif"),
                             large.width / 2),
                  "");
    }
}

TEST(TreatAsNoDataValues, EveryBandIsLookedThrough)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", mapped(width, height, GDT_Int16, 3), withHoles(-9999.0));
    rasters::make(folder / "reference.tif", mapped(width, height, GDT_Int16, 3), withHoles(-10000.0));
    downsample(folder / "in.tif", folder / "out.tif", {DownsamplingStrategy::Average, {-9999.0}});
    downsample(folder / "reference.tif", folder / "expected.tif", {});
    for (int band = 1; band <= 3; ++band)
        EXPECT_EQ(difference(rasters::pixels(folder / "expected.tif", band),
                             rasters::pixels(folder / "out.tif", band), outWidth),
                  "")
            << band;
}

namespace {

constexpr int alphaBand = 4;

/// 0 or 255, in squares of 6 pixels.
double squaresOfAlpha(int x, int y)
{
    return rasters::noise(x / 6, y / 6, alphaBand) < 0.5 ? 0.0 : 255.0;
}

rasters::PixelValue withHolesAndAlpha(double hole)
{
    return [hole](int x, int y, int band) {
        return band == alphaBand ? squaresOfAlpha(x, y) : withHoles(hole)(x, y, band);
    };
}

} // namespace

class TreatAsNoDataAlpha : public testing::TestWithParam<NoDataCase>
{};

TEST_P(TreatAsNoDataAlpha, LeavesTheAlphaBandAlone)
{
    const TempFolder folder;
    const double value = GetParam().value;
    const rasters::Description description = mapped(width, height, GDT_Int16, alphaBand);
    rasters::make(folder / "in.tif", description, withHolesAndAlpha(value));
    rasters::make(folder / "reference.tif", description, withHolesAndAlpha(-10000.0));
    for (const DownsamplingStrategy strategy : blockAndGauss) {
        downsample(folder / "in.tif", folder / "out.tif", {strategy, {value}, ImageAlphaType::LastBand});
        downsample(folder / "reference.tif", folder / "expected.tif",
                   {strategy, {}, ImageAlphaType::LastBand});
        for (int band = 1; band <= alphaBand; ++band)
            EXPECT_EQ(difference(rasters::pixels(folder / "expected.tif", band),
                                 rasters::pixels(folder / "out.tif", band), outWidth),
                      "")
                << static_cast<int>(strategy) << ", band " << band;
    }
}

INSTANTIATE_TEST_SUITE_P(Values, TreatAsNoDataAlpha,
                         testing::Values(NoDataCase{"Zero", GDT_Int16, 0.0},
                                         NoDataCase{"Opaque", GDT_Int16, 255.0}),
                         nameOfCase);

TEST(TreatAsNoDataAlphaBand, OfASingleBandIsLeftAloneToo)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", mapped(width, height, GDT_Byte),
                  [](int x, int y, int) { return squaresOfAlpha(x, y); });
    downsample(folder / "in.tif", folder / "out.tif",
               {DownsamplingStrategy::Average, {0.0, 255.0}, ImageAlphaType::LastBand});
    Values expected;
    for (int y = 0; y < height; y += 2)
        for (int x = 0; x < width; x += 2)
            expected.push_back(squaresOfAlpha(x, y));
    EXPECT_EQ(difference(expected, rasters::pixels(folder / "out.tif"), outWidth), "");
}

TEST(TreatAsNoDataAlphaBand, IsABandLikeAnyOtherWhereNoneIsAlpha)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", mapped(2, 2, GDT_Int16, 2), [](int x, int, int) { return 10.0 * x; });
    downsample(folder / "in.tif", folder / "out.tif", {DownsamplingStrategy::Average, {0.0}});
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 1), Values{10.0});
    EXPECT_EQ(rasters::pixels(folder / "out.tif", 2), Values{10.0});
}

TEST(WithoutTreatAsNoData, OtherValuesAreData)
{
    const TempFolder folder;
    const double block[] = {-9999.0, 1.0, 2.0, 4.0};
    rasters::make(folder / "in.tif", mapped(2, 2, GDT_Float64),
                  [&](int x, int y, int) { return block[2 * y + x]; });
    downsample(folder / "in.tif", folder / "mean.tif", {});
    downsample(folder / "in.tif", folder / "min.tif", {DownsamplingStrategy::Min});
    EXPECT_EQ(rasters::pixels(folder / "mean.tif"), Values{-2498.0});
    EXPECT_EQ(rasters::pixels(folder / "min.tif"), Values{-9999.0});
}

TEST(WithoutTreatAsNoData, OutputsAreTheSameBytesAsWithAValueThatTheRasterLacks)
{
    const TempFolder folder;
    const auto mixed = [](int x, int y, int band) {
        return isHole(x, y, band) ? -10000.0 : ground(x, y, band) - 0.25;
    };
    rasters::make(folder / "in.tif", mapped(width, height, GDT_Float32, 2), mixed);
    for (const DownsamplingStrategy strategy : blockAndGauss) {
        downsample(folder / "in.tif", folder / "out.tif", {strategy});
        const std::string plain = fileText(folder / "out.tif");
        downsample(folder / "in.tif", folder / "out.tif", {strategy, {-9999.0, 0.0, notANumber}});
        EXPECT_EQ(fileText(folder / "out.tif"), plain) << static_cast<int>(strategy);
    }
}

namespace {

/// Shows what a subclass reads.
class Reader : public CustomDownsampler
{
public:
    using CustomDownsampler::CustomDownsampler;
    using vexel::DownsamplerBase::missingValues;
    using vexel::DownsamplerBase::readInput;
};

vexel::PixelBox boxOf(int x0, int y0, int x1, int y1)
{
    return {vexel::PixelPoint(x0, y0), vexel::PixelPoint(x1, y1)};
}

} // namespace

TEST(ReadInput, GivesMinus10000ForMissingValuesAndZeroWhereNoFileIs)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", mapped(2, 1, GDT_Float32), [](int x, int, int) { return 5.0 + x; });
    Reader job(folder / "in.tif", folder / "out.tif", 1.0, [](const Reader::Block&) { return 0.0f; });
    job.treatAsNoData(6.0);
    vexel::PixelMatrix<float> pixels;
    ASSERT_TRUE(job.readInput(pixels, 1, boxOf(-1, 0, 3, 1)));
    ASSERT_EQ(pixels.size(), 4);
    EXPECT_EQ(pixels(0, 0), 0.0f);
    EXPECT_EQ(pixels(0, 1), 5.0f);
    EXPECT_EQ(pixels(0, 2), -10000.0f);
    EXPECT_EQ(pixels(0, 3), 0.0f);
}

TEST(ReadInput, FailsForABandThatThereIsNotAndAnInputThatIsNotOpen)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", mapped(2, 2, GDT_Float32), [](int, int, int) { return 5.0; });
    Reader job(folder / "in.tif", folder / "out.tif", 1.0, [](const Reader::Block&) { return 0.0f; });
    vexel::PixelMatrix<float> pixels;
    EXPECT_FALSE(job.readInput(pixels, 2, boxOf(0, 0, 2, 2)));
    EXPECT_FALSE(Reader().readInput(pixels, 1, boxOf(0, 0, 2, 2)));
}

TEST(MissingValues, AreThoseNamedInOrder)
{
    Reader job;
    EXPECT_TRUE(job.missingValues().empty());
    job.treatAsNoData(3.0);
    job.treatAsNoData(-1.0);
    EXPECT_EQ(job.missingValues(), (Values{3.0, -1.0}));
}

class TreatAsNoDataWarp : public testing::TestWithParam<NoDataCase>
{};

TEST_P(TreatAsNoDataWarp, IsTheSourceNoDataOfGdalsUtility)
{
    const TempFolder folder;
    rasters::Description description = mapped(width, height, GetParam().type);
    description.wkt = rasters::wkt(32633);
    rasters::make(folder / "in.tif", description, withHoles(GetParam().value));
    downsample(folder / "in.tif", folder / "out.tif",
               {DownsamplingStrategy::Warp, {120.0, GetParam().value}}); // the last one holds
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", GetParam().value);
    rasters::run({"gdalwarp", "-q", "-overwrite", "-r", "cubicspline", "-tr", "2", "2", "-srcnodata", text,
                  "-dstnodata", "-10000", (folder / "in.tif").toStdString(),
                  (folder / "expected.tif").toStdString()});
    const Values expected = rasters::pixels(folder / "expected.tif");
    EXPECT_EQ(difference(expected, rasters::pixels(folder / "out.tif"), outWidth), "");
    const std::size_t insideTheHole = 15 * outWidth + 15;
    EXPECT_EQ(expected[insideTheHole], -10000.0);
    EXPECT_NE(std::count(expected.begin(), expected.end(), -10000.0), 0);
    EXPECT_TRUE(std::all_of(expected.begin(), expected.end(), [](double value) {
        return value == -10000.0 || (value > -300.0 && value < 500.0); // cubic filters overshoot a little
    }));
}

INSTANTIATE_TEST_SUITE_P(Values, TreatAsNoDataWarp,
                         testing::Values(NoDataCase{"Minus9999", GDT_Float32, -9999.0},
                                         NoDataCase{"LowestFloat", GDT_Float32, -3.4028234663852886e38},
                                         NoDataCase{"NaN", GDT_Float32, notANumber},
                                         NoDataCase{"Zero", GDT_Int16, 0.0},
                                         NoDataCase{"LowestInt16", GDT_Int16, -32768.0}),
                         nameOfCase);
