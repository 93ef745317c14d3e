#ifndef VEXEL_STREAMING_STREAMERROR_H
#define VEXEL_STREAMING_STREAMERROR_H

/// @file
/// Where `StreamError` was declared at first.

#include "../companion/StreamError.h"

#endif
