#include "downsamplers/DownsamplerFactory.h"

#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/files.h"

#include <gtest/gtest.h>
#include <ogr_spatialref.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using vexel::DownsamplingStrategy;
using vexel::GdalFileType;
using vexel::ImageAlphaType;
using Values = std::vector<double>;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

std::shared_ptr<vexel::DownsamplerBase> create(int strategy, const QString& in, const QString& out,
                                               double resolution = 2.0,
                                               ImageAlphaType alpha = ImageAlphaType::NoAlpha,
                                               GdalFileType type = GdalFileType::SingleFile,
                                               const QString& wkt = QString())
{
    return vexel::DownsamplerFactory::createDownsampler(static_cast<DownsamplingStrategy>(strategy), in, out,
                                                        wkt, resolution, alpha, type);
}

// Min and Max keep the first of two zeros and the first of a number and a NaN. Blocks of zeros have a pixel that is not
// zero, because GDAL 3.10 does not write a block that compares equal to zero: it reads as zeros of positive sign.
struct StrategyCase
{
    const char* name;
    int strategy;
    Values block; ///< two by two pixels
    double result;
};

class DownsamplerFactoryStrategy : public testing::TestWithParam<StrategyCase>
{};

TEST_P(DownsamplerFactoryStrategy, ReducesABlock)
{
    const TempFolder folder;
    const StrategyCase& row = GetParam();
    rasters::make(folder / "in.tif", downsampling::mapped(2, 2, GDT_Float32),
                  [&](int x, int y, int) { return row.block[static_cast<std::size_t>(2 * y + x)]; });
    std::shared_ptr<vexel::DownsamplerBase> job = create(row.strategy, folder / "in.tif", folder / "out.tif");
    ASSERT_TRUE(job);
    EXPECT_EQ(job.use_count(), 1);
    EXPECT_TRUE(downsampling::run(*job));
    job.reset();
    EXPECT_EQ(downsampling::difference({row.result}, rasters::pixels(folder / "out.tif"), 1), "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DownsamplerFactoryStrategy,
    testing::Values(StrategyCase{"Average", 2, {1, 2, 4, 8}, 3.75},
                    StrategyCase{"AverageOfValid", 2, {-10000, 2, 4, -10000}, 3},
                    StrategyCase{"Median", 3, {1, 2, 3, 4}, 3},
                    StrategyCase{"MedianOfTwo", 3, {-10000, 9, 7, -10000}, 9},
                    StrategyCase{"MedianOfOne", 3, {-10000, 9, -10000, -10000}, -10000},
                    StrategyCase{"MedianOfThree", 3, {30, 10, 20, -10000}, 30},
                    StrategyCase{"UpperQuartile", 4, {1, 4, 2, 3}, 4},
                    StrategyCase{"UpperQuartileOfTwo", 4, {-10000, 7, 9, -10000}, 9},
                    StrategyCase{"Min", 5, {3, 1, 4, 2}, 1},
                    StrategyCase{"MinOfNoDataFirst", 5, {-10000, 1, 4, 2}, -10000},
                    StrategyCase{"MinOfNoDataLater", 5, {3, 2, -10000, 5}, 2},
                    StrategyCase{"MinOfZeros", 5, {0.0, -0.0, -0.0, 1.0}, 0.0},
                    StrategyCase{"MinOfNegativeZeroFirst", 5, {-0.0, 0.0, 0.0, 1.0}, -0.0},
                    StrategyCase{"MinOfNanFirst", 5, {kNan, 1, 2, 3}, kNan},
                    StrategyCase{"MinOfNanLater", 5, {2, kNan, 1, kNan}, 1},
                    StrategyCase{"Max", 6, {3, 1, 4, 2}, 4},
                    StrategyCase{"MaxOfNoDataFirst", 6, {-10000, -5000, -7000, -6000}, -5000},
                    StrategyCase{"MaxOfZeros", 6, {0.0, -0.0, -0.0, -1.0}, 0.0},
                    StrategyCase{"MaxOfNegativeZeroFirst", 6, {-0.0, 0.0, 0.0, -1.0}, -0.0},
                    StrategyCase{"MaxOfNanFirst", 6, {kNan, 1, 2, 3}, kNan},
                    StrategyCase{"MaxOfNanLater", 6, {1, kNan, 2, kNan}, 2}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerFactory, PercentilesDifferOnEightValues)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(3, 3, GDT_Float32),
                  [](int x, int y, int) { return x == 0 && y == 0 ? -10000 : 3 * y + x; });
    downsampling::run(*create(3, folder / "in.tif", folder / "median.tif", 3.0));
    downsampling::run(*create(4, folder / "in.tif", folder / "quartile.tif", 3.0));
    EXPECT_EQ(rasters::pixels(folder / "median.tif"), Values{5});
    EXPECT_EQ(rasters::pixels(folder / "quartile.tif"), Values{7});
}

class DownsamplerFactoryArguments : public testing::TestWithParam<int>
{};

TEST_P(DownsamplerFactoryArguments, AreHandedOn)
{
    OGRSpatialReference system;
    ASSERT_EQ(system.importFromEPSG(32632), OGRERR_NONE);
    char* wkt = nullptr;
    system.exportToWkt(&wkt);
    const TempFolder folder;
    downsampling::makeTiles(folder / "in.tif", downsampling::mapped(12, 9, GDT_Float32, 2), 6, 9,
                            [](int x, int, int band) { return band == 1 ? 5.0
                                                              : x < 6   ? 0.0
                                                                        : 255.0; });
    std::shared_ptr<vexel::DownsamplerBase> job =
        create(GetParam(), folder / "in.tif", folder / "out.tif", 3.0, ImageAlphaType::LastBand,
               GdalFileType::TileSet, QString::fromUtf8(wkt));
    CPLFree(wkt);
    std::size_t steps = 0;
    EXPECT_TRUE(static_cast<vexel::Worker&>(*job).do_init(steps));
    EXPECT_EQ(steps, 2u);
    EXPECT_TRUE(downsampling::run(*job));
    job.reset();

    const rasters::Dataset output = rasters::open(folder / "out_1_1.tif");
    ASSERT_TRUE(output);
    EXPECT_EQ(output->GetRasterXSize(), 4);
    EXPECT_EQ(output->GetRasterYSize(), 3);
    const OGRSpatialReference written(output->GetProjectionRef());
    ASSERT_NE(written.GetAuthorityCode(nullptr), nullptr);
    EXPECT_STREQ(written.GetAuthorityCode(nullptr), "32632");
    const double hole = -10000;
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif", 1),
              (Values{hole, hole, 5, 5, hole, hole, 5, 5, hole, hole, 5, 5}));
    EXPECT_EQ(rasters::pixels(folder / "out_1_1.tif", 2),
              (Values{0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255, 255}));
}

TEST_P(DownsamplerFactoryArguments, FactorIsNotAligned)
{
    const TempFolder folder;
    // Aligned to ten pixels, the pixels would become 10 / 3 of the input's.
    rasters::make(folder / "in.tif", downsampling::mapped(10, 10, GDT_Float32),
                  [](int, int, int) { return 5.0; });
    EXPECT_TRUE(downsampling::run(*create(GetParam(), folder / "in.tif", folder / "out.tif", 3.0)));
    double coefficients[6] = {};
    ASSERT_EQ(rasters::open(folder / "out.tif")->GetGeoTransform(coefficients), CE_None);
    EXPECT_NEAR(coefficients[1], 3.0, 1e-12);
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), Values(9, 5.0));
}

TEST_P(DownsamplerFactoryArguments, ThatCannotBeOpenedThrow)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Float32),
                  [](int, int, int) { return 5.0; });
    const std::string before = fileText(folder / "in.tif");
    const LogCapture quiet;
    try {
        create(GetParam(), folder / "none.tif", folder / "out.tif");
        ADD_FAILURE() << "a missing input was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Unable to open input file '" + (folder / "none.tif").toStdString() + "'");
    }
    try {
        create(GetParam(), folder / "in.tif", folder / "in.tif");
        ADD_FAILURE() << "the input was accepted as output";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Unable to open output file '" + (folder / "in.tif").toStdString() + "'");
    }
    EXPECT_EQ(folder.listing(), "in.tif");
    EXPECT_EQ(fileText(folder / "in.tif"), before);
}

INSTANTIATE_TEST_SUITE_P(Strategies, DownsamplerFactoryArguments, testing::Values(2, 3, 4, 5, 6),
                         [](const auto& row) { return "Strategy" + std::to_string(row.param); });

struct UndefinedCase
{
    const char* name;
    std::int32_t value;
};

class DownsamplerFactoryUndefined : public testing::TestWithParam<UndefinedCase>
{};

TEST_P(DownsamplerFactoryUndefined, StrategyThrowsAndTouchesNothing)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Float32),
                  [](int, int, int) { return 5.0; });
    makeFile(folder / "out.tif", "earlier");
    const LogCapture log;
    for (const char* input : {"in.tif", "none.tif"})
        try {
            create(GetParam().value, folder / input, folder / "out.tif");
            ADD_FAILURE() << "nothing thrown";
        } catch (const std::logic_error& error) {
            EXPECT_STREQ(error.what(), "Undefined value for DownsamplingStrategy");
        }
    EXPECT_EQ(folder.listing(), "in.tif out.tif");
    EXPECT_EQ(fileText(folder / "out.tif"), "earlier");
    EXPECT_EQ(log.text(), "") << "nothing was opened";
}

INSTANTIATE_TEST_SUITE_P(Values, DownsamplerFactoryUndefined,
                         testing::Values(UndefinedCase{"JustAbove", 8}, UndefinedCase{"Negative", -1},
                                         UndefinedCase{"Largest", std::numeric_limits<std::int32_t>::max()},
                                         UndefinedCase{"Smallest", std::numeric_limits<std::int32_t>::min()}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DownsamplerFactory, ReplacesAnEarlierOutputOnce)
{
    const TempFolder folder;
    rasters::make(folder / "in.tif", downsampling::mapped(4, 4, GDT_Float32),
                  [](int x, int, int) { return x; });
    EXPECT_TRUE(downsampling::run(*create(5, folder / "in.tif", folder / "out.tif")));
    EXPECT_TRUE(downsampling::run(*create(6, folder / "in.tif", folder / "out.tif")));
    EXPECT_EQ(rasters::pixels(folder / "out.tif"), (Values{1, 3, 1, 3}));
    EXPECT_EQ(folder.listing(), "in.tif out.tfw out.tif");
}

} // namespace
