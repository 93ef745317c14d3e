#include "kernelresults.h"

#include "companion/compilerhints.h"
#include "companion/gaussrecursion.h"
#include "downsamplers/gausskernel.h"
#include "downsamplers/lanekernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "runkernels-inl.h"

// The kernels are compiled for plain x86-64 and with AVX2: a raster must not depend on the processor.

namespace kernelresults {

Results ofLibrary()
{
    return runKernels();
}

} // namespace kernelresults

TEST(KernelVersions, GiveTheSameBits)
{
#ifdef VEXEL_HAS_AVX2_VERSIONS
    if (!__builtin_cpu_supports("avx2"))
        GTEST_SKIP() << "This processor has no AVX2";
#else
    GTEST_SKIP() << "This compiler makes one version only";
#endif
    const Results library = kernelresults::ofLibrary();
    const Results plain = kernelresults::ofPlainProcessors();
    ASSERT_EQ(library.size(), plain.size());
    for (const auto& [kernel, bits] : library) {
        ASSERT_EQ(plain.count(kernel), 1u) << kernel;
        EXPECT_FALSE(bits.empty()) << kernel;
        EXPECT_TRUE(bits == plain.at(kernel)) << kernel;
    }
}
