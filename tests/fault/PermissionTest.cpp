#include "fault/ChildProcess.h"
#include "fault/resources.h"
#include "fault/targets.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/listing.h"
#include "support/rasters.h"
#include "utilities/verify.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

// Folders and files that may not be written or read, that vanish, or that are there as something else.

namespace {

using namespace faults;
using Code = vexel::StreamError::Code;
using vexel::DataType;
using vexel::GDALStreamer;
namespace fs = std::filesystem;

const std::vector<Target>& targets()
{
    static const std::vector<Target> all{{"gray.tif", 40, 30, 1, DataType::UInt8},
                                         {"rgb.tif", 40, 30, 3, DataType::UInt8, 0, 0, true},
                                         {"set.tif", 40, 30, 1, DataType::Float32, 32, 32},
                                         {"image.png", 40, 30, 3, DataType::UInt8}};
    return all;
}

QString firstFileOf(const QString& folder, const Target& target)
{
    return folder + "/" + QString::fromStdString(filesOf(target).front().name);
}

void setMode(const QString& path, mode_t mode)
{
    require(chmod(path.toUtf8().constData(), mode) == 0,
            "the mode of " + path.toStdString() + " cannot be set");
}

void requireError(const GDALStreamer& set, Code code, const QString& path, const std::string& where)
{
    const vexel::StreamError& error = set.lastError();
    require(error.code == code, where + ": error " + std::to_string(static_cast<int>(error.code)) +
                                    " instead of " + std::to_string(static_cast<int>(code)));
    require(error.path == path, where + ": error of another path, " + error.path.toStdString());
    require(!error.text.isEmpty(), where + ": no reason is told");
}

/// What a child of these tests does first: it becomes an ordinary user with a folder of its own.
QString beginAsOrdinaryUser(const Arguments& arguments)
{
    CPLSetErrorHandler(CPLQuietErrorHandler);
    becomeOrdinaryUser();
    const QString folder = QString::fromStdString(arguments.at(0)) + "/own";
    require(fs::create_directory(folder.toStdString()), "no folder of its own");
    for (const Target& target : targets())
        require(writeTarget(folder, target).empty(), "nothing can be written in it");
    return folder;
}

/// Runs one of the functions below in a child that may write in `folder`.
std::string failureAsOrdinaryUser(const char* name)
{
    const TempFolder folder;
    setMode(folder.path(), S_IRWXU | S_IRWXG | S_IRWXO);
    return failureOfChild(name, {folder.path().toStdString()});
}

const ChildMain readOnlyFolder("writeIntoReadOnlyFolder", [](const Arguments& arguments) {
    const QString folder = beginAsOrdinaryUser(arguments);
    const QString empty = folder + "/empty";
    require(fs::create_directory(empty.toStdString()), "no empty folder");
    setMode(empty, S_IRUSR | S_IXUSR);
    const std::string held = heldResources();
    for (const Target& target : targets()) {
        const LogCapture log;
        GDALStreamer set;
        require(openTarget(set, empty, target), "open, which makes nothing, fails");
        const bool inMemory = std::string(target.name) == "image.png";
        const bool written = writeRows(set, target, 0, target.height);
        require(written == inMemory, "the result of writing is wrong");
        if (!inMemory)
            requireError(set, Code::CannotCreate, firstFileOf(empty, target), "write");
        require(set.close(), "close() is not true");
        if (inMemory)
            requireError(set, Code::CannotComplete, firstFileOf(empty, target), "close");
        require(listing(empty).empty(), "left behind: " + listing(empty));
    }
    require(heldResources() == held, "held before:\n" + held + "\nand afterwards:\n" + heldResources());
});

TEST(Permission, ReadOnlyFolderIsNotWritten)
{
    EXPECT_EQ(failureAsOrdinaryUser("writeIntoReadOnlyFolder"), "");
}

const ChildMain lockedWhileWriting("lockFolderBeforeCompleting", [](const Arguments& arguments) {
    const QString folder = beginAsOrdinaryUser(arguments);
    const QString locked = folder + "/locked";
    require(fs::create_directory(locked.toStdString()), "no further folder");
    const std::string held = heldResources();
    for (const Target& target : targets()) {
        const LogCapture log;
        GDALStreamer set;
        require(openTarget(set, locked, target), "cannot open");
        require(writeRows(set, target, 0, target.height), "cannot write");
        const std::string before = listing(locked);
        setMode(locked, S_IRUSR | S_IXUSR);
        require(set.close(), "close() is not true");
        requireError(set, Code::CannotComplete, firstFileOf(locked, target), "close");
        require(log.messages().front().level == 7, "not logged as an error");
        require(listing(locked) == before, "another listing: " + listing(locked));
        setMode(locked, S_IRWXU);
        require(writeTarget(locked, target).empty(), "the next one fails");
        require(listing(locked) == listingOf({target}), "left behind: " + listing(locked));
        for (const auto& entry : fs::directory_iterator(locked.toStdString()))
            fs::remove(entry.path());
    }
    require(heldResources() == held, "held before:\n" + held + "\nand afterwards:\n" + heldResources());
});

TEST(Permission, FolderThatIsLockedBeforeCompletingGetsNoRaster)
{
    EXPECT_EQ(failureAsOrdinaryUser("lockFolderBeforeCompleting"), "");
}

const ChildMain unreadable("readWithoutPermission", [](const Arguments& arguments) {
    const QString folder = beginAsOrdinaryUser(arguments);
    const std::string held = heldResources();
    for (const Target& target : targets()) {
        const QString path = firstFileOf(folder, target);
        const QString setPath = folder + "/" + target.name;
        setMode(path, 0);
        GDALStreamer set;
        require(!set.openRead(setPath), "an unreadable file is opened");
        require(!set.opened(), "open after a failure");
        require(static_cast<bool>(set.lastError()), "no error is told");
        require(!set.openUpdate(setPath), "an unreadable file is opened for update");
        require(!vexel::gdal::verify(setPath, /*decode=*/true).isWhole(), "an unreadable file is whole");
        setMode(path, S_IRUSR);
        require(set.openRead(setPath), "a readable file is not opened");
        vexel::PixelMatrix<float> pixels;
        setMode(path, 0);
        require(!set.read(pixels, 1, vexel::PixelBox(), 1.0, true, 0.0f), "an unreadable file is read");
        requireError(set, Code::CannotOpen, path, "read");
        setMode(path, S_IRUSR);
        require(set.read(pixels, 1, vexel::PixelBox(), 1.0, true, 0.0f), "a readable file is not read");
        require(!set.openUpdate(setPath), "a read-only file is opened for update");
        require(static_cast<bool>(set.lastError()), "no error is told for an update");
        setMode(path, S_IRUSR | S_IWUSR);
    }
    require(heldResources() == held, "held before:\n" + held + "\nand afterwards:\n" + heldResources());
});

TEST(Permission, FileWithoutItIsNeitherReadNorUpdated)
{
    EXPECT_EQ(failureAsOrdinaryUser("readWithoutPermission"), "");
}

const ChildMain readOnlyFile("replaceReadOnlyFile", [](const Arguments& arguments) {
    const QString folder = beginAsOrdinaryUser(arguments);
    const std::string before = listing(folder);
    for (const Target& target : targets()) {
        setMode(firstFileOf(folder, target), 0);
        const std::string failure = writeTarget(folder, target);
        require(failure.empty(), failure);
        for (const TargetFile& file : filesOf(target))
            require(faultOf(folder, target, file).empty(), faultOf(folder, target, file));
    }
    require(listing(folder) == before, "left behind: " + listing(folder));
});

TEST(Permission, FolderDecidesWhetherAFileIsReplaced)
{
    EXPECT_EQ(failureAsOrdinaryUser("replaceReadOnlyFile"), "");
}

/// Something that is in the way of a target, told by what it is called in its folder.
struct ObstacleCase
{
    const char* name;
    std::size_t target;
    const char* obstacle;
    bool writes;         ///< the working file can be made
    Code code;           ///< of the first operation that fails
    const char* listing; ///< in the end
};

class FolderInstead : public testing::TestWithParam<ObstacleCase>
{};

TEST_P(FolderInstead, OfAFileIsLeftAsItIs)
{
    const ObstacleCase& c = GetParam();
    const Target& target = targets()[c.target];
    const TempFolder warm;
    CPLSetErrorHandler(CPLQuietErrorHandler);
    ASSERT_EQ(writeTarget(warm.path(), target), "");
    const std::string held = heldResources();
    const TempFolder folder;
    const QString inside = folder / c.obstacle + "/inside";
    fs::create_directory((folder / c.obstacle).toStdString());
    std::ofstream(inside.toStdString()) << "kept";
    {
        const LogCapture log;
        GDALStreamer set;
        ASSERT_TRUE(openTarget(set, folder.path(), target));
        EXPECT_EQ(writeRows(set, target, 0, target.height), c.writes);
        if (!c.writes) {
            EXPECT_NO_THROW(requireError(set, c.code, firstFileOf(folder.path(), target), "write"));
        }
        EXPECT_TRUE(set.close());
        if (c.writes) {
            EXPECT_NO_THROW(requireError(set, c.code, firstFileOf(folder.path(), target), "close"));
        }
    }
    EXPECT_EQ(folder.listing(), c.listing);
    EXPECT_TRUE(fs::exists(inside.toStdString()));
    EXPECT_EQ(heldResources(), held);
    CPLSetErrorHandler(CPLDefaultErrorHandler);
}

INSTANTIATE_TEST_SUITE_P(
    Obstacles, FolderInstead,
    testing::Values(
        ObstacleCase{"Target", 0, "gray.tif", true, Code::CannotComplete, "gray.tif"},
        ObstacleCase{"TargetWithReference", 1, "rgb.tif", true, Code::CannotComplete, "rgb.tif"},
        ObstacleCase{"WorkingFile", 0, "gray.tif_tmp.tif", false, Code::CannotCreate, "gray.tif_tmp.tif"},
        ObstacleCase{"UnfinishedFile", 0, "gray.tif_new_tmp.tif", true, Code::CannotComplete,
                     "gray.tif_new_tmp.tif"},
        ObstacleCase{"WorldFile", 0, "gray.tfw", true, Code::CannotComplete, "gray.tfw gray.tif"},
        ObstacleCase{"ProjectionFile", 1, "rgb.prj", true, Code::CannotComplete, "rgb.prj rgb.tfw rgb.tif"},
        ObstacleCase{"OneTile", 2, "set_1_1.tif", true, Code::CannotComplete,
                     "set_1_1.tif set_2_1.tfw set_2_1.tif"},
        ObstacleCase{"Image", 3, "image.png", true, Code::CannotComplete, "image.png"},
        ObstacleCase{"UnfinishedImage", 3, "image.png_new_tmp.tif", true, Code::CannotComplete,
                     "image.png_new_tmp.tif"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(FolderInsteadOfARaster, IsNotOpened)
{
    const TempFolder folder;
    CPLSetErrorHandler(CPLQuietErrorHandler);
    fs::create_directory((folder / "a.tif").toStdString());
    GDALStreamer set;
    EXPECT_FALSE(set.openRead(folder / "a.tif"));
    EXPECT_NO_THROW(requireError(set, Code::CannotOpen, folder / "a.tif", "openRead"));
    EXPECT_FALSE(set.openUpdate(folder / "a.tif"));
    EXPECT_FALSE(vexel::gdal::verify(folder / "a.tif").isWhole());
    EXPECT_EQ(folder.listing(), "a.tif");
    CPLSetErrorHandler(CPLDefaultErrorHandler);
}

/// At which step of writing the folder vanishes.
enum class Moment
{
    BeforeWriting,
    BetweenTransfers,
    BeforeCompleting
};

class VanishedFolder : public testing::TestWithParam<std::tuple<std::size_t, Moment>>
{};

TEST_P(VanishedFolder, FailsWithAReasonAndStaysAway)
{
    const Target& target = targets()[std::get<0>(GetParam())];
    const Moment moment = std::get<1>(GetParam());
    const bool inMemory = std::string(target.name) == "image.png";
    const TempFolder warm;
    CPLSetErrorHandler(CPLQuietErrorHandler);
    ASSERT_EQ(writeTarget(warm.path(), target), "");
    const std::string held = heldResources();
    const TempFolder folder;
    const QString gone = folder / "gone";
    {
        const LogCapture log;
        GDALStreamer set;
        ASSERT_TRUE(openTarget(set, gone, target));
        const int half = moment == Moment::BetweenTransfers ? target.height / 2 : 0;
        if (moment != Moment::BeforeWriting) {
            ASSERT_TRUE(writeRows(set, target, 0, moment == Moment::BeforeCompleting ? target.height : half));
        }
        fs::remove_all(gone.toStdString());
        if (moment != Moment::BeforeCompleting) {
            EXPECT_EQ(writeRows(set, target, half, target.height), inMemory);
            EXPECT_EQ(static_cast<bool>(set.lastError()), !inMemory);
            EXPECT_EQ(set.lastError().path, inMemory ? QString() : firstFileOf(gone, target));
        }
        EXPECT_TRUE(set.close());
        if (inMemory || moment != Moment::BeforeWriting) {
            EXPECT_EQ(set.lastError().code, Code::CannotComplete);
            EXPECT_EQ(set.lastError().path, firstFileOf(gone, target));
            EXPECT_FALSE(set.lastError().text.isEmpty());
            EXPECT_NE(log.text().find("7: Failed to write to <"), std::string::npos) << log.text();
        }
    }
    EXPECT_EQ(folder.listing(), "");
    EXPECT_EQ(heldResources(), held);
    CPLSetErrorHandler(CPLDefaultErrorHandler);
}

INSTANTIATE_TEST_SUITE_P(Moments, VanishedFolder,
                         testing::Combine(testing::Values(0u, 1u, 2u, 3u),
                                          testing::Values(Moment::BeforeWriting, Moment::BetweenTransfers,
                                                          Moment::BeforeCompleting)));

} // namespace
