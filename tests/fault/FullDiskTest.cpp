#include "downsamplers/DownsamplerFactory.h"
#include "fault/ChildProcess.h"
#include "fault/lostwrites.h"
#include "fault/resources.h"
#include "fault/smalldisk.h"
#include "fault/targets.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/downsampling.h"
#include "support/rasters.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <optional>
#include <string>

// The disk is full: a limit of the file size, which the system treats alike and which can be drawn to the byte, and,
// where one may be mounted, a small disk that is filled up. Both hold for a whole process, so each case is one of its own.

namespace {

using namespace faults;
using Code = vexel::StreamError::Code;
using vexel::DataType;

constexpr unsigned long long noLimit = ~0ull;

/// Targets of at least 100,000 bytes, whatever their compression.
const std::vector<Target>& targets()
{
    static const std::vector<Target> all{{"gray.tif", 400, 300, 1, DataType::UInt8},
                                         {"two bands.tif", 300, 200, 2, DataType::Float32, 0, 0, true},
                                         {"rgba.tif", 300, 200, 4, DataType::UInt8, 0, 0, true},
                                         {"set.tif", 300, 200, 1, DataType::Float32, 256, 256},
                                         {"image.png", 400, 300, 3, DataType::UInt8},
                                         {"image.jpg", 2000, 1500, 3, DataType::UInt8}};
    return all;
}

const Target& targetNamed(const std::string& name)
{
    for (const Target& target : targets())
        if (name == target.name)
            return target;
    throw std::runtime_error("no target " + name);
}

/// The numbers are bytes that a file may have, or that are free on the disk.
struct DiskCase
{
    const char* name;
    const char* target;
    unsigned long long whileWriting;
    unsigned long long whileCompleting;
    bool writes; ///< whether all is written before the disk is full
};

Arguments argumentsOf(const DiskCase& c, const QString& folder, const char* kind)
{
    return {folder.toStdString(), c.target, std::to_string(c.whileWriting), std::to_string(c.whileCompleting),
            c.writes ? "1" : "0", kind};
}

std::string number(unsigned long long value)
{
    return std::to_string(value);
}

/// What the library says when a target could not be completed; the missing bracket for images is meant.
std::string completionMessage(const QString& path)
{
    const std::string text = "Failed to write to <" + path.toStdString();
    return path.endsWith(".tif") ? text + ">" : text;
}

bool hasMessage(const LogCapture& log, const std::string& text)
{
    for (const LogCapture::Message& message : log.messages())
        if (message.level == 7 && message.text == text)
            return true;
    return false;
}

/// Opens, reads and writes once what GDAL and its libraries keep open until the process ends.
void warmUp(const QString& folder)
{
    const Target target{"warm up.tif", 8, 8, 2, DataType::Float32, 0, 0, true};
    require(writeTarget(folder, target).empty(), "nothing can be written");
    for (const TargetFile& file : filesOf(target)) {
        std::filesystem::remove((folder + "/" + QString::fromStdString(file.name)).toStdString());
        for (const std::string& side : file.sideFiles)
            std::filesystem::remove((folder + "/" + QString::fromStdString(side)).toStdString());
    }
    // Opens its database, too.
    rasters::wkt(32632);
}

void requireFailure(const vexel::StreamError& error, const QString& path, const std::string& where)
{
    require(static_cast<bool>(error), where + ": no error is told");
    require(error.path == path, where + ": error of another path, " + error.path.toStdString());
    require(!error.text.isEmpty(), where + ": no reason is told");
}

/// How much room there was and how much it takes.
void requireRoom(const vexel::StreamError& error)
{
    static const QRegularExpression room("^.* \\(up to [0-9]+ bytes needed, [0-9]+ free\\)$");
    require(room.match(error.text).hasMatch(), "no room is told: " + error.text.toStdString());
}

void requireEmpty(const QString& folder, const std::string& held)
{
    for (const auto& entry : std::filesystem::directory_iterator(folder.toStdString()))
        require(false, "left behind: " + entry.path().filename().string());
    require(heldResources() == held, "held before:\n" + held + "\nand afterwards:\n" + heldResources());
}

/// Folder, target, limits, whether writing works, and what is full: "file" or "disk", or that writes are "lost".
void writeOntoFullDisk(const Arguments& arguments)
{
    std::optional<SmallDisk> disk;
    if (arguments.at(5) == "disk")
        disk.emplace(QString::fromStdString(arguments.at(0)));
    const QString folder = disk ? disk->folder() : QString::fromStdString(arguments.at(0));
    const auto leave = [&](const std::string& bytes) {
        const unsigned long long limit = std::stoull(bytes);
        if (disk)
            disk->leave(limit);
        else
            arguments.at(5) == "lost" ? loseWritesBeyond(limit) : limitFileSize(limit);
    };
    const Target& target = targetNamed(arguments.at(1));
    const bool shouldWrite = arguments.at(4) == "1";
    const QString firstFile = folder + "/" + QString::fromStdString(filesOf(target).front().name);
    const LogCapture log;
    CPLSetErrorHandler(CPLQuietErrorHandler);
    warmUp(folder);
    const std::string held = heldResources();
    {
        vexel::GDALStreamer set;
        require(openTarget(set, folder, target), "cannot open");
        leave(arguments.at(2));
        const bool written = writeRows(set, target, 0, target.height);
        require(written == shouldWrite, written ? "writing is told to have worked" : "writing fails");
        require(written != static_cast<bool>(set.lastError()), "the error is another than the result");
        if (!written)
            requireFailure(set.lastError(), firstFile, "write");
        const bool hasWorkingFile = set.noTiles() > 0 && !std::filesystem::is_empty(folder.toStdString());
        leave(arguments.at(3));
        require(set.close(), "close() is not true");
        if (shouldWrite)
            require(set.lastError().code == Code::CannotComplete, "another error than that of completing");
        if (shouldWrite || hasWorkingFile) {
            requireFailure(set.lastError(), firstFile, "close");
            require(hasMessage(log, completionMessage(firstFile)), "not logged, but: " + log.text());
        }
        if (disk && shouldWrite)
            requireRoom(set.lastError());
        require(!set.opened(), "still open");
    }
    requireEmpty(folder, held);
}

const ChildMain writing("writeOntoFullDisk", &writeOntoFullDisk);

class FullDisk : public testing::TestWithParam<DiskCase>
{};

TEST_P(FullDisk, LeavesNothingAndTellsWhy)
{
    const DiskCase& c = GetParam();
    const TempFolder folder;
    EXPECT_EQ(failureOfChild("writeOntoFullDisk", argumentsOf(c, folder.path(), "file")), "");
}

INSTANTIATE_TEST_SUITE_P(
    Stages, FullDisk,
    testing::Values(DiskCase{"NothingCanBeWritten", "gray.tif", 0, 0, false},
                    DiskCase{"NothingCanBeWrittenOfBandsThatAreFilledFirst", "two bands.tif", 0, 0, false},
                    DiskCase{"NothingCanBeWrittenOfATileSet", "set.tif", 0, 0, false},
                    DiskCase{"OnlyTheHeader", "gray.tif", 1000, 1000, false},
                    DiskCase{"InTheMiddleOfAFill", "two bands.tif", 50000, 50000, false},
                    DiskCase{"InTheMiddleOfATransfer", "rgba.tif", 50000, 50000, false},
                    DiskCase{"InTheMiddleOfATile", "set.tif", 50000, 50000, false},
                    DiskCase{"NothingCanBeCompleted", "gray.tif", noLimit, 0, true},
                    DiskCase{"NothingCanBeCompletedWithAReference", "two bands.tif", noLimit, 0, true},
                    DiskCase{"NothingOfATileSetCanBeCompleted", "set.tif", noLimit, 0, true},
                    DiskCase{"OnlyTheWorldFile", "gray.tif", noLimit, 200, true},
                    DiskCase{"OnlyTheSideFiles", "two bands.tif", noLimit, 4000, true},
                    DiskCase{"InTheMiddleOfCompleting", "rgba.tif", noLimit, 100000, true},
                    DiskCase{"InTheMiddleOfCompletingTheFirstTile", "set.tif", noLimit, 20000, true},
                    DiskCase{"NothingOfAPng", "image.png", noLimit, 0, true},
                    DiskCase{"InTheMiddleOfAPng", "image.png", noLimit, 100000, true},
                    DiskCase{"NothingOfAJpeg", "image.jpg", noLimit, 0, true},
                    DiskCase{"InTheMiddleOfAJpeg", "image.jpg", noLimit, 50000, true}),
    [](const auto& row) { return std::string(row.param.name); });

/// The last bytes are written when GDAL finishes or closes the file.
TEST(FullDiskInTheEnd, LeavesNothingThoughOnlyTheLastBytesAreMissing)
{
    for (const char* name : {"gray.tif", "image.png", "image.jpg"}) {
        const TempFolder whole;
        ASSERT_EQ(writeTarget(whole.path(), targetNamed(name)), "");
        const auto size = std::filesystem::file_size((whole / name).toStdString());
        for (const unsigned missing : {1u, 10u, 100u, 300u, 1000u}) {
            const TempFolder folder;
            const DiskCase c{"", name, noLimit, size - missing, true};
            EXPECT_EQ(failureOfChild("writeOntoFullDisk", argumentsOf(c, folder.path(), "file")), "")
                << missing << " bytes of " << name;
        }
    }
}

/// Whatever GDAL says of a write that fails: nothing, as GDAL 3.10 does of the last bytes.
class LostWrites : public testing::TestWithParam<DiskCase>
{};

TEST_P(LostWrites, LeaveNothingAndAreNoticed)
{
    const DiskCase& c = GetParam();
    const TempFolder folder;
    EXPECT_EQ(failureOfChild("writeOntoFullDisk", argumentsOf(c, folder.path(), "lost")), "");
}

INSTANTIATE_TEST_SUITE_P(Stages, LostWrites,
                         testing::Values(DiskCase{"NearlyAllOfANewFile", "gray.tif", 1000, 1000, false},
                                         DiskCase{"TheEndOfANewFile", "gray.tif", 110000, 110000, false},
                                         DiskCase{"TheEndOfANewTile", "set.tif", 34000, 34000, false},
                                         DiskCase{"NearlyAllInCompleting", "gray.tif", noLimit, 1000, true},
                                         DiskCase{"TheMiddleAndTheEndInCompleting", "rgba.tif", noLimit,
                                                  100000, true},
                                         DiskCase{"InCompletingTiles", "set.tif", noLimit, 20000, true},
                                         DiskCase{"InCompletingAPng", "image.png", noLimit, 100000, true},
                                         DiskCase{"InCompletingAJpeg", "image.jpg", noLimit, 50000, true}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(LostWritesInTheEnd, LeaveNothingThoughOnlyTheLastBytesAreMissing)
{
    for (const char* name : {"gray.tif", "two bands.tif", "image.png", "image.jpg"}) {
        const TempFolder whole;
        ASSERT_EQ(writeTarget(whole.path(), targetNamed(name)), "");
        const auto size = std::filesystem::file_size((whole / name).toStdString());
        for (const unsigned missing : {1u, 100u, 1000u}) {
            const TempFolder folder;
            const DiskCase c{"", name, noLimit, size - missing, true};
            EXPECT_EQ(failureOfChild("writeOntoFullDisk", argumentsOf(c, folder.path(), "lost")), "")
                << missing << " bytes of " << name;
        }
    }
}

void mountDisk(const Arguments& arguments)
{
    const SmallDisk disk(QString::fromStdString(arguments.at(0)));
}

const ChildMain mounting("mountDisk", &mountDisk);

bool canMountDisks()
{
    const TempFolder folder;
    return failureOfChild("mountDisk", {folder.path().toStdString()}).empty();
}

class FullSmallDisk : public testing::TestWithParam<DiskCase>
{};

TEST_P(FullSmallDisk, LeavesNothingAndTellsWhy)
{
    if (!canMountDisks())
        GTEST_SKIP() << "no disk can be mounted here";
    const DiskCase& c = GetParam();
    const TempFolder folder;
    EXPECT_EQ(failureOfChild("writeOntoFullDisk", argumentsOf(c, folder.path(), "disk")), "");
}

// Where a tile cannot be completed, its working file makes room for the next one: sets are left out of that.
INSTANTIATE_TEST_SUITE_P(Stages, FullSmallDisk,
                         testing::Values(DiskCase{"NothingCanBeWritten", "gray.tif", 0, 0, false},
                                         DiskCase{"NothingCanBeWrittenOfATileSet", "set.tif", 0, 0, false},
                                         DiskCase{"OnlyTheHeader", "gray.tif", 4096, 4096, false},
                                         DiskCase{"InTheMiddleOfAFill", "two bands.tif", 50000, 50000, false},
                                         DiskCase{"InTheMiddleOfATransfer", "rgba.tif", 50000, 50000, false},
                                         DiskCase{"NothingCanBeCompleted", "gray.tif", noLimit, 0, true},
                                         DiskCase{"OnlyTheWorldFile", "gray.tif", noLimit, 4096, true},
                                         DiskCase{"OnlyTheSideFiles", "two bands.tif", noLimit, 8192, true},
                                         DiskCase{"InTheMiddleOfCompleting", "rgba.tif", noLimit, 100000,
                                                  true},
                                         DiskCase{"NothingOfAPng", "image.png", noLimit, 0, true},
                                         DiskCase{"InTheMiddleOfAPng", "image.png", noLimit, 100000, true},
                                         DiskCase{"InTheMiddleOfAJpeg", "image.jpg", noLimit, 50000, true}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FullSmallDiskInTheEnd, LeavesNothingThoughOnlyTheLastBlockIsMissing)
{
    if (!canMountDisks())
        GTEST_SKIP() << "no disk can be mounted here";
    constexpr unsigned long long block = 4096;
    for (const char* name : {"image.png", "image.jpg"}) {
        const TempFolder whole;
        ASSERT_EQ(writeTarget(whole.path(), targetNamed(name)), "");
        const auto size = std::filesystem::file_size((whole / name).toStdString());
        const TempFolder folder;
        const DiskCase c{"", name, noLimit, (size - 1) / block * block, true};
        EXPECT_EQ(failureOfChild("writeOntoFullDisk", argumentsOf(c, folder.path(), "disk")), "") << name;
    }
}

struct JobCase
{
    const char* name;
    vexel::DownsamplingStrategy strategy;
    unsigned long long limit;
};

/// Folder, strategy, limit.
void downsampleOntoFullDisk(const Arguments& arguments)
{
    const QString folder = QString::fromStdString(arguments.at(0));
    const auto strategy = static_cast<vexel::DownsamplingStrategy>(std::stoi(arguments.at(1)));
    const QString in = folder + "/in.tif";
    const QString out = folder + "/out.tif";
    rasters::make(in, downsampling::mapped(600, 600, GDT_UInt16),
                  [](int x, int y, int band) { return std::floor(rasters::noise(x, y, band) * 65535.0); });
    const LogCapture log;
    CPLSetErrorHandler(CPLQuietErrorHandler);
    warmUp(folder);
    const auto make = [&] {
        return vexel::DownsamplerFactory::createDownsampler(strategy, in, out, QString(), 2.0,
                                                            vexel::ImageAlphaType::NoAlpha,
                                                            vexel::GdalFileType::SingleFile);
    };
    require(downsampling::run(*make()), "the job fails without a limit");
    require(rasters::pixels(out).size() == 300 * 300, "nothing comes of the job without a limit");
    const std::string held = heldResources();
    limitFileSize(std::stoull(arguments.at(2)));
    bool done = false;
    {
        const auto job = make();
        done = downsampling::run(*job);
    }
    require(!std::filesystem::exists(out.toStdString()),
            done ? "there is an output" : "a failed step left an output");
    require(!log.messages().empty(), "nothing is logged");
    std::filesystem::remove(in.toStdString());
    std::filesystem::remove((folder + "/out.tfw").toStdString());
    requireEmpty(folder, held);
}

const ChildMain downsamplingJob("downsampleOntoFullDisk", &downsampleOntoFullDisk);

class FullDiskJob : public testing::TestWithParam<JobCase>
{};

TEST_P(FullDiskJob, HasNoOutput)
{
    const JobCase& c = GetParam();
    const TempFolder folder;
    EXPECT_EQ(failureOfChild("downsampleOntoFullDisk",
                             {folder.path().toStdString(), std::to_string(static_cast<int>(c.strategy)),
                              number(c.limit)}),
              "");
}

// The working file of the output has 180,000 bytes of noise and a header; compressed they become more.
INSTANTIATE_TEST_SUITE_P(
    Stages, FullDiskJob,
    testing::Values(JobCase{"AverageWritesNothing", vexel::DownsamplingStrategy::Average, 0},
                    JobCase{"AverageStopsInAStep", vexel::DownsamplingStrategy::Average, 90000},
                    JobCase{"AverageCannotComplete", vexel::DownsamplingStrategy::Average, 190000},
                    JobCase{"GaussWritesNothing", vexel::DownsamplingStrategy::Gauss, 0},
                    JobCase{"GaussStopsInAStep", vexel::DownsamplingStrategy::Gauss, 90000},
                    JobCase{"GaussCannotComplete", vexel::DownsamplingStrategy::Gauss, 190000},
                    JobCase{"WarpWritesNothing", vexel::DownsamplingStrategy::Warp, 0},
                    JobCase{"WarpStopsInAStep", vexel::DownsamplingStrategy::Warp, 90000}),
    [](const auto& row) { return std::string(row.param.name); });

/// A link to a device that is always full stands where the side file belongs. Folder, name of the side file, the
/// files that are there in the end.
void writeSideFileOntoFullDisk(const Arguments& arguments)
{
    const QString folder = QString::fromStdString(arguments.at(0));
    const Target target{"out.tif", 64, 64, 1, DataType::UInt8, 0, 0, true};
    const LogCapture log;
    CPLSetErrorHandler(CPLQuietErrorHandler);
    warmUp(folder);
    const std::string held = heldResources();
    std::filesystem::create_symlink("/dev/full", arguments.at(0) + "/" + arguments.at(1));
    vexel::GDALStreamer set;
    require(openTarget(set, folder, target), "cannot open");
    require(writeRows(set, target, 0, target.height), "cannot write");
    require(set.close(), "close() is not true");
    require(set.lastError().code == Code::CannotComplete, "no error is told");
    requireFailure(set.lastError(), folder + "/out.tif", "close");
    for (std::size_t k = 2; k < arguments.size(); ++k)
        require(std::filesystem::remove(arguments.at(0) + "/" + arguments.at(k)),
                arguments.at(k) + " is missing");
    requireEmpty(folder, held);
}

const ChildMain sideFile("writeSideFileOntoFullDisk", &writeSideFileOntoFullDisk);

TEST(FullDiskSideFile, OfTheWorldLeavesTheRasterWithoutIt)
{
    ASSERT_TRUE(std::filesystem::exists("/dev/full"));
    const TempFolder folder;
    EXPECT_EQ(failureOfChild("writeSideFileOntoFullDisk",
                             {folder.path().toStdString(), "out.tfw", "out.tif", "out.prj"}),
              "");
}

TEST(FullDiskSideFile, OfTheProjectionLeavesTheRasterWithoutIt)
{
    ASSERT_TRUE(std::filesystem::exists("/dev/full"));
    const TempFolder folder;
    EXPECT_EQ(failureOfChild("writeSideFileOntoFullDisk",
                             {folder.path().toStdString(), "out.prj", "out.tif", "out.tfw"}),
              "");
}

} // namespace
