#include "companion/datasetinfo.h"
#include "companion/file.h"
#include "companion/imageformat.h"
#include "companion/log.h"
#include "companion/sidepaths.h"
#include "streaming/failures.h"
#include "streaming/gdaldataset.h"
#include "streaming/gdalmessages.h"
#include "streaming/georeference.h"
#include "streaming/pixeltypes.h"
#include "streaming/writetargets.h"

#include <gdal_priv.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace vexel {

namespace {

constexpr double noData = -10000.0;

/// While it lives, GDAL looks for the side files of what it opens one by one, unless the application has said
/// what it wants. Otherwise it lists the folder first for each file, which takes far longer than opening one
/// of thousands of tile files.
class SideFilesOneByOne
{
public:
    explicit SideFilesOneByOne(bool wanted)
        : m_isSet(wanted && CPLGetConfigOption(option, nullptr) == nullptr)
    {
        if (m_isSet)
            CPLSetThreadLocalConfigOption(option, "YES");
    }
    ~SideFilesOneByOne()
    {
        if (m_isSet)
            CPLSetThreadLocalConfigOption(option, nullptr);
    }
    SideFilesOneByOne(const SideFilesOneByOne&) = delete;
    SideFilesOneByOne& operator=(const SideFilesOneByOne&) = delete;

private:
    static constexpr const char* option = "GDAL_DISABLE_READDIR_ON_OPEN";

    bool m_isSet;
};

using Code = StreamError::Code;

void warnAboutPixelShape(const Geotransform& geotransform)
{
    log::LogStreamer(log::defaultLogSource(), log::level::warning, QString(),
                     log::FileAndLine("GDALStreamer", __LINE__))
        << "Read image with non-square pixels: dx = " << geotransform[1] << ", dy = " << geotransform[5];
}

void warnAboutEmptyExtent(const QString& path, const Geotransform& geotransform)
{
    log::LogStreamer(log::defaultLogSource(), log::level::warning, QString(),
                     log::FileAndLine("GDALStreamer", __LINE__))
        << "Image has no pixels in units of 0.00001 map units: '" << path << "', dx = " << geotransform[1]
        << ", dy = " << geotransform[5];
}

Workspace extentOf(GDALDataset& dataset, const QString& path, double& loss)
{
    const int columns = dataset.GetRasterXSize();
    const int rows = dataset.GetRasterYSize();
    Geotransform geotransform{};
    loss = 0.0;
    if (dataset.GetGeoTransform(geotransform.data()) != CE_None)
        return Workspace(0, 0, columns, rows, 1);
    loss = lossOfGeotransform(geotransform, columns, rows);
    if (hasSuspiciousPixelShape(geotransform))
        warnAboutPixelShape(geotransform);
    Workspace extent = workspaceOfGeotransform(geotransform, columns, rows);
    if (extent.pixelWidth() < 1 || extent.pixelHeight() < 1)
        warnAboutEmptyExtent(path, geotransform);
    return extent;
}

bool setGeoreference(GDALDataset& dataset, const Workspace& workspace)
{
    Geotransform geotransform = geotransformOfWorkspace(workspace);
    return dataset.SetGeoTransform(geotransform.data()) == CE_None;
}

/// Sets every pixel of every band, a row of the file's blocks at a time.
bool fillAll(GDALDataset& dataset, double value)
{
    const int bands = dataset.GetRasterCount();
    int blockWidth = 0;
    int blockHeight = 0;
    dataset.GetRasterBand(1)->GetBlockSize(&blockWidth, &blockHeight);
    // One pixel a band, which GDAL spreads over the window.
    std::vector<double> pixel(static_cast<std::size_t>(bands), value);
    for (int y = 0, rows = 0; y < dataset.GetRasterYSize(); y += rows) {
        rows = std::min(blockHeight, dataset.GetRasterYSize() - y);
        if (dataset.RasterIO(GF_Write, 0, y, dataset.GetRasterXSize(), rows, pixel.data(), 1, 1, GDT_Float64,
                             bands, nullptr, 0, 0, 0, nullptr) != CE_None)
            return false;
    }
    return true;
}

/// Makes pixels that are never written no-data, if the pixel type can hold it.
bool setNoDataValues(GDALDataset& dataset, DataType dtype)
{
    const std::pair<double, double> range = minMaxForPixelType(dtype);
    if (!(range.first <= noData && noData < range.second))
        return true;
    for (int band = 1; band <= dataset.GetRasterCount(); ++band)
        if (dataset.GetRasterBand(band)->SetNoDataValue(noData) != CE_None)
            return false;
    // A block of interleaved bands comes to be when one of them is written, with zeros in the others.
    return dataset.GetRasterCount() == 1 || fillAll(dataset, noData);
}

} // namespace

GDALStreamer::gdal_t::gdal_t(const QString& file)
{
    setPaths(file, workingPath(file));
}

GDALStreamer::gdal_t::~gdal_t()
{
    close();
}

void GDALStreamer::gdal_t::setPaths(const QString& file, const QString& workingFile)
{
    path = file;
    tfwpath = gdal::path2tfw(file);
    prjpath = gdal::path2prj(file);
    tmppath = workingFile;
}

bool GDALStreamer::gdal_t::isImageFormat() const
{
    return isPng(path) || isJpeg(path) || isJp2(path);
}

bool GDALStreamer::gdal_t::openRead(const QString& file, bool readOnly)
{
    const QString source = file; // the caller may pass this handle's own path
    close();
    if (source.isEmpty())
        return failFile(*this, Code::BadArgument);
    setPaths(source, source);
    noBands = 0;
    dtype = DataType::Unknown;
    mode = readOnly ? ReadOnly : Update;
    m_finalised = false;

    const GdalMessages messages;
    const SideFilesOneByOne oneByOne(oneOfMany);
    dataset = openDataset(path, readOnly ? GA_ReadOnly : GA_Update).release();
    if (!dataset || dataset->GetRasterCount() < 1) {
        const Code code = dataset ? Code::UnsupportedType : Code::CannotOpen;
        close();
        return failFile(*this, code, messages.firstFailure());
    }
    noBands = static_cast<std::uint64_t>(dataset->GetRasterCount());
    noPages = gdal::countPages(*dataset);
    dataset->GetRasterBand(1)->GetBlockSize(&blockWidth, &blockHeight);
    workspace = extentOf(*dataset, path, georeferenceLoss);
    dtype = gdal::getDataType(*dataset);
    if (dtype == DataType::Unknown) {
        close();
        return failFile(*this, Code::UnsupportedType);
    }
    return detach();
}

bool GDALStreamer::gdal_t::openWrite(const QString& file, std::size_t bands, DataType type,
                                     const Workspace& ws, const QString& wkt, const QString& time,
                                     const QString& softwareName)
{
    const QString target = file;
    close();
    if (target.isEmpty())
        return failFile(*this, Code::BadArgument);
    const QString refusal = unwritablePath(target);
    if (!refusal.isEmpty()) {
        error = {Code::BadArgument, target, refusal};
        return false;
    }
    setPaths(target, workingPath(target));
    projWKT = wkt;
    projTime = time;
    software = softwareName.isEmpty() ? QString("vexelstudio") : softwareName;
    noBands = type == DataType::RGB ? 3 : type == DataType::RGBA ? 4 : bands;
    dtype = type;
    mode = WritePending;
    blockWidth = 0;
    blockHeight = 0;
    m_finalised = false;
    workspace = ws;

    const QString folder = file::dirname(path);
    if (!file::exists(folder))
        file::mkdir(folder);
    removeRasterFile(path);
    removeWorkingFiles(path);
    return true;
}

bool GDALStreamer::gdal_t::reopen()
{
    if (dataset)
        return true;
    if (m_aside) {
        dataset = std::exchange(m_aside, nullptr);
        return true;
    }
    error = StreamError();
    const GdalMessages messages;
    const SideFilesOneByOne oneByOne(oneOfMany);
    switch (mode) {
    case ReadOnly:
        dataset = openDataset(path, GA_ReadOnly).release();
        break;
    case Update:
        dataset = openDataset(path, GA_Update).release();
        break;
    case Written:
        dataset = openDataset(tmppath, GA_Update).release();
        break;
    case WritePending:
        return createWorkingDataset() || failFile(*this, Code::CannotCreate, messages.firstFailure());
    default:
        return failFile(*this, Code::NotOpen);
    }
    return dataset || failFile(*this, Code::CannotOpen, messages.firstFailure());
}

bool GDALStreamer::gdal_t::createWorkingDataset()
{
    const GDALDataType type = gdalTypeOf(dtype);
    if (type == GDT_Unknown || noBands > static_cast<std::uint64_t>(std::numeric_limits<int>::max()))
        return false;
    gdal::registerDrivers();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName(isImageFormat() ? "MEM" : "GTiff");
    if (!driver)
        return false;
    // Uncompressed, so that writing blocks in any order stays cheap; completing the file compresses it once.
    Dataset created(driver->Create(tmppath.toUtf8().constData(), width(), height(), static_cast<int>(noBands),
                                   type, nullptr));
    if (!created)
        return false;
    if (!isImageFormat() && !(setGeoreference(*created, workspace) && setNoDataValues(*created, dtype))) {
        created.reset();
        file::remove(tmppath);
        close();
        return false;
    }
    dataset = created.release();
    mode = Written;
    return true;
}

bool GDALStreamer::gdal_t::detach()
{
    const bool fileBacked =
        mode == ReadOnly || mode == Update || ((mode == WritePending || mode == Written) && !isImageFormat());
    if (dataset && mode == ReadOnly && m_keepAside) {
        dataset->FlushCache();
        m_aside = std::exchange(dataset, nullptr);
    } else if (fileBacked) {
        releaseDataset();
    }
    return true;
}

void GDALStreamer::gdal_t::keepAside(bool keep)
{
    m_keepAside = keep;
    if (!keep && m_aside)
        GDALClose(std::exchange(m_aside, nullptr));
}

void GDALStreamer::gdal_t::releaseDataset()
{
    if (dataset)
        GDALClose(std::exchange(dataset, nullptr));
    if (m_aside)
        GDALClose(std::exchange(m_aside, nullptr));
}

bool GDALStreamer::gdal_t::valid(const PixelBox& box) const
{
    return box.min_corner().x() >= 0 && box.max_corner().x() <= width() && box.min_corner().y() >= 0 &&
           box.max_corner().y() <= height();
}

int GDALStreamer::gdal_t::width() const
{
    return workspace.pixelWidth();
}

int GDALStreamer::gdal_t::height() const
{
    return workspace.pixelHeight();
}

} // namespace vexel
