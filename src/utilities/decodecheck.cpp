#include "utilities/decodecheck.h"

#include <gdal_priv.h>

#include <algorithm>
#include <numeric>

namespace vexel::gdal::verification {

namespace {

constexpr std::uint64_t decodedAtOnce = std::uint64_t{16} << 20; // bytes

/// A part of an image that is read in one go.
struct Window
{
    int columns;
    int rows;
};

/// The largest window of whole block columns in a row of blocks that memory allows; of a block that is too
/// large by itself a part.
Window windowOf(const BlockGrid& grid, int rows, std::uint64_t bytesPerPixel)
{
    const std::uint64_t pixels = std::max<std::uint64_t>(decodedAtOnce / bytesPerPixel, 1);
    const auto atMost = [](std::uint64_t value, int limit) {
        return static_cast<int>(std::clamp<std::uint64_t>(value, 1, static_cast<std::uint64_t>(limit)));
    };
    const std::uint64_t columns = pixels / static_cast<std::uint64_t>(rows);
    const auto blockWidth = static_cast<std::uint64_t>(grid.blockWidth);
    if (columns >= blockWidth)
        return {atMost(columns / blockWidth * blockWidth, grid.width), rows};
    const int blockColumns = atMost(pixels, std::min(grid.blockWidth, grid.width));
    return {blockColumns, atMost(pixels / static_cast<std::uint64_t>(blockColumns), rows)};
}

} // namespace

void DecodeCheck::run(const Image& image, const DecodableBlocks* decodable)
{
    const BlockGrid grid(image);
    for (int layer = 1; layer <= grid.layers(); ++layer) {
        for (int row = 0; row < grid.rows() && m_failuresLeft > 0; ++row)
            decodeRow({image, grid, layer, row}, decodable);
        m_damaged.end();
    }
}

void DecodeCheck::decodeRow(const BlockRow& blocks, const DecodableBlocks* decodable)
{
    m_messages.ignoreSoFar();
    if (decode(blocks, decodable)) {
        m_damaged.end();
        return;
    }
    --m_failuresLeft;
    m_damaged.goOn([&] {
        return VerifyFinding{m_path,
                             blocks.grid.bandOfLayer(blocks.layer),
                             -1,
                             blocks.row,
                             VerifyCode::BlockDamaged,
                             blocks.image.name + m_messages.firstFailure("cannot be decoded")};
    });
}

bool DecodeCheck::decode(const BlockRow& blocks, const DecodableBlocks* decodable)
{
    const auto isWanted = [&](int column) {
        return !decodable || decodable->contains(blocks.grid, blocks.layer, blocks.row, column);
    };
    const int columns = blocks.grid.columns();
    for (int column = 0; column < columns; ++column) {
        const int first = column;
        while (column < columns && isWanted(column))
            ++column;
        if (column > first && !decode(blocks, first, column))
            return false;
    }
    return true;
}

bool DecodeCheck::decode(const BlockRow& blocks, int firstBlock, int endBlock)
{
    const BlockGrid& grid = blocks.grid;
    const int top = blocks.row * grid.blockHeight;
    const int rows = std::min(grid.blockHeight, grid.height - top);
    const std::int64_t end = std::min<std::int64_t>(std::int64_t{endBlock} * grid.blockWidth, grid.width);
    const GDALDataType type = blocks.image.band(blocks.layer).GetRasterDataType();
    std::vector<int> bands(grid.bandsShareBlocks ? static_cast<std::size_t>(grid.bands) : 1);
    std::iota(bands.begin(), bands.end(), blocks.layer);
    const std::uint64_t bytesPerPixel =
        bands.size() * static_cast<std::uint64_t>(GDALGetDataTypeSizeBytes(type));
    const Window window = windowOf(grid, rows, bytesPerPixel);
    m_pixels.resize(static_cast<std::size_t>(window.columns) * static_cast<std::size_t>(window.rows) *
                    bytesPerPixel);
    for (std::int64_t x = std::int64_t{firstBlock} * grid.blockWidth; x < end; x += window.columns)
        for (std::int64_t y = top; y < std::int64_t{top} + rows; y += window.rows) {
            const int left = static_cast<int>(x);
            const int upper = static_cast<int>(y);
            const int columnsHere = static_cast<int>(std::min<std::int64_t>(window.columns, end - x));
            const int rowsHere = std::min(window.rows, top + rows - upper);
            if (blocks.image.dataset->RasterIO(GF_Read, left, upper, columnsHere, rowsHere, m_pixels.data(),
                                               columnsHere, rowsHere, type, static_cast<int>(bands.size()),
                                               bands.data(), 0, 0, 0, nullptr) != CE_None ||
                m_messages.hasFailure())
                return false;
        }
    return true;
}

} // namespace vexel::gdal::verification
