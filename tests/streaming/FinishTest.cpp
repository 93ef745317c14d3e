#include "companion/file.h"
#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/GdalOption.h"
#include "support/InFolder.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/gdalhandlers.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// What completing a set tells, how it is stopped, and what is left then.

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALMutex;
using vexel::GDALStreamer;
using vexel::PixelMatrix;
using vexel::StreamError;
using Code = StreamError::Code;

namespace {

constexpr int width = 700;
constexpr int height = 500;

double pixel(int x, int y, int band)
{
    return 250.0 * rasters::noise(x, y, band);
}

/// Opens a raster and writes all of it, in several tiles for a set.
void write(GDALStreamer& set, const QString& path, GdalFileType type = GdalFileType::SingleFile)
{
    constexpr int bands = 3;
    ASSERT_TRUE(set.openWrite(path, bands, DataType::UInt8, pixelFrame(width, height), QString(), QString(),
                              QString(), type, width / 2, height));
    for (int band = 1; band <= bands; ++band) {
        PixelMatrix<float> pixels(height, width);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                pixels(y, x) = static_cast<float>(pixel(x, y, band));
        ASSERT_TRUE(set.write(pixels, static_cast<std::size_t>(band), box(0, 0, width, height)));
    }
}

/// Tells all it was told, and goes on until one of its calls says no.
struct Listener
{
    std::function<bool(double)> callback()
    {
        return [this](double share) {
            shares.push_back(share);
            return shares.size() < stopAt;
        };
    }

    std::vector<double> shares;
    std::size_t stopAt = static_cast<std::size_t>(-1);
};

} // namespace

TEST(Finish, MakesTheFilesThatCloseMakes)
{
    for (const char* name : {"a.tif", "a.png", "a.jpg"})
        for (const GdalFileType type : {GdalFileType::SingleFile, GdalFileType::TileSet}) {
            const TempFolder closed;
            const TempFolder finished;
            GDALStreamer one;
            GDALStreamer other;
            ASSERT_NO_FATAL_FAILURE(write(one, closed / name, type));
            ASSERT_NO_FATAL_FAILURE(write(other, finished / name, type));
            one.close();
            Listener listener;
            const StreamError error = other.finish(listener.callback());
            EXPECT_FALSE(error) << error;
            EXPECT_FALSE(other.opened());
            EXPECT_EQ(finished.listing(), closed.listing());
            for (const auto& entry : std::filesystem::directory_iterator(closed.path().toStdString())) {
                const QString file = QString::fromStdString(entry.path().filename().string());
                EXPECT_EQ(fileText(finished / file), fileText(closed / file)) << file.toStdString();
            }
        }
}

TEST(Finish, TellsFromZeroToOneAndNeverFalls)
{
    const TempFolder folder;
    for (const GdalFileType type : {GdalFileType::SingleFile, GdalFileType::TileSet}) {
        GDALStreamer set;
        ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif", type));
        Listener listener;
        ASSERT_FALSE(set.finish(listener.callback()));
        ASSERT_GE(listener.shares.size(), 4u);
        EXPECT_GE(listener.shares.front(), 0.0);
        EXPECT_LT(listener.shares.front(), 0.5);
        EXPECT_TRUE(std::is_sorted(listener.shares.begin(), listener.shares.end()));
        EXPECT_EQ(listener.shares.back(), 1.0);
    }
}

TEST(Finish, TellsOneOnceTheFileIsInItsPlace)
{
    for (const char* name : {"a.tif", "a.png", "a.jpg"}) {
        const TempFolder folder;
        GDALStreamer set;
        ASSERT_NO_FATAL_FAILURE(write(set, folder / name));
        ASSERT_FALSE(set.finish([&](double share) {
            EXPECT_EQ(vexel::file::exists(folder / name), share == 1.0) << name << ", " << share;
            return true;
        }));
    }
}

TEST(Finish, CountsFilesByTheirBytes)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::UInt8, pixelFrame(400, 100), QString(),
                              QString(), QString(), GdalFileType::TileSet, 300, 100));
    ASSERT_TRUE(set.write(PixelMatrix<float>(PixelMatrix<float>::Ones(100, 400)), 1, box(0, 0, 400, 100)));
    Listener listener;
    ASSERT_FALSE(set.finish(listener.callback()));
    EXPECT_NE(std::find(listener.shares.begin(), listener.shares.end(), 0.75), listener.shares.end())
        << "the first tile has three quarters of the pixels";
}

TEST(Finish, LeavesNothingAfterAStopAndAsksNobodyAgain)
{
    for (const char* name : {"a.tif", "a.png", "a.jpg"})
        for (const GdalFileType type : {GdalFileType::SingleFile, GdalFileType::TileSet}) {
            Listener all;
            {
                const TempFolder folder;
                GDALStreamer set;
                ASSERT_NO_FATAL_FAILURE(write(set, folder / name, type));
                ASSERT_FALSE(set.finish(all.callback()));
            }
            const std::size_t last = all.shares.size();
            for (const std::size_t stopAt : {std::size_t{1}, last / 2, last - 1, last}) {
                const TempFolder folder;
                GDALStreamer set;
                ASSERT_NO_FATAL_FAILURE(write(set, folder / name, type));
                const LogCapture log;
                std::string messages;
                const GdalHandler handler([&](CPLErr, const std::string& text) { messages += text; });
                Listener listener;
                listener.stopAt = std::max<std::size_t>(stopAt, 1);
                const StreamError error = set.finish(listener.callback());
                EXPECT_EQ(error.code, Code::Stopped) << name << ", call " << stopAt;
                EXPECT_EQ(error.path, folder / name);
                EXPECT_EQ(error.message(), set.lastError().message());
                EXPECT_EQ(listener.shares.size(), listener.stopAt);
                EXPECT_EQ(folder.listing(), "") << name << ", call " << stopAt;
                EXPECT_FALSE(set.opened());
                EXPECT_EQ(log.text() + messages, "") << "a stop is no failure, of GDAL's neither";
            }
        }
}

TEST(Finish, LetsOutWhatTheListenerThrowsOnceNothingIsLeft)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif"));
    int calls = 0;
    const auto listener = [&calls](double) -> bool {
        ++calls;
        throw std::runtime_error("of the listener");
    };
    EXPECT_THROW(static_cast<void>(set.finish(listener)), std::runtime_error);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(folder.listing(), "");
    EXPECT_EQ(set.lastError().code, Code::Stopped);
    EXPECT_FALSE(set.opened());
    const auto lock = std::async(std::launch::async, [] { const GDALMutex others; });
}

TEST(Finish, ListensWithoutTheLock)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif", GdalFileType::TileSet));
    int calls = 0;
    const StreamError error = set.finish([&calls](double) {
        std::async(std::launch::async, [&calls] {
            const GDALMutex others;
            ++calls;
        }).get();
        return true;
    });
    EXPECT_FALSE(error) << error;
    EXPECT_GE(calls, 4);
    EXPECT_EQ(rasters::pixels(folder / "a_1_1.tif").at(0), std::floor(0.5 + pixel(0, 0, 1)));
}

TEST(Finish, KeepsTheLockThatTheCallerHolds)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif"));
    std::promise<void> begins;
    std::atomic<bool> isHad{false};
    std::thread other;
    {
        const GDALMutex lock;
        other = std::thread([&] {
            begins.set_value();
            const GDALMutex others;
            isHad = true;
        });
        begins.get_future().wait();
        bool wasHad = false;
        ASSERT_FALSE(set.finish([&](double) {
            wasHad = wasHad || isHad;
            return true;
        }));
        EXPECT_FALSE(wasHad || isHad);
    }
    other.join();
}

TEST(Finish, SaysWhatLastErrorSays)
{
    const TempFolder folder;
    std::filesystem::create_directories((folder / "a_1_1.tif/full").toStdString());
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif", GdalFileType::TileSet));
    std::filesystem::create_directories((folder / "a_1_1.tif/full").toStdString());
    const OwnMessages messages;
    Listener listener;
    const StreamError error = set.finish(listener.callback());
    EXPECT_EQ(error.code, Code::CannotComplete);
    EXPECT_EQ(error.path, folder / "a_1_1.tif");
    EXPECT_EQ(listener.shares.back(), 1.0) << "the others are told, too";
    EXPECT_EQ(error.message(), set.lastError().message());
    EXPECT_EQ(rasters::pixels(folder / "a_2_1.tif").size(), 350u * 500u) << "the others are completed";
}

TEST(Finish, TellsThatJpeg2000IsNotWritten)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.jp2"));
    const StreamError error = set.finish();
    EXPECT_EQ(error.code, Code::CannotComplete);
    EXPECT_EQ(error.text, "JPEG 2000 is not written");
    EXPECT_EQ(folder.listing(), "");
}

TEST(Finish, OfASetThatIsReadOrNotOpenHasNothingToDo)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {4, 3, 1, GDT_Byte}, pixel);
    GDALStreamer set;
    EXPECT_FALSE(set.finish());
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    EXPECT_FALSE(set.finish());
    EXPECT_FALSE(set.opened());
    EXPECT_EQ(folder.listing(), "a.tif");
}

TEST(Finish, FillsWhatWasNotWrittenAndMayBeStoppedAtIt)
{
    for (const bool isStopped : {false, true}) {
        const TempFolder folder;
        GDALStreamer set;
        ASSERT_TRUE(set.openWrite(folder / "a.tif", 1, DataType::Float32, width, height));
        ASSERT_TRUE(
            set.write(PixelMatrix<float>(PixelMatrix<float>::Ones(1, width)), 1, box(0, 0, width, 1)));
        Listener listener;
        listener.stopAt = isStopped ? 5 : listener.stopAt;
        const StreamError error = set.finish(listener.callback());
        EXPECT_EQ(error.code, isStopped ? Code::Stopped : Code::None);
        EXPECT_EQ(listener.shares.at(2), 0.0) << "while it is filled nothing is complete";
        if (isStopped)
            EXPECT_EQ(folder.listing(), "");
        else
            EXPECT_EQ(rasters::pixels(folder / "a.tif").back(), -10000.0);
    }
}

TEST(Finish, MakesNoFileOfTwoSets)
{
    const TempFolder folder;
    GDALStreamer first;
    ASSERT_NO_FATAL_FAILURE(write(first, folder / "a.tif"));
    GDALStreamer second;
    const OwnMessages messages;
    const StreamError error = first.finish([&](double share) {
        if (!second.opened() && share > 0.3) {
            EXPECT_TRUE(second.openWrite(folder / "a.tif", 1, DataType::UInt8, 8, 6));
            EXPECT_TRUE(second.write(PixelMatrix<float>(PixelMatrix<float>::Ones(6, 8)), 1, box(0, 0, 8, 6)));
        }
        return true;
    });
    EXPECT_EQ(error.code, Code::CannotComplete) << error;
    EXPECT_EQ(error.text, "Another set is written to the same path");
    EXPECT_FALSE(second.finish());
    EXPECT_EQ(rasters::pixels(folder / "a.tif"), std::vector<double>(48, 1.0));
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
}

TEST(Finish, MakesNoFileOfTwoSetsThatAreCompletedAtOnce)
{
    const TempFolder folder;
    GDALStreamer first;
    ASSERT_NO_FATAL_FAILURE(write(first, folder / "a.tif"));
    const OwnMessages messages;
    StreamError errorOfSecond;
    bool isBegun = false;
    const StreamError error = first.finish([&](double share) {
        if (share > 0.3 && !isBegun) {
            isBegun = true;
            GDALStreamer second;
            EXPECT_TRUE(second.openWrite(folder / "a.tif", 1, DataType::UInt8, 8, 6));
            EXPECT_TRUE(second.write(PixelMatrix<float>(PixelMatrix<float>::Ones(6, 8)), 1, box(0, 0, 8, 6)));
            errorOfSecond = second.finish();
        }
        return true;
    });
    EXPECT_FALSE(errorOfSecond) << errorOfSecond;
    EXPECT_EQ(error.code, Code::CannotComplete) << error;
    EXPECT_EQ(rasters::pixels(folder / "a.tif"), std::vector<double>(48, 1.0));
}

TEST(Finish, LeavesTheUnfinishedFileOfAnotherSetAlone)
{
    const TempFolder folder;
    GDALStreamer first;
    ASSERT_NO_FATAL_FAILURE(write(first, folder / "a.tif"));
    std::promise<void> secondIsHalfway;
    std::promise<void> firstIsOver;
    std::future<StreamError> errorOfSecond;
    const OwnMessages messages;
    const StreamError error = first.finish([&](double share) {
        if (share > 0.3 && !errorOfSecond.valid()) {
            errorOfSecond = std::async(std::launch::async, [&] {
                GDALStreamer second;
                write(second, folder / "a.tif");
                bool isHalfway = false;
                return second.finish([&](double shareOfSecond) {
                    if (shareOfSecond > 0.3 && !std::exchange(isHalfway, true)) {
                        secondIsHalfway.set_value();
                        firstIsOver.get_future().wait();
                    }
                    return true;
                });
            });
            secondIsHalfway.get_future().wait();
        }
        return true;
    });
    EXPECT_EQ(error.code, Code::CannotComplete) << error;
    firstIsOver.set_value();
    const StreamError second = errorOfSecond.get();
    EXPECT_FALSE(second) << second;
    EXPECT_EQ(folder.listing(), "a.tfw a.tif");
}

TEST(Finish, StoppedLeavesTheFilesOfAnotherSetAlone)
{
    const TempFolder folder;
    GDALStreamer first;
    ASSERT_NO_FATAL_FAILURE(write(first, folder / "a.tif", GdalFileType::TileSet));
    bool isBegun = false;
    const OwnMessages messages;
    const StreamError error = first.finish([&](double share) {
        if (share > 0.2 && !std::exchange(isBegun, true)) {
            GDALStreamer second;
            EXPECT_TRUE(second.openWrite(folder / "a_1_1.tif", 1, DataType::UInt8, 8, 6));
            EXPECT_TRUE(second.write(PixelMatrix<float>(PixelMatrix<float>::Ones(6, 8)), 1, box(0, 0, 8, 6)));
            EXPECT_FALSE(second.finish());
        }
        return share < 0.8;
    });
    EXPECT_EQ(error.code, Code::Stopped) << error;
    EXPECT_EQ(folder.listing(), "a_1_1.tfw a_1_1.tif");
}

TEST(Finish, CanBeFollowedByAnotherRaster)
{
    const TempFolder folder;
    GDALStreamer set;
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif"));
    ASSERT_EQ(set.finish([](double) { return false; }).code, Code::Stopped);
    ASSERT_NO_FATAL_FAILURE(write(set, folder / "a.tif"));
    EXPECT_FALSE(set.finish());
    set.discard();
    EXPECT_EQ(folder.listing(), "a.tfw a.tif") << "what is finished is not the set's any more";
}
