#ifndef VEXEL_TESTS_SUPPORT_EFFORT_H
#define VEXEL_TESTS_SUPPORT_EFFORT_H

#include <cstdlib>

/// Whether tests that try many cases shall try them all, as scripts/reliability does. Else a share of them will do.
inline bool isThorough()
{
    return std::getenv("VEXEL_TESTS_THOROUGH") != nullptr;
}

#endif
