#ifndef VEXEL_UTILITIES_DECODECHECK_H
#define VEXEL_UTILITIES_DECODECHECK_H

#include "streaming/gdalmessages.h"
#include "utilities/decodableblocks.h"
#include "utilities/imageblocks.h"
#include "utilities/verifyreport.h"

#include <QString>

#include <cstdint>
#include <vector>

namespace vexel::gdal::verification {

/// Decodes the images of one file.
class DecodeCheck
{
public:
    /// @param mostFailures how many rows of blocks are tried that cannot be decoded.
    DecodeCheck(const QString& path, std::uint64_t mostFailures, GdalMessages& messages, VerifyReport& report)
        : m_path(path), m_failuresLeft(mostFailures), m_messages(messages),
          m_damaged(report, "row of blocks", "rows of blocks")
    {}

    /// @param decodable nullptr if all blocks are to be decoded.
    void run(const Image& image, const DecodableBlocks* decodable);

private:
    /// A row of blocks of one band, or of all bands that share them.
    struct BlockRow
    {
        const Image& image;
        const BlockGrid& grid;
        int layer;
        int row;
    };

    void decodeRow(const BlockRow& blocks, const DecodableBlocks* decodable);

    /// Reads the blocks of a row that are to be decoded. False if GDAL fails, or says so.
    bool decode(const BlockRow& blocks, const DecodableBlocks* decodable);

    /// Reads neighbouring blocks of a row.
    bool decode(const BlockRow& blocks, int firstBlock, int endBlock);

    const QString& m_path;
    std::uint64_t m_failuresLeft;
    GdalMessages& m_messages;
    Run m_damaged;
    std::vector<unsigned char> m_pixels;
};

} // namespace vexel::gdal::verification

#endif
