#ifndef VEXEL_STREAMING_TILEGRID_H
#define VEXEL_STREAMING_TILEGRID_H

#include "workspace/Workspace.h"

#include <Eigen/Core>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/// Which files of a set a pixel box touches, and where: boxes in, boxes out, no files.
namespace vexel::tilegrid {

/// The part of a request that one tile covers.
struct Piece
{
    std::size_t tile;
    PixelBox inTile; ///< in pixels of the tile
    PixelBox
        inRequest; ///< in output pixels, from the request's min corner; the request's pixels times the scale
};

/// The pieces of `request` in the order of the tiles; boxes that only touch share no piece. Costs time for
/// the tiles that are touched, whatever their number in the grid.
///
/// @param grid  an extent whose tiles, if any, were cut by `createTiles`.
/// @param scale output pixels per pixel of the request; edges are rounded half away from zero.
std::vector<Piece> piecesOf(const Workspace& grid, const PixelBox& request, double scale);

/// True when the request lies inside a raster of that size or reaches at most one pixel beyond it, as a box does whose
/// corners were rounded outwards. `gdal_t::valid` has no such margin.
bool isNear(const PixelBox& request, int width, int height);

/// True when the box has no width or no height, or is turned over.
bool hasNoArea(const PixelBox& box);

/// Rows and columns of an output matrix.
struct Size
{
    Eigen::Index rows;
    Eigen::Index columns;
};

/// Size of the box times `scale`, each side rounded half away from zero; none for a scale that is negative or
/// not finite.
std::optional<Size> scaledSize(const PixelBox& box, double scale);

/// Cuts a piece, given as equally large boxes in a file and in a matrix, down to what lies in the matrix.
/// False if nothing does.
bool clipToMatrix(PixelBox& inFile, PixelBox& inMatrix, const Size& matrix);

/// Number of tiles that `Workspace::createTiles` would make, without making them.
std::uint64_t tileCount(const Workspace& workspace, int tileWidth, int tileHeight);

/// A tile file, by its name's place in the grid and its size.
struct Candidate
{
    int column;
    int row;
    int width;
    int height;
};

/// For each tile of the grid in order the first candidate of that place and size, by its index. Tiles without
/// one are left out. Costs time in proportion to tiles and candidates.
std::vector<std::size_t> orderByGrid(const Workspace& grid, const std::vector<Candidate>& candidates);

} // namespace vexel::tilegrid

#endif
