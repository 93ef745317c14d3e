#include "companion/ImageInfo.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

using vexel::DataType;
using vexel::ImageInfo;

static_assert(std::is_same_v<decltype(ImageInfo::width), std::int64_t>);
static_assert(std::is_same_v<decltype(ImageInfo::height), std::int64_t>);
static_assert(std::is_same_v<decltype(ImageInfo::dtype), DataType>);
static_assert(std::is_same_v<decltype(ImageInfo::noBands), std::uint64_t>);
static_assert(std::is_same_v<decltype(ImageInfo::noPages), std::uint64_t>);

TEST(ImageInfo, DescribesNothingAtFirst)
{
    const ImageInfo info;
    EXPECT_EQ(info.width, 0);
    EXPECT_EQ(info.height, 0);
    EXPECT_EQ(info.dtype, DataType::Unknown);
    EXPECT_EQ(info.noBands, 0u);
    EXPECT_EQ(info.noPages, 0u);
}

TEST(ImageInfo, MembersStandInTheirOrder)
{
    EXPECT_LT(offsetof(ImageInfo, width), offsetof(ImageInfo, height));
    EXPECT_LT(offsetof(ImageInfo, height), offsetof(ImageInfo, dtype));
    EXPECT_LT(offsetof(ImageInfo, dtype), offsetof(ImageInfo, noBands));
    EXPECT_LT(offsetof(ImageInfo, noBands), offsetof(ImageInfo, noPages));
}
