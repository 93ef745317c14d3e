#include "downsamplers/DownsamplerFactory.h"
#include "fault/resources.h"
#include "fault/targets.h"
#include "streaming/GDALMutex.h"
#include "streaming/RAIIErrorSilencer.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/effort.h"
#include "support/figures.h"
#include "support/rasters.h"
#include "utilities/verify.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <random>
#include <sstream>
#include <thread>

// All that may be done in several threads at once is done in several threads at once.

namespace {

using namespace faults;
using vexel::DataType;
using vexel::GDALMutex;
using vexel::GDALStreamer;

constexpr int noThreads = 8;
/// Of each thread.
int noRounds()
{
    return isThorough() ? 1000 : sanitized ? 125 : 250;
}

const Target sharedFile{"shared.tif", 150, 120, 3, DataType::UInt8, 0, 0, true};
const Target sharedTiles{"tiles.tif", 150, 120, 2, DataType::Float32, 64, 64};
const Target ownFile{"own.tif", 90, 70, 2, DataType::UInt16, 0, 0, true};
const Target ownTiles{"own tiles.tif", 90, 70, 1, DataType::UInt8, 64, 64};
const Target ownImage{"own.png", 60, 50, 3, DataType::UInt8};

/// Opens it as what it is: looking for a file of the name of a tile set makes GDAL talk.
bool openShared(GDALStreamer& set, const QString& folder, const Target& target)
{
    return set.openRead(folder + "/" + target.name, target.tileWidth == 0 ? vexel::GdalFileType::SingleFile
                                                                          : vexel::GdalFileType::TileSet);
}

std::vector<double> downsampled(const QString& in, const QString& out, vexel::DownsamplingStrategy strategy)
{
    {
        const auto job = vexel::DownsamplerFactory::createDownsampler(strategy, in, out, QString(), 3.0,
                                                                      vexel::ImageAlphaType::NoAlpha,
                                                                      vexel::GdalFileType::SingleFile);
        EXPECT_TRUE(downsampling::run(*job));
    }
    const GDALMutex lock;
    return rasters::pixels(out);
}

/// What the threads work on. Each has a folder of its own for what it writes.
class Scene
{
public:
    Scene()
    {
        EXPECT_EQ(writeTarget(m_shared.path(), sharedFile), "");
        EXPECT_EQ(writeTarget(m_shared.path(), sharedTiles), "");
        for (const auto strategy : {vexel::DownsamplingStrategy::Average, vexel::DownsamplingStrategy::Gauss})
            m_coarse.push_back(downsampled(m_shared / sharedFile.name, m_shared / "coarse.tif", strategy));
    }

    /// Writes over what the thread wrote in the round before.
    void write(int thread, const Target& target) const
    {
        const TempFolder& folder = m_own[static_cast<std::size_t>(thread)];
        EXPECT_EQ(writeTarget(folder.path(), target), "");
        const GDALMutex lock;
        for (const TargetFile& file : filesOf(target))
            EXPECT_EQ(faultOf(folder.path(), target, file), "");
    }

    /// Reads some boxes of a set that others read, too.
    void read(std::mt19937& random, const Target& target) const
    {
        GDALStreamer set;
        ASSERT_TRUE(openShared(set, m_shared.path(), target));
        const GDALStreamer::KeepFilesOpen keepOpen(set);
        vexel::PixelMatrix<float> pixels;
        for (int k = 0; k < 5; ++k) {
            const int x0 = static_cast<int>(random() % 100);
            const int y0 = static_cast<int>(random() % 80);
            const vexel::PixelBox box(vexel::PixelPoint(x0, y0), vexel::PixelPoint(x0 + 40, y0 + 30));
            ASSERT_TRUE(set.readBands(pixels, {2, 1}, box, 1.0, true, -1.0f))
                << set.lastError().text.toStdString();
            for (int row = 0; row < 60; ++row)
                for (int x = 0; x < 40; ++x)
                    ASSERT_EQ(static_cast<double>(pixels(row, x)),
                              pixelOf(target, x0 + x, y0 + row % 30, row < 30 ? 2 : 1));
        }
    }

    void openAndClose() const
    {
        GDALStreamer set;
        EXPECT_FALSE(set.openRead(m_shared / "absent.tif"));
        EXPECT_EQ(set.lastError().path, m_shared / "absent.tif");
        for (const Target* target : {&sharedFile, &sharedTiles}) {
            EXPECT_TRUE(openShared(set, m_shared.path(), *target));
            EXPECT_EQ(set.width(), target->width);
            EXPECT_TRUE(set.open(0));
            EXPECT_TRUE(set.close());
            EXPECT_FALSE(set.opened());
        }
    }

    void silence() const
    {
        const vexel::gdal::RAIIErrorSilencer silencer;
        GDALStreamer set;
        EXPECT_FALSE(set.openRead(m_shared / "absent.tif"));
        EXPECT_FALSE(set.lastError().text.isEmpty()) << "the reason is told in silence, too";
    }

    void downsample(int thread, int round) const
    {
        const std::size_t which = static_cast<std::size_t>(round) % m_coarse.size();
        const auto strategy =
            which == 0 ? vexel::DownsamplingStrategy::Average : vexel::DownsamplingStrategy::Gauss;
        EXPECT_EQ(downsampled(m_shared / sharedFile.name,
                              m_own[static_cast<std::size_t>(thread)] / "coarse.tif", strategy),
                  m_coarse[which]);
    }

    void verify() const
    {
        EXPECT_TRUE(vexel::gdal::verify(m_shared / sharedFile.name, /*decode=*/true).isWhole());
        EXPECT_TRUE(vexel::gdal::verify(m_shared / sharedTiles.name, /*decode=*/true).isWhole());
        EXPECT_FALSE(vexel::gdal::verify(m_shared / "absent.tif").isWhole());
    }

private:
    TempFolder m_shared;
    std::array<TempFolder, noThreads> m_own;
    std::vector<std::vector<double>> m_coarse;
};

void doRound(const Scene& scene, int thread, int round, std::mt19937& random)
{
    switch (thread) {
    case 0:
        return scene.write(thread, ownFile);
    case 1:
        return scene.write(thread, round % 2 == 0 ? ownTiles : ownImage);
    case 2:
        return scene.read(random, sharedFile);
    case 3:
        return scene.read(random, sharedTiles);
    case 4:
        return scene.openAndClose();
    case 5:
        return scene.silence();
    case 6:
        return scene.downsample(thread, round);
    default:
        return scene.verify();
    }
}

TEST(ManyThreads, DoNotDisturbEachOther)
{
    const auto start = std::chrono::steady_clock::now();
    CPLErrorHandler handlerBefore = CPLSetErrorHandler(CPLQuietErrorHandler);
    const LogCapture log;
    {
        const Scene scene;
        const std::string held = heldResources();
        std::vector<std::thread> threads;
        for (int thread = 0; thread < noThreads; ++thread)
            threads.emplace_back([&scene, thread] {
                std::mt19937 random(static_cast<unsigned>(thread));
                const int end = noRounds();
                for (int round = 0; round < end && !testing::Test::HasFatalFailure(); ++round)
                    doRound(scene, thread, round, random);
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(heldResources(), held);
    }
    for (const LogCapture::Message& message : log.messages())
        EXPECT_NE(message.text.find("absent.tif"), std::string::npos)
            << message.level << ": " << message.text;
    CPLSetErrorHandler(handlerBefore);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::ostringstream figures;
    figures << noThreads << " threads, " << noRounds() << " rounds each; " << std::round(seconds.count())
            << " s";
    tellFigures(figures.str());
}

} // namespace
