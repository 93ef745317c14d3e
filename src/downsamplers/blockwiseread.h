#ifndef VEXEL_DOWNSAMPLERS_BLOCKWISEREAD_H
#define VEXEL_DOWNSAMPLERS_BLOCKWISEREAD_H

#include "companion/PixelMatrix.h"
#include "streaming/GDALStreamer.h"
#include "streaming/bandpixels.h"
#include "streaming/tilegrid.h"
#include "workspace/geometry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace vexel {

/// A part of one band of a file that cannot be read.
struct UnreadBlock
{
    std::size_t file; ///< which one of the set, counted from 0
    std::size_t band; ///< one-based
    PixelBox box;     ///< in pixels of the file
};

/// How a file is decoded.
struct FileLayout
{
    int blockColumns;   ///< of the smallest blocks of any band
    int blockRows;      ///<
    bool isInterleaved; ///< a block has all bands
};

/// None if the file cannot be opened.
std::optional<FileLayout> layoutOf(GDALStreamer& set, std::size_t file);

/// Up to where the block that holds the row or column `place` reaches, but not beyond `end`.
inline int endOfBlock(int place, int blockLength, int end)
{
    const std::int64_t next = (std::int64_t{place} / blockLength + 1) * blockLength;
    return static_cast<int>(std::min<std::int64_t>(next, end));
}

/// The box moved by the way from one point to another.
inline PixelBox moved(const PixelBox& box, const PixelPoint& from, const PixelPoint& to)
{
    const auto at = [&](const PixelPoint& corner) {
        return PixelPoint(corner.x() - from.x() + to.x(), corner.y() - from.y() + to.y());
    };
    return {at(box.min_corner()), at(box.max_corner())};
}

/// Reads boxes again whose transfer has failed, block by block of the files, so that no pixel is lost but those that
/// cannot be decoded.
///
/// @tparam T element type of the pixels.
template <class T>
class BlockwiseRead
{
public:
    /// @param bands  all of the set, from 1 on.
    /// @param unread where the parts that cannot be read are appended.
    BlockwiseRead(GDALStreamer& set, const std::vector<int>& bands, std::vector<UnreadBlock>& unread)
        : m_set(set), m_bands(bands), m_unread(unread)
    {}

    /// Reads the bands of a box of the set into `out`, which has its size. What cannot be read is 0.
    void read(const BandPixels<T>& out, const PixelBox& box)
    {
        const std::vector<tilegrid::Piece> pieces = tilegrid::piecesOf(m_set.workspace(), box, 1.0);
        for (const tilegrid::Piece& piece : pieces) {
            const Part part{piece.tile, piece.inTile,
                            moved(piece.inRequest, PixelPoint(0, 0), box.min_corner()),
                            partOf(out, piece.inRequest)};
            // The transfer came to its end with the first file that failed.
            if (pieces.size() == 1 || !readAll(part, m_bands))
                readFile(part);
        }
    }

private:
    /// A box of a file: where it is, and where its pixels go.
    struct Part
    {
        std::size_t file;
        PixelBox inFile;
        PixelBox inSet;
        BandPixels<T> out;

        /// @param box in pixels of the file.
        Part cutTo(const PixelBox& box) const
        {
            const PixelPoint& corner = inFile.min_corner();
            return {file, box, moved(box, corner, inSet.min_corner()),
                    partOf(out, moved(box, corner, PixelPoint(0, 0)))};
        }
    };

    bool readAll(const Part& part, const std::vector<int>& bands)
    {
        BandPixels<T> out = part.out;
        out.first += (bands.front() - 1) * out.bandStep;
        return m_set.readBands(out, bands, part.inSet);
    }

    void readFile(const Part& part)
    {
        const auto layout = layoutOf(m_set, part.file);
        if (!layout)
            return giveUp(part, m_bands);
        const PixelPoint& end = part.inFile.max_corner();
        for (int y = part.inFile.min_corner().y(), bottom = 0; y < end.y(); y = bottom) {
            bottom = endOfBlock(y, layout->blockRows, end.y());
            for (int x = part.inFile.min_corner().x(), right = 0; x < end.x(); x = right) {
                right = endOfBlock(x, layout->blockColumns, end.x());
                readBlock(part.cutTo({PixelPoint(x, y), PixelPoint(right, bottom)}), *layout);
            }
        }
    }

    /// What cannot be read of one band costs the others nothing.
    void readBlock(const Part& block, const FileLayout& layout)
    {
        if (readAll(block, m_bands))
            return;
        if (layout.isInterleaved || m_bands.size() == 1)
            return giveUp(block, m_bands);
        for (const int band : m_bands)
            if (!readAll(block, {band}))
                giveUp(block, {band});
    }

    void giveUp(const Part& part, const std::vector<int>& bands)
    {
        for (const int band : bands) {
            T* const first = part.out.first + (band - 1) * part.out.bandStep;
            for (Eigen::Index y = 0; y < part.out.rows; ++y)
                std::fill_n(first + y * part.out.rowStep, part.out.columns, T(0));
            m_unread.push_back({part.file, static_cast<std::size_t>(band), part.inFile});
        }
    }

    GDALStreamer& m_set;
    const std::vector<int>& m_bands;
    std::vector<UnreadBlock>& m_unread;
};

} // namespace vexel

#endif
