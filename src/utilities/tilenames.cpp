#include "tilenames.h"

#include "../companion/file.h"
#include "../companion/logmessage.h"
#include "../companion/text.h"

#include <QStringList>

#include <exception>

namespace vexel::gdal {

namespace {

QString indexSuffix(int x, int y)
{
    return QString("_%1_%2").arg(x).arg(y);
}

/// Reads the last two pieces of a name as numbers; a piece that is none is logged.
bool parseIndices(const QStringList& pieces, int& x, int& y)
{
    try {
        x = text::fromString<int>(pieces[pieces.size() - 2]);
        y = text::fromString<int>(pieces[pieces.size() - 1]);
        return true;
    } catch (const std::exception& e) {
        // Two colons here and one below. The texts stay as they are, because applications compare them.
        log::message(log::level::notice) << "gdal::path2tile:: caught known exception " << e.what();
    } catch (...) {
        log::message(log::level::error) << "gdal::path2tile: caught unknown exception ";
    }
    return false;
}

} // namespace

QString tile2path(const QString& path, int x, int y)
{
    return file::basepath(path) + indexSuffix(x, y) + file::extension(path);
}

bool path2tile(const QString& path, QString& base, int& x, int& y)
{
    const QString tilePath = path; // `base` may be the same object
    base = tilePath;
    x = 0;
    y = 0;

    constexpr int fewestPieces = 3; // some name before the two indices
    const QStringList pieces = text::tokenize(file::basename(tilePath), "_", /*skipEmpty=*/false);
    if (pieces.size() < fewestPieces || !parseIndices(pieces, x, y))
        return false;

    const QString extension = file::extension(tilePath);
    base.replace(indexSuffix(x, y) + extension, extension, Qt::CaseSensitive);
    if (x < 1 || y < 1)
        return false;

    // Numbers that tile2path would write differently, padded ones for example, do not lead back to the name.
    if (!file::samepath(tile2path(base, x, y), tilePath))
        return false;
    --x;
    --y;
    return true;
}

} // namespace vexel::gdal
