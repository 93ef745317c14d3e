#ifndef VEXEL_FUZZ_RASTERUNDERTEST_H
#define VEXEL_FUZZ_RASTERUNDERTEST_H

#include "streaming/GDALStreamer.h"

#include <cstdint>
#include <vector>

namespace fuzz {

/// A small raster that is written, and what has to be in it, in plain memory.
class RasterUnderTest
{
public:
    /// Files are made in a folder of the process; what was there before is replaced.
    RasterUnderTest(int width, int height, int bands, int tileWidth, int tileHeight);
    ~RasterUnderTest();
    RasterUnderTest(const RasterUnderTest&) = delete;
    RasterUnderTest& operator=(const RasterUnderTest&) = delete;

    /// Writes numbers that count up from `first` into the box of some bands, of the size given.
    void write(const std::vector<int>& bands, const vexel::PixelBox& box, int columns, int rows,
               std::int16_t first);

    /// Reads a box of some bands, and compares.
    void read(const std::vector<int>& bands, const vexel::PixelBox& box, bool fill) const;

private:
    std::int16_t& pixel(int band, std::int64_t x, std::int64_t y);
    bool isInside(std::int64_t x, std::int64_t y) const;
    vexel::PixelBox meantToRead(const vexel::PixelBox& box) const;
    vexel::PixelBox meantToWrite(const vexel::PixelBox& box, int columns, int rows) const;

    int m_width;
    int m_height;
    std::vector<std::vector<std::int16_t>> m_bands;
    vexel::GDALStreamer m_set;
};

} // namespace fuzz

#endif
