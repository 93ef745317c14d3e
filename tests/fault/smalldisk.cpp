#include "fault/smalldisk.h"

#include "fault/ChildProcess.h"
#include "fault/resources.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace faults {

namespace {

constexpr unsigned long long diskBytes = 8ull << 20;

void writeText(const char* path, const std::string& text)
{
    std::ofstream(path) << text;
}

/// A view of the file systems for this process alone. One who is not the superuser becomes that of a view of the users,
/// which not every system allows.
bool leaveSharedMounts()
{
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (user == 0 && unshare(CLONE_NEWNS) == 0)
        return true;
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    writeText("/proc/self/setgroups", "deny");
    writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    return geteuid() == 0;
}

bool mountAt(const std::string& folder)
{
    // Else the mount would spread to the other processes.
    return leaveSharedMounts() && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", folder.c_str(), "tmpfs", 0, ("size=" + std::to_string(diskBytes)).c_str()) == 0;
}

} // namespace

SmallDisk::SmallDisk(const QString& folder) : m_folder(folder)
{
    require(mountAt(folder.toStdString()), "no disk can be mounted");
    std::filesystem::create_directory(this->folder().toStdString());
}

void SmallDisk::leave(unsigned long long bytes) const
{
    const std::string ballast = m_folder.toStdString() + "/ballast";
    std::filesystem::remove(ballast);
    struct statvfs disk = {};
    require(statvfs(m_folder.toStdString().c_str(), &disk) == 0, "the disk cannot be described");
    const unsigned long long block = disk.f_bsize;
    const unsigned long long wanted = std::min(bytes, diskBytes) / block + (bytes % block != 0 ? 1 : 0);
    const unsigned long long filled = disk.f_bavail > wanted ? (disk.f_bavail - wanted) * block : 0;
    std::ofstream(ballast, std::ios::binary) << std::string(filled, 'x');
    require(std::filesystem::file_size(ballast) == filled, "the disk cannot be filled up");
}

} // namespace faults
