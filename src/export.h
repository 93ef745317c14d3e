#ifndef VEXEL_EXPORT_H
#define VEXEL_EXPORT_H

/// @file
/// Marks the names that the library exports.

/// @def VEXEL_EXPORT
/// Exports a class or function from the shared library. All other names stay hidden.
///
/// With VEXEL_STATIC nothing is exported, so a shared library that links the static library does not export these names
/// again. You need not define it, because the build system does so for users of the static library too.
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
