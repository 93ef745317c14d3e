#include "fault/resources.h"

#include "fault/ChildProcess.h"
#include "support/rasters.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <vector>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace faults {

namespace {

constexpr unsigned ordinaryUser = 65534; // nobody, on every system

void setSoftLimit(rlim_t bytes)
{
    rlimit limit{};
    require(getrlimit(RLIMIT_FSIZE, &limit) == 0, "the file size limit cannot be read");
    limit.rlim_cur = std::min(bytes, limit.rlim_max);
    require(setrlimit(RLIMIT_FSIZE, &limit) == 0, "the file size cannot be limited");
}

} // namespace

std::string heldResources()
{
    std::vector<std::string> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
        // The folder that is being listed is none of those to be counted.
        if (!gone && target.find("/proc/") != 0)
            descriptors.push_back(entry.path().filename().string() + " " + target);
    }
    std::sort(descriptors.begin(), descriptors.end());
    std::string lines = std::to_string(rasters::openDatasets()) + " datasets";
    for (const std::string& descriptor : descriptors)
        lines += "\n" + descriptor;
    return lines;
}

void limitFileSize(unsigned long long bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    setSoftLimit(bytes);
}

void unlimitFileSize()
{
    setSoftLimit(RLIM_INFINITY);
}

void becomeOrdinaryUser()
{
    if (geteuid() == 0) {
        require(setresgid(ordinaryUser, ordinaryUser, ordinaryUser) == 0, "the group cannot be given up");
        require(setresuid(ordinaryUser, ordinaryUser, ordinaryUser) == 0, "the user cannot be given up");
        // Else the process could not look into its own descriptors any more.
        require(prctl(PR_SET_DUMPABLE, 1) == 0, "the process cannot be made readable again");
    }
    require(geteuid() != 0, "still the superuser");
}

} // namespace faults
