#include "companion/DataType.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

using vexel::DataType;

namespace {

struct TypeCase
{
    const char* name;
    std::int32_t number;
    DataType type;
    double lowest;
    double largest;
};

class PixelType : public testing::TestWithParam<TypeCase>
{};

} // namespace

static_assert(std::is_same_v<std::underlying_type_t<DataType>, std::int32_t>);

TEST_P(PixelType, HasItsNumber)
{
    EXPECT_EQ(static_cast<std::int32_t>(GetParam().type), GetParam().number);
}

TEST_P(PixelType, HasItsNaturalRange)
{
    EXPECT_EQ(vexel::minMaxForPixelType(static_cast<DataType>(GetParam().number)),
              std::make_pair(GetParam().lowest, GetParam().largest));
}

INSTANTIATE_TEST_SUITE_P(All, PixelType,
                         testing::Values(TypeCase{"Unknown", 0, DataType::Unknown, 0, 0},
                                         TypeCase{"RGB", 1, DataType::RGB, 0, 255},
                                         TypeCase{"RGBA", 2, DataType::RGBA, 0, 255},
                                         TypeCase{"UInt8", 3, DataType::UInt8, 0, 255},
                                         TypeCase{"Int16", 4, DataType::Int16, -32768, 32767},
                                         TypeCase{"Int32", 5, DataType::Int32, -2147483648.0, 2147483647},
                                         TypeCase{"Float32", 6, DataType::Float32,
                                                  -static_cast<double>(FLT_MAX),
                                                  static_cast<double>(FLT_MAX)},
                                         TypeCase{"Float64", 7, DataType::Float64, -DBL_MAX, DBL_MAX},
                                         TypeCase{"UInt16", 8, DataType::UInt16, 0, 65535},
                                         TypeCase{"UInt32", 9, DataType::UInt32, 0, 4294967295.0},
                                         TypeCase{"UInt16Other", 10, DataType::UInt16Other, 0, 65535}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(MinMaxForPixelType, UndefinedValuesHoldNothing)
{
    for (const int number : {-1, 11, 12345})
        EXPECT_EQ(vexel::minMaxForPixelType(static_cast<DataType>(number)), std::make_pair(0.0, 0.0))
            << number;
}

// A raster gets the no-data value -10000 when its type can hold it.
TEST(MinMaxForPixelType, TellsWhichTypesHoldTheNoDataValue)
{
    std::string holding;
    for (int number = 0; number <= 10; ++number) {
        const auto [lowest, largest] = vexel::minMaxForPixelType(static_cast<DataType>(number));
        if (lowest <= -10000.0 && -10000.0 < largest)
            holding += std::to_string(number) + " ";
    }
    EXPECT_EQ(holding, "4 5 6 7 ");
}
