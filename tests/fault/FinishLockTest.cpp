#include "support/TempFolder.h"
#include "support/files.h"

#include "streaming/GDALStreamer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
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
/// before and after. The times at which the file has grown are those while it is compressed, without the wait for the
/// disk.
class Other
{
public:
    explicit Other(const QString& path) : m_unfinished(path + "_new_tmp.tif"), m_thread([this] { run(); }) {}

    void end()
    {
        m_isOver = true;
        m_thread.join();
    }
    int turns() const { return m_turns; }
    int turnsOfGrowth() const { return m_turnsOfGrowth; }

private:
    void run()
    {
        while (!m_isOver) {
            if (!exists(m_unfinished)) {
                std::this_thread::yield();
                continue;
            }
            const GDALMutex lock;
            if (exists(m_unfinished))
                countTurn();
        }
    }

    void countTurn()
    {
        ++m_turns;
        const std::uintmax_t size = std::filesystem::file_size(m_unfinished.toStdString());
        m_turnsOfGrowth += size > m_size ? 1 : 0;
        m_size = size;
    }

    QString m_unfinished;
    int m_turns = 0;
    int m_turnsOfGrowth = 0;
    std::uintmax_t m_size = 0;
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
    other.end();
    EXPECT_GE(other.turnsOfGrowth(), 20);
    EXPECT_FALSE(error) << error;
}

TEST(LargeRaster, KeepsTheLockWhileItIsClosed)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif"));
    Other other(folder / "a.tif");
    set.close();
    other.end();
    EXPECT_EQ(other.turns(), 0);
    EXPECT_FALSE(set.lastError()) << set.lastError();
}

} // namespace
