#include "streaming/writetargets.h"

#include "companion/file.h"
#include "companion/nativepath.h"
#include "streaming/pixeltypes.h"
#include "utilities/tilenames.h"

#include <filesystem>
#include <set>

namespace vexel {

namespace {

constexpr const char* workingEnding = "_tmp.tif";
constexpr const char* unfinishedEnding = "_new_tmp.tif";

bool isTileOf(const QString& path, const QString& setPath, TileFile& tile)
{
    QString base;
    return gdal::path2tile(path, base, tile.column, tile.row) && file::samepath(base, setPath);
}

/// One text for all spellings of a path.
QString identity(const QString& path)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(fs::absolute(file::nativePath(path), error), error);
    return error ? path : QString::fromStdString(file::utf8Of(canonical));
}

/// A set of the standard library: that of Qt 6 ends the process where memory is short.
using Paths = std::set<QString>;

void addTarget(Paths& targets, const QString& path)
{
    targets.insert(identity(path));
    targets.insert(identity(workingPath(path)));
}

} // namespace

std::vector<TileFile> tileFilesOf(const QString& path)
{
    std::vector<TileFile> tiles;
    if (path.isEmpty())
        return tiles; // not the tiles of the working folder that have no name before their indices
    const QStringList files =
        file::find(file::dirname(path), "*" + file::extension(path), /*filesOnly=*/true);
    for (const QString& candidate : files) {
        TileFile tile{candidate, 0, 0};
        if (!candidate.endsWith(workingEnding) && isTileOf(candidate, path, tile))
            tiles.push_back(tile);
    }
    return tiles;
}

QStringList cutOffTilesOf(const QString& path)
{
    QStringList tiles;
    if (path.isEmpty())
        return tiles;
    const QString ending = file::extension(path);
    for (QString file : file::find(file::dirname(path), QString("*") + workingEnding, /*filesOnly=*/true)) {
        file.chop(file.endsWith(unfinishedEnding) ? QString(unfinishedEnding).size()
                                                  : QString(workingEnding).size());
        TileFile tile{file, 0, 0};
        if (file.endsWith(ending) && isTileOf(file, path, tile))
            tiles.push_back(file);
    }
    return tiles;
}

QString workingPath(const QString& path)
{
    return path + workingEnding;
}

QString unfinishedPath(const QString& path)
{
    return path + unfinishedEnding;
}

void removeRasterFile(const QString& path)
{
    for (const char* ending : {"", ".ovr", ".aux.xml", ".msk"})
        file::remove(path + ending);
}

void removeWorkingFiles(const QString& path)
{
    removeRasterFile(workingPath(path));
    removeRasterFile(unfinishedPath(path));
}

bool hasRoomForAllPixels(const GDALStreamer::gdal_t& raster, QString& reason)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file::nativePath(raster.tmppath), error);
    if (error) {
        reason = QString::fromLocal8Bit(error.message().c_str());
        return false;
    }
    // As floating-point numbers, since the product need not fit into 64 bits.
    const double needed = static_cast<double>(raster.width()) * raster.height() *
                          static_cast<double>(raster.noBands) *
                          GDALGetDataTypeSizeBytes(gdalTypeOf(raster.dtype));
    if (static_cast<double>(size) > needed)
        return true;
    reason = QString("The working file has %1 bytes, too few for its pixels").arg(size);
    return false;
}

QString tilePath(const QString& setPath, const Workspace& grid, std::uint64_t i)
{
    const PixelPoint& cell = grid.gtile(i);
    return gdal::tile2path(setPath, cell.x() + 1, cell.y() + 1);
}

bool writingWouldDelete(const QStringList& files, const QString& path, GdalFileType ftype,
                        const Workspace& extent, int tileWidth, int tileHeight)
{
    Paths targets;
    if (ftype == GdalFileType::TileSet) {
        for (const TileFile& tile : tileFilesOf(path))
            addTarget(targets, tile.path);
        Workspace grid = extent;
        grid.createTiles(tileWidth, tileHeight);
        for (std::uint64_t i = 0; i < grid.noTiles(); ++i)
            addTarget(targets, tilePath(path, grid, i));
    } else {
        addTarget(targets, path);
    }
    for (const QString& file : files)
        if (targets.count(identity(file)))
            return true;
    return false;
}

} // namespace vexel
