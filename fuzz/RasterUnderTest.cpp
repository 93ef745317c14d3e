#include "RasterUnderTest.h"

#include "FuzzInput.h"

#include <algorithm>
#include <cstdlib>

namespace fuzz {

namespace {

using vexel::PixelBox;
using vexel::PixelMatrix;
using vexel::PixelPoint;

constexpr std::int16_t noData = -10000;
constexpr std::int16_t outside = 77;

const QString& folder()
{
    static const QString path = temporaryFolder();
    return path;
}

std::int64_t widthOf(const PixelBox& box)
{
    return std::int64_t{box.max_corner().x()} - box.min_corner().x();
}

std::int64_t heightOf(const PixelBox& box)
{
    return std::int64_t{box.max_corner().y()} - box.min_corner().y();
}

std::int16_t valueAt(std::int16_t first, std::int64_t index)
{
    return static_cast<std::int16_t>((first + index) % 20000);
}

} // namespace

RasterUnderTest::RasterUnderTest(int width, int height, int bands, int tileWidth, int tileHeight)
    : m_width(width), m_height(height),
      m_bands(static_cast<std::size_t>(bands),
              std::vector<std::int16_t>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
                                        noData))
{
    const auto ftype = tileWidth > 0 ? vexel::GdalFileType::TileSet : vexel::GdalFileType::SingleFile;
    require(m_set.openWrite(folder() + "/set.tif", static_cast<std::uint64_t>(bands), vexel::DataType::Int16,
                            vexel::Workspace(0, 0, width, height, 1), QString(), QString(), QString(), ftype,
                            tileWidth, tileHeight),
            "a small raster can be written");
}

RasterUnderTest::~RasterUnderTest()
{
    m_set.discard();
}

std::int16_t& RasterUnderTest::pixel(int band, std::int64_t x, std::int64_t y)
{
    return m_bands[static_cast<std::size_t>(band - 1)][static_cast<std::size_t>(y * m_width + x)];
}

bool RasterUnderTest::isInside(std::int64_t x, std::int64_t y) const
{
    return x >= 0 && y >= 0 && x < m_width && y < m_height;
}

/// A box without area stands for the whole raster.
PixelBox RasterUnderTest::meantToRead(const PixelBox& box) const
{
    return widthOf(box) <= 0 || heightOf(box) <= 0 ? PixelBox(PixelPoint(0, 0), PixelPoint(m_width, m_height))
                                                   : box;
}

/// A box without width or height stands for the overlap of matrix and raster.
PixelBox RasterUnderTest::meantToWrite(const PixelBox& box, int columns, int rows) const
{
    if (widthOf(box) != 0 && heightOf(box) != 0)
        return box;
    return PixelBox(PixelPoint(0, 0), PixelPoint(std::min(columns, m_width), std::min(rows, m_height)));
}

void RasterUnderTest::write(const std::vector<int>& bands, const PixelBox& box, int columns, int rows,
                            std::int16_t first)
{
    const auto noBands = static_cast<int>(bands.size());
    PixelMatrix<short> pixels(noBands * rows, columns);
    for (Eigen::Index i = 0; i < pixels.size(); ++i)
        pixels.data()[i] = valueAt(first, i);
    require(noBands == 1 ? m_set.write(pixels, static_cast<std::size_t>(bands.front()), box)
                         : m_set.writeBands(pixels, bands, box),
            "boxes are written");

    const PixelBox meant = meantToWrite(box, columns, rows);
    for (int k = 0; k < noBands; ++k)
        for (int y = 0; y < std::min<std::int64_t>(rows, heightOf(meant)); ++y)
            for (int x = 0; x < std::min<std::int64_t>(columns, widthOf(meant)); ++x) {
                const std::int64_t toX = std::int64_t{meant.min_corner().x()} + x;
                const std::int64_t toY = std::int64_t{meant.min_corner().y()} + y;
                if (isInside(toX, toY))
                    pixel(bands[static_cast<std::size_t>(k)], toX, toY) = pixels(k * rows + y, x);
            }
}

void RasterUnderTest::read(const std::vector<int>& bands, const PixelBox& box, bool fill) const
{
    const PixelBox meant = meantToRead(box);
    constexpr std::int64_t most = 512;
    if (widthOf(meant) > most || heightOf(meant) > most)
        return;
    const auto noBands = static_cast<Eigen::Index>(bands.size());
    PixelMatrix<short> pixels =
        PixelMatrix<short>::Constant(noBands * heightOf(meant), widthOf(meant), outside);
    require(noBands == 1
                ? m_set.read(pixels, static_cast<std::size_t>(bands.front()), box, 1.0, fill, outside)
                : m_set.readBands(pixels, bands, box, 1.0, fill, outside),
            "boxes are read");
    require(pixels.rows() == noBands * heightOf(meant) && pixels.cols() == widthOf(meant),
            "the box's size is read");
    auto& self = const_cast<RasterUnderTest&>(*this);
    for (Eigen::Index k = 0; k < noBands; ++k)
        for (Eigen::Index y = 0; y < heightOf(meant); ++y)
            for (Eigen::Index x = 0; x < widthOf(meant); ++x) {
                const std::int64_t fromX = meant.min_corner().x() + x;
                const std::int64_t fromY = meant.min_corner().y() + y;
                const std::int16_t expected =
                    isInside(fromX, fromY) ? self.pixel(bands[static_cast<std::size_t>(k)], fromX, fromY)
                                           : outside;
                require(pixels(k * heightOf(meant) + y, x) == expected, "the pixels are those written");
            }
}

} // namespace fuzz
