#include "streaming/RasterDescription.h"

#include "companion/imageformat.h"
#include "companion/pixelvalues.h"

#include <gdal_priv.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace vexel {

namespace {

bool isSame(const std::optional<double>& a, const std::optional<double>& b)
{
    return a == b || (a && b && std::isnan(*a) && std::isnan(*b));
}

std::optional<double> noDataValueOf(GDALRasterBand& band)
{
    int isThere = FALSE;
    const double value = band.GetNoDataValue(&isThere);
    return isThere ? std::optional<double>(value) : std::nullopt;
}

} // namespace

RasterDescription::RasterDescription(GDALDataset& dataset)
{
    const char* const wkt = dataset.GetProjectionRef();
    m_reference = QString::fromUtf8(wkt ? wkt : "");
    for (int band = 1; band <= dataset.GetRasterCount(); ++band) {
        const std::optional<double> value = noDataValueOf(*dataset.GetRasterBand(band));
        if (m_noData.empty() || !isSame(m_noData.back().value, value))
            m_noData.push_back({0, value});
        m_noData.back().endBand = static_cast<std::size_t>(band) + 1;
        if (m_noData.size() * sizeof(Run) > mostBytes) {
            m_noData.clear();
            return;
        }
    }
}

RasterDescription::RasterDescription(QString wkt, DataType dtype, std::size_t noBands)
    : m_reference(std::move(wkt))
{
    const std::pair<double, double> range = minMaxForPixelType(dtype);
    if (range.first <= noData && noData < range.second)
        m_noData.push_back({noBands + 1, noData});
}

std::optional<double> RasterDescription::noDataValue(std::size_t band) const
{
    const auto endsAfter = [](std::size_t wanted, const Run& run) { return wanted < run.endBand; };
    const auto run = std::upper_bound(m_noData.begin(), m_noData.end(), band, endsAfter);
    return band == 0 || run == m_noData.end() ? std::nullopt : run->value;
}

bool operator==(const RasterDescription& a, const RasterDescription& b)
{
    const auto isSameRun = [](const RasterDescription::Run& left, const RasterDescription::Run& right) {
        return left.endBand == right.endBand && isSame(left.value, right.value);
    };
    return a.m_reference == b.m_reference &&
           std::equal(a.m_noData.begin(), a.m_noData.end(), b.m_noData.begin(), b.m_noData.end(), isSameRun);
}

} // namespace vexel
