#include "companion/ThreadOption.h"
#include "companion/datasetinfo.h"
#include "companion/file.h"
#include "companion/imageformat.h"
#include "companion/logmessage.h"
#include "companion/pixelvalues.h"
#include "companion/sidepaths.h"
#include "streaming/RasterDescription.h"
#include "streaming/failures.h"
#include "streaming/gdaldataset.h"
#include "streaming/gdalmessages.h"
#include "streaming/georeference.h"
#include "streaming/pixeltypes.h"
#include "streaming/unwrittenblocks.h"
#include "streaming/writetargets.h"
#include "utilities/sourcefiles.h"

#include <gdal_priv.h>

#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace vexel {

namespace {

using Code = StreamError::Code;

void warnAboutPixelShape(const Geotransform& geotransform)
{
    log::message(log::level::warning)
        << "Read image with non-square pixels: dx = " << geotransform[1] << ", dy = " << geotransform[5];
}

void warnAboutEmptyExtent(const QString& path, const Geotransform& geotransform)
{
    log::message(log::level::warning) << "Image has no pixels in units of 0.00001 map units: '" << path
                                      << "', dx = " << geotransform[1] << ", dy = " << geotransform[5];
}

std::optional<Geotransform> geotransformOf(GDALDataset& dataset)
{
    Geotransform geotransform{};
    if (dataset.GetGeoTransform(geotransform.data()) != CE_None)
        return std::nullopt;
    return geotransform;
}

Workspace extentOf(const QString& path, const Geotransform& geotransform, int columns, int rows)
{
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

bool canHoldNoData(DataType dtype)
{
    const std::pair<double, double> range = minMaxForPixelType(dtype);
    return range.first <= noData && noData < range.second;
}

bool setNoDataValues(GDALDataset& dataset)
{
    for (int band = 1; band <= dataset.GetRasterCount(); ++band)
        if (dataset.GetRasterBand(band)->SetNoDataValue(noData) != CE_None)
            return false;
    return true;
}

/// The words for a raster that has no bands or none that can be read.
QString unsupportedBands(GDALDataset& dataset)
{
    if (dataset.GetRasterCount() < 1)
        return "There are no bands in it";
    return QString("Pixels of type %1 in the first of %2 bands")
        .arg(GDALGetDataTypeName(dataset.GetRasterBand(1)->GetRasterDataType()))
        .arg(dataset.GetRasterCount());
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
        return failFile(*this, Code::BadArgument, "The path is empty");
    setPaths(source, source);
    noBands = 0;
    dtype = DataType::Unknown;
    mode = readOnly ? ReadOnly : Update;
    m_finalised = false;
    m_isInPlace = false;
    m_canStayOpen.reset();

    const GdalMessages messages;
    const gdal::SideFilesOneByOne oneByOne(oneOfMany);
    dataset = openDataset(path, readOnly ? GA_ReadOnly : GA_Update).release();
    if (!dataset || dataset->GetRasterCount() < 1) {
        const Code code = dataset ? Code::UnsupportedType : Code::CannotOpen;
        const QString reason = dataset ? unsupportedBands(*dataset) : messages.firstFailure();
        close();
        return failFile(*this, code, reason);
    }
    noBands = static_cast<std::uint64_t>(dataset->GetRasterCount());
    noPages = gdal::countPages(*dataset);
    description = std::make_shared<RasterDescription>(*dataset);
    dataset->GetRasterBand(1)->GetBlockSize(&blockWidth, &blockHeight);
    const int columns = dataset->GetRasterXSize();
    const int rows = dataset->GetRasterYSize();
    m_geotransform = geotransformOf(*dataset);
    workspace =
        m_geotransform ? extentOf(path, *m_geotransform, columns, rows) : Workspace(0, 0, columns, rows, 1);
    georeferenceLoss = m_geotransform ? lossOfGeotransform(*m_geotransform, workspace, columns, rows) : 0.0;
    dtype = gdal::getDataType(*dataset);
    if (dtype == DataType::Unknown) {
        const QString reason = unsupportedBands(*dataset);
        close();
        return failFile(*this, Code::UnsupportedType, reason);
    }
    return detach();
}

bool GDALStreamer::gdal_t::openWrite(const QString& file, std::size_t bands, DataType type,
                                     const Workspace& ws, const QString& wkt, const QString& time,
                                     const QString& softwareName)
{
    const QString target = file;
    close();
    const QString refusal = unwritablePath(target);
    if (!refusal.isEmpty()) {
        error = {Code::BadArgument, target, refusal};
        return false;
    }
    setPaths(target, workingPath(target));
    projWKT = wkt;
    projTime = time;
    software = softwareName.isEmpty() ? QString("vexelstudio") : softwareName;
    noBands = bandsToCreate(type, bands);
    dtype = type;
    mode = WritePending;
    blockWidth = 0;
    blockHeight = 0;
    m_finalised = false;
    m_isInPlace = false;
    m_isWritten = false;
    m_unwrittenBlocks.clear();
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
    if (!openToTransfer())
        return false;
    if (mode != Written)
        return true;
    m_isWritten = true;
    const GdalMessages messages;
    if (unwritten::fillAll(*dataset, m_unwrittenBlocks))
        return true;
    releaseDataset();
    return failFile(*this, Code::CannotWrite, messages.firstFailure());
}

bool GDALStreamer::gdal_t::openToTransfer()
{
    if (dataset)
        return true;
    if (m_aside.dataset) {
        dataset = std::exchange(m_aside.dataset, nullptr);
        return true;
    }
    error = StreamError();
    const GdalMessages messages;
    const gdal::SideFilesOneByOne oneByOne(oneOfMany);
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
        if (createWorkingDataset())
            return true;
        return error ? false : failFile(*this, Code::CannotCreate, messages.firstFailure());
    default:
        return failFile(*this, Code::NotOpen, "The file is closed");
    }
    return dataset || failFile(*this, Code::CannotOpen, messages.firstFailure());
}

bool GDALStreamer::gdal_t::createWorkingDataset()
{
    const GDALDataType type = gdalTypeOf(dtype);
    if (type == GDT_Unknown)
        return failFile(*this, Code::CannotCreate,
                        QString("Files have no pixels of type %1").arg(static_cast<std::int32_t>(dtype)));
    const std::uint64_t bands = bandsToCreate(dtype, noBands);
    if (bands > static_cast<std::uint64_t>(std::numeric_limits<int>::max()))
        return failFile(*this, Code::CannotCreate, QString("Files have no %1 bands").arg(bands));
    gdal::registerDrivers();
    const char* const name = isImageFormat() ? "MEM" : "GTiff";
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName(name);
    if (!driver)
        return failFile(*this, Code::CannotCreate, QString("GDAL has no driver %1").arg(name));
    // Uncompressed, so that writing blocks in any order stays cheap; completing the file compresses it once.
    Dataset created(driver->Create(tmppath.toUtf8().constData(), width(), height(), static_cast<int>(bands),
                                   type, nullptr));
    if (!created)
        return false;
    if (!isImageFormat() && !prepareWorkingFile(created)) {
        created.reset();
        file::remove(tmppath);
        close();
        return false;
    }
    dataset = created.release();
    mode = Written;
    return true;
}

bool GDALStreamer::gdal_t::prepareWorkingFile(std::unique_ptr<GDALDataset, CloseDataset>& created)
{
    if (!setGeoreference(*created, workspace))
        return false;
    if (!canHoldNoData(dtype))
        return true;
    // GDAL writes the no-data value into every pixel when a file is released for the first time, and leaves zeros, which
    // need no room on the disk, where there is none yet.
    created.reset();
    created = openDataset(tmppath, GA_Update);
    if (!created || !setNoDataValues(*created))
        return false;
    m_unwrittenBlocks = unwritten::allBlocks(*created);
    return true;
}

bool GDALStreamer::gdal_t::detach()
{
    const bool fileBacked =
        mode == ReadOnly || mode == Update || ((mode == WritePending || mode == Written) && !isImageFormat());
    if (dataset && mode == ReadOnly && m_aside.isWanted && canStayOpen()) {
        dataset->FlushCache();
        m_aside.dataset = std::exchange(dataset, nullptr);
    } else if (fileBacked) {
        releaseDataset();
    }
    return true;
}

bool GDALStreamer::gdal_t::canStayOpen() noexcept
{
    try {
        if (!m_canStayOpen)
            m_canStayOpen = gdal::givesSamePixelsAgain(*dataset);
        return *m_canStayOpen;
    } catch (...) {
        return false; // memory is short: the file is opened again
    }
}

void GDALStreamer::gdal_t::keepAside(bool keep)
{
    m_aside.isWanted = keep;
    if (!keep && m_aside.dataset)
        GDALClose(std::exchange(m_aside.dataset, nullptr));
}

GDALStreamer::gdal_t::Aside& GDALStreamer::gdal_t::Aside::operator=(const Aside& other)
{
    if (this != &other && dataset)
        GDALClose(std::exchange(dataset, nullptr));
    return *this;
}

void GDALStreamer::gdal_t::releaseDataset()
{
    if (dataset)
        GDALClose(std::exchange(dataset, nullptr));
    if (m_aside.dataset)
        GDALClose(std::exchange(m_aside.dataset, nullptr));
}

void GDALStreamer::gdal_t::lieAt(const Workspace& extent)
{
    const int columns = width();
    const int rows = height();
    workspace = extent;
    georeferenceLoss = m_geotransform ? lossOfGeotransform(*m_geotransform, extent, columns, rows) : 0.0;
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
