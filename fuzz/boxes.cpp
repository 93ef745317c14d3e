#include "FuzzInput.h"
#include "RasterUnderTest.h"

#include <limits>
#include <numeric>
#include <vector>

// Any boxes, read from and written to a small raster, one file or a set of tiles, against plain memory.

namespace {

using vexel::PixelBox;
using vexel::PixelPoint;

/// A coordinate near the raster, or near an end of 32 bits.
int takeCoordinate(fuzz::FuzzInput& input)
{
    const int near = input.take<std::int8_t>();
    switch (input.take<std::uint8_t>() % 16) {
    case 0:
        return std::numeric_limits<int>::max() - (near & 127);
    case 1:
        return std::numeric_limits<int>::min() + (near & 127);
    case 2:
        return input.take<int>();
    default:
        return near;
    }
}

PixelBox takeBox(fuzz::FuzzInput& input)
{
    const PixelPoint first(takeCoordinate(input), takeCoordinate(input));
    return {first, PixelPoint(takeCoordinate(input), takeCoordinate(input))};
}

std::vector<int> takeBands(fuzz::FuzzInput& input, int count)
{
    std::vector<int> bands(static_cast<std::size_t>(input.takeFrom(1, count)));
    std::iota(bands.begin(), bands.end(), 1);
    if (bands.size() == 1)
        bands.front() = input.takeFrom(1, count);
    return bands;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    fuzz::prepare();
    fuzz::FuzzInput input(bytes, size);
    const int width = input.takeFrom(1, 60);
    const int height = input.takeFrom(1, 60);
    const int bands = input.takeFrom(1, 3);
    const bool tiled = input.takeFrom(0, 1) == 1;
    const int tileWidth = input.takeFrom(12, 60);
    const int tileHeight = input.takeFrom(12, 60);
    fuzz::RasterUnderTest raster(width, height, bands, tiled ? tileWidth : 0, tiled ? tileHeight : 0);
    for (int step = 0; step < 12 && input.left() > 0; ++step) {
        const std::vector<int> some = takeBands(input, bands);
        const PixelBox box = takeBox(input);
        if (input.takeFrom(0, 1) == 0) {
            const int columns = input.takeFrom(1, 70);
            const int rows = input.takeFrom(1, 70);
            raster.write(some, box, columns, rows, input.take<std::int16_t>());
        } else {
            raster.read(some, box, /*fill=*/true);
        }
    }
    raster.read(takeBands(input, bands), PixelBox(PixelPoint(-2, -2), PixelPoint(width + 2, height + 2)),
                true);
    return 0;
}
