#include "streaming/UnfinishedFile.h"

#include "companion/file.h"
#include "companion/trytwice.h"
#include "streaming/GdalPause.h"
#include "streaming/writetargets.h"

#include <optional>
#include <utility>

namespace vexel {

UnfinishedFile::UnfinishedFile(const QString& target, Completion* completion)
    : m_path(unfinishedPath(target)), m_target(target), m_completion(completion)
{
    // One that another thread is at work on is not to be written into.
    removeRasterFile(m_path);
}

UnfinishedFile::~UnfinishedFile()
{
    if (!m_isInPlace)
        tryTwice([this] { remove(); }); // the next run over the target removes what is left all the same
}

void UnfinishedFile::remove() const
{
    if (m_file.isHeld() && file::exists(m_path) && !m_file.isAt(m_path))
        return; // another set's
    removeRasterFile(m_path);
    removeBesideRaster(m_target);
}

int CPL_STDCALL UnfinishedFile::progress(double share, const char*, void* self)
{
    GDALRasterBlock::FlushDirtyBlocks();
    return static_cast<UnfinishedFile*>(self)->report(share) ? TRUE : FALSE;
}

bool UnfinishedFile::report(double share)
{
    // Before it is there, GDAL has nothing to tell.
    if (!m_completion || (!m_file.isHeld() && !m_file.hold(m_path)))
        return true;
    constexpr double withoutDisk = 0.99; // the rest is for the disk to take it
    return m_completion->report(withoutDisk * share);
}

bool UnfinishedFile::isMine(QString& reason) const
{
    const bool isOther = m_file.isHeld() && !m_file.isAt(m_path);
    if (isOther)
        reason = "Another set is written to the same path";
    return !isOther;
}

bool UnfinishedFile::takePlace(Dataset result, WholenessCheck isWhole, GdalMessages& messages,
                               QString& reason)
{
    if (!result) {
        if (m_completion && m_completion->isStopped())
            messages.forgetFailures();
        reason = messages.firstFailure();
        return false;
    }
    // A full disk may show only now, and only by a message, or by none.
    messages.ignoreSoFar();
    result.reset();
    if (messages.hasFailure()) {
        reason = messages.firstFailure();
        return false;
    }
    if (m_completion && !m_file.isHeld())
        m_file.hold(m_path);
    return isMine(reason) && isWhole(m_path, reason) && moveWithItsCompanions(reason);
}

bool UnfinishedFile::sync(const QString& path, QString& reason) const
{
    std::optional<GdalPause> pause;
    if (m_completion)
        pause.emplace();
    return file::syncFile(path, reason);
}

/// What lies beside the raster goes first, so that nobody finds a raster without its mask.
bool UnfinishedFile::moveWithItsCompanions(QString& reason)
{
    for (const char* ending : endingsBesideRaster)
        if (file::exists(m_path + ending) && !(file::syncFile(m_path + ending, reason) &&
                                               file::replace(m_path + ending, m_target + ending, reason)))
            return false;
    m_isInPlace = sync(m_path, reason) && isMine(reason) && file::replace(m_path, m_target, reason);
    if (m_isInPlace)
        file::syncFolder(file::dirname(m_target));
    return m_isInPlace;
}

} // namespace vexel
