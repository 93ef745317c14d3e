#ifndef VEXEL_TESTS_FAULT_ALLOCATIONS_H
#define VEXEL_TESTS_FAULT_ALLOCATIONS_H

/// Lets an allocation fail. The linker sends the calls that the library's own objects and the tests make of
/// operator new, of the functions of C and for the storage of std::string here, also those of templates and inline
/// functions in them; what GDAL, Qt and the standard library allocate inside themselves is not touched, nor is anything
/// that they call.
namespace faults::allocations {

/// Counts from now on, in all threads, and lets the n-th allocation fail, that one alone.
void failNth(long n);

/// Counts no more. True if there were n allocations, so that one has failed.
bool stop();

} // namespace faults::allocations

#endif
