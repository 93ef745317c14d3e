// Compiles the kernels' own sources once more, as they are, without versions for other processors.
#ifndef VEXEL_SANITIZED
#define VEXEL_SANITIZED
#endif

#include "kernelresults.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

#ifdef __SSE2__
#include <xmmintrin.h>
#endif

#include "companion/parallelrows.h"

// Other names keep them apart from those of the library.
#define kernels plainkernels
#define GaussKernel PlainGaussKernel
#define GaussRecursion PlainGaussRecursion
#include "companion/gaussrecursion.cpp"
#include "downsamplers/gausskernel.cpp"
#include "downsamplers/lanekernels.cpp"
#include "runkernels-inl.h"

namespace kernelresults {

Results ofPlainProcessors()
{
    return runKernels();
}

} // namespace kernelresults
