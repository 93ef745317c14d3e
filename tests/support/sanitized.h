#ifndef VEXEL_TESTS_SUPPORT_SANITIZED_H
#define VEXEL_TESTS_SUPPORT_SANITIZED_H

// VEXEL_TESTS_SANITIZED is defined under the sanitizers that slow programs down and keep what was freed.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEXEL_TESTS_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEXEL_TESTS_SANITIZED
#endif
#endif

#endif
