#include "utilities/verify.h"

#include "streaming/streamingsupport.h"
#include "support/TempFolder.h"
#include "verifyfixtures.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using namespace verifytest;
using namespace streamingtest;

namespace {

class VerifyLayout : public testing::TestWithParam<LayoutCase>
{
protected:
    const TempFolder m_folder;
    const QString m_path = m_folder / "whole.tif";

    void SetUp() override { makeLayout(m_path, GetParam()); }
};

} // namespace

TEST_P(VerifyLayout, FindsAWholeFileWhole)
{
    for (const bool decode : {false, true}) {
        const VerifyReport report = check(m_path, decode);
        EXPECT_TRUE(report.isWhole()) << described(report);
        EXPECT_EQ(report.noFiles, 1u);
        if (GetParam().blocks > 0) {
            EXPECT_EQ(report.noBlocks, GetParam().blocks);
        }
        EXPECT_GT(report.noBlocks, 0u);
        EXPECT_EQ(report.noSparseBlocks, 0u);
        EXPECT_EQ(report.noFilesNotChecked, 0u);
    }
}

TEST_P(VerifyLayout, FindsEveryCutIntoBlocks)
{
    const std::uint64_t end = endOfAllBlocks(m_path);
    ASSERT_GT(end, 0u);
    const std::string bytes = fileText(m_path);
    const QString path = m_folder / "cut.tif";
    for (std::uint64_t i = 0; i < 50; ++i) {
        // From nothing to all but one byte of the last block.
        const std::uint64_t length = (end - 1) * i / 49;
        makeFile(path, bytes.substr(0, length));
        const VerifyReport quick = check(path);
        EXPECT_FALSE(quick.isWhole()) << length << " of " << end;
        if (i % 7 == 0 || i == 49) {
            EXPECT_FALSE(check(path, /*decode=*/true).isWhole()) << length << " of " << end;
        }
    }
}

TEST_P(VerifyLayout, DoesNotMindBytesAfterTheLastBlock)
{
    makeFile(m_folder / "longer.tif", fileText(m_path) + "nothing of use");
    EXPECT_TRUE(check(m_folder / "longer.tif").isWhole());
    EXPECT_TRUE(check(m_folder / "longer.tif", /*decode=*/true).isWhole());
}

INSTANTIATE_TEST_SUITE_P(Layouts, VerifyLayout, testing::ValuesIn(layouts()),
                         [](const auto& row) { return std::string(row.param.name); });
