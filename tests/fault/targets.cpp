#include "fault/targets.h"

#include "fault/ChildProcess.h"
#include "support/rasters.h"
#include "utilities/verify.h"

#include <algorithm>
#include <cmath>

namespace faults {

namespace {

constexpr int rowsPerTransfer = 96;

bool endsWith(const std::string& text, const std::string& ending)
{
    return text.size() >= ending.size() &&
           text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

bool isJpegTarget(const Target& target)
{
    return endsWith(target.name, ".jpg");
}

TargetFile describe(const Target& target, const std::string& name, int x0, int y0, int width, int height)
{
    TargetFile file{name, x0, y0, width, height, {}};
    if (endsWith(name, ".tif")) {
        const std::string base = name.substr(0, name.size() - 4);
        file.sideFiles.push_back(base + ".tfw");
        if (target.hasReference)
            file.sideFiles.push_back(base + ".prj");
    }
    return file;
}

std::string tileName(const std::string& name, int column, int row)
{
    const std::size_t dot = name.rfind('.');
    return name.substr(0, dot) + "_" + std::to_string(column) + "_" + std::to_string(row) + name.substr(dot);
}

std::string textOf(const vexel::StreamError& error)
{
    return "error " + std::to_string(static_cast<int>(error.code)) + " of '" + error.path.toStdString() +
           "': " + error.text.toStdString();
}

} // namespace

std::vector<TargetFile> filesOf(const Target& target)
{
    if (target.tileWidth == 0)
        return {describe(target, target.name, 0, 0, target.width, target.height)};
    std::vector<TargetFile> files;
    for (int x0 = 0, column = 1; x0 < target.width; x0 += target.tileWidth, ++column)
        for (int y0 = 0, row = 1; y0 < target.height; y0 += target.tileHeight, ++row)
            files.push_back(describe(target, tileName(target.name, column, row), x0, y0,
                                     std::min(target.tileWidth, target.width - x0),
                                     std::min(target.tileHeight, target.height - y0)));
    return files;
}

double pixelOf(const Target& target, int x, int y, int band)
{
    if (isJpegTarget(target))
        return (x + 2 * y) / 4 % 200 + 10 * band;
    const double noise = rasters::noise(x, y, band);
    switch (target.type) {
    case vexel::DataType::UInt8:
        return std::floor(noise * 255.0);
    case vexel::DataType::UInt16:
        return std::floor(noise * 65535.0);
    default:
        return static_cast<double>(static_cast<float>(noise * 1e6));
    }
}

bool openTarget(vexel::GDALStreamer& set, const QString& folder, const Target& target)
{
    constexpr std::int64_t res = 100000;
    static const QString reference = QString::fromStdString(rasters::wkt(32632));
    const vexel::Workspace extent(0, 0, target.width * res, target.height * res, res);
    return set.openWrite(folder + "/" + target.name, static_cast<std::uint64_t>(target.bands), target.type,
                         extent, target.hasReference ? reference : QString(), QString(), QString(),
                         target.tileWidth == 0 ? vexel::GdalFileType::SingleFile
                                               : vexel::GdalFileType::TileSet,
                         target.tileWidth, target.tileHeight);
}

bool writeRows(const vexel::GDALStreamer& set, const Target& target, int y0, int y1)
{
    const int rows = y1 - y0;
    vexel::PixelMatrix<float> pixels(rows * target.bands, target.width);
    std::vector<int> bands;
    for (int band = 1; band <= target.bands; ++band) {
        bands.push_back(band);
        for (int y = 0; y < rows; ++y)
            for (int x = 0; x < target.width; ++x)
                pixels((band - 1) * rows + y, x) = static_cast<float>(pixelOf(target, x, y0 + y, band));
    }
    return set.writeBands(pixels, bands,
                          vexel::PixelBox(vexel::PixelPoint(0, y0), vexel::PixelPoint(target.width, y1)));
}

std::string writeTarget(const QString& folder, const Target& target)
{
    vexel::GDALStreamer set;
    if (!openTarget(set, folder, target))
        return "cannot open, " + textOf(set.lastError());
    for (int y = 0; y < target.height; y += rowsPerTransfer)
        if (!writeRows(set, target, y, std::min(y + rowsPerTransfer, target.height)))
            return "cannot write, " + textOf(set.lastError());
    set.close();
    return set.lastError() ? "cannot complete, " + textOf(set.lastError()) : std::string();
}

std::string faultOf(const QString& folder, const Target& target, const TargetFile& file)
{
    const QString path = folder + "/" + QString::fromStdString(file.name);
    const vexel::gdal::VerifyReport report = vexel::gdal::verify(path, /*decode=*/true);
    if (!report.isWhole())
        return file.name + " is not whole: " + report.findings.front().text.toStdString();
    const double tolerance = isJpegTarget(target) ? 12.0 : 0.0;
    for (int band = 1; band <= target.bands; ++band) {
        const std::vector<double> pixels = rasters::pixels(path, band);
        if (pixels.size() != static_cast<std::size_t>(file.width) * static_cast<std::size_t>(file.height))
            return file.name + " has another size";
        for (std::size_t k = 0; k < pixels.size(); ++k) {
            const int x = static_cast<int>(k % static_cast<std::size_t>(file.width));
            const int y = static_cast<int>(k / static_cast<std::size_t>(file.width));
            const double expected = pixelOf(target, file.x0 + x, file.y0 + y, band);
            if (!(std::abs(pixels[k] - expected) <= tolerance))
                return file.name + " has " + std::to_string(pixels[k]) + " instead of " +
                       std::to_string(expected) + " in band " + std::to_string(band) + ", column " +
                       std::to_string(x) + ", row " + std::to_string(y);
        }
    }
    return {};
}

std::string listingOf(const std::vector<Target>& targets)
{
    std::vector<std::string> names;
    for (const Target& target : targets)
        for (const TargetFile& file : filesOf(target)) {
            names.push_back(file.name);
            names.insert(names.end(), file.sideFiles.begin(), file.sideFiles.end());
        }
    std::sort(names.begin(), names.end());
    std::string joined;
    for (const std::string& name : names)
        joined += (joined.empty() ? "" : " ") + name;
    return joined;
}

} // namespace faults
