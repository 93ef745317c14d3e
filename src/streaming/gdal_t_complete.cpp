#include "companion/CommandOptions.h"
#include "companion/ThreadOption.h"
#include "companion/file.h"
#include "companion/geo.h"
#include "companion/imageformat.h"
#include "companion/logmessage.h"
#include "companion/nativepath.h"
#include "companion/syncfile.h"
#include "companion/trytwice.h"
#include "streaming/Completion.h"
#include "streaming/GdalPause.h"
#include "streaming/UnfinishedFile.h"
#include "streaming/failures.h"
#include "streaming/gdaldataset.h"
#include "streaming/gdalmessages.h"
#include "streaming/pixeltypes.h"
#include "streaming/unwrittenblocks.h"
#include "streaming/writetargets.h"
#include "utilities/definitionfile.h"
#include "utilities/sidefiles.h"

#include <gdal_utils.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
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

/// Bytes that are free on the disk of a file, none if the system cannot tell.
std::optional<std::uintmax_t> roomFor(const QString& path)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const std::uintmax_t available = fs::space(file::nativePath(file::dirname(path)), error).available;
    return error ? std::nullopt : std::optional(available);
}

std::uintmax_t sizeOf(const QString& path)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const std::uintmax_t size = fs::file_size(file::nativePath(path), error);
    return error ? 0 : size;
}

/// What an image file may need, of pixels that are kept in memory until it is completed: noise does not shrink, and
/// grows a little.
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
    const std::optional<std::uintmax_t> room = roomFor(target);
    if (!room || *room >= needed)
        return reason;
    return reason + QString(" (up to %1 bytes needed, %2 free)").arg(needed).arg(*room);
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

/// How GDAL translates a working file on this thread while it lives.
struct TranslateSettings
{
    /// What is not compressed needs no cache of blocks.
    gdal::ThreadOption readDirectly{"GTIFF_DIRECT_IO", "YES"};
    /// Bytes of pixels at a time: little, so that GDAL's threads have something to compress most of the time.
    gdal::ThreadOption piece{"GDAL_SWATH_SIZE", "250000"};
};

/// Translates `source` to the unfinished file. Tells what went wrong through `usageError` too.
bool translateFile(const QString& source, UnfinishedFile& unfinished, const gdal::CommandOptions& arguments,
                   int& usageError, QString& reason)
{
    GdalMessages messages(GdalMessages::Fate::HandedOnNoThrow);
    const TranslateOptions options(GDALTranslateOptionsNew(arguments.options(), nullptr));
    // Without options GDAL would copy the raster as it is, and report no error.
    usageError = options ? 0 : 1;
    Dataset result;
    if (options) {
        const TranslateSettings settings;
        GDALTranslateOptionsSetProgress(options.get(), &UnfinishedFile::progress, &unfinished);
        const Dataset working = openDataset(source, GA_ReadOnly);
        // GDAL 3 guesses the format by the target's ending; under its unfinished name it is a GeoTIFF whatever the
        // target is called. A working file that is gone goes on as a null source, which GDAL calls a usage error.
        result = takeDataset(GDALTranslate(unfinished.path().toUtf8().constData(), handleOf(working),
                                           options.get(), &usageError));
    }
    return unfinished.takePlace(std::move(result), &isWholeGeoTiff, messages, reason);
}

} // namespace

bool GDALStreamer::gdal_t::close()
{
    return complete(nullptr);
}

bool GDALStreamer::gdal_t::complete(Completion* completion)
{
    error = StreamError();
    try {
        finalise(completion);
    } catch (...) {
        // Called by the destructor too. A target that could not be completed is found missing.
        failFile(*this, Code::CannotComplete, outOfMemory());
    }
    releaseDataset();
    mode = Closed;
    return true;
}

void GDALStreamer::gdal_t::finalise(Completion* completion)
{
    if (mode == Written && m_isWritten) {
        m_finalised = true;
        isImageFormat() ? finaliseImage(completion) : finaliseGeoTiff(completion);
        return;
    }
    QString reason;
    if (!release(reason) && mode != Written)
        failFile(*this, Code::CannotWrite, reason);
    if (mode == Written && !isImageFormat())
        removeRasterFile(tmppath); // made to be read, or for pixels that were refused
}

double GDALStreamer::gdal_t::bytesToComplete() const
{
    if (mode != Written || !m_isWritten)
        return 0.0;
    return static_cast<double>(width()) * static_cast<double>(height()) *
           static_cast<double>(bandsToCreate(dtype, noBands)) * GDALGetDataTypeSizeBytes(gdalTypeOf(dtype));
}

bool GDALStreamer::gdal_t::release(QString& reason)
{
    if (!dataset && !m_aside.dataset)
        return true;
    const GdalMessages messages(GdalMessages::Fate::HandedOnNoThrow);
    releaseDataset();
    reason = messages.firstFailure();
    return !messages.hasFailure();
}

void GDALStreamer::gdal_t::discard()
{
    releaseDataset();
    if (mode == Written && !isImageFormat())
        removeRasterFile(tmppath);
    if (m_isInPlace)
        removeRasterFile(path);
    if (m_finalised && !isImageFormat())
        removeSideFiles();
    m_finalised = false;
    m_isInPlace = false;
    mode = Closed;
}

void GDALStreamer::gdal_t::removeSideFiles()
{
    file::remove(tfwpath);
    // Without a reference none was written: one that lies there is another raster's.
    if (geo::isStandardWkt(projWKT))
        file::remove(prjpath);
}

void GDALStreamer::gdal_t::finaliseImage(Completion* completion)
{
    gdal::CommandOptions options;
    WholenessCheck isWhole = nullptr;
    const char* driverName = nullptr;
    if (isPng(path)) {
        driverName = "PNG";
        isWhole = &isWholePng;
    } else if (isJpeg(path)) {
        driverName = "JPEG";
        isWhole = &isWholeJpeg;
        options.setValueForOption(QString::number(jpegQuality, 10), "QUALITY");
    }
    if (!driverName) {
        // Meant: pixels of such a target can be written and read in memory, but there is no file in the end.
        failFile(*this, Code::CannotComplete, "JPEG 2000 is not written");
        return;
    }
    removeRasterFile(path);
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName(driverName);
    QString reason;
    {
        UnfinishedFile unfinished(path, completion);
        GdalMessages messages(GdalMessages::Fate::HandedOnNoThrow);
        Dataset copy(driver && dataset ? driver->CreateCopy(unfinished.path().toUtf8().constData(), dataset,
                                                            /*strict=*/FALSE, options.options(),
                                                            &UnfinishedFile::progress, &unfinished)
                                       : nullptr);
        m_isInPlace = unfinished.takePlace(std::move(copy), isWhole, messages, reason);
    }
    if (!m_isInPlace)
        failToComplete(reason, mostBytesOfImage(*this), /*end=*/"", completion);
}

/// After a stop nothing has failed.
///
/// @param end what the message ends with: a bracket for a GeoTIFF, none for an image. The texts stay as they are,
///            because applications compare them.
void GDALStreamer::gdal_t::failToComplete(const QString& reason, std::uint64_t bytesNeeded, const char* end,
                                          const Completion* completion)
{
    if (completion && completion->isStopped())
        return;
    failFile(*this, Code::CannotComplete, withRoomLeft(reason, path, bytesNeeded));
    log::message(log::level::error) << "Failed to write to <" << path << end;
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

void GDALStreamer::gdal_t::finaliseGeoTiff(Completion* completion)
{
    file::HeldFile working; // so that it is noticed when another set takes its place
    QString reason;
    try {
        int usageError = 0;
        if (completion)
            working.hold(tmppath);
        m_isInPlace = finishWorkingFile(reason, completion) && translate(usageError, reason, completion);
        if (!m_isInPlace) {
            if (!isAnothers(working))
                removeRasterFile(path);
            failToComplete(reason, sizeOf(tmppath), ">", completion);
        }
        if (usageError != 0)
            log::message(log::level::error) << "GDAL error " << usageError;
    } catch (...) {
        // The working file goes in any case.
        failFile(*this, Code::CannotComplete, reason.isEmpty() ? outOfMemory() : reason);
    }
    removeWorkingFile(working);
}

/// Whether another set has begun to write the same target. What lies there is its then.
bool GDALStreamer::gdal_t::isAnothers(const file::HeldFile& working) const
{
    return working.isHeld() && !working.isAt(tmppath);
}

void GDALStreamer::gdal_t::removeWorkingFile(file::HeldFile& working)
{
    // Memory may be short, which can be why the file was not completed. The next run over the target removes what is
    // left.
    bool isLost = false;
    tryTwice([&] { isLost = isAnothers(working); });
    if (isLost) {
        m_finalised = false; // nothing there is to be discarded
        return;
    }
    if (!m_isInPlace)
        tryTwice([&] { removeSideFiles(); });
    tryTwice([&] { removeRasterFile(tmppath); });
    if (working.isHeld()) {
        const GdalPause pause; // the system takes its time for a large file
        working.letGo();
    }
}

bool GDALStreamer::gdal_t::finishWorkingFile(QString& reason, Completion* completion)
{
    // A working file that is gone is for GDAL to report.
    if (!file::exists(tmppath)) {
        releaseDataset();
        return true;
    }
    if (std::find(m_unwrittenBlocks.begin(), m_unwrittenBlocks.end(), true) != m_unwrittenBlocks.end()) {
        const GdalMessages messages(GdalMessages::Fate::HandedOnNoThrow);
        const auto goesOn = [completion] { return !completion || completion->report(0.0); };
        if (!openToTransfer() || !unwritten::fillAll(*dataset, m_unwrittenBlocks, goesOn)) {
            reason = messages.firstFailure();
            releaseDataset();
            return false;
        }
    }
    return release(reason) && hasRoomForAllPixels(*this, reason);
}

bool GDALStreamer::gdal_t::translate(int& usageError, QString& reason, Completion* completion)
{
    const QString reference = saveReference();
    if (!gdal::saveTFW(workspace, tfwpath)) {
        file::remove(tfwpath); // rather none than half of one
        failFile(*this, Code::CannotComplete, "The world file '" + tfwpath + "' cannot be written");
    }
    removeRasterFile(path);

    gdal::CommandOptions arguments;
    appendTranslateArguments(arguments, *this, reference);
    UnfinishedFile unfinished(path, completion);
    return translateFile(tmppath, unfinished, arguments, usageError, reason);
}

} // namespace vexel
