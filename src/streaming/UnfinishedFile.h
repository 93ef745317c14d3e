#ifndef VEXEL_STREAMING_UNFINISHEDFILE_H
#define VEXEL_STREAMING_UNFINISHEDFILE_H

#include "companion/syncfile.h"
#include "streaming/Completion.h"
#include "streaming/gdaldataset.h"
#include "streaming/gdalmessages.h"
#include "streaming/wholeness.h"

#include <QString>

#include <cpl_port.h>

namespace vexel {

/// The final file under a separate name (`NAME_new_tmp.tif`) as long as it is not whole. In the end it is renamed to
/// the target, or removed with the files next to it.
class UnfinishedFile
{
public:
    /// @param completion who is told, null for nobody: then no other thread has GDAL meanwhile.
    UnfinishedFile(const QString& target, Completion* completion);
    ~UnfinishedFile();
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    /// Where GDAL is to write it.
    const QString& path() const { return m_path; }

    /// GDAL's progress function, to be called with this object: has the pixels compressed that GDAL was given so far,
    /// instead of all of them in the end, and tells.
    static int CPL_STDCALL progress(double share, const char* message, void* self);

    /// Closes what GDAL has made and renames it to the target, where the final file gets its name. Or leaves neither:
    /// then false with the reason.
    ///
    /// @param result null if GDAL has failed.
    bool takePlace(Dataset result, WholenessCheck isWhole, GdalMessages& messages, QString& reason);

private:
    bool report(double share);
    /// Whether the file is still the one that GDAL has made here: another set may have begun to write the same target.
    bool isMine(QString& reason) const;
    void remove() const;
    bool sync(const QString& path, QString& reason) const;
    bool moveWithItsCompanions(QString& reason);

    QString m_path;
    QString m_target;
    Completion* m_completion;
    file::HeldFile m_file; ///< once GDAL has made it, if there is somebody to tell
    bool m_isInPlace = false;
};

} // namespace vexel

#endif
