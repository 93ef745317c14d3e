#ifndef VEXEL_UTILITIES_DEFINITIONFILE_H
#define VEXEL_UTILITIES_DEFINITIONFILE_H

#include <QString>

namespace vexel::gdal {

/// What to hand to GDAL's utilities where they take a spatial reference: the path of the file that holds it, or
/// its content where GDAL would take the path itself for a reference ("c++projects/a.prj" holds "+proj").
QString definitionForGdal(const QString& path, const QString& content);

} // namespace vexel::gdal

#endif
