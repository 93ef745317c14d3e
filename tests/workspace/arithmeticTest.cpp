#include "workspace/arithmetic.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

using namespace vexel::arithmetic;

namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

struct RealCase
{
    const char* name;
    double value;
    std::int64_t expected;
};

std::string nameOf(const testing::TestParamInfo<RealCase>& row)
{
    return row.param.name;
}

} // namespace

TEST(ArithmeticWrapAdd, AddsAndWrapsAtBothEnds)
{
    EXPECT_EQ(wrapAdd(3, -10), -7);
    EXPECT_EQ(wrapAdd(largest - 1, 1), largest);
    EXPECT_EQ(wrapAdd(largest, 1), lowest);
    EXPECT_EQ(wrapAdd(lowest, -1), largest);
    EXPECT_EQ(wrapAdd(lowest, lowest), 0);
}

TEST(ArithmeticWrapSub, SubtractsAndWrapsAtBothEnds)
{
    EXPECT_EQ(wrapSub(3, 10), -7);
    EXPECT_EQ(wrapSub(lowest + 1, 1), lowest);
    EXPECT_EQ(wrapSub(lowest, 1), largest);
    EXPECT_EQ(wrapSub(largest, -1), lowest);
    EXPECT_EQ(wrapSub(largest, lowest), -1);
    EXPECT_EQ(wrapSub(0, lowest), lowest);
}

TEST(ArithmeticWrapMul, MultipliesAndWraps)
{
    EXPECT_EQ(wrapMul(-3, 7), -21);
    EXPECT_EQ(wrapMul(largest, 1), largest);
    EXPECT_EQ(wrapMul(largest, 2), -2);
    EXPECT_EQ(wrapMul(lowest, -1), lowest);
    EXPECT_EQ(wrapMul(std::int64_t{1} << 32, std::int64_t{1} << 32), 0);
}

TEST(ArithmeticNarrow, KeepsTheLow32Bits)
{
    EXPECT_EQ(narrow(-7), -7);
    EXPECT_EQ(narrow(2147483647), 2147483647);
    EXPECT_EQ(narrow(2147483648), -2147483647 - 1);
    EXPECT_EQ(narrow(-2147483648), -2147483647 - 1);
    EXPECT_EQ(narrow(-2147483649), 2147483647);
    EXPECT_EQ(narrow(4294967296 + 5), 5);
    EXPECT_EQ(narrow(largest), -1);
    EXPECT_EQ(narrow(lowest), 0);
}

TEST(ArithmeticSaturate32, StopsAtTheEndsOf32Bits)
{
    EXPECT_EQ(saturate32(-7), -7);
    EXPECT_EQ(saturate32(2147483647), 2147483647);
    EXPECT_EQ(saturate32(2147483648), 2147483647);
    EXPECT_EQ(saturate32(largest), 2147483647);
    EXPECT_EQ(saturate32(-2147483648), -2147483647 - 1);
    EXPECT_EQ(saturate32(-2147483649), -2147483647 - 1);
    EXPECT_EQ(saturate32(lowest), -2147483647 - 1);
}

class ArithmeticTruncate : public testing::TestWithParam<RealCase>
{};

TEST_P(ArithmeticTruncate, GoesTowardZeroAndSaturates)
{
    EXPECT_EQ(truncate(GetParam().value), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Values, ArithmeticTruncate,
    testing::Values(RealCase{"Zero", 0.0, 0}, RealCase{"MinusZero", -0.0, 0},
                    RealCase{"JustBelowOne", 0.999, 0}, RealCase{"JustAboveMinusOne", -0.999, 0},
                    RealCase{"Positive", 7.9, 7}, RealCase{"Negative", -7.9, -7},
                    RealCase{"LastDoubleBelowTheTop", std::nextafter(0x1p63, 0.0), 9223372036854774784},
                    RealCase{"Top", 0x1p63, largest}, RealCase{"Bottom", -0x1p63, lowest},
                    RealCase{"BelowTheBottom", std::nextafter(-0x1p63, -infinity), lowest},
                    RealCase{"Huge", 1e300, largest}, RealCase{"HugeNegative", -1e300, lowest},
                    RealCase{"Infinity", infinity, largest}, RealCase{"MinusInfinity", -infinity, lowest},
                    RealCase{"NotANumber", notANumber, 0}),
    nameOf);

class ArithmeticRoundHalfAway : public testing::TestWithParam<RealCase>
{};

TEST_P(ArithmeticRoundHalfAway, AddsAHalfAwayFromZeroAndTruncates)
{
    EXPECT_EQ(roundHalfAway(GetParam().value), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Values, ArithmeticRoundHalfAway,
    testing::Values(RealCase{"Zero", 0.0, 0}, RealCase{"MinusZero", -0.0, 0}, RealCase{"BelowHalf", 0.499, 0},
                    RealCase{"Half", 0.5, 1}, RealCase{"BelowMinusHalf", -0.499, 0},
                    RealCase{"MinusHalf", -0.5, -1}, RealCase{"OneAndAHalf", 1.5, 2},
                    RealCase{"TwoAndAHalf", 2.5, 3}, RealCase{"MinusTwoAndAHalf", -2.5, -3},
                    RealCase{"JustBelowMinusTwoAndAHalf", -2.501, -3},
                    RealCase{"HalfAnIntegerUnitOfTheMap", 0.000005 * 100000, 1},
                    RealCase{"HalfAnIntegerUnitOfTheMapNegative", -0.000005 * 100000, -1},
                    // The sum with a half is rounded to a double, which lies on 1.
                    RealCase{"LastDoubleBelowHalf", std::nextafter(0.5, 0.0), 1},
                    RealCase{"Top", 0x1p63, largest}, RealCase{"Bottom", -0x1p63, lowest},
                    RealCase{"Infinity", infinity, largest}, RealCase{"MinusInfinity", -infinity, lowest},
                    RealCase{"NotANumber", notANumber, 0}),
    nameOf);
