#include "fault/ChildProcess.h"
#include "fault/resources.h"
#include "fault/targets.h"
#include "support/TempFolder.h"
#include "support/effort.h"
#include "support/figures.h"
#include "support/rasters.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

// A process that writes rasters is ended in the middle of it, at any moment.

namespace {

using namespace faults;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

int noKills()
{
    return isThorough() ? 200 : sanitized ? 20 : 50;
}

constexpr unsigned seed = 20260417;

const std::vector<Target>& targets()
{
    using vexel::DataType;
    static const std::vector<Target> all{{"image.jpg", 320, 256, 3, DataType::UInt8},
                                         {"image.png", 200, 150, 3, DataType::UInt8},
                                         {"large.tif", 600, 500, 1, DataType::UInt16, 0, 0, true},
                                         {"rgba.tif", 260, 200, 4, DataType::UInt8},
                                         {"set.tif", 300, 200, 1, DataType::Float32, 128, 128, true},
                                         {"small.tif", 33, 17, 1, DataType::Float32},
                                         {"thumbs.png", 200, 100, 1, DataType::UInt8, 100, 100}};
    return all;
}

/// What the child tells about where it is, in memory that outlives it.
struct Place
{
    static constexpr int nowhere = -1;

    std::atomic<int> target; ///< index of the one that is being written
    std::atomic<int> rounds; ///< done
};
static_assert(std::atomic<int>::is_always_lock_free);

/// The place, in a file that both processes map.
class SharedPlace
{
public:
    explicit SharedPlace(const QString& path)
    {
        const int descriptor =
            open(path.toUtf8().constData(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
        require(descriptor >= 0 && ftruncate(descriptor, sizeof(Place)) == 0, "no file to share");
        void* memory = mmap(nullptr, sizeof(Place), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
        close(descriptor);
        require(memory != MAP_FAILED, "no memory to share");
        m_place = static_cast<Place*>(memory);
    }
    ~SharedPlace() { munmap(m_place, sizeof(Place)); }
    SharedPlace(const SharedPlace&) = delete;
    SharedPlace& operator=(const SharedPlace&) = delete;

    Place* operator->() const { return m_place; }

private:
    Place* m_place;
};

/// Writes all targets over and over: a folder, the file that its place is told in.
void writeForEver(const Arguments& arguments)
{
    const QString folder = QString::fromStdString(arguments.at(0));
    const SharedPlace place(QString::fromStdString(arguments.at(1)));
    place->target = Place::nowhere;
    place->rounds = 0;
    GDALAllRegister();
    std::cout << "ready" << std::endl;
    for (;; ++place->rounds)
        for (std::size_t i = 0; i < targets().size(); ++i) {
            place->target = static_cast<int>(i);
            const std::string failure = writeTarget(folder, targets()[i]);
            require(failure.empty(), failure);
            place->target = Place::nowhere;
        }
}

const ChildMain registered("writeForEver", &writeForEver);

std::set<std::string> namesIn(const QString& folder)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.toStdString()))
        names.insert(entry.path().filename().string());
    return names;
}

/// Where kills have struck.
struct Counts
{
    int kills = 0;
    int working = 0;
    int unfinished = 0;
    int absent = 0;
    int between = 0;
};

/// Looks at the files of a target whose writing was cut off; takes out of `names` what may be there.
void checkCutOff(const QString& folder, const Target& target, std::set<std::string>& names, Counts& counts)
{
    bool absent = false;
    bool working = false;
    bool unfinished = false;
    for (const TargetFile& file : filesOf(target)) {
        if (names.erase(file.name) > 0)
            EXPECT_EQ(faultOf(folder, target, file), "");
        else
            absent = true;
        for (const std::string& side : file.sideFiles)
            names.erase(side);
        working = names.erase(file.name + "_tmp.tif") > 0 || working;
        unfinished = names.erase(file.name + "_new_tmp.tif") > 0 || unfinished;
        for (const char* ending : {".aux.xml", "_tmp.tif.aux.xml", "_new_tmp.tif.aux.xml"})
            names.erase(file.name + ending);
    }
    counts.absent += absent;
    counts.working += working;
    counts.unfinished += unfinished;
}

/// Looks at the files of a target that was finished.
void checkFinished(const QString& folder, const Target& target, std::set<std::string>& names)
{
    for (const TargetFile& file : filesOf(target)) {
        EXPECT_EQ(names.erase(file.name), 1u) << file.name << " is missing";
        EXPECT_EQ(faultOf(folder, target, file), "");
        for (const std::string& side : file.sideFiles)
            EXPECT_EQ(names.erase(side), 1u) << side << " is missing";
    }
}

void checkFolder(const QString& folder, int cutOff, Counts& counts)
{
    std::set<std::string> names = namesIn(folder);
    for (std::size_t i = 0; i < targets().size(); ++i)
        if (static_cast<int>(i) == cutOff)
            checkCutOff(folder, targets()[i], names, counts);
        else
            checkFinished(folder, targets()[i], names);
    for (const std::string& name : names)
        ADD_FAILURE() << name << " has been left";
    counts.between += cutOff == Place::nowhere;
}

/// How long a child takes for all targets.
Seconds durationOfRound(const QString& folder, const QString& placePath, const SharedPlace& place)
{
    constexpr int rounds = 3;
    ChildProcess child("writeForEver", {folder.toStdString(), placePath.toStdString()});
    require(child.readLine() == "ready", "the child does not start");
    const Clock::time_point start = Clock::now();
    while (place->rounds < rounds && Clock::now() - start < Seconds(60))
        std::this_thread::sleep_for(Seconds(0.002));
    require(place->rounds >= rounds, "the child does not write");
    return (Clock::now() - start) / rounds;
}

TEST(KilledWriter, LeavesNoFilesThatAreNotWhole)
{
    const TempFolder folder;
    const TempFolder other;
    const QString placePath = other / "place";
    const SharedPlace place(placePath);
    const Clock::time_point start = Clock::now();
    for (const Target& target : targets())
        ASSERT_EQ(writeTarget(folder.path(), target), "");
    ASSERT_EQ(folder.listing(), listingOf(targets()));
    const Seconds round = durationOfRound(folder.path(), placePath, place);
    for (const Target& target : targets())
        ASSERT_EQ(writeTarget(folder.path(), target), "");

    std::mt19937 random(seed);
    Counts counts;
    for (int k = 0; k < noKills() && !HasFailure(); ++k) {
        const double share = static_cast<double>(random()) / static_cast<double>(std::mt19937::max());
        ChildProcess child("writeForEver", {folder.path().toStdString(), placePath.toStdString()});
        ASSERT_EQ(child.readLine(), "ready");
        std::this_thread::sleep_for(round * share);
        ASSERT_TRUE(child.kill()) << child.output();
        ++counts.kills;
        const int cutOff = place->target;
        SCOPED_TRACE("kill " + std::to_string(k) + " after " + std::to_string(share) + " of a round, in " +
                     (cutOff == Place::nowhere ? "none" : targets()[static_cast<std::size_t>(cutOff)].name));
        checkFolder(folder.path(), cutOff, counts);
        if (cutOff != Place::nowhere) {
            ASSERT_EQ(writeTarget(folder.path(), targets()[static_cast<std::size_t>(cutOff)]), "");
        }
        ASSERT_EQ(folder.listing(), listingOf(targets()));
    }
    EXPECT_GT(counts.working, 0) << "no kill has struck while a working file was there";
    EXPECT_GT(counts.absent, 0) << "no kill has struck while a file was missing";
    std::ostringstream figures;
    figures << counts.kills << " kills: " << counts.working << " with a working file, " << counts.unfinished
            << " with an unfinished one, " << counts.absent << " with a file missing, " << counts.between
            << " between two rasters; " << std::round(Seconds(Clock::now() - start).count()) << " s";
    tellFigures(figures.str());
}

} // namespace
