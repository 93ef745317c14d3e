#include "fault/ChildProcess.h"
#include "support/NoOpenDatasets.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    if (argc > 2 && std::string(argv[1]) == "--child")
        return faults::runAsChild(argv[2], faults::Arguments(argv + 3, argv + argc));
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new NoOpenDatasets);
    return RUN_ALL_TESTS();
}
