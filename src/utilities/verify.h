#ifndef VEXEL_UTILITIES_VERIFY_H
#define VEXEL_UTILITIES_VERIFY_H

#include "../export.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <vector>

/// @file
/// Checks whether a raster on disk is whole: nothing is cut off, and no tile is missing.

namespace vexel::gdal {

/// Kind of a problem of a raster.
enum class VerifyCode : std::int32_t
{
    NoRaster = 1,       ///< the path is no file that opens, and no tile files are named from it
    NotOpened = 2,      ///< a tile file does not open
    NotSupported = 3,   ///< the file opens, but has no bands, no supported pixel type or no extent
    HeaderDamaged = 4,  ///< the file opens, but GDAL failed at a part of the headers
    BlockTable = 5,     ///< the table of the block positions cannot be read, or cannot be true
    BlockOutside = 6,   ///< a block, or several in a row, reach beyond the end of the file or into its header
    BlockDamaged = 7,   ///< a row of blocks, or several in a row, cannot be decoded
    TileMissing = 8,    ///< a cell of the grid has no file
    TileBands = 9,      ///< a tile has another number of bands than most tiles
    TileType = 10,      ///< a tile has another pixel type than most tiles
    TileSize = 11,      ///< a tile has another size than its cell of the grid
    TilePixelSize = 12, ///< a tile has pixels of another size than most tiles
    TilePlace = 13,     ///< a tile is elsewhere on the map than its name says
    NoGrid = 14         ///< the tiles do not fill one grid for another reason
};

/// One problem of a raster. If consecutive blocks are lost or damaged, they share one finding: it names the first
/// block, and its text has the number of the others.
struct VerifyFinding
{
    QString file;         ///< path of the file; if a tile is missing, the path where it should be
    int band = -1;        ///< counted from 1; -1 if not one band, for example if bands are interleaved
    int blockColumn = -1; ///< counted from 0; -1 if it is not one block
    int blockRow = -1;    ///< counted from 0; -1 if it is not one row of blocks
    VerifyCode code = VerifyCode::NoRaster; ///< kind of the problem
    QString text;                           ///< the problem, in GDAL's words if GDAL reported it
};

/// Result of `verify`.
struct VerifyReport
{
    /// Largest number of findings in the list. All others are only counted.
    static constexpr std::size_t maxFindings = 100;

    /// Returns true if there are no findings.
    bool isWhole() const { return noFindings == 0; }

    std::vector<VerifyFinding> findings; ///< the first findings, in a list
    std::uint64_t noFindings = 0;        ///< number of all findings
    std::uint64_t noFiles = 0;           ///< number of files that opened
    std::uint64_t noBlocks = 0;          ///< number of blocks with data that were checked
    std::uint64_t noSparseBlocks = 0;    ///< number of blocks left out of their file, which is legal
    std::uint64_t noFilesNotChecked = 0; ///< number of opened files whose blocks could not be checked
};

/// Checks whether the raster at `path` is whole.
///
/// @code
/// for (const vexel::gdal::VerifyFinding& finding : vexel::gdal::verify("ortho.tif").findings)
///     std::cout << finding.file.toStdString() << ": " << finding.text.toStdString() << std::endl;
/// @endcode
///
/// @param path   a file, or else the path that the tile files of a set are named from, as in
///               `GDALStreamer::openRead(path)`.
/// @param decode true to read all pixels as well, in pieces of at most 16 MiB, which is in addition to GDAL's cache.
///               This finds damage inside blocks if the compression notices it. If it is false, only headers are read.
///
/// Every file must open, be of a kind that the library reads, and have headers that GDAL reads without failure. In
/// GeoTIFF files each block of each band must be inside the file, also the blocks of overviews and of the mask in the
/// same file. Blocks that interleaved bands share count once. Overviews and masks in separate files and further pages
/// are not checked. In other formats the positions of blocks are not known, so these files count as not checked unless
/// you decode them.
///
/// The tiles of a set must fill the grid that their names span. They must have equal bands, pixel types and pixel
/// sizes, and their sizes and places must fit. If tiles differ, the majority is taken to be right.
///
/// The size of a GeoTIFF limits the number of blocks that are decoded, whatever its header claims, because sparse
/// blocks and blocks outside the file are left out, and blocks that share their bytes are decoded once. If a header
/// claims more blocks than its file has room to list, or blocks that overlap many times, the image is reported once
/// (`VerifyCode::BlockTable`) and not decoded. In other formats, `verify` stops after as many failures as the file has
/// bytes.
///
/// Changes no file, prints none of GDAL's messages, and takes the GDAL lock for one file at a time.
VEXEL_EXPORT VerifyReport verify(const QString& path, bool decode = false);

} // namespace vexel::gdal

#endif
