#ifndef VEXEL_COMPANION_COMPILERHINTS_H
#define VEXEL_COMPANION_COMPILERHINTS_H

// What makes kernels fast with some compilers. None of it changes a result, so other compilers get none of it.

/// In front of a function: compiles it twice, for plain x86-64 and with AVX2, and lets the processor choose when
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
#define VEXEL_HAS_AVX2_VERSIONS
#else
#define VEXEL_MULTIVERSION
#endif

/// In front of a function: makes it part of each function that calls it, and of each version of that. The compiler
/// alone would leave the larger ones apart, compiled for plain x86-64 only.
#if defined(__GNUC__)
#define VEXEL_ALWAYS_INLINE inline __attribute__((always_inline))
#elif defined(_MSC_VER)
#define VEXEL_ALWAYS_INLINE __forceinline
#else
#define VEXEL_ALWAYS_INLINE inline
#endif

// GCC, Clang and Microsoft's compiler have this promise that pointers do not overlap, under this name.
#if !defined(__GNUC__) && !defined(_MSC_VER)
#define __restrict
#endif

namespace vexel {

/// Asks for a cache line that will be needed soon.
VEXEL_ALWAYS_INLINE void prefetch(const void* address)
{
#if defined(__GNUC__)
    __builtin_prefetch(address);
#else
    (void)address;
#endif
}

} // namespace vexel

#endif
