#ifndef VEXEL_TESTS_DOWNSAMPLERS_KERNELRESULTS_H
#define VEXEL_TESTS_DOWNSAMPLERS_KERNELRESULTS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// What every kernel gives on the same input: by the kernels of the library, of which the processor chooses a version,
/// and by the same sources compiled once more for plain processors alone.
namespace kernelresults {

/// The bits of all outputs of one kernel, one after the other.
using Bits = std::vector<std::uint8_t>;

/// By the kernel's name.
using Results = std::map<std::string, Bits>;

Results ofLibrary();
Results ofPlainProcessors();

} // namespace kernelresults

#endif
