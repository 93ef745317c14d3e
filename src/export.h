#ifndef VEXEL_EXPORT_H
#define VEXEL_EXPORT_H

/// @file
/// The mark of what users of the library can reach.

/// @def VEXEL_EXPORT
/// Marks what the shared library exports; everything else stays hidden. With VEXEL_STATIC, which the build system
/// defines for users of a static library too, nothing is: a shared library that takes that in does not hand it on.
#if defined(VEXEL_STATIC)
#define VEXEL_EXPORT
#elif defined(_WIN32)
#if defined(VEXEL_BUILDING)
#define VEXEL_EXPORT __declspec(dllexport)
#else
#define VEXEL_EXPORT __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define VEXEL_EXPORT __attribute__((visibility("default")))
#else
#define VEXEL_EXPORT
#endif

#endif
