#include "utilities/placecheck.h"

#include <gdal_priv.h>

#include <cstdio>
#include <cstdlib>

namespace vexel::gdal::verification {

std::optional<DecodableBlocks> PlaceCheck::run(const Image& image)
{
    const BlockGrid grid(image);
    // Every block has an entry in a table. That bounds the work that a forged header can ask for.
    const std::uint64_t blocks =
        static_cast<std::uint64_t>(grid.columns()) * static_cast<std::uint64_t>(grid.rows());
    if (blocks > m_tablesLeft / static_cast<std::uint64_t>(grid.layers())) {
        addTableFinding(image, -1,
                        QString("%1 blocks do not go into a file of %2 bytes").arg(blocks).arg(m_fileSize));
        return std::nullopt;
    }
    m_tablesLeft -= blocks * static_cast<std::uint64_t>(grid.layers());
    DecodableBlocks decodable(grid);
    m_messages.ignoreSoFar();
    checkBlocks(image, grid, decodable);
    const std::uint64_t bytes = decodable.choose();
    if (bytes > m_bytesLeft) {
        addTableFinding(image, -1,
                        QString("blocks of %1 bytes in all do not go into a file of %2 bytes")
                            .arg(bytes)
                            .arg(m_fileSize));
        return std::nullopt;
    }
    m_bytesLeft -= bytes;
    return decodable;
}

void PlaceCheck::checkBlocks(const Image& image, const BlockGrid& grid, DecodableBlocks& decodable)
{
    bool isReadable = true;
    for (int layer = 1; isReadable && layer <= grid.layers(); ++layer) {
        for (int row = 0; isReadable && row < grid.rows(); ++row)
            for (int column = 0; isReadable && column < grid.columns(); ++column)
                isReadable = checkBlock(image, grid, layer, column, row, decodable);
        m_lost.end();
    }
}

bool PlaceCheck::checkBlock(const Image& image, const BlockGrid& grid, int layer, int column, int row,
                            DecodableBlocks& decodable)
{
    const std::uint64_t offset = item(image.band(layer), "BLOCK_OFFSET", column, row);
    const std::uint64_t size = item(image.band(layer), "BLOCK_SIZE", column, row);
    if (m_messages.hasFailure()) {
        addTableFinding(image, grid.bandOfLayer(layer), m_messages.firstFailure());
        return false;
    }
    const bool isSparse = offset == 0 && size == 0;
    ++(isSparse ? m_report.noSparseBlocks : m_report.noBlocks);
    if (!isSparse && !isInFile(offset, size)) {
        m_lost.goOn([&] {
            return VerifyFinding{m_path,
                                 grid.bandOfLayer(layer),
                                 column,
                                 row,
                                 VerifyCode::BlockOutside,
                                 image.name + QString("%1 bytes from byte %2 on in a file of %3 bytes")
                                                  .arg(size)
                                                  .arg(offset)
                                                  .arg(m_fileSize)};
        });
        return true;
    }
    m_lost.end();
    if (!isSparse)
        decodable.insert(layer, row, column, offset, size);
    return true;
}

bool PlaceCheck::isInFile(std::uint64_t offset, std::uint64_t size) const
{
    constexpr std::uint64_t headerSize = 8;
    return offset >= headerSize && size <= m_fileSize && offset <= m_fileSize - size;
}

std::uint64_t PlaceCheck::item(GDALRasterBand& band, const char* name, int column, int row)
{
    char key[64];
    std::snprintf(key, sizeof key, "%s_%d_%d", name, column, row);
    const char* const text = band.GetMetadataItem(key, "TIFF");
    return text ? std::strtoull(text, nullptr, 10) : 0;
}

void PlaceCheck::addTableFinding(const Image& image, int band, const QString& text)
{
    m_lost.end();
    add(m_report, {m_path, band, -1, -1, VerifyCode::BlockTable, image.name + text});
}

} // namespace vexel::gdal::verification
