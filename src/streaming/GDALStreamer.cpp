#include "streaming/GDALStreamer.h"

#include "companion/file.h"
#include "streaming/Completion.h"
#include "streaming/RasterDescription.h"
#include "streaming/failures.h"
#include "streaming/tilefiles.h"
#include "streaming/tilegrid.h"
#include "streaming/writetargets.h"
#include "utilities/tilenames.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

namespace vexel {

namespace {

using Handle = std::shared_ptr<GDALStreamer::gdal_t>;
using Code = StreamError::Code;

QString noTileFiles(const QString& setPath)
{
    return "There are no tile files, named as " + gdal::tile2path(setPath, 1, 1);
}

} // namespace

GDALStreamer::GDALStreamer() = default;

// The files of `other` leave nothing to its destructor.
GDALStreamer::GDALStreamer(GDALStreamer&& other) noexcept
    : m_path(other.m_path), m_noBands(other.m_noBands), m_noPages(other.m_noPages), m_dtype(other.m_dtype),
      m_ftype(other.m_ftype), m_workspace(std::move(other.m_workspace)), m_files(std::move(other.m_files)),
      m_description(other.m_description), m_lastError(std::exchange(other.m_lastError, StreamError())),
      m_keptFiles(std::move(other.m_keptFiles))
{}

GDALStreamer::~GDALStreamer()
{
    close();
}

bool GDALStreamer::fail(Code code, const QString& text) const
{
    m_lastError = {code, m_path, text};
    return false;
}

bool GDALStreamer::failNotOpen() const
{
    return fail(Code::NotOpen, "No raster is open in the set");
}

bool GDALStreamer::failIn(const gdal_t& file) const
{
    m_lastError = file.error;
    return false;
}

bool GDALStreamer::openEither(const QString& path, bool readOnly)
{
    if (openRead(path, GdalFileType::SingleFile, readOnly))
        return true;
    const StreamError asFile = m_lastError;
    if (openRead(path, GdalFileType::TileSet, readOnly))
        return true;
    // That there are no tile files does not tell why the file cannot be opened.
    if (m_lastError.code == Code::CannotOpen && m_lastError.text == noTileFiles(path))
        m_lastError = asFile;
    return false;
}

bool GDALStreamer::openRead(const QString& path)
{
    return openEither(path, /*readOnly=*/true);
}

bool GDALStreamer::openRead(const QString& path, GdalFileType ftype)
{
    return openRead(path, ftype, /*readOnly=*/true);
}

bool GDALStreamer::openUpdate(const QString& path)
{
    return openEither(path, /*readOnly=*/false);
}

bool GDALStreamer::openUpdate(const QString& path, GdalFileType ftype)
{
    return openRead(path, ftype, /*readOnly=*/false);
}

bool GDALStreamer::openRead(const QString& path, GdalFileType ftype, bool readOnly)
{
    const GDALMutex lock;
    clear();
    m_lastError = StreamError();
    m_path = path;
    m_ftype = ftype;
    try {
        const bool filesOpened =
            ftype == GdalFileType::TileSet ? openTileSet(path, readOnly) : openSingleFile(path, readOnly);
        if (filesOpened && takeDescriptionFromFiles())
            return true;
    } catch (...) {
        clear();
        throw;
    }
    clear();
    return false;
}

bool GDALStreamer::openSingleFile(const QString& path, bool readOnly)
{
    auto file = std::make_shared<gdal_t>();
    if (!file->openRead(path, readOnly))
        return failIn(*file);
    m_workspace.merge(file->workspace);
    if (!m_workspace.createTiles(file->width(), file->height()))
        return fail(Code::UnsupportedType, "The raster has no pixels in integer map units");
    m_files.push_back(std::move(file));
    return true;
}

bool GDALStreamer::openTileSet(const QString& path, bool readOnly)
{
    const OpenedTiles opened = openTiles(path, readOnly);
    if (opened.maxWidth < 1 || opened.maxHeight < 1)
        return fail(Code::CannotOpen, opened.unopened.isEmpty() ? noTileFiles(path) : opened.unopened);
    m_workspace.merge(opened.extent);
    // Counted before it is cut: files that lie far apart would make a grid of any size.
    const std::uint64_t cells = tilegrid::tileCount(m_workspace, opened.maxWidth, opened.maxHeight);
    if (cells != opened.files.size() || !m_workspace.createTiles(opened.maxWidth, opened.maxHeight))
        return fail(Code::IncompleteSet,
                    QString("%1 tile files for a grid of %2 tiles: ").arg(opened.files.size()).arg(cells) +
                        whatIsMissing(path, opened, m_workspace));
    for (const std::size_t i : tilegrid::orderByGrid(m_workspace, opened.places))
        m_files.push_back(opened.files[i]);
    return m_files.size() == m_workspace.noTiles() ||
           fail(Code::IncompleteSet, "Tile files have other places or sizes than the grid has: " +
                                         whatIsMissing(path, opened, m_workspace));
}

bool GDALStreamer::takeDescriptionFromFiles()
{
    const gdal_t& first = *m_files.front();
    m_noBands = first.noBands;
    m_noPages = first.noPages;
    m_dtype = first.dtype;
    m_description = first.description;
    // Tiles may differ in their number of pages, because transfers use the first page alone.
    for (const Handle& file : m_files)
        if (file->noBands != m_noBands || file->dtype != m_dtype) {
            m_lastError = {
                Code::IncompleteSet, file->path,
                QString("Bands or pixel type differ from the first tile's: %1 of type %2 rather than %3 "
                        "of type %4")
                    .arg(file->noBands)
                    .arg(static_cast<std::int32_t>(file->dtype))
                    .arg(m_noBands)
                    .arg(static_cast<std::int32_t>(m_dtype))};
            return false;
        }
    return true;
}

bool GDALStreamer::openWrite(const QString& path, std::uint64_t noBands, DataType dtype, const Workspace& ws,
                             const QString& projWKT, const QString& projTime, const QString& software,
                             GdalFileType ftype, int tileWidth, int tileHeight)
{
    RasterSpec raster =
        RasterSpec().bands(noBands).type(dtype).extent(ws).reference(projWKT).software(software);
    if (ftype == GdalFileType::TileSet)
        raster.tiles(tileWidth, tileHeight);
    m_ftype = ftype; // may be a number without a name, which means a single file
    return openToWrite(path, raster, projTime);
}

bool GDALStreamer::openWrite(const QString& path, std::uint64_t noBands, DataType dtype, int width,
                             int height)
{
    return openWrite(path, RasterSpec().bands(noBands).type(dtype).extent(Workspace(0, 0, width, height, 1)));
}

bool GDALStreamer::openToWrite(const QString& path, const RasterSpec& raster, const QString& projTime)
{
    const GDALMutex lock;
    clear();
    m_lastError = StreamError();
    m_path = path;
    try {
        return requireWritableRaster(raster) && appendFilesToWrite(raster, projTime);
    } catch (...) {
        clear();
        throw;
    }
}

bool GDALStreamer::requireWritableRaster(const RasterSpec& raster) const
{
    const int columns = raster.m_extent.pixelWidth();
    const int rows = raster.m_extent.pixelHeight();
    if (columns < 1 || rows < 1)
        return fail(Code::BadArgument, "The extent has " + sizeText(columns, rows) + " pixels");
    if (raster.m_isTiled && (raster.m_tileWidth < 1 || raster.m_tileHeight < 1))
        return fail(Code::BadArgument,
                    "Tiles have " + sizeText(raster.m_tileWidth, raster.m_tileHeight) + " pixels");
    const QString refusal = unwritablePath(m_path);
    return refusal.isEmpty() || fail(Code::BadArgument, refusal);
}

bool GDALStreamer::appendFilesToWrite(const RasterSpec& raster, const QString& projTime)
{
    m_noBands = raster.m_bands;
    m_dtype = raster.m_type;
    m_workspace = raster.m_extent;
    m_description = std::make_shared<RasterDescription>(raster.m_reference, raster.m_type, raster.m_bands);
    if (!raster.m_isTiled) {
        m_workspace.createTiles(m_workspace.pixelWidth(), m_workspace.pixelHeight());
        return appendForWriting(m_path, m_workspace, raster, projTime);
    }
    cleanTileFiles(m_path);
    m_workspace.createTiles(raster.m_tileWidth, raster.m_tileHeight);
    for (std::uint64_t i = 0; i < m_workspace.noTiles(); ++i)
        if (!appendForWriting(tilePath(m_path, m_workspace, i), m_workspace.tile(i), raster, projTime))
            return false;
    return opened();
}

bool GDALStreamer::appendForWriting(const QString& file, const Workspace& extent, const RasterSpec& raster,
                                    const QString& projTime)
{
    auto handle = std::make_shared<gdal_t>();
    handle->oneOfMany = raster.m_isTiled;
    if (!handle->openWrite(file, raster.m_bands, raster.m_type, extent, raster.m_reference, projTime,
                           raster.m_software)) {
        clear();
        return failIn(*handle);
    }
    m_files.push_back(std::move(handle));
    return true;
}

void GDALStreamer::cleanTileFiles(const QString& path) const
{
    for (const TileFile& tile : tileFilesOf(path)) {
        const gdal_t old(tile.path);
        removeRasterFile(old.path);
        file::remove(old.tfwpath);
        file::remove(old.prjpath);
        removeWorkingFiles(old.path);
    }
    for (const QString& tile : cutOffTilesOf(path)) {
        const gdal_t old(tile);
        file::remove(old.tfwpath);
        file::remove(old.prjpath);
        removeWorkingFiles(old.path);
    }
}

bool GDALStreamer::close()
{
    const GDALMutex lock;
    m_lastError = StreamError();
    for (const Handle& file : m_files) {
        file->close();
        if (!m_lastError)
            m_lastError = file->error;
    }
    letFilesGo();
    return true;
}

StreamError GDALStreamer::finish(std::function<bool(double)> progress)
{
    // The lock is not held round completing, which could not give it up then.
    const auto letGo = [this] {
        const GDALMutex lock;
        letFilesGo();
    };
    try {
        complete(std::move(progress));
    } catch (...) {
        letGo();
        throw;
    }
    letGo();
    return m_lastError;
}

StreamError GDALStreamer::complete(std::function<bool(double)> progress)
{
    const GDALMutex lock;
    m_lastError = StreamError();
    Completion completion(std::move(progress), bytesToComplete());
    for (std::size_t i = 0; i < m_files.size() && !completion.isStopped(); ++i) {
        gdal_t& file = *m_files[i];
        completion.beginFile(file.bytesToComplete());
        file.complete(&completion);
        if (!m_lastError)
            m_lastError = file.error;
        completion.endFile();
    }
    if (completion.isStopped()) {
        for (const Handle& file : m_files)
            file->discard();
        fail(Code::Stopped, "It was asked to stop");
    }
    completion.rethrow();
    return m_lastError;
}

double GDALStreamer::bytesToComplete() const
{
    double bytes = 0.0;
    for (const Handle& file : m_files)
        bytes += file->bytesToComplete();
    return bytes;
}

bool GDALStreamer::isEveryFileInPlace() const
{
    return std::all_of(m_files.begin(), m_files.end(), [](const Handle& file) { return file->m_isInPlace; });
}

void GDALStreamer::discard()
{
    const GDALMutex lock;
    m_lastError = StreamError();
    for (const Handle& file : m_files)
        file->discard();
    letFilesGo();
}

bool GDALStreamer::close(std::uint64_t i)
{
    const GDALMutex lock;
    m_lastError = StreamError();
    return _close(i);
}

bool GDALStreamer::failNoFile(std::uint64_t i) const
{
    return fail(Code::NotOpen, QString("There is no file %1 among %2 files").arg(i).arg(m_files.size()));
}

bool GDALStreamer::_close(std::uint64_t i)
{
    if (i >= m_files.size())
        return failNoFile(i);
    m_files[i]->close();
    m_lastError = m_files[i]->error;
    return true;
}

bool GDALStreamer::open(std::uint64_t i)
{
    const GDALMutex lock;
    m_lastError = StreamError();
    if (i >= m_files.size())
        return failNoFile(i);
    return m_files[i]->reopen() || failIn(*m_files[i]);
}

QString GDALStreamer::spatialReference() const
{
    return m_description ? m_description->reference() : QString();
}

std::optional<double> GDALStreamer::noDataValue(std::size_t band) const
{
    return m_description ? m_description->noDataValue(band) : std::nullopt;
}

TileRange GDALStreamer::tiles() const
{
    return TileRange(*this);
}

void GDALStreamer::clear()
{
    m_noBands = 0;
    m_noPages = 0;
    m_dtype = DataType::Unknown;
    m_workspace = Workspace();
    m_description.reset();
    letFilesGo();
}

void GDALStreamer::letFilesGo()
{
    m_keptFiles.clear();
    m_files.clear();
}

void GDALStreamer::setJPEGQuality(int quality)
{
    for (const Handle& file : m_files)
        file->jpegQuality = quality;
}

GDALStreamer::KeepFilesOpen::KeepFilesOpen(const GDALStreamer& set) : m_set(set)
{
    ++m_set.m_keepers;
}

GDALStreamer::KeepFilesOpen::~KeepFilesOpen()
{
    if (--m_set.m_keepers > 0)
        return;
    const GDALMutex lock;
    for (const Handle& file : m_set.m_keptFiles)
        file->keepAside(/*keep=*/false);
    m_set.m_keptFiles.clear();
}

const GDALStreamer::gdal_t* GDALStreamer::file(std::uint64_t i) const
{
    return i < m_files.size() ? m_files[i].get() : nullptr;
}

bool GDALStreamer::opened(std::uint64_t i) const
{
    return file(i) && file(i)->opened();
}

GDALDataset* GDALStreamer::data(std::uint64_t i) const
{
    return file(i) ? file(i)->dataset : nullptr;
}

double GDALStreamer::georeferenceLoss() const
{
    double loss = 0.0;
    for (const Handle& file : m_files)
        if (!std::isnan(loss) && !(file->georeferenceLoss <= loss)) // NaN comes and stays
            loss = file->georeferenceLoss;
    return loss;
}

int GDALStreamer::blockWidth() const
{
    return m_files.empty() ? 0 : m_files.front()->blockWidth;
}

int GDALStreamer::blockHeight() const
{
    return m_files.empty() ? 0 : m_files.front()->blockHeight;
}

QString GDALStreamer::path(std::uint64_t i) const
{
    return file(i) ? file(i)->path : QString();
}

QString GDALStreamer::tfwpath(std::uint64_t i) const
{
    return file(i) ? file(i)->tfwpath : QString();
}

QString GDALStreamer::prjpath(std::uint64_t i) const
{
    return file(i) ? file(i)->prjpath : QString();
}

QString GDALStreamer::projWKT(std::uint64_t i) const
{
    return file(i) ? file(i)->projWKT : QString();
}

QString GDALStreamer::projTime(std::uint64_t i) const
{
    return file(i) ? file(i)->projTime : QString();
}

} // namespace vexel
