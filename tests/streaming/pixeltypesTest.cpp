#include "streaming/pixeltypes.h"

#include <gtest/gtest.h>

using namespace vexel;

TEST(PixelTypes, OfFiles)
{
    const GDALDataType expected[] = {GDT_Unknown, GDT_Byte,    GDT_Byte,   GDT_Byte,   GDT_Int16, GDT_Int32,
                                     GDT_Float32, GDT_Float64, GDT_UInt16, GDT_UInt32, GDT_UInt16};
    for (int value = 0; value <= 10; ++value)
        EXPECT_EQ(gdalTypeOf(static_cast<DataType>(value)), expected[value]) << value;
    EXPECT_EQ(gdalTypeOf(static_cast<DataType>(11)), GDT_Unknown);
    EXPECT_EQ(gdalTypeOf(static_cast<DataType>(-1)), GDT_Unknown);
}

TEST(PixelTypes, OfMatrixElements)
{
    EXPECT_EQ(gdalBufferType<signed char>(), GDT_Byte);
    EXPECT_EQ(gdalBufferType<unsigned char>(), GDT_Byte);
    EXPECT_EQ(gdalBufferType<short>(), GDT_Int16);
    EXPECT_EQ(gdalBufferType<unsigned short>(), GDT_UInt16);
    EXPECT_EQ(gdalBufferType<int>(), GDT_Int32);
    EXPECT_EQ(gdalBufferType<unsigned int>(), GDT_UInt32);
    EXPECT_EQ(gdalBufferType<float>(), GDT_Float32);
    EXPECT_EQ(gdalBufferType<double>(), GDT_Float64);
}
