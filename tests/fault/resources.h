#ifndef VEXEL_TESTS_FAULT_RESOURCES_H
#define VEXEL_TESTS_FAULT_RESOURCES_H

#include <string>

/// What a process must not hold any longer after a failure than before it, and what it may use.
namespace faults {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEXEL_TESTS_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEXEL_TESTS_SANITIZED
#endif

/// Sanitizers make everything several times slower, and tests do less under them.
#ifdef VEXEL_TESTS_SANITIZED
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

/// Open descriptors, by what they refer to, and the number of open datasets: one a line, in a fixed order.
std::string heldResources();

/// From now on no file of this process can be written beyond that many bytes: writing fails as on a disk that
/// is full. May be called again with another size.
void limitFileSize(unsigned long long bytes);
/// Lifts the limit.
void unlimitFileSize();

/// Gives up the rights of the superuser, if this process has them. Throws if that is not possible.
void becomeOrdinaryUser();

} // namespace faults

#endif
