#include "fault/calls.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include "streaming/GDALStreamer.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

// What completing a file asks of the system, and in which order.

namespace {

using faults::FileCalls;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;
using vexel::PixelPoint;

constexpr int width = 40;
constexpr int height = 30;

/// Opens the raster and writes all of it.
void write(GDALStreamer& set, const QString& path, GdalFileType type = GdalFileType::SingleFile)
{
    const vexel::Workspace extent(0, 0, width, height, 1);
    ASSERT_TRUE(set.openWrite(path, 1, DataType::UInt8, extent, QString(), QString(), QString(), type,
                              width / 2, height));
    ASSERT_TRUE(set.write(PixelMatrix<unsigned char>(PixelMatrix<unsigned char>::Constant(height, width, 7)),
                          1, PixelBox(PixelPoint(0, 0), PixelPoint(width, height))));
}

std::vector<std::string> textsOf(const std::vector<FileCalls::Call>& calls)
{
    std::vector<std::string> texts;
    for (const FileCalls::Call& call : calls)
        texts.push_back(call.text);
    return texts;
}

using Texts = std::vector<std::string>;

class CompletionCalls : public testing::TestWithParam<const char*>
{};

TEST_P(CompletionCalls, SyncAllOfAFileBeforeItTakesItsPlaceAndTheFolderAfterwards)
{
    const TempFolder folder;
    const std::string name = GetParam();
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / name.c_str()));
    const FileCalls calls(folder.path());
    set.close();
    EXPECT_EQ(textsOf(calls.calls()), (Texts{"sync " + name + "_new_tmp.tif",
                                             "rename " + name + "_new_tmp.tif to " + name, "sync ."}));
    EXPECT_EQ(calls.calls().at(0).bytes, std::filesystem::file_size((folder / name.c_str()).toStdString()));
}

TEST_P(CompletionCalls, LeaveNoFileThatCannotBeSynced)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / GetParam()));
    const LogCapture log;
    FileCalls calls(folder.path());
    calls.failSyncs();
    EXPECT_TRUE(set.close());
    EXPECT_EQ(set.lastError().code, vexel::StreamError::Code::CannotComplete);
    EXPECT_EQ(set.lastError().text.toStdString(), std::strerror(EIO));
    EXPECT_EQ(textsOf(calls.calls()), (Texts{std::string("sync ") + GetParam() + "_new_tmp.tif"}));
    EXPECT_EQ(folder.listing(), "");
}

INSTANTIATE_TEST_SUITE_P(Formats, CompletionCalls, testing::Values("a.tif", "a.png", "a.jpg"),
                         [](const auto& row) { return std::string(row.param).substr(2); });

TEST(CompletionCallsOfFinish, SyncTheRasterWithoutTheLockThatCloseKeeps)
{
    for (const bool isFinished : {true, false}) {
        const TempFolder folder;
        GDALStreamer set;
        ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif"));
        const FileCalls calls(folder.path());
        const faults::LockWatch watch;
        if (isFinished)
            EXPECT_FALSE(set.finish());
        else
            set.close();
        ASSERT_FALSE(calls.calls().empty());
        EXPECT_EQ(calls.calls().front().text, "sync a.tif_new_tmp.tif");
        EXPECT_EQ(calls.calls().front().isLocked, !isFinished);
    }
}

TEST(CompletionCallsOfTiles, ComeFileByFile)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif", GdalFileType::TileSet));
    const FileCalls calls(folder.path());
    set.close();
    EXPECT_EQ(textsOf(calls.calls()),
              (Texts{"sync a_1_1.tif_new_tmp.tif", "rename a_1_1.tif_new_tmp.tif to a_1_1.tif", "sync .",
                     "sync a_2_1.tif_new_tmp.tif", "rename a_2_1.tif_new_tmp.tif to a_2_1.tif", "sync ."}));
}

} // namespace
