#include "companion/LargeBuffer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <type_traits>

using vexel::LargeBuffer;

namespace {

template <class T>
class LargeBufferOf : public testing::Test
{};

using ElementTypes = testing::Types<unsigned char, float, double>;
TYPED_TEST_SUITE(LargeBufferOf, ElementTypes, );

constexpr std::size_t mebi = 1024 * 1024;

std::uintptr_t addressOf(const void* place)
{
    return reinterpret_cast<std::uintptr_t>(place);
}

} // namespace

TYPED_TEST(LargeBufferOf, HoldsAllItsElements)
{
    // Small ones, and ones just below, at and beyond the size where large pages begin to pay.
    for (const std::size_t bytes :
         {std::size_t{8}, std::size_t{4096}, 4 * mebi - 8, 4 * mebi, 4 * mebi + 8, 6 * mebi, 7 * mebi - 8}) {
        const std::size_t count = bytes / sizeof(TypeParam);
        LargeBuffer<TypeParam> buffer(count);
        TypeParam* const elements = buffer.data();
        ASSERT_NE(elements, nullptr);
        for (std::size_t i = 0; i < count; ++i)
            elements[i] = static_cast<TypeParam>(i % 251);
        EXPECT_EQ(buffer.data(), elements);
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < count; ++i)
            wrong += elements[i] == static_cast<TypeParam>(i % 251) ? 0 : 1;
        EXPECT_EQ(wrong, 0u) << bytes << " bytes";
    }
}

TYPED_TEST(LargeBufferOf, OfNothingHasAPlace)
{
    LargeBuffer<TypeParam> buffer(0);
    EXPECT_NE(buffer.data(), nullptr);
}

TYPED_TEST(LargeBufferOf, LiesWhereItsElementsMay)
{
    for (const std::size_t count : {std::size_t{1}, std::size_t{1000}, 3 * mebi}) {
        LargeBuffer<TypeParam> buffer(count);
        EXPECT_EQ(addressOf(buffer.data()) % alignof(std::max_align_t), 0u);
    }
}

TYPED_TEST(LargeBufferOf, StartsAtALargePageWhereItIsLarge)
{
    LargeBuffer<TypeParam> buffer(4 * mebi / sizeof(TypeParam));
    EXPECT_EQ(addressOf(buffer.data()) % (2 * mebi), 0u);
}

TYPED_TEST(LargeBufferOf, MoreThanThereCanBeIsRefused)
{
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    // More bytes than can be counted, as many as wrap around to few, and what whole pages make too many.
    // many.
    EXPECT_THROW(LargeBuffer<TypeParam>{most}, std::bad_alloc);
    EXPECT_THROW(LargeBuffer<TypeParam>{most / sizeof(TypeParam) + 1 - (sizeof(TypeParam) == 1 ? 1 : 0)},
                 std::bad_alloc);
    EXPECT_THROW(LargeBuffer<TypeParam>{most / sizeof(TypeParam)}, std::bad_alloc);
    EXPECT_THROW(LargeBuffer<TypeParam>{(most - 2 * mebi) / sizeof(TypeParam) + 1}, std::bad_alloc);
}

TEST(LargeBuffers, AreNotCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<LargeBuffer<float>>);
    EXPECT_FALSE(std::is_copy_assignable_v<LargeBuffer<float>>);
}
