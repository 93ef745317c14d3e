#include "fault/allocations.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include <execinfo.h>
#include <link.h>

namespace faults::allocations {

namespace {

std::atomic<bool> counting{false};
std::atomic<long> left{0};
std::atomic<std::uint64_t> sum{0};

/// Addresses of code.
struct Range
{
    std::uintptr_t first;
    std::uintptr_t end;
};

int addIfForeign(dl_phdr_info* object, std::size_t, void* ranges)
{
    if (!std::strstr(object->dlpi_name, "libgdal") && !std::strstr(object->dlpi_name, "libQt"))
        return 0;
    for (int i = 0; i < object->dlpi_phnum; ++i)
        if (object->dlpi_phdr[i].p_type == PT_LOAD) {
            const std::uintptr_t first = object->dlpi_addr + object->dlpi_phdr[i].p_vaddr;
            static_cast<std::vector<Range>*>(ranges)->push_back(
                {first, first + object->dlpi_phdr[i].p_memsz});
        }
    return 0;
}

const std::vector<Range>& foreignCode()
{
    static const std::vector<Range> ranges = [] {
        std::vector<Range> found;
        dl_iterate_phdr(&addIfForeign, &found);
        return found;
    }();
    return ranges;
}

/// True below GDAL and Qt, which use the templates of this program where they would have the same ones.
bool isForeign()
{
    std::array<void*, 128> frames{};
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    const std::vector<Range>& ranges = foreignCode();
    return std::any_of(frames.begin(), frames.begin() + count, [&](const void* frame) {
        const auto address = reinterpret_cast<std::uintptr_t>(frame);
        return std::any_of(ranges.begin(), ranges.end(),
                           [&](const Range& range) { return range.first <= address && address < range.end; });
    });
}

bool failsNow(std::size_t size)
{
    if (!counting || isForeign())
        return false;
    sum += size;
    return --left == 0;
}

void throwIfNow(std::size_t size)
{
    if (failsNow(size))
        throw std::bad_alloc();
}

} // namespace

void failNth(long n)
{
    isForeign(); // allocates when it is called first
    left = n;
    counting = true;
}

bool stop()
{
    counting = false;
    return left <= 0;
}

void count()
{
    sum = 0;
    failNth(std::numeric_limits<long>::max());
}

std::uint64_t stopAndSum()
{
    stop();
    return sum;
}

} // namespace faults::allocations

using faults::allocations::failsNow;
using faults::allocations::throwIfNow;

// The names are those that the linker gives: __wrap_X is called instead of X, which is __real_X.
extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void* __real_aligned_alloc(std::size_t alignment, std::size_t size);
int __real_posix_memalign(void** memory, std::size_t alignment, std::size_t size);
void* __real__Znwm(std::size_t size);
void* __real__Znam(std::size_t size);
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __real__ZnwmSt11align_val_t(std::size_t size, std::align_val_t alignment);
void* __real__ZnamSt11align_val_t(std::size_t size, std::align_val_t alignment);
char* __real__ZNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE9_M_createERmm(void* text,
                                                                                 std::size_t* size,
                                                                                 std::size_t oldSize);

void* __wrap_malloc(std::size_t size)
{
    return failsNow(size) ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size)
{
    return failsNow(count * size) ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* memory, std::size_t size)
{
    return failsNow(size) ? nullptr : __real_realloc(memory, size);
}

void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size)
{
    return failsNow(size) ? nullptr : __real_aligned_alloc(alignment, size);
}

int __wrap_posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    return failsNow(size) ? ENOMEM : __real_posix_memalign(memory, alignment, size);
}

void* __wrap__Znwm(std::size_t size)
{
    throwIfNow(size);
    return __real__Znwm(size);
}

void* __wrap__Znam(std::size_t size)
{
    throwIfNow(size);
    return __real__Znam(size);
}

void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag)
{
    return failsNow(size) ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag)
{
    return failsNow(size) ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}

void* __wrap__ZnwmSt11align_val_t(std::size_t size, std::align_val_t alignment)
{
    throwIfNow(size);
    return __real__ZnwmSt11align_val_t(size, alignment);
}

void* __wrap__ZnamSt11align_val_t(std::size_t size, std::align_val_t alignment)
{
    throwIfNow(size);
    return __real__ZnamSt11align_val_t(size, alignment);
}

char* __wrap__ZNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE9_M_createERmm(void* text,
                                                                                 std::size_t* size,
                                                                                 std::size_t oldSize)
{
    throwIfNow(*size);
    return __real__ZNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE9_M_createERmm(text, size, oldSize);
}

} // extern "C"
