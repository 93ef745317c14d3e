#include "companion/sidepaths.h"

#include "companion/file.h"

#include <QChar>
#include <QVector>

namespace vexel::gdal {

QString path2tfw(const QString& path)
{
    // Whole characters, since one may take two code units.
    const QVector<uint> letters = file::extension(path).mid(1).toUcs4();
    const QString w = !letters.isEmpty() && QChar::isUpper(letters.last()) ? "W" : "w";
    if (letters.size() < 3)
        return path + w;
    const char32_t ends[] = {letters.first(), letters.last()};
    return file::basepath(path) + "." + QString::fromUcs4(ends, 2) + w;
}

QString path2prj(const QString& path)
{
    return file::basepath(path) + ".prj";
}

} // namespace vexel::gdal
