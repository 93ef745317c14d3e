#include "companion/CommandOptions.h"
#include "companion/ThreadOption.h"
#include "companion/file.h"
#include "companion/geo.h"
#include "companion/imageformat.h"
#include "companion/log.h"
#include "companion/nativepath.h"
#include "companion/syncfile.h"
#include "streaming/failures.h"
#include "streaming/gdaldataset.h"
#include "streaming/gdalmessages.h"
#include "streaming/pixeltypes.h"
#include "streaming/unwrittenblocks.h"
#include "streaming/writetargets.h"
#include "utilities/blockplaces.h"
#include "utilities/definitionfile.h"
#include "utilities/sidefiles.h"

#include <gdal_priv.h>
#include <gdal_utils.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

// How a written file is completed: under a name of its own, which takes the target's place once all of it has
// reached the disk.

namespace vexel {

namespace {

using Code = StreamError::Code;

struct FreeTranslateOptions
{
    void operator()(GDALTranslateOptions* options) const { GDALTranslateOptionsFree(options); }
};
using TranslateOptions = std::unique_ptr<GDALTranslateOptions, FreeTranslateOptions>;

/// Needs no memory.
QString outOfMemory()
{
    return QStringLiteral("Memory ran out");
}

void logMessage(log::level level, std::size_t line, const QString& text)
{
    log::LogStreamer(log::defaultLogSource(), level, QString(), log::FileAndLine("gdal_t_complete", line))
        << text;
}

bool isDiskFull(const QString& path, std::uintmax_t needed, std::uintmax_t& available)
{
    namespace fs = std::filesystem;
    std::error_code error;
    available = fs::space(file::nativePath(file::dirname(path)), error).available;
    return !error && available < needed;
}

std::uintmax_t sizeOf(const QString& path)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const std::uintmax_t size = fs::file_size(file::nativePath(path), error);
    return error ? 0 : size;
}

/// What an image file may need, of pixels that are kept in memory until it is completed: noise does not shrink, and grows a
/// little.
std::uintmax_t mostBytesOfImage(const GDALStreamer::gdal_t& image)
{
    const std::uintmax_t pixels =
        static_cast<std::uintmax_t>(image.width()) * static_cast<std::uintmax_t>(image.height()) *
        bandsToCreate(image.dtype, image.noBands) *
        static_cast<std::uintmax_t>(GDALGetDataTypeSizeBytes(gdalTypeOf(image.dtype)));
    return pixels + pixels / 4 + 65536;
}

/// Adds how much room there is, where there may be too little.
QString withRoomLeft(const QString& reason, const QString& target, std::uintmax_t needed)
{
    std::uintmax_t available = 0;
    if (!isDiskFull(target, needed, available))
        return reason;
    return reason + QString(" (up to %1 bytes needed, %2 free)").arg(needed).arg(available);
}

/// @param reference the definition of the spatial reference, or the file that has it; empty for none.
void appendTranslateArguments(gdal::CommandOptions& arguments, const GDALStreamer::gdal_t& file,
                              const QString& reference)
{
    if (!reference.isEmpty())
        arguments << "-a_srs" << reference;
    if (!file.projTime.isEmpty())
        arguments << "-mo"
                  << "TIFFTAG_DATETIME=" + file.projTime;
    arguments << "-mo"
              << "TIFFTAG_SOFTWARE=" + file.software;
    arguments << "-q";
    arguments << "-co"
              << "BIGTIFF=IF_SAFER";
    arguments << "-co"
              << "COMPRESS=LZW";
    const bool floating = file.dtype == DataType::Float32 || file.dtype == DataType::Float64;
    arguments << "-co" << (floating ? "PREDICTOR=3" : "PREDICTOR=2");
    if (file.noBands == 3 || file.noBands == 4)
        arguments << "-co"
                  << "PHOTOMETRIC=RGB";
    if (file.noBands == 4)
        arguments << "-co"
                  << "ALPHA=YES";
}

/// Cleans up, once more where memory was short: by then more of it may have been released. The next run over the target
/// removes what is left all the same.
template <class CleanUp>
void insistOn(const CleanUp& cleanUp) noexcept
{
    for (int attempt = 0; attempt < 2; ++attempt)
        try {
            cleanUp();
            return;
        } catch (...) {
        }
}

/// The unfinished file of a target. In the end it is removed, with what lies beside it, unless it has taken its place.
class UnfinishedFile
{
public:
    explicit UnfinishedFile(const QString& target) : m_path(unfinishedPath(target)), m_target(target) {}
    ~UnfinishedFile()
    {
        if (m_isInPlace)
            return;
        insistOn([&] { removeRasterFile(m_path); });
        insistOn([&] { removeBesideRaster(m_target); });
    }
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    const QString& path() const { return m_path; }

    /// What lies beside the raster goes first, so that nobody finds a raster without its mask. False with the reason.
    bool takePlace(QString& reason)
    {
        for (const char* ending : endingsBesideRaster)
            if (file::exists(m_path + ending) && !move(m_path + ending, m_target + ending, reason))
                return false;
        m_isInPlace = move(m_path, m_target, reason);
        if (m_isInPlace)
            file::syncFolder(file::dirname(m_target));
        return m_isInPlace;
    }

private:
    static bool move(const QString& from, const QString& to, QString& reason)
    {
        return file::syncFile(from, reason) && file::replace(from, to, reason);
    }

    QString m_path;
    QString m_target;
    bool m_isInPlace = false;
};

/// True if the file ends with those bytes.
bool endsWith(const QString& path, const std::string& end)
{
    std::ifstream file(file::nativePath(path), std::ios::binary);
    std::string found(end.size(), '\0');
    return file.seekg(-static_cast<std::streamoff>(end.size()), std::ios::end) &&
           file.read(found.data(), static_cast<std::streamsize>(found.size())) && found == end;
}

/// Behind the image GDAL puts a mask, if there is one, and then the image's size in four bytes, the lowest first.
bool endsBeforeMask(const QString& path, const std::string& imageEnd)
{
    std::ifstream file(file::nativePath(path), std::ios::binary);
    unsigned char size[4] = {};
    std::string found(imageEnd.size(), '\0');
    return file.seekg(-4, std::ios::end) && file.read(reinterpret_cast<char*>(size), 4) &&
           file.seekg((std::streamoff{size[0]} | std::streamoff{size[1]} << 8 |
                       std::streamoff{size[2]} << 16 | std::streamoff{size[3]} << 24) -
                          static_cast<std::streamoff>(imageEnd.size()),
                      std::ios::beg) &&
           file.read(found.data(), static_cast<std::streamsize>(found.size())) && found == imageEnd;
}

/// Looks at a closed file and says why it is not whole; true if it is.
using WholenessCheck = std::function<bool(const QString& path, QString& reason)>;

bool isWholePng(const QString& path, QString& reason)
{
    if (endsWith(path, "IEND\xAE\x42\x60\x82"))
        return true;
    reason = "The end of the file could not be written";
    return false;
}

bool isWholeJpeg(const QString& path, QString& reason)
{
    const std::string end = "\xFF\xD9";
    if (endsWith(path, end) || endsBeforeMask(path, end))
        return true;
    reason = "The end of the file could not be written";
    return false;
}

/// GDAL 3.10 with the system's libtiff prints what goes wrong with the last bytes, and reports success.
bool hasAllOfGeoTiff(const QString& path, QString& reason)
{
    if (gdal::hasAllBlocks(path, reason))
        return true;
    reason.prepend("A part of the file could not be written: ");
    return false;
}

/// Closes what was written under its unfinished name and puts it in the target's place, or leaves neither.
bool putInPlace(Dataset result, const WholenessCheck& isWhole, UnfinishedFile& unfinished,
                GdalMessages& messages, QString& reason)
{
    if (!result) {
        reason = messages.firstFailure();
        return false;
    }
    // A full disk may show only now, and only by a message, or by none.
    messages.ignoreSoFar();
    result.reset();
    if (messages.tellOfFailure()) {
        reason = messages.firstFailure();
        return false;
    }
    return isWhole(unfinished.path(), reason) && unfinished.takePlace(reason);
}

/// How GDAL translates a working file on this thread while it lives.
struct TranslateSettings
{
    /// What is not compressed needs no cache of blocks.
    gdal::ThreadOption readDirectly{"GTIFF_DIRECT_IO", "YES"};
    /// Bytes of pixels at a time: little, so that GDAL's threads have something to compress most of the time.
    gdal::ThreadOption piece{"GDAL_SWATH_SIZE", "250000"};
};

/// Has the pixels compressed that were translated so far, instead of all of them in the end.
int CPL_STDCALL compressSoFar(double /*share*/, const char* /*message*/, void* /*data*/)
{
    GDALRasterBlock::FlushDirtyBlocks();
    return TRUE;
}

/// Translates `source` to `target`. Tells what went wrong through `usageError` too.
bool translateFile(const QString& source, const QString& target, const gdal::CommandOptions& arguments,
                   int& usageError, QString& reason)
{
    UnfinishedFile unfinished(target);
    GdalMessages messages(GdalMessages::HandlerException::IsDropped);
    const TranslateOptions options(GDALTranslateOptionsNew(arguments.options(), nullptr));
    // Without options GDAL would copy the raster as it is, and report no error.
    usageError = options ? 0 : 1;
    Dataset result;
    if (options) {
        const TranslateSettings settings;
        GDALTranslateOptionsSetProgress(options.get(), &compressSoFar, nullptr);
        const Dataset working = openDataset(source, GA_ReadOnly);
        // GDAL 3 guesses the format by the target's ending; under its unfinished name it is a GeoTIFF whatever the
        // target is called. A working file that is gone goes on as a null source, which GDAL calls a usage error.
        result = takeDataset(GDALTranslate(unfinished.path().toUtf8().constData(), handleOf(working),
                                           options.get(), &usageError));
    }
    return putInPlace(std::move(result), &hasAllOfGeoTiff, unfinished, messages, reason);
}

} // namespace

bool GDALStreamer::gdal_t::close()
{
    error = StreamError();
    try {
        finalise();
    } catch (...) {
        // Called by the destructor too. A target that could not be completed is found missing.
        failFile(*this, Code::CannotComplete, outOfMemory());
    }
    releaseDataset();
    mode = Closed;
    return true;
}

void GDALStreamer::gdal_t::finalise()
{
    if (mode == Written && m_isWritten) {
        m_finalised = true;
        isImageFormat() ? finaliseImage() : finaliseGeoTiff();
        return;
    }
    QString reason;
    if (!release(reason) && mode != Written)
        failFile(*this, Code::CannotWrite, reason);
    if (mode == Written && !isImageFormat())
        removeRasterFile(tmppath); // made to be read, or for pixels that were refused
}

bool GDALStreamer::gdal_t::release(QString& reason)
{
    if (!dataset && !m_aside.dataset)
        return true;
    const GdalMessages messages(GdalMessages::HandlerException::IsDropped);
    releaseDataset();
    reason = messages.firstFailure();
    return !messages.tellOfFailure();
}

void GDALStreamer::gdal_t::discard()
{
    releaseDataset();
    if (mode == Written && !isImageFormat())
        removeRasterFile(tmppath);
    if (m_finalised) {
        removeRasterFile(path);
        if (!isImageFormat())
            removeSideFiles();
    }
    m_finalised = false;
    mode = Closed;
}

void GDALStreamer::gdal_t::removeSideFiles()
{
    file::remove(tfwpath);
    // Without a reference none was written: one that lies there is another raster's.
    if (geo::isStandardWkt(projWKT))
        file::remove(prjpath);
}

void GDALStreamer::gdal_t::finaliseImage()
{
    gdal::CommandOptions options;
    WholenessCheck isWhole;
    const char* driverName = nullptr; // nothing writes JPEG 2000: such a target yields no file
    if (isPng(path)) {
        driverName = "PNG";
        isWhole = &isWholePng;
    } else if (isJpeg(path)) {
        driverName = "JPEG";
        isWhole = &isWholeJpeg;
        options.setValueForOption(QString::number(jpegQuality, 10), "QUALITY");
    }
    if (!driverName)
        return;
    removeRasterFile(path);
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName(driverName);
    QString reason;
    bool completed = false;
    {
        UnfinishedFile unfinished(path);
        GdalMessages messages(GdalMessages::HandlerException::IsDropped);
        Dataset copy(driver && dataset
                         ? driver->CreateCopy(unfinished.path().toUtf8().constData(), dataset,
                                              /*strict=*/FALSE, options.options(), nullptr, nullptr)
                         : nullptr);
        completed = putInPlace(std::move(copy), isWhole, unfinished, messages, reason);
    }
    if (!completed) {
        failFile(*this, Code::CannotComplete, withRoomLeft(reason, path, mostBytesOfImage(*this)));
        logMessage(log::level::error, __LINE__, "Failed to write to <" + path);
    }
}

QString GDALStreamer::gdal_t::saveReference()
{
    if (!geo::isStandardWkt(projWKT))
        return QString();
    if (gdal::savePRJ(projWKT, prjpath))
        return gdal::definitionForGdal(prjpath, projWKT);
    file::remove(prjpath); // rather none than half of one, or that of an earlier raster
    failFile(*this, Code::CannotComplete, "The projection file '" + prjpath + "' cannot be written");
    return projWKT;
}

void GDALStreamer::gdal_t::finaliseGeoTiff()
{
    bool completed = false;
    QString reason;
    try {
        int usageError = 0;
        completed = finishWorkingFile(reason) && translate(usageError, reason);
        if (!completed) {
            removeRasterFile(path);
            failFile(*this, Code::CannotComplete, withRoomLeft(reason, path, sizeOf(tmppath)));
            logMessage(log::level::error, __LINE__, "Failed to write to <" + path + ">");
        }
        if (usageError != 0)
            logMessage(log::level::error, __LINE__, "GDAL error " + QString::number(usageError));
    } catch (...) {
        // The working file goes in any case.
        failFile(*this, Code::CannotComplete, reason.isEmpty() ? outOfMemory() : reason);
    }
    if (!completed)
        insistOn([&] { removeSideFiles(); });
    insistOn([&] { removeRasterFile(tmppath); });
}

bool GDALStreamer::gdal_t::finishWorkingFile(QString& reason)
{
    // A working file that is gone is for GDAL to report.
    if (!file::exists(tmppath)) {
        releaseDataset();
        return true;
    }
    if (std::find(m_unwrittenBlocks.begin(), m_unwrittenBlocks.end(), true) != m_unwrittenBlocks.end()) {
        const GdalMessages messages(GdalMessages::HandlerException::IsDropped);
        if (!openToTransfer() || !unwritten::fillAll(*dataset, m_unwrittenBlocks)) {
            reason = messages.firstFailure();
            releaseDataset();
            return false;
        }
    }
    return release(reason) && hasRoomForAllPixels(*this, reason);
}

bool GDALStreamer::gdal_t::translate(int& usageError, QString& reason)
{
    const QString reference = saveReference();
    if (!gdal::saveTFW(workspace, tfwpath)) {
        file::remove(tfwpath); // rather none than half of one
        failFile(*this, Code::CannotComplete, "The world file '" + tfwpath + "' cannot be written");
    }
    removeRasterFile(path);

    gdal::CommandOptions arguments;
    appendTranslateArguments(arguments, *this, reference);
    return translateFile(tmppath, path, arguments, usageError, reason);
}

} // namespace vexel
