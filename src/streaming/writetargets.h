#ifndef VEXEL_STREAMING_WRITETARGETS_H
#define VEXEL_STREAMING_WRITETARGETS_H

#include "streaming/GDALStreamer.h"
#include "streaming/GdalFileType.h"
#include "workspace/Workspace.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace vexel {

/// A file named as a tile of a set, with its zero-based place in the grid.
struct TileFile
{
    QString path;
    int column;
    int row;
};

/// The files that are named as tiles of the set `path`, in natural order of their names; working files are
/// none. No file is opened.
std::vector<TileFile> tileFilesOf(const QString& path);

/// The working file of a raster file that is being written.
QString workingPath(const QString& path);

/// The name of a finished raster file before it takes its place.
QString unfinishedPath(const QString& path);

/// Why a raster cannot be written at that path; empty if it can, as far as the path tells. Rasters grow in files of the
/// system's, which GDAL's virtual ones are not.
QString unwritablePath(const QString& path);

/// What GDAL keeps beside a raster file, appended to its name: overviews, statistics, mask.
constexpr const char* endingsBesideRaster[] = {".ovr", ".aux.xml", ".msk"};

/// Deletes a raster file and what GDAL keeps beside it.
void removeRasterFile(const QString& path);

/// Deletes only the latter.
void removeBesideRaster(const QString& path);

/// Deletes what writing a raster file leaves behind when it is cut off.
void removeWorkingFiles(const QString& path);

/// The tiles of a set that were being written when somebody was cut off: their working files are there, they
/// themselves need not be.
QStringList cutOffTilesOf(const QString& path);

/// Whether the working file of a GeoTIFF that is being written is large enough for all of its pixels, which it is from
/// its creation on. `reason` says what is wrong otherwise.
bool hasRoomForAllPixels(const GDALStreamer::gdal_t& raster, QString& reason);

/// The path of tile `i` of a set with the given grid.
QString tilePath(const QString& setPath, const Workspace& grid, std::uint64_t i);

/// Every path that is there and that opening, completing, failing or discarding a raster file of that name may delete or
/// replace: the file, its working and its unfinished one, and what lies beside each of them.
QStringList pathsOfTarget(const QString& path);

/// The same for a whole raster. For a tile set these are the paths of its tiles and of those of any earlier set of that
/// name, outside the grid or cut off too.
QStringList pathsOfTarget(const QString& path, GdalFileType ftype, const Workspace& extent, int tileWidth,
                          int tileHeight);

/// True if GDAL reads one of the paths for one of the raster files: as the file itself, beside it, as a source of a
/// virtual one, or as an archive that one of these lies in. Sees through links and spellings. Opens the rasters unless
/// there are no paths.
bool anyIsReadFor(const QStringList& paths, const QStringList& rasters);

} // namespace vexel

#endif
