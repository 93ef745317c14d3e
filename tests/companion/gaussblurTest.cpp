#include "companion/gaussblur.h"

#include "support/Threads.h"
#include "support/rasters.h"
#include "support/sampledgaussian.h"

#include <gtest/gtest.h>

#ifdef __SSE2__
#include <xmmintrin.h>
#endif

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Image = vexel::PixelMatrix<float>;
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

/// Where the response stands out most among them: 0.728 (order 3), 0.964 and 3.642 (order 2), 2.532 (order 4)
/// and the bounds. The rest are widths of the Gaussian downsampler and steps between.
constexpr float kSigmas[] = {0.5f,    0.6f,    0.728f, 0.85f,  0.964f, 1.2f,   1.5f,    1.79f,
                             1.8f,    1.8358f, 2.0f,   2.532f, 3.0f,   3.642f, 3.6715f, 4.3f,
                             5.1923f, 8.0f,    12.5f,  21.0f,  35.0f,  50.0f};

Image blurred(Image image, float sigma, int order)
{
    vexel::gauss_iir2d(image, sigma, order);
    return image;
}

Image noise(Eigen::Index rows, Eigen::Index columns, unsigned seed = 0)
{
    return Image::NullaryExpr(rows, columns, [seed](Eigen::Index y, Eigen::Index x) {
        return static_cast<float>(255.0 * rasters::noise(static_cast<int>(x), static_cast<int>(y), 1, seed));
    });
}

bool sameBits(const Image& a, const Image& b)
{
    return a.rows() == b.rows() && a.cols() == b.cols() &&
           (a.size() == 0 ||
            std::memcmp(a.data(), b.data(), static_cast<std::size_t>(a.size()) * sizeof(float)) == 0);
}

int reachOf(float sigma)
{
    return std::max(8, static_cast<int>(std::ceil(20.0f * sigma)));
}

enum class Axis
{
    Row,
    Column
};

/// What an impulse of 1 in the middle of a line becomes.
std::vector<double> impulseResponse(float sigma, int order, Axis axis)
{
    const int reach = reachOf(sigma);
    const int length = 2 * reach + 1;
    Image line = axis == Axis::Row ? Image::Zero(1, length) : Image::Zero(length, 1);
    line(axis == Axis::Row ? 0 : reach, axis == Axis::Row ? reach : 0) = 1.0f;
    line = blurred(line, sigma, order);
    return std::vector<double>(line.data(), line.data() + line.size());
}

/// The largest deviation of an impulse response from the Gaussian, as a part of its peak.
double deviation(float sigma, int order, Axis axis)
{
    const std::vector<double> response = impulseResponse(sigma, order, axis);
    const std::vector<double> exact = sampledGaussian(sigma, reachOf(sigma));
    double largest = 0.0;
    for (std::size_t i = 0; i < exact.size(); ++i)
        largest = std::max(largest, std::fabs(response[i] - exact[i]));
    return largest / exact[exact.size() / 2];
}

// ---- Response to an impulse

struct OrderCase
{
    const char* name;
    int order;
    double deviation;       ///< as a part of the peak, for each sigma from 0.5 to 50
    double deviationFrom18; ///< the same from 1.8 on
};

std::string nameOf(const testing::TestParamInfo<OrderCase>& row)
{
    return row.param.name;
}

class GaussBlurImpulse : public testing::TestWithParam<OrderCase>
{
protected:
    static double limitFor(float sigma)
    {
        return sigma >= 1.8f ? GetParam().deviationFrom18 : GetParam().deviation;
    }
};

TEST_P(GaussBlurImpulse, AlongARowIsTheGaussian)
{
    for (const float sigma : kSigmas)
        EXPECT_LE(deviation(sigma, GetParam().order, Axis::Row), limitFor(sigma)) << "sigma " << sigma;
}

TEST_P(GaussBlurImpulse, AlongAColumnIsTheGaussian)
{
    for (const float sigma : kSigmas)
        EXPECT_LE(deviation(sigma, GetParam().order, Axis::Column), limitFor(sigma)) << "sigma " << sigma;
}

TEST_P(GaussBlurImpulse, DeviatesAsMuchAsStated)
{
    double largest = 0.0;
    for (const float sigma : kSigmas)
        largest = std::max(largest, deviation(sigma, GetParam().order, Axis::Row));
    // The figures have two digits.
    EXPECT_GT(largest, 0.95 * GetParam().deviation) << "the documented figure is too large";
}

TEST_P(GaussBlurImpulse, SumsToOne)
{
    for (const float sigma : kSigmas) {
        double sum = 0.0;
        for (const double value : impulseResponse(sigma, GetParam().order, Axis::Row))
            sum += value;
        // Each pixel of the response is rounded to float, by half an epsilon of itself for each axis.
        EXPECT_NEAR(sum, 1.0, 2 * FLT_EPSILON) << "sigma " << sigma;
    }
}

TEST_P(GaussBlurImpulse, IsSymmetric)
{
    for (const float sigma : kSigmas) {
        const std::vector<double> response = impulseResponse(sigma, GetParam().order, Axis::Row);
        const double peak = response[response.size() / 2];
        // Forward and backward are summed in double and rounded to float once.
        for (std::size_t i = 0; i < response.size(); ++i)
            ASSERT_NEAR(response[i], response[response.size() - 1 - i], FLT_EPSILON * peak)
                << "sigma " << sigma;
    }
}

TEST_P(GaussBlurImpulse, InTwoDimensionsIsTheProductOfBoth)
{
    for (const float sigma : {0.5f, 1.0f, 1.8358f, 3.0f}) {
        const int reach = reachOf(sigma);
        const int size = 2 * reach + 1;
        Image image = Image::Zero(size, size);
        image(reach, reach) = 1.0f;
        image = blurred(image, sigma, GetParam().order);
        const std::vector<double> line = impulseResponse(sigma, GetParam().order, Axis::Row);
        const std::vector<double> exact = sampledGaussian(sigma, reach);
        const double peak = exact[static_cast<std::size_t>(reach)] * exact[static_cast<std::size_t>(reach)];
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x) {
                const auto row = static_cast<std::size_t>(y);
                const auto column = static_cast<std::size_t>(x);
                // Rounded to float after each axis, as the two factors were.
                ASSERT_NEAR(image(y, x), line[row] * line[column], 4 * FLT_EPSILON * peak) << sigma;
                // Two deviations add up, and their product is small.
                ASSERT_NEAR(image(y, x), exact[row] * exact[column], 2.1 * limitFor(sigma) * peak) << sigma;
            }
    }
}

// The figures of the header.
INSTANTIATE_TEST_SUITE_P(Orders, GaussBlurImpulse,
                         testing::Values(OrderCase{"Two", 2, 2e-2, 2e-2},
                                         OrderCase{"Three", 3, 2.5e-3, 2.5e-3},
                                         OrderCase{"Four", 4, 4.5e-4, 2.4e-4}),
                         nameOf);

// ---- Constant images

class GaussBlurConstant : public testing::TestWithParam<int>
{};

TEST_P(GaussBlurConstant, StaysConstantUpToItsCorners)
{
    for (const float sigma : {0.05f, 0.3f, 0.5f, 1.8358f, 5.1923f, 50.0f, 500.0f, 1e5f, FLT_MAX, kInfinity})
        for (const float value : {1.0f, 255.0f, -10000.0f, 1e-30f, 3e38f}) {
            const Image image = blurred(Image::Constant(37, 53, value), sigma, GetParam());
            const double deviation = (image.cast<double>().array() / value - 1.0).abs().maxCoeff();
            // The gains keep the sum exact in double; the result is rounded to float after each axis.
            EXPECT_LE(deviation, 2 * FLT_EPSILON) << "sigma " << sigma << ", value " << value;
        }
}

INSTANTIATE_TEST_SUITE_P(Orders, GaussBlurConstant, testing::Values(2, 3, 4),
                         testing::PrintToStringParamName());

TEST(GaussBlur, ValuesTooSmallForANormalFloatStaySmall)
{
    const Image image = blurred(Image::Constant(20, 20, 1e-40f), 2.0f, 4);
    EXPECT_GE(image.minCoeff(), 0.0f);
    EXPECT_LE(image.maxCoeff(), FLT_MIN);
}

// ---- Border and size

struct SizeCase
{
    const char* name;
    int rows;
    int columns;
};

class GaussBlurBorder : public testing::TestWithParam<SizeCase>
{};

/// The image with `margin` more pixels on each side, equal to those of its edge.
Image padded(const Image& image, Eigen::Index margin)
{
    return Image::NullaryExpr(image.rows() + 2 * margin, image.cols() + 2 * margin,
                              [&](Eigen::Index y, Eigen::Index x) {
                                  return image(std::clamp<Eigen::Index>(y - margin, 0, image.rows() - 1),
                                               std::clamp<Eigen::Index>(x - margin, 0, image.cols() - 1));
                              });
}

TEST_P(GaussBlurBorder, IsAsIfTheEdgePixelsWentOnForEver)
{
    const Image image = noise(GetParam().rows, GetParam().columns);
    for (const int order : {2, 3, 4})
        for (const float sigma : {0.5f, 1.8358f, 5.1923f}) {
            const Eigen::Index margin = reachOf(sigma);
            const Image wide = blurred(padded(image, margin), sigma, order);
            const Image expected = wide.block(margin, margin, image.rows(), image.cols());
            // A few roundings to float, of values up to 255.
            EXPECT_LE((blurred(image, sigma, order) - expected).cwiseAbs().maxCoeff(), 1e-4f)
                << "order " << order << ", sigma " << sigma;
        }
}

/// One dimension of a blur after the other, each by the plain sum over the sampled Gaussian.
Image convolved(const Image& image, float sigma)
{
    const int reach = static_cast<int>(std::ceil(6.0f * sigma));
    const std::vector<double> weights = sampledGaussian(sigma, reach);
    const auto along = [&](const auto& pixels) {
        Eigen::MatrixXd sums = Eigen::MatrixXd::Zero(pixels.rows(), pixels.cols());
        for (int i = -reach; i <= reach; ++i)
            for (Eigen::Index x = 0; x < pixels.cols(); ++x)
                sums.col(x) += weights[static_cast<std::size_t>(i + reach)] *
                               pixels.col(std::clamp<Eigen::Index>(x + i, 0, pixels.cols() - 1));
        return sums;
    };
    const Eigen::MatrixXd rows = along(Eigen::MatrixXd(image.cast<double>()));
    return along(Eigen::MatrixXd(rows.transpose())).transpose().cast<float>();
}

TEST_P(GaussBlurBorder, LeavesNoPixelOut)
{
    const Image image = noise(GetParam().rows, GetParam().columns, 1);
    for (const float sigma : {0.5f, 1.8358f, 5.1923f})
        // The weights deviate by 1.1e-3 in all along each axis, and pixels by 127.5 from the middle.
        EXPECT_LE((blurred(image, sigma, 4) - convolved(image, sigma)).cwiseAbs().maxCoeff(),
                  2 * 1.1e-3f * 127.5f)
            << "sigma " << sigma;
}

INSTANTIATE_TEST_SUITE_P(Sizes, GaussBlurBorder,
                         testing::Values(SizeCase{"OnePixel", 1, 1}, SizeCase{"OneRow", 1, 41},
                                         SizeCase{"OneColumn", 41, 1}, SizeCase{"TwoByTwo", 2, 2},
                                         SizeCase{"SixteenLines", 16, 16}, SizeCase{"OneLineLess", 15, 31},
                                         SizeCase{"OneLineMore", 17, 33}, SizeCase{"Wide", 3, 100},
                                         SizeCase{"High", 100, 5}, SizeCase{"Larger", 150, 130}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(GaussBlur, OfNothingIsNothing)
{
    for (const auto& [rows, columns] : {std::pair(0, 0), std::pair(0, 5), std::pair(5, 0)}) {
        const Image image = blurred(Image(rows, columns), 2.0f, 4);
        EXPECT_EQ(image.rows(), rows);
        EXPECT_EQ(image.cols(), columns);
    }
}

TEST(GaussBlur, OfASinglePixelIsThatPixel)
{
    // Rounded to float after each axis.
    EXPECT_NEAR(blurred(Image::Constant(1, 1, 200.0f), 3.0f, 4)(0, 0), 200.0f, 200.0f * 2 * FLT_EPSILON);
}

// ---- Steps

TEST_P(GaussBlurImpulse, StepDoesNotRing)
{
    for (const float sigma : {0.5f, 1.0f, 1.8358f, 5.1923f, 20.0f}) {
        const int half = reachOf(sigma);
        Image step = Image::Zero(1, 2 * half);
        step.rightCols(half).setOnes();
        step = blurred(step, sigma, GetParam().order);

        // The exact step, and how far the response can sum up to be off.
        const std::vector<double> exact = sampledGaussian(sigma, half);
        const std::vector<double> response = impulseResponse(sigma, GetParam().order, Axis::Row);
        double reached = 0.0;
        double off = FLT_EPSILON;
        for (std::size_t i = 0; i < exact.size(); ++i)
            off += std::fabs(response[i] - exact[i]) / 2;
        for (int x = 0; x < 2 * half; ++x) {
            reached += exact[static_cast<std::size_t>(x)];
            ASSERT_NEAR(step(0, x), reached, off) << "sigma " << sigma << ", column " << x;
        }
        EXPECT_GE(step.minCoeff(), -off) << "sigma " << sigma;
        EXPECT_LE(step.maxCoeff(), 1 + off) << "sigma " << sigma;
        // 20 sigma from the step the response has faded, to 2e-11 with order 2. Near 1 a float is rounded.
        EXPECT_NEAR(step(0, 0), 0.0, 1e-7) << "sigma " << sigma;
        EXPECT_NEAR(step(0, 2 * half - 1), 1.0, 2 * FLT_EPSILON) << "sigma " << sigma;
    }
}

// ---- Pixels that are no numbers

class GaussBlurSpoiled : public testing::TestWithParam<float>
{};

TEST_P(GaussBlurSpoiled, PixelSpoilsItsRowAndColumnAndTheseTheRest)
{
    for (const int order : {2, 3, 4}) {
        Image image = noise(40, 50);
        image(20, 10) = GetParam();
        image = blurred(image, 3.0f, order);
        for (Eigen::Index y = 0; y < image.rows(); ++y)
            for (Eigen::Index x = 0; x < image.cols(); ++x)
                ASSERT_FALSE(std::isfinite(image(y, x))) << "order " << order << ": " << x << ", " << y;
    }
}

TEST_P(GaussBlurSpoiled, PixelAtTheEndsOfALineSpoilsIt)
{
    for (const auto& [rows, columns] : {std::pair(1, 1), std::pair(1, 20), std::pair(20, 1)}) {
        Image image = Image::Zero(rows, columns);
        image(0, 0) = GetParam();
        image(rows - 1, columns - 1) = GetParam();
        EXPECT_FALSE(std::isfinite(blurred(image, 3.0f, 4)(rows / 2, columns / 2)));
    }
}

INSTANTIATE_TEST_SUITE_P(Values, GaussBlurSpoiled, testing::Values(kNan, kInfinity, -kInfinity),
                         [](const auto& row) {
                             return row.param < 0   ? std::string("NegativeInfinity")
                                    : row.param > 0 ? std::string("Infinity")
                                                    : std::string("Nan");
                         });

// ---- Sigma and order

class GaussBlurNoSigma : public testing::TestWithParam<float>
{};

TEST_P(GaussBlurNoSigma, LeavesTheImageAlone)
{
    Image image = noise(20, 30);
    image(3, 4) = kNan;
    image(5, 6) = kInfinity;
    image(7, 8) = -0.0f;
    image(9, 9) = 1e-40f;
    for (const int order : {2, 3, 4})
        EXPECT_TRUE(sameBits(blurred(image, GetParam(), order), image)) << "order " << order;
}

INSTANTIATE_TEST_SUITE_P(Sigmas, GaussBlurNoSigma,
                         testing::Values(0.0f, -0.0f, -1.0f, -kInfinity, kNan, FLT_MIN, 0.01f, 0.0499f),
                         [](const auto& row) { return "Row" + std::to_string(row.index); });

TEST(GaussBlur, SmallestSigmaKeepsAnImpulse)
{
    Image image = Image::Zero(9, 9);
    image(4, 4) = 1e20f;
    const Image smooth = blurred(image, 0.05f, 4);
    // The neighbours' weight, exp(-200), vanishes beside 1: the impulse is rounded a few times.
    EXPECT_NEAR(smooth(4, 4) / 1e20f, 1.0, 1e-6);
    EXPECT_NE(smooth(4, 5), 0.0f);
    EXPECT_NE(smooth(3, 4), 0.0f);
}

TEST(GaussBlur, SigmaIsCappedWhereTheWholeImageIsLevel)
{
    Image ramp(30, 100);
    for (Eigen::Index x = 0; x < ramp.cols(); ++x)
        ramp.col(x).setConstant(static_cast<float>(x));
    const Image level = blurred(ramp, 1e5f, 4);
    // Nearly all weight lies beyond the image, half of it on either edge's value. A column is at most 50 pixels
    // off the middle, so that 50 * 99 / (1e5 * sqrt(2 pi)) = 0.02 of the ramp's values are shifted.
    EXPECT_LE((level.array() - 49.5f).abs().maxCoeff(), 0.02f);
    for (const float sigma : {2e5f, 1e30f, FLT_MAX, kInfinity})
        EXPECT_TRUE(sameBits(blurred(ramp, sigma, 4), level)) << sigma;
    EXPECT_FALSE(sameBits(blurred(ramp, 9e4f, 4), level));
}

class GaussBlurOtherOrder : public testing::TestWithParam<int>
{};

TEST_P(GaussBlurOtherOrder, IsRefusedWhateverTheImage)
{
    const Image image = noise(20, 30);
    for (const float sigma : {2.0f, 0.0f, -1.0f, kNan})
        for (const Image& original : {image, Image()}) {
            Image blurredImage = original;
            try {
                vexel::gauss_iir2d(blurredImage, sigma, GetParam());
                ADD_FAILURE() << "accepted with sigma " << sigma;
            } catch (const std::invalid_argument& error) {
                EXPECT_EQ(error.what(),
                          "The recursive Gaussian has orders 2 to 4, not " + std::to_string(GetParam()));
            }
            EXPECT_TRUE(sameBits(blurredImage, original));
        }
}

INSTANTIATE_TEST_SUITE_P(Orders, GaussBlurOtherOrder,
                         testing::Values(1, 0, -4, 5, 6, std::numeric_limits<int>::max(),
                                         std::numeric_limits<int>::min()),
                         [](const auto& row) { return "Row" + std::to_string(row.index); });

// ---- Threads

#ifdef _OPENMP
TEST(GaussBlur, DoesNotDependOnTheNumberOfThreads)
{
    const Image image = noise(1500, 1421); // more than 4 ms at 2 ns a pixel, from which on a team pays
    for (const int order : {2, 3, 4}) {
        const Threads one(1);
        const Image alone = blurred(image, 3.6715f, order);
        for (const int threads : {2, 3, 7}) {
            const Threads team(threads);
            EXPECT_TRUE(sameBits(blurred(image, 3.6715f, order), alone)) << threads << " threads";
        }
    }
}

TEST(GaussBlur, LeavesTinyNumbersToItsThreads)
{
    const Threads team(3);
    blurred(noise(1500, 1421), 2.0f, 4);
    int lost = 0;
#pragma omp parallel reduction(+ : lost)
    {
        const volatile float smallest = FLT_MIN;
        lost += smallest / 2 > 0.0f ? 0 : 1;
    }
    EXPECT_EQ(lost, 0);
}
#endif

#ifdef __SSE2__
TEST(GaussBlur, LeavesTheFloatingPointControlAsItWas)
{
    constexpr unsigned control = 0xFFC0; // all but the flags of what has happened
    constexpr unsigned flushToZero = 0x8000;
    constexpr unsigned denormalsAreZero = 0x0040;
    constexpr unsigned towardZero = 0x6000;
    const unsigned before = _mm_getcsr();
    for (const unsigned set : {0u, flushToZero, denormalsAreZero, towardZero})
        for (const Eigen::Index size : {8, 200}) {
            Image image = noise(size, size);
            const unsigned wanted = (before & ~(flushToZero | denormalsAreZero | towardZero)) | set;
            _mm_setcsr(wanted);
            vexel::gauss_iir2d(image, 2.0f, 4);
            const unsigned after = _mm_getcsr();
            _mm_setcsr(before);
            EXPECT_EQ(after & control, wanted & control) << "size " << size;
        }
}
#endif

} // namespace
