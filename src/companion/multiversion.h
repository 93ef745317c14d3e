#ifndef VEXEL_COMPANION_MULTIVERSION_H
#define VEXEL_COMPANION_MULTIVERSION_H

/// Before a function: compiles it twice, for plain x86-64 and with AVX2, and lets the processor choose when
/// the library is loaded. Elsewhere, and under sanitizers, which are not ready when the choice is made,
/// compiles it once.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define VEXEL_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEXEL_SANITIZED
#endif

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && defined(__gnu_linux__) &&             \
    !defined(VEXEL_SANITIZED)
#define VEXEL_MULTIVERSION __attribute__((target_clones("avx2", "default")))
#else
#define VEXEL_MULTIVERSION
#endif

#endif
