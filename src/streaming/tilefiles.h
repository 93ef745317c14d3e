#ifndef VEXEL_STREAMING_TILEFILES_H
#define VEXEL_STREAMING_TILEFILES_H

#include "streaming/GDALStreamer.h"
#include "streaming/tilegrid.h"
#include "workspace/Workspace.h"

#include <QString>

#include <memory>
#include <vector>

namespace vexel {

/// The tile files of a set that could be opened, in natural order of their names.
struct OpenedTiles
{
    std::vector<std::shared_ptr<GDALStreamer::gdal_t>> files;
    std::vector<tilegrid::Candidate> places; ///< of each file, by its name
    Workspace extent;                        ///< the union of all
    int maxWidth = 0;
    int maxHeight = 0;
    QString unopened; ///< the first one that could not be opened, and why; empty if there is none
};

OpenedTiles openTiles(const QString& setPath, bool readOnly);

/// Why the files do not fill the grid: one that could not be opened, or the name of one that is missing or has another
/// size than its place in the grid.
///
/// @param grid the extent of the set, cut into tiles or not yet.
QString whatIsMissing(const QString& setPath, const OpenedTiles& tiles, const Workspace& grid);

} // namespace vexel

#endif
