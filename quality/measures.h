#ifndef VEXEL_QUALITY_MEASURES_H
#define VEXEL_QUALITY_MEASURES_H

#include "Raster.h"

#include <map>
#include <string>

/// What is measured of the results of one method at one factor, be it the library's or another program's.
///
/// Each measure looks at the results of some scenes and adds figures, whose names begin with that of the
/// measure. What there is no result of gives no figures. Lengths are in pixels of the test raster.
namespace quality {

using Figures = std::map<std::string, double>;

/// The results of one method at one factor, in a folder.
class Results
{
public:
    Results(std::string folder, int factor);

    int factor() const { return m_factor; }

    /// Whether there is a result of a scene or tile set.
    bool has(const std::string& name) const { return !pathOf(name).empty(); }

    /// @param name of a scene, or of a tile set.
    /// @throws std::runtime_error
    Raster read(const std::string& name) const;

private:
    std::string pathOf(const std::string& name) const;

    std::string m_folder;
    int m_factor;
};

/// Position and level of a ramp of slope 1, inside and near the border.
///
/// `ramp.x`, `ramp.y`: how far the content lies too far east and south, on average.
/// `ramp.lift`: how far values lie too high, whichever way the ramp falls.
/// `ramp.spread`: the largest difference of a single pixel's position or level from these, inside.
/// `ramp.border`: the same within 24 pixels of the border.
void measureRamp(const Results& results, Figures& figures);

/// What becomes of a raster whose size is no multiple of the factor.
///
/// `odd.width`, `odd.pixel`: pixels along a side, their edge. `odd.rest`: how far the last one ends beyond the
/// scene.
/// `odd.shift`: the largest error of position inside.
void measureOddSize(const Results& results, Figures& figures);

/// The ramp in tiles whose size is no multiple of the factor.
///
/// `tiles.shift`: the largest error of position inside.
void measureTiledRamp(const Results& results, Figures& figures);

/// Single pixels that stick out of their ground, each phase of the blocks alike.
///
/// `points.high`, `points.low`: share of the points above and below their ground that are kept.
/// `points.x`, `points.y`: how far their centroids lie too far east and south, on average.
/// `points.scatter`: root mean square of the distance of single centroids from that.
/// `points.volume`: sum over a point, as a multiple of what it was, on average.
void measurePoints(const Results& results, Figures& figures);

/// Elevations with holes.
///
/// `holes.pixels`, `holes.outside`: all pixels, and those that are neither no-data nor in the range of the
/// data. `holes.lowest`: the lowest value that is not no-data. `holes.lost`: no-data though the block has
/// data, of the `holes.blocks` that have. `holes.filled`: data though the block has none.
void measureHoles(const Results& results, Figures& figures);

/// A plain beside a straight hole.
///
/// `edge.lowest`, `edge.highest`: the lowest and the highest value. `edge.reach.E`: the distance of the farthest
/// pixel that is wrong by more than E, 0 if none is. `edge.error.D`: the largest error from half a pixel nearer
/// than D to half a pixel farther.
void measureEdge(const Results& results, Figures& figures);

/// An opaque disc on transparent white and on transparent black.
///
/// `halo.visible`: pixels that are visible on white or black. `halo.differ`, `halo.difference`: those whose
/// colours differ between the two, and by how much at most. `halo.alpha`: pixels whose alpha differs.
/// `halo.foreign`, `halo.foreignness`: visible pixels, on white or black, whose colour is not that of the
/// disc, and by how much at most.
void measureHalo(const Results& results, Figures& figures);

/// Tile sets against the single file. For each set `seams.SET.`
///
/// `width`, `single`: pixels along a side of the results. Where these are alike: `differ`, `difference`:
/// pixels that differ, and by how much at most.
void measureSeams(const Results& results, Figures& figures);

/// A wave of growing frequency.
///
/// `alias.kept`: contrast, as a multiple of the scene's, up to half the highest frequency that the result can
/// hold. `alias.false`: contrast beyond the highest, where there should be none. `alias.mean`, `alias.input`: mean
/// value of the result and of the scene.
void measureAliasing(const Results& results, Figures& figures);

/// All of these.
Figures measured(const Results& results);

/// How two rasters differ.
struct Difference
{
    bool isSameSize = false;
    double pixels = 0.0; ///< that differ in any band
    double largest = 0.0;
};

Difference differenceOf(const Raster& one, const Raster& other);

} // namespace quality

#endif
