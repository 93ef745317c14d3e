#include "fault/ChildProcess.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

namespace {

/// No test of this suite leaves a dataset open, whatever went wrong in it on purpose.
class NoOpenDatasets : public testing::EmptyTestEventListener
{
    void OnTestEnd(const testing::TestInfo&) override
    {
        EXPECT_EQ(rasters::openDatasets(), 0) << "datasets are still open after the test";
    }
};

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2 && std::string(argv[1]) == "--child")
        return faults::runAsChild(argv[2], faults::Arguments(argv + 3, argv + argc));
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new NoOpenDatasets);
    return RUN_ALL_TESTS();
}
