#include "support/NoOpenDatasets.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new NoOpenDatasets);
    return RUN_ALL_TESTS();
}
