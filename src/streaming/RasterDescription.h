#ifndef VEXEL_STREAMING_RASTERDESCRIPTION_H
#define VEXEL_STREAMING_RASTERDESCRIPTION_H

#include "companion/DataType.h"

#include <QString>

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

class GDALDataset;

namespace vexel {

/// What the header of a raster file says, for those who ask later.
class RasterDescription
{
public:
    /// Of an open file.
    explicit RasterDescription(GDALDataset& dataset);
    /// Of a file that is to be written.
    RasterDescription(QString wkt, DataType dtype, std::size_t noBands);

    const QString& reference() const { return m_reference; }
    /// @param band counted from 1.
    std::optional<double> noDataValue(std::size_t band) const;

    /// NaN is equal to NaN.
    friend bool operator==(const RasterDescription& a, const RasterDescription& b);

private:
    /// Consecutive bands of the same value.
    struct Run
    {
        std::size_t endBand;
        std::optional<double> value;
    };

    /// A file may have 65535 bands, each with a value of its own: beyond so much nothing is told.
    static constexpr std::size_t mostBytes = 32768;

    QString m_reference;
    std::vector<Run> m_noData;
};

} // namespace vexel

#endif
