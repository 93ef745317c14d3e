#include "streaming/writetargets.h"

#include "companion/file.h"
#include "companion/nativepath.h"
#include "companion/sidepaths.h"
#include "streaming/pixeltypes.h"
#include "utilities/sourcefiles.h"
#include "utilities/tilenames.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>
#include <system_error>

namespace vexel {

namespace {

constexpr const char* workingEnding = "_tmp.tif";
constexpr const char* unfinishedEnding = "_new_tmp.tif";

/// Reads the place in the grid from the name of a tile of that set. False if it is none.
bool parseTileName(const QString& path, const QString& setPath, TileFile& tile)
{
    QString base;
    return gdal::path2tile(path, base, tile.column, tile.row) && file::samepath(base, setPath);
}

/// Files beside tiles, which may have the tiles' ending too if that is empty. As tile names they would be told as odd.
bool isBesideTile(const QString& path, const QString& setPath)
{
    const auto hasEnding = [&](const char* ending) {
        return path.endsWith(ending) && !setPath.endsWith(ending);
    };
    if (path.endsWith(workingEnding) || hasEnding(".prj") ||
        std::any_of(std::begin(endingsBesideRaster), std::end(endingsBesideRaster), hasEnding))
        return true;
    const QString tile = path.left(path.size() - 1);
    return file::extension(setPath).isEmpty() && !tile.isEmpty() && tile[tile.size() - 1].isDigit() &&
           gdal::path2tfw(tile) == path;
}

/// GDAL's virtual files that are a part of another file, whose path follows.
constexpr const char* wrappers[] = {"/vsizip/", "/vsitar/", "/vsigzip/",
                                    "/vsi7z/",  "/vsirar/", "/vsisubfile/"};

/// What the path of a virtual file may lie in: "/vsizip/{a.zip}/b.tif" and "/vsizip/a.zip/b.tif" in "a.zip",
/// "/vsisubfile/100_20,a.bin" in "a.bin". Which part is the archive's name only a look at the disk could tell, so that all
/// parts from the left are given. Empty for a file in memory or on the network.
QStringList archivesOf(const QString& path)
{
    QString rest = path;
    const auto isWrapped = [&rest](const char* wrapper) { return rest.startsWith(wrapper); };
    while (std::any_of(std::begin(wrappers), std::end(wrappers), isWrapped)) {
        const auto end = rest.indexOf(rest.startsWith("/vsisubfile/") ? ',' : '/', 1);
        if (end < 0)
            return QStringList();
        rest.remove(0, end + 1);
    }
    QStringList archives;
    if (rest.size() == path.size() || rest.startsWith("/vsi"))
        return archives;
    rest.remove('{').remove('}');
    for (auto end = rest.size(); end > 0; end = rest.lastIndexOf('/', end - 1))
        archives << rest.left(end);
    return archives;
}

/// A file that cannot be looked at counts as there, and so does one in a folder "made/.." that is still to be made.
bool isThere(const QString& path)
{
    namespace fs = std::filesystem;
    const fs::path native = file::nativePath(path);
    std::error_code error;
    for (const fs::path& spelling : {native, native.lexically_normal()})
        if (fs::symlink_status(spelling, error).type() != fs::file_type::not_found)
            return true;
    return false;
}

void addIfThere(QStringList& paths, const QString& path)
{
    if (isThere(path))
        paths << path;
}

/// What may be deleted or replaced in the course of writing one raster file.
void addTarget(QStringList& paths, const QString& target)
{
    for (const QString& raster : {target, workingPath(target), unfinishedPath(target)}) {
        addIfThere(paths, raster);
        for (const char* ending : endingsBesideRaster)
            addIfThere(paths, raster + ending);
        addIfThere(paths, gdal::path2tfw(raster));
        addIfThere(paths, gdal::path2prj(raster));
    }
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
        if (!isBesideTile(candidate, path) && parseTileName(candidate, path, tile))
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
        if (file.endsWith(ending) && parseTileName(file, path, tile))
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

QString unwritablePath(const QString& path)
{
    if (path.isEmpty())
        return "The path is empty";
    return path.startsWith("/vsi") ? QString("Virtual files can be read, not written") : QString();
}

void removeRasterFile(const QString& path)
{
    file::remove(path);
    removeBesideRaster(path);
}

void removeBesideRaster(const QString& path)
{
    for (const char* ending : endingsBesideRaster)
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
                          static_cast<double>(bandsToCreate(raster.dtype, raster.noBands)) *
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

QStringList pathsOfTarget(const QString& path)
{
    QStringList paths;
    addTarget(paths, path);
    return paths;
}

QStringList pathsOfTarget(const QString& path, GdalFileType ftype, const Workspace& extent, int tileWidth,
                          int tileHeight)
{
    if (ftype != GdalFileType::TileSet)
        return pathsOfTarget(path);
    QStringList paths;
    for (const TileFile& tile : tileFilesOf(path))
        addTarget(paths, tile.path);
    for (const QString& tile : cutOffTilesOf(path))
        addTarget(paths, tile);
    Workspace grid = extent;
    grid.createTiles(tileWidth, tileHeight);
    for (std::uint64_t i = 0; i < grid.noTiles(); ++i)
        addTarget(paths, tilePath(path, grid, i));
    return paths;
}

bool anyIsReadFor(const QStringList& paths, const QStringList& rasters)
{
    if (paths.isEmpty())
        return false;
    // A set of the standard library: that of Qt 6 ends the process where memory is short.
    std::set<std::filesystem::path> targets;
    for (const QString& path : paths)
        targets.insert(file::resolvedPath(path));
    const auto isTarget = [&targets](const QString& path) {
        return targets.count(file::resolvedPath(path)) > 0;
    };
    for (const QString& file : gdal::filesBehind(rasters)) {
        const QStringList archives = archivesOf(file);
        if (isTarget(file) || std::any_of(archives.begin(), archives.end(), isTarget))
            return true;
    }
    return false;
}

} // namespace vexel
