#include "downsamplers/outputpixels.h"

#include "companion/PixelMatrix.h"

#include <cstdint>
#include <numeric>

namespace vexel {

bool writeConstant(GDALStreamer& output, const PixelBox& box, const std::vector<float>& values)
{
    constexpr std::int64_t valuesAtATime = 1 << 20;
    const auto noBands = static_cast<std::int64_t>(values.size());
    const std::int64_t columns = widthOf(box);
    const std::int64_t rowsAtATime =
        std::max<std::int64_t>(valuesAtATime / std::max<std::int64_t>(noBands * columns, 1), 1);
    std::vector<int> bands(values.size());
    std::iota(bands.begin(), bands.end(), 1);
    PixelMatrix<float> pixels;
    for (int y = box.min_corner().y(), end = y; y < box.max_corner().y() && columns > 0; y = end) {
        end = static_cast<int>(std::min<std::int64_t>(y + rowsAtATime, box.max_corner().y()));
        const std::int64_t rows = end - y;
        if (pixels.rows() != noBands * rows) {
            pixels.resize(noBands * rows, columns);
            for (std::int64_t band = 0; band < noBands; ++band)
                pixels.middleRows(band * rows, rows).setConstant(values[static_cast<std::size_t>(band)]);
        }
        if (!output.writeBands(pixels, bands,
                               {PixelPoint(box.min_corner().x(), y), PixelPoint(box.max_corner().x(), end)}))
            return false;
    }
    return true;
}

} // namespace vexel
