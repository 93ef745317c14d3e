#ifndef VEXEL_STREAMING_STREAMERROR_H
#define VEXEL_STREAMING_STREAMERROR_H

/// @file
/// Includes `StreamError`, which was declared here at first, so that you can still include it by this path.

#include "../companion/StreamError.h"

#endif
