#ifndef VEXEL_EXPORT_H
#define VEXEL_EXPORT_H

/// Marks what the shared library exports; everything else stays hidden.
#if defined(_WIN32) && !defined(VEXEL_STATIC)
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
