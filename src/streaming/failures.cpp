#include "streaming/failures.h"

namespace vexel {

QString orNoReason(const QString& saidByGdal)
{
    return saidByGdal.isEmpty() ? QStringLiteral("GDAL gives no reason") : saidByGdal;
}

bool failFile(GDALStreamer::gdal_t& file, StreamError::Code code, const QString& text)
{
    file.error = {code, file.path, orNoReason(text)};
    return false;
}

QString sizeText(std::int64_t columns, std::int64_t rows)
{
    return QString("%1 x %2").arg(columns).arg(rows);
}

QString boxText(const PixelBox& box)
{
    return QString("(%1, %2) to (%3, %4)")
        .arg(box.min_corner().x())
        .arg(box.min_corner().y())
        .arg(box.max_corner().x())
        .arg(box.max_corner().y());
}

} // namespace vexel
