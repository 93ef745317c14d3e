#ifndef VEXEL_TESTS_FAULT_LOSTWRITES_H
#define VEXEL_TESTS_FAULT_LOSTWRITES_H

namespace faults {

/// From now on this process loses what it writes beyond that place of any file, and is told that it was written. It stands
/// for libraries that do not pass on that a write has failed.
void loseWritesBeyond(unsigned long long bytes);

} // namespace faults

#endif
