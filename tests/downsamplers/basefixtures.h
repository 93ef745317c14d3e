#ifndef VEXEL_TESTS_DOWNSAMPLERS_BASEFIXTURES_H
#define VEXEL_TESTS_DOWNSAMPLERS_BASEFIXTURES_H

#include "downsamplers/DownsamplerBase.h"
#include "support/CustomDownsampler.h"
#include "support/downsampling.h"

#include <gtest/gtest.h>

/// What the tests of the base class share.
namespace downsamplerbasetest {

using vexel::GdalFileType;
using Block = CustomDownsampler::Block;

/// A pixel that tells where it is.
inline double place(int x, int y, int)
{
    return x + 1000.0 * y;
}

/// The same for rasters of several bands.
inline double placeInBand(int x, int y, int band)
{
    return x + 100.0 * y + 10000.0 * band;
}

inline float first(const Block& block)
{
    return block(0, 0);
}

inline float last(const Block& block)
{
    return block(block.rows() - 1, block.cols() - 1);
}

inline float size(const Block& block)
{
    return static_cast<float>(100 * block.rows() + block.cols());
}

inline float mean(const Block& block)
{
    return block.mean();
}

/// Runs a job to its end, the output completed.
inline void downsample(const QString& in, const QString& out, double resolution,
                       const CustomDownsampler::Reduce& reduce, const DownsamplerSetup& setup = {})
{
    CustomDownsampler job(in, out, resolution, reduce, setup);
    EXPECT_TRUE(downsampling::run(job));
}

inline DownsamplerSetup asTiles()
{
    DownsamplerSetup setup;
    setup.type = GdalFileType::TileSet;
    return setup;
}

} // namespace downsamplerbasetest

#endif
