#include "fault/allocations.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include <link.h>
#include <unwind.h>

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
    // PROJ is called by GDAL alone. It is named too since it allocates so much.
    const auto is = [&](const char* name) { return std::strstr(object->dlpi_name, name) != nullptr; };
    if (!is("libgdal") && !is("libproj") && !is("libQt"))
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

bool isForeign(const void* address)
{
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    const std::vector<Range>& ranges = foreignCode();
    return std::any_of(ranges.begin(), ranges.end(),
                       [&](const Range& range) { return range.first <= place && place < range.end; });
}

_Unwind_Reason_Code lookAt(_Unwind_Context* frame, void* found)
{
    *static_cast<bool*>(found) = isForeign(reinterpret_cast<const void*>(_Unwind_GetIP(frame)));
    return *static_cast<bool*>(found) ? _URC_NORMAL_STOP : _URC_NO_REASON;
}

/// True below GDAL and Qt, which use the templates of this program where they would have the same ones.
bool isBelowForeign()
{
    bool found = false;
    _Unwind_Backtrace(&lookAt, &found);
    return found;
}

/// @param caller of the function that allocates: looking at it alone is quick.
bool failsNow(std::size_t size, const void* caller)
{
    if (!counting || isForeign(caller) || isBelowForeign())
        return false;
    sum += size;
    return --left == 0;
}

void throwIfNow(std::size_t size, const void* caller)
{
    if (failsNow(size, caller))
        throw std::bad_alloc();
}

} // namespace

void failNth(long n)
{
    foreignCode(); // allocates when it is called first
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
void* __real__ZnwmSt11align_val_t(std::size_t size, std::align_val_t alignment);
void* __real__ZnamSt11align_val_t(std::size_t size, std::align_val_t alignment);

void* __wrap_malloc(std::size_t size)
{
    return failsNow(size, __builtin_return_address(0)) ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size)
{
    return failsNow(count * size, __builtin_return_address(0)) ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* memory, std::size_t size)
{
    return failsNow(size, __builtin_return_address(0)) ? nullptr : __real_realloc(memory, size);
}

void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size)
{
    return failsNow(size, __builtin_return_address(0)) ? nullptr : __real_aligned_alloc(alignment, size);
}

int __wrap_posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    return failsNow(size, __builtin_return_address(0)) ? ENOMEM
                                                       : __real_posix_memalign(memory, alignment, size);
}

void* __wrap__ZnwmSt11align_val_t(std::size_t size, std::align_val_t alignment)
{
    throwIfNow(size, __builtin_return_address(0));
    return __real__ZnwmSt11align_val_t(size, alignment);
}

void* __wrap__ZnamSt11align_val_t(std::size_t size, std::align_val_t alignment)
{
    throwIfNow(size, __builtin_return_address(0));
    return __real__ZnamSt11align_val_t(size, alignment);
}

} // extern "C"

// Replaced for the whole process, so that what the standard library allocates on behalf of the library may fail too. All
// forms are, since a sanitizer has its own for those that are left out, and takes a mixture for a mistake.

namespace {

void* allocateOrThrow(std::size_t size, const void* caller)
{
    throwIfNow(size, caller);
    void* const memory = __real_malloc(std::max<std::size_t>(size, 1));
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void* allocateOrNot(std::size_t size, const void* caller)
{
    return failsNow(size, caller) ? nullptr : __real_malloc(std::max<std::size_t>(size, 1));
}

} // namespace

void* operator new(std::size_t size)
{
    return allocateOrThrow(size, __builtin_return_address(0));
}

void* operator new[](std::size_t size)
{
    return allocateOrThrow(size, __builtin_return_address(0));
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return allocateOrNot(size, __builtin_return_address(0));
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return allocateOrNot(size, __builtin_return_address(0));
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}
