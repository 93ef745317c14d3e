#include "support/TempFolder.h"
#include "support/files.h"

#include "streaming/GDALStreamer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

// Whether another thread has the lock round GDAL while a large raster is completed.

namespace {

using vexel::GDALMutex;
using vexel::GDALStreamer;
using vexel::PixelBox;
using vexel::PixelMatrix;

constexpr int edge = 8400; // of three bands of bytes: 212 MB
constexpr int rowsAtATime = 600;

void write(GDALStreamer& set, const QString& path)
{
    ASSERT_TRUE(set.openWrite(path, 3, vexel::DataType::UInt8, edge, edge));
    PixelMatrix<unsigned char> pixels(3 * rowsAtATime, edge);
    for (Eigen::Index i = 0; i < pixels.size(); ++i)
        pixels.data()[i] = static_cast<unsigned char>(i / 7 % 251);
    for (int y = 0; y < edge; y += rowsAtATime)
        ASSERT_TRUE(set.writeBands(pixels, {1, 2, 3}, PixelBox({0, y}, {edge, y + rowsAtATime})));
}

/// Takes the lock over and over, and counts how often it has it while the raster is completed: its unfinished file is there
/// before and after.
class Other
{
public:
    explicit Other(const QString& path) : m_unfinished(path + "_new_tmp.tif"), m_thread([this] { run(); }) {}

    int end()
    {
        m_isOver = true;
        m_thread.join();
        return m_turns;
    }

private:
    void run()
    {
        while (!m_isOver) {
            if (!exists(m_unfinished)) {
                std::this_thread::yield();
                continue;
            }
            const GDALMutex lock;
            m_turns += exists(m_unfinished) ? 1 : 0;
        }
    }

    QString m_unfinished;
    int m_turns = 0;
    std::atomic<bool> m_isOver{false};
    std::thread m_thread;
};

TEST(LargeRaster, LetsAnotherThreadHaveTheLockWhileItIsFinished)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif"));
    Other other(folder / "a.tif");
    const vexel::StreamError error = set.finish();
    EXPECT_GE(other.end(), 20);
    EXPECT_FALSE(error) << error;
}

TEST(LargeRaster, KeepsTheLockWhileItIsClosed)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif"));
    Other other(folder / "a.tif");
    set.close();
    EXPECT_EQ(other.end(), 0);
    EXPECT_FALSE(set.lastError()) << set.lastError();
}

} // namespace
