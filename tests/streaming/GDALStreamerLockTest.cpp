#include "streaming/GDALStreamer.h"

#include "streamingsupport.h"
#include "support/TempFolder.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <ostream>
#include <string>
#include <vector>

using namespace streamingtest;
using vexel::DataType;
using vexel::GdalFileType;
using vexel::GDALMutex;
using vexel::GDALStreamer;
using vexel::PixelMatrix;

namespace {

using Operation = std::function<bool(GDALStreamer&, const QString& path)>;

bool readPixel(GDALStreamer& set, const QString&)
{
    PixelMatrix<float> out;
    return set.read(out, 1, box(0, 0, 1, 1), 1.0, /*fill=*/false, 0);
}

bool readColour(GDALStreamer& set, const QString&)
{
    PixelMatrix<unsigned int> out;
    return set.readRGB(out, box(0, 0, 1, 1), 1.0, /*fill=*/false, 0) &&
           set.readRGBA(out, box(0, 0, 1, 1), 1.0, /*fill=*/false, 0);
}

bool writePixel(GDALStreamer& set, const QString&)
{
    return set.write(PixelMatrix<float>(PixelMatrix<float>::Constant(1, 1, 5)), 1, box(0, 0, 1, 1));
}

bool writeColour(GDALStreamer& set, const QString&)
{
    return set.writeRGB(PixelMatrix<unsigned int>(PixelMatrix<unsigned int>::Constant(1, 1, 5)),
                        box(0, 0, 1, 1));
}

bool writeNew(GDALStreamer& set, const QString& path)
{
    return set.openWrite(path + "_new.tif", 1, DataType::UInt8, 4, 3);
}

} // namespace

namespace {

struct LockCase
{
    const char* name;
    Operation operation;
};

void PrintTo(const LockCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class RasterSetLock : public testing::TestWithParam<LockCase>
{
protected:
    void SetUp() override
    {
        rasters::make(path, {4, 3, 3}, [](int x, int, int) { return x; });
        ASSERT_TRUE(set.openUpdate(path));
    }

    TempFolder folder;
    QString path = folder / "a.tif";
    GDALStreamer set;
};

} // namespace

TEST_P(RasterSetLock, IsWaitedForWhileAnotherThreadHoldsIt)
{
    std::future<bool> operation;
    {
        const GDALMutex lock;
        operation = std::async(std::launch::async, [&] { return GetParam().operation(set, path); });
        // An operation that waits never ends here, however slow the machine is.
        EXPECT_EQ(operation.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    }
    EXPECT_TRUE(operation.get());
}

TEST_P(RasterSetLock, MayBeHeldByTheCaller)
{
    const GDALMutex lock;
    EXPECT_TRUE(GetParam().operation(set, path));
}

INSTANTIATE_TEST_SUITE_P(
    Operations, RasterSetLock,
    testing::Values(LockCase{"Read", readPixel}, LockCase{"ReadColour", readColour},
                    LockCase{"Write", writePixel}, LockCase{"WriteColour", writeColour},
                    LockCase{"OpenRead", [](GDALStreamer& s, const QString& p) { return s.openRead(p); }},
                    LockCase{"OpenUpdate", [](GDALStreamer& s, const QString& p) { return s.openUpdate(p); }},
                    LockCase{"OpenWrite", writeNew},
                    LockCase{"OpenFile", [](GDALStreamer& s, const QString&) { return s.open(0); }},
                    LockCase{"CloseFile", [](GDALStreamer& s, const QString&) { return s.close(0); }},
                    LockCase{"Close", [](GDALStreamer& s, const QString&) { return s.close(); }}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(RasterSetLockFree, AreTheAccessors)
{
    const TempFolder folder;
    rasters::make(folder / "a.tif", {4, 3}, [](int x, int, int) { return x; });
    GDALStreamer set;
    ASSERT_TRUE(set.openRead(folder / "a.tif"));
    const GDALMutex lock;
    std::async(std::launch::async, [&] {
        EXPECT_TRUE(set.opened());
        EXPECT_FALSE(set.opened(0));
        EXPECT_EQ(set.data(0), nullptr);
        EXPECT_EQ(set.width(), 4);
        EXPECT_EQ(set.path(0), set.path());
        EXPECT_EQ(set.itile(0).max_corner().y(), 3);
        set.setJPEGQuality(50);
    }).get();
}

TEST(RasterSetThreads, UseDifferentSetsAtOnce)
{
    const TempFolder folder;
    for (int i = 0; i < 4; ++i)
        rasters::make(folder / QString("%1.tif").arg(i), {40, 30},
                      [=](int x, int y, int) { return noisePixel<unsigned char>(x, y, i); });
    const auto work = [&](int i) {
        GDALStreamer in;
        GDALStreamer out;
        PixelMatrix<unsigned char> pixels;
        bool good = in.openRead(folder / QString("%1.tif").arg(i)) &&
                    out.openWrite(folder / QString("out%1.tif").arg(i), 1, DataType::UInt8, 40, 30);
        for (int y = 0; good && y < 30; y += 10)
            good = in.read(pixels, 1, box(0, y, 40, y + 10), 1.0, /*fill=*/false, 0) &&
                   out.write(pixels, 1, box(0, y, 40, y + 10));
        return good && out.close();
    };
    std::vector<std::future<bool>> results;
    for (int i = 0; i < 4; ++i)
        results.push_back(std::async(std::launch::async, work, i));
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(results[static_cast<std::size_t>(i)].get());
        EXPECT_EQ(gdalPixels<unsigned char>(folder / QString("out%1.tif").arg(i)),
                  noiseMatrix<unsigned char>(40, 30, i));
    }
}
