#include "fault/lostwrites.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>

#include <dlfcn.h>
#include <unistd.h>

namespace {

constexpr unsigned long long nothingLost = ~0ull;

std::atomic<unsigned long long> limit{nothingLost};

/// How many of the bytes are written. All where the place is negative: it is no file that has one.
std::size_t keptOf(off_t place, std::size_t bytes)
{
    const unsigned long long end = limit;
    if (end == nothingLost || place < 0)
        return bytes;
    const auto start = static_cast<unsigned long long>(place);
    return static_cast<std::size_t>(std::min<unsigned long long>(bytes, end > start ? end - start : 0));
}

template <class Function>
Function systemsOwn(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

namespace faults {

void loseWritesBeyond(unsigned long long bytes)
{
    limit = bytes;
}

} // namespace faults

// Called instead of the C library's functions, by GDAL too: the program's own names come first.
extern "C" {

std::size_t fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream)
{
    static const auto write = systemsOwn<decltype(&fwrite)>("fwrite");
    const std::size_t bytes = size * count;
    const std::size_t kept = keptOf(ftello(stream), bytes);
    if (kept == bytes)
        return write(data, size, count, stream);
    if (write(data, 1, kept, stream) != kept ||
        fseeko(stream, static_cast<off_t>(bytes - kept), SEEK_CUR) != 0)
        return 0;
    return count;
}

ssize_t write(int file, const void* data, std::size_t bytes)
{
    static const auto write = systemsOwn<decltype(&::write)>("write");
    const std::size_t kept = keptOf(lseek(file, 0, SEEK_CUR), bytes);
    if (kept == bytes)
        return write(file, data, bytes);
    const ssize_t written = write(file, data, kept);
    if (written != static_cast<ssize_t>(kept) || lseek(file, static_cast<off_t>(bytes - kept), SEEK_CUR) < 0)
        return written;
    return static_cast<ssize_t>(bytes);
}

} // extern "C"
