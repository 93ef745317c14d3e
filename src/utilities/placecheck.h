#ifndef VEXEL_UTILITIES_PLACECHECK_H
#define VEXEL_UTILITIES_PLACECHECK_H

#include "streaming/gdalmessages.h"
#include "utilities/decodableblocks.h"
#include "utilities/verifyreport.h"

#include <QString>

#include <cstdint>
#include <optional>

class GDALRasterBand;

namespace vexel::gdal::verification {

/// Looks where the blocks of one file lie.
class PlaceCheck
{
public:
    PlaceCheck(const QString& path, std::uint64_t fileSize, GdalMessages& messages, VerifyReport& report)
        : m_path(path), m_fileSize(fileSize), m_messages(messages), m_report(report),
          m_lost(report, "block", "blocks"), m_tablesLeft(fileSize), m_bytesLeft(largestPart * fileSize)
    {}

    /// The blocks to decode; none if the file is too small for the image's table or for its blocks.
    std::optional<DecodableBlocks> run(const Image& image);

private:
    /// The bytes of all blocks, as a multiple of those of the file. Blocks do not overlap, but a table may give them more
    /// than they have, which decoders do not mind.
    static constexpr std::uint64_t largestPart = 16;

    void checkBlocks(const Image& image, const BlockGrid& grid, DecodableBlocks& decodable);

    /// False if the table cannot be read.
    bool checkBlock(const Image& image, const BlockGrid& grid, int layer, int column, int row,
                    DecodableBlocks& decodable);

    bool isInFile(std::uint64_t offset, std::uint64_t size) const;

    /// 0 for blocks that are not in the file.
    static std::uint64_t item(GDALRasterBand& band, const char* name, int column, int row);

    void addTableFinding(const Image& image, int band, const QString& text);

    const QString& m_path;
    std::uint64_t m_fileSize;
    GdalMessages& m_messages;
    VerifyReport& m_report;
    Run m_lost;
    std::uint64_t m_tablesLeft; ///< bytes for the tables of further images
    std::uint64_t m_bytesLeft;  ///< the same for their blocks
};

} // namespace vexel::gdal::verification

#endif
