#include "utilities/tilenames.h"
#include "FuzzInput.h"
#include "companion/file.h"

#include <QString>

// Any text as the name of a raster and of a tile.

namespace {

/// Any name that is taken for a tile's leads back to itself.
void takeApart(const QString& path)
{
    QString base;
    int column = -1;
    int row = -1;
    if (!vexel::gdal::path2tile(path, base, column, row))
        return;
    fuzz::require(column >= 0 && row >= 0, "columns and rows count from zero");
    fuzz::require(vexel::file::samepath(vexel::gdal::tile2path(base, column + 1, row + 1), path),
                  "a tile's name comes back");
    QString same = path;
    fuzz::require(vexel::gdal::path2tile(same, same, column, row) && same == base,
                  "the base may be the same object");
}

/// The name that is made of a plain raster's name and any place leads back to them.
void putTogether(const QString& path, int column, int row)
{
    const QString tile = vexel::gdal::tile2path(path, column, row);
    fuzz::require(tile == vexel::file::basepath(path) + QString("_%1_%2").arg(column).arg(row) +
                              vexel::file::extension(path),
                  "a tile's name is its raster's with the place before the extension");
    QString base;
    int foundColumn = -1;
    int foundRow = -1;
    if (column < 1 || row < 1) {
        fuzz::require(!vexel::gdal::path2tile(tile, base, foundColumn, foundRow),
                      "there is no place below 1");
        return;
    }
    // Names with "_" may hold a place of their own, and ".." is a folder.
    const QString name = vexel::file::basename(path);
    const bool plain = !path.contains('_') && !name.isEmpty() && name != ".." && !path.contains(QChar(0));
    if (!plain)
        return;
    fuzz::require(vexel::gdal::path2tile(tile, base, foundColumn, foundRow),
                  "a tile's name is taken for one");
    fuzz::require(base == path && foundColumn == column - 1 && foundRow == row - 1,
                  "a tile's raster and place come back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    fuzz::prepare();
    fuzz::FuzzInput input(bytes, size);
    const int column = input.take<int>();
    const int row = input.take<int>();
    const QString path = QString::fromStdString(input.rest());
    takeApart(path);
    putTogether(path, column, row);
    return 0;
}
