#ifndef VEXEL_UTILITIES_DEFINITIONFILE_H
#define VEXEL_UTILITIES_DEFINITIONFILE_H

#include <QString>

namespace vexel::gdal {

/// What to hand to GDAL's utilities where they take a spatial reference: the absolute path of the file that holds it, or
/// its content where GDAL would take even that path for a reference ("/c++projects/a.prj" contains "+proj"), or where no
/// text names the file.
QString definitionForGdal(const QString& path, const QString& content);

} // namespace vexel::gdal

#endif
