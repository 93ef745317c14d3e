#include "fault/calls.h"

#include "streaming/GDALMutex.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <optional>

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

namespace {

template <class Function>
Function systemsOwn(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// ---- The lock

struct LockNotes
{
    bool taken = false;
    const pthread_mutex_t* mutex = nullptr; ///< the first one that is locked
    int depth = 0;
    int releases = 0;
};

thread_local LockNotes lockNotes;

void noteLocked(const pthread_mutex_t* mutex)
{
    if (!lockNotes.taken)
        return;
    if (!lockNotes.mutex)
        lockNotes.mutex = mutex;
    if (mutex == lockNotes.mutex)
        ++lockNotes.depth;
}

void noteUnlocked(const pthread_mutex_t* mutex)
{
    if (lockNotes.taken && mutex == lockNotes.mutex && --lockNotes.depth == 0)
        ++lockNotes.releases;
}

// ---- Files

struct FileNotes
{
    std::mutex mutex;
    std::string folder; ///< empty: nothing is noted
    bool syncsFail = false;
    std::vector<faults::FileCalls::Call> calls;
};

FileNotes& fileNotes()
{
    static FileNotes notes;
    return notes;
}

/// The path as seen from the folder; nothing for one that is elsewhere.
std::optional<std::string> nameIn(const std::string& folder, const std::string& path)
{
    if (folder.empty() || path.compare(0, folder.size(), folder) != 0)
        return std::nullopt;
    return path.size() == folder.size() ? "." : path.substr(folder.size() + 1);
}

/// False if the call is to fail.
bool noteSync(int descriptor)
{
    FileNotes& notes = fileNotes();
    const std::lock_guard<std::mutex> lock(notes.mutex);
    if (notes.folder.empty())
        return true;
    std::error_code error;
    const std::filesystem::path path =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
    const std::optional<std::string> name = nameIn(notes.folder, path.string());
    if (error || !name)
        return true;
    const bool isFile = std::filesystem::is_regular_file(path, error);
    notes.calls.push_back(
        {"sync " + *name, isFile ? std::filesystem::file_size(path) : 0, lockNotes.depth > 0});
    return !notes.syncsFail;
}

void noteRename(const char* from, const char* to)
{
    FileNotes& notes = fileNotes();
    const std::lock_guard<std::mutex> lock(notes.mutex);
    if (notes.folder.empty())
        return; // allocates nothing, which may be made to fail
    const std::optional<std::string> former = nameIn(notes.folder, from);
    const std::optional<std::string> present = nameIn(notes.folder, to);
    if (former && present)
        notes.calls.push_back({"rename " + *former + " to " + *present});
}

// ---- Arguments

struct ArgumentNotes
{
    bool taken = false;
    std::vector<faults::UtilityArguments::Arguments> translate;
    std::vector<faults::UtilityArguments::Arguments> warp;
};

ArgumentNotes& argumentNotes()
{
    static ArgumentNotes notes;
    return notes;
}

void note(std::vector<faults::UtilityArguments::Arguments>& calls, char** arguments)
{
    if (!argumentNotes().taken)
        return;
    calls.emplace_back();
    for (; arguments && *arguments; ++arguments)
        calls.back().push_back(*arguments);
}

} // namespace

namespace faults {

FileCalls::FileCalls(const QString& folder)
{
    const std::lock_guard<std::mutex> lock(fileNotes().mutex);
    fileNotes().folder = folder.toStdString();
    fileNotes().calls.clear();
}

FileCalls::~FileCalls()
{
    const std::lock_guard<std::mutex> lock(fileNotes().mutex);
    fileNotes().folder.clear();
    fileNotes().syncsFail = false;
}

void FileCalls::failSyncs()
{
    const std::lock_guard<std::mutex> lock(fileNotes().mutex);
    fileNotes().syncsFail = true;
}

std::vector<FileCalls::Call> FileCalls::calls() const
{
    const std::lock_guard<std::mutex> lock(fileNotes().mutex);
    return fileNotes().calls;
}

UtilityArguments::UtilityArguments()
{
    argumentNotes() = {true, {}, {}};
}

UtilityArguments::~UtilityArguments()
{
    argumentNotes().taken = false;
}

std::vector<UtilityArguments::Arguments> UtilityArguments::ofTranslate() const
{
    return argumentNotes().translate;
}

std::vector<UtilityArguments::Arguments> UtilityArguments::ofWarp() const
{
    return argumentNotes().warp;
}

LockWatch::LockWatch()
{
    lockNotes = {true, nullptr, 0, 0};
    {
        const vexel::GDALMutex toKnowIt;
    }
    lockNotes.releases = 0;
}

LockWatch::~LockWatch()
{
    lockNotes.taken = false;
}

int LockWatch::releases() const
{
    return lockNotes.releases;
}

} // namespace faults

// Called instead of the functions of the C library and of GDAL: the program's own names come first.
extern "C" {

int fsync(int descriptor)
{
    static const auto sync = systemsOwn<decltype(&::fsync)>("fsync");
    if (noteSync(descriptor))
        return sync(descriptor);
    errno = EIO;
    return -1;
}

int rename(const char* from, const char* to) noexcept
{
    static const auto rename = systemsOwn<int (*)(const char*, const char*)>("rename");
    noteRename(from, to);
    return rename(from, to);
}

// Options and their kin stay pointers to anything: versions of GDAL differ in the types.
void* GDALTranslateOptionsNew(char** arguments, void* forBinary)
{
    static const auto make = systemsOwn<void* (*)(char**, void*)>("GDALTranslateOptionsNew");
    note(argumentNotes().translate, arguments);
    return make(arguments, forBinary);
}

void* GDALWarpAppOptionsNew(char** arguments, void* forBinary)
{
    static const auto make = systemsOwn<void* (*)(char**, void*)>("GDALWarpAppOptionsNew");
    note(argumentNotes().warp, arguments);
    return make(arguments, forBinary);
}

// These are called by the objects of this program alone.
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_trylock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    const int result = __real_pthread_mutex_lock(mutex);
    if (result == 0)
        noteLocked(mutex);
    return result;
}

int __wrap_pthread_mutex_trylock(pthread_mutex_t* mutex)
{
    const int result = __real_pthread_mutex_trylock(mutex);
    if (result == 0)
        noteLocked(mutex);
    return result;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)
{
    noteUnlocked(mutex);
    return __real_pthread_mutex_unlock(mutex);
}

} // extern "C"
