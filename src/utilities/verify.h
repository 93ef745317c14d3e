#ifndef VEXEL_UTILITIES_VERIFY_H
#define VEXEL_UTILITIES_VERIFY_H

#include "../export.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <vector>

/// @file
/// Whether a raster on disk is whole: nothing cut off, nothing missing.

namespace vexel::gdal {

/// What is wrong with a raster.
enum class VerifyCode : std::int32_t
{
    NoRaster = 1,       ///< neither a file that opens nor tile files named from the path
    NotOpened = 2,      ///< a tile file does not open
    NotSupported = 3,   ///< opens, but has no bands, no supported pixel type or no extent
    HeaderDamaged = 4,  ///< opens, but GDAL failed at a part of the headers
    BlockTable = 5,     ///< the table that tells where blocks lie cannot be read, or cannot be true
    BlockOutside = 6,   ///< a block, or several in a row, reach beyond the end of the file or into its header
    BlockDamaged = 7,   ///< a row of blocks, or several in a row, cannot be decoded
    TileMissing = 8,    ///< no file for a place of the grid
    TileBands = 9,      ///< a tile has another number of bands than most
    TileType = 10,      ///< a tile has another pixel type than most
    TileSize = 11,      ///< a tile has another size than its place in the grid
    TilePixelSize = 12, ///< a tile has pixels of another size than most
    TilePlace = 13,     ///< a tile lies elsewhere on the map than its name says
    NoGrid = 14         ///< the tiles do not fill one grid for any other reason
};

/// One thing that is wrong. If blocks that follow each other are lost or damaged, the finding names the first of them, and
/// its text says how many more there are.
struct VerifyFinding
{
    QString file;         ///< the file; that of a missing tile is the one that should be there
    int band = -1;        ///< one-based; -1 if it is not one band, as for interleaved bands
    int blockColumn = -1; ///< zero-based; -1 if it is not one block
    int blockRow = -1;    ///< zero-based; -1 if it is not one row of blocks
    VerifyCode code = VerifyCode::NoRaster; ///< what kind of thing is wrong
    QString text;                           ///< what is wrong, in GDAL's words where there are any
};

/// What `verify` has found.
struct VerifyReport
{
    /// Findings beyond these are counted, not listed.
    static constexpr std::size_t maxFindings = 100;

    /// True if nothing is wrong.
    bool isWhole() const { return noFindings == 0; }

    std::vector<VerifyFinding> findings; ///< the first of them
    std::uint64_t noFindings = 0;        ///< all of them
    std::uint64_t noFiles = 0;           ///< files that opened
    std::uint64_t noBlocks = 0;          ///< blocks with data that were checked
    std::uint64_t noSparseBlocks = 0;    ///< blocks that were left out of their file, which is legal
    std::uint64_t noFilesNotChecked = 0; ///< files that were opened, but whose blocks could not be checked
};

/// Tells whether the raster at `path` is whole: a file, or else the set of tile files named from it, as
/// `GDALStreamer::openRead(path)` finds it.
///
/// Every file must open, be of a kind that the library reads, and have headers that GDAL reads without
/// failure. In GeoTIFF files each block of each band must lie inside the file, those of the overviews and the
/// mask in the same file included; blocks shared by interleaved bands count once. Overviews and masks in
/// files of their own and further pages are not looked at. The blocks of other formats have no known places,
/// and those files count as not checked unless they are decoded. The tiles of a set must fill the grid that
/// their names span, with equal bands, pixel types and pixel sizes, and sizes and places that fit; what most
/// tiles have is taken to be right.
///
/// @param path   a file, or the path that a set of tile files is named from.
/// @param decode whether all pixels are read as well, in pieces of at most 16 MiB besides what GDAL caches.
///               Finds damage inside blocks where the compression notices it. Without it only headers are
///               read.
///
/// @code
/// for (const vexel::gdal::VerifyFinding& finding : vexel::gdal::verify("ortho.tif").findings)
///     std::cout << finding.file.toStdString() << ": " << finding.text.toStdString() << std::endl;
/// @endcode
///
/// The number of blocks of a GeoTIFF that are decoded is bounded by the size of the file, whatever its header claims: sparse
/// blocks and blocks outside the file are left out, and blocks that share their bytes are decoded once. An image whose
/// header claims more blocks than its file has room to list, or blocks that overlap many times, is reported once
/// (`VerifyCode::BlockTable`) and not decoded. In other formats, `verify` stops after as many failures as the file has bytes.
///
/// Changes no file, prints nothing of what GDAL says, and takes the GDAL lock for one file at a time.
VEXEL_EXPORT VerifyReport verify(const QString& path, bool decode = false);

} // namespace vexel::gdal

#endif
