#include "streaming/unwrittenblocks.h"

#include "companion/pixelvalues.h"

#include <gdal_priv.h>

#include <algorithm>
#include <cstddef>

namespace vexel::unwritten {

namespace {

/// The blocks of a file.
class Grid
{
public:
    explicit Grid(GDALDataset& dataset)
        : m_width(dataset.GetRasterXSize()), m_height(dataset.GetRasterYSize())
    {
        dataset.GetRasterBand(1)->GetBlockSize(&m_blockWidth, &m_blockHeight);
    }

    int columns() const { return (m_width - 1) / m_blockWidth + 1; }
    int rows() const { return (m_height - 1) / m_blockHeight + 1; }
    std::size_t size() const
    {
        return static_cast<std::size_t>(columns()) * static_cast<std::size_t>(rows());
    }
    std::size_t index(int column, int row) const
    {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns()) +
               static_cast<std::size_t>(column);
    }

    PixelBox all() const { return PixelBox(PixelPoint(0, 0), PixelPoint(m_width, m_height)); }

    /// Block of that column and row, cut off at the file's edge.
    PixelBox pixelsOf(int column, int row) const
    {
        const int x = column * m_blockWidth;
        const int y = row * m_blockHeight;
        return PixelBox(PixelPoint(x, y), PixelPoint(x + std::min(m_blockWidth, m_width - x),
                                                     y + std::min(m_blockHeight, m_height - y)));
    }

    /// Calls `visit(column, row)` for each block that the box touches until one gives false.
    template <class Visit>
    bool forTouched(const PixelBox& box, const Visit& visit) const
    {
        const int left = std::max(box.min_corner().x(), 0);
        const int top = std::max(box.min_corner().y(), 0);
        const int right = std::min(box.max_corner().x(), m_width);
        const int bottom = std::min(box.max_corner().y(), m_height);
        if (left >= right || top >= bottom)
            return true;
        for (int row = top / m_blockHeight; row <= (bottom - 1) / m_blockHeight; ++row)
            for (int column = left / m_blockWidth; column <= (right - 1) / m_blockWidth; ++column)
                if (!visit(column, row))
                    return false;
        return true;
    }

private:
    int m_width;
    int m_height;
    int m_blockWidth = 1;
    int m_blockHeight = 1;
};

bool contains(const PixelBox& outer, const PixelBox& inner)
{
    return outer.min_corner().x() <= inner.min_corner().x() &&
           outer.min_corner().y() <= inner.min_corner().y() &&
           outer.max_corner().x() >= inner.max_corner().x() &&
           outer.max_corner().y() >= inner.max_corner().y();
}

/// Each band from the same pixels, since those of all bands may be many.
bool fillBlock(GDALDataset& dataset, const PixelBox& block, std::vector<float>& pixels)
{
    const PixelPoint& corner = block.min_corner();
    const int columns = block.max_corner().x() - corner.x();
    const int rows = block.max_corner().y() - corner.y();
    const std::size_t size = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
    if (pixels.size() < size)
        pixels.resize(size, noData);
    for (int band = 1; band <= dataset.GetRasterCount(); ++band)
        if (dataset.GetRasterBand(band)->RasterIO(GF_Write, corner.x(), corner.y(), columns, rows,
                                                  pixels.data(), columns, rows, GDT_Float32, 0, 0,
                                                  nullptr) != CE_None)
            return false;
    return true;
}

/// Fills what the box touches, but for what lies in `exceptIn`.
bool fill(GDALDataset& dataset, std::vector<bool>& blocks, const PixelBox& box, const PixelBox* exceptIn,
          const std::function<bool()>& goesOn = {})
{
    if (blocks.empty())
        return true;
    const Grid grid(dataset);
    std::vector<float> pixels;
    return grid.forTouched(box, [&](int column, int row) {
        const std::size_t i = grid.index(column, row);
        const PixelBox block = grid.pixelsOf(column, row);
        if (!blocks[i] || (exceptIn && contains(*exceptIn, block)))
            return true;
        if ((goesOn && !goesOn()) || !fillBlock(dataset, block, pixels))
            return false;
        blocks[i] = false;
        return true;
    });
}

} // namespace

std::vector<bool> allBlocks(GDALDataset& dataset)
{
    return std::vector<bool>(Grid(dataset).size(), true);
}

bool fillTouched(GDALDataset& dataset, std::vector<bool>& blocks, const PixelBox& box)
{
    return fill(dataset, blocks, box, nullptr);
}

bool fillEdges(GDALDataset& dataset, std::vector<bool>& blocks, const PixelBox& box)
{
    return fill(dataset, blocks, box, &box);
}

bool fillAll(GDALDataset& dataset, std::vector<bool>& blocks, const std::function<bool()>& goesOn)
{
    if (blocks.empty() || !fill(dataset, blocks, Grid(dataset).all(), nullptr, goesOn))
        return blocks.empty();
    blocks.clear();
    return true;
}

void noteWritten(GDALDataset& dataset, std::vector<bool>& blocks, const PixelBox& box)
{
    if (blocks.empty())
        return;
    const Grid grid(dataset);
    grid.forTouched(box, [&](int column, int row) {
        if (contains(box, grid.pixelsOf(column, row)))
            blocks[grid.index(column, row)] = false;
        return true;
    });
}

} // namespace vexel::unwritten
