#ifndef VEXEL_TESTS_FAULT_ALLOCATIONS_H
#define VEXEL_TESTS_FAULT_ALLOCATIONS_H

#include <cstdint>

/// Counts allocations, and lets one fail. The linker sends the calls that the library's own objects and the tests make of
/// operator new, of the functions of C and for the storage of std::string here, also those of templates and inline
/// functions in them; what GDAL, Qt and the standard library allocate inside themselves is not touched, nor is anything
/// that they call.
namespace faults::allocations {

/// Counts from now on, in all threads, and lets the n-th allocation fail, that one alone.
void failNth(long n);

/// Counts no more. True if there were n allocations, so that one has failed.
bool stop();

/// Counts from now on, in all threads; none fails.
void count();

/// Counts no more. The bytes of all allocations since `count()`, those that were released since included.
std::uint64_t stopAndSum();

} // namespace faults::allocations

#endif
