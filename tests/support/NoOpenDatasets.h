#ifndef VEXEL_TESTS_SUPPORT_NOOPENDATASETS_H
#define VEXEL_TESTS_SUPPORT_NOOPENDATASETS_H

#include "support/rasters.h"

#include <gtest/gtest.h>

/// No test leaves a dataset open, whatever goes wrong in it on purpose.
class NoOpenDatasets : public testing::EmptyTestEventListener
{
    void OnTestEnd(const testing::TestInfo&) override
    {
        EXPECT_EQ(rasters::openDatasets(), 0) << "datasets are still open after the test";
    }
};

#endif
