#ifndef VEXEL_STREAMING_WRITETARGETS_H
#define VEXEL_STREAMING_WRITETARGETS_H

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

/// The files that are named as tiles of the set `path`, in natural order of their names. None is opened.
std::vector<TileFile> tileFilesOf(const QString& path);

/// The working file of a raster file that is being written.
QString workingPath(const QString& path);

/// The path of tile `i` of a set with the given grid.
QString tilePath(const QString& setPath, const Workspace& grid, std::uint64_t i);

/// True when writing a raster would delete one of `files`: an earlier raster or tile of that name, or its
/// working file. Looks at the names of the folder only, and sees through links and spellings.
bool writingWouldDelete(const QStringList& files, const QString& path, GdalFileType ftype,
                        const Workspace& extent, int tileWidth, int tileHeight);

} // namespace vexel

#endif
